// Real documents of the families the text transforms exist for: a reference's transforms,
// applied in the order its Transforms element lists them with the verifier's own transform
// operations, must yield the text whose digest the signer stored.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dsig/TransformTestUtil.h"
#include "host/crypto/_tvHash.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/ContentCoding.h"
#include "host/text/DataBuffer.h"
#include "host/xml/ClsBinData.h"
#include "support/DataTable.h"
#include "support/DsigTestUtil.h"
#include "support/Manifest.h"
#include "support/TransformTestAccess.h"

namespace xmldsig::test {
namespace {

using Access = TransformTestAccess;

struct Chain {
    bool enveloped = false;
    bool canonicalized = false;
};

// One Transform element, as the reference lists it; false when the transform is not one of the
// text transforms or fails.
bool applyTransform(ClsXmlDSig& dsig, ClsXml& t, DSigReference& ref, const StringBuffer& uri,
                    StringBuffer& xml, Chain& chain, _tvLogger& log) {
    StringBuffer algorithm;
    t.getAttrValue("Algorithm", algorithm);
    if (algorithm.containsSubstring("REC-xpath") ||
        algorithm.containsSubstring("2002/06/xmldsig-filter2")) {
        StringBuffer xpath;
        if (!t.getChildContentUtf8("*:XPath", xpath, false)) return false;
        return Access::xpath(dsig, &t, xml, algorithm.getString(), xpath.getString(), log);
    }
    if (algorithm.containsSubstring("enveloped-signature")) {
        chain.enveloped = true;
        return Access::enveloped(dsig, xml, ref, log);
    }
    if (algorithm.containsSubstring("xml-c14n") || algorithm.containsSubstring("xml-exc-c14n")) {
        chain.canonicalized = true;
        return Access::canonicalize(dsig, &t, xml, algorithm.getString(), uri.getString(), log);
    }
    return false;
}

// The base64 digest of the reference's data after its transforms; empty when the reference is
// not a same-document reference or a transform is not a text transform.
std::string transformedDigest(ClsXmlDSig& dsig, int index, _tvLogger& log) {
    DSigReference ref;
    if (!dsig.describeReference(index, ref)) return "";
    StringBuffer uri(ref.m_uri);
    uri.trim2();
    if (!uri.isEmpty() && !uri.beginsWith("#")) return "";
    if (!uri.isEmpty()) uri.removeChunk(0, 1);

    StringBuffer xml(Access::xmlText(dsig));
    Access::preprocess(dsig, uri.getString(), xml, log);
    Chain chain;
    if (!ref.m_transforms.isEmpty()) {
        XmlPtr transforms = parseElement(ref.m_transforms.str());
        if (!transforms) return "";
        for (int i = 0; i < transforms->get_NumChildren(); ++i) {
            ClsXml* t = transforms->getChild(i);
            RefCountedObjectOwner owner(t);
            if (t == nullptr || !applyTransform(dsig, *t, ref, uri, xml, chain, log)) return "";
        }
    }
    if (!chain.enveloped && uri.isEmpty()) Access::enveloped(dsig, xml, ref, log);
    if (!chain.canonicalized &&
        !Access::canonicalize(dsig, nullptr, xml, "REC-xml-c14n-20010315", uri.getString(), log)) {
        return "";
    }
    Access::postProcess(dsig, xml, log);

    DataBuffer digest;
    StringBuffer b64;
    if (!_tvHash::doHash(xml.getString(), xml.getSize(), ref.getHashAlg(), digest) ||
        !ContentCoding::encodeBase64(digest.getData2(), digest.getSize(), b64)) {
        return "";
    }
    return b64.str();
}

// The references of tests/data/dsig/corpus_refs.tsv, and whether the text transforms reproduce
// their stored digest (the table says which independent tool agrees on those that do not).
const std::vector<DataRow>& corpusRefs() {
    static const std::vector<DataRow> rows = loadTable("dsig/corpus_refs.tsv");
    return rows;
}

class TransformCorpus : public ::testing::TestWithParam<DataRow> {};

TEST_P(TransformCorpus, DigestOfTheTransformedText) {
    const DataRow& c = GetParam();
    const std::string& path = c["path"];
    const int signature = c.number("signature"), reference = c.number("reference");
    auto dsig = newDsig();
    ClsBinData bd;
    ASSERT_TRUE(bd.LoadFile(corpusPath(path).c_str())) << path;
    ASSERT_TRUE(dsig->LoadSignatureBd(bd)) << dsig->lastErrorText();
    Access::isZatca(*dsig) = path.rfind("zatca/", 0) == 0;
    Access::isMyInvois(*dsig) = path.rfind("myinvois/", 0) == 0;
    ASSERT_LT(signature, dsig->get_NumSignatures());
    dsig->put_Selector(signature);
    DSigReference ref;
    ASSERT_TRUE(dsig->describeReference(reference, ref));
    _tvLogger log;
    const std::string digest = transformedDigest(*dsig, reference, log);
    EXPECT_EQ(digest == ref.m_digestValue.str(), c.flag("reproduced"))
        << c.where() << "\n"
        << "computed " << digest << " stored " << ref.m_digestValue.str() << "\n"
        << log.renderText();
}

INSTANTIATE_TEST_SUITE_P(Corpus, TransformCorpus, ::testing::ValuesIn(corpusRefs()),
                         [](const auto& info) {
                             return testNameFor(info.param["path"]) + "_sig" +
                                    info.param["signature"] + "_ref" + info.param["reference"];
                         });

// The table above covers every document of these families that the manifest lists.
TEST(TransformCorpusTable, CoversTheManifestFamilies) {
    for (const auto& row : readManifest()) {
        if (row.family != "zatca" && row.family != "sii-dte" && row.family != "ebics" &&
            row.family != "sunat-ubl" && row.family != "wssecurity") {
            continue;
        }
        if (row.expected.rfind("no signature", 0) == 0) continue;
        bool listed = false;
        for (const auto& c : corpusRefs()) listed = listed || row.path == c["path"];
        EXPECT_TRUE(listed) << row.path;
    }
}

}  // namespace
}  // namespace xmldsig::test
