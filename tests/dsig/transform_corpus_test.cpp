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

// Every same-document reference of the corpus documents of these families (the ZATCA and
// MyInvois SignedProperties references go through the verifier's own family rules instead).
// A digest that matches proves itself. Each reference that does not match is one that an
// independent tool rejects too: xmlsec1 for the SII, SUNAT and EBICS signatures (checked per
// signature, EBICS with AuthSignature renamed to ds:Signature), the manifest verdict for the
// WS-Security documents, and for ZATCA a computation with the three blocks cut out of the
// text and the rest canonicalized by xmllint, which reproduces exactly the same four invoices.
struct CorpusRef {
    const char* path;
    int signature;
    int reference;
    bool reproduced;
};

const CorpusRef kCorpusRefs[] = {
    {"zatca/mrsool_simplified_invoice_signed.xml", 0, 0, false},
    {"zatca/mrsool_standard_invoice_v2.xml", 0, 0, false},
    {"zatca/sdk_Out_Of_Scope_Simplified_Invoice.xml", 0, 0, true},
    {"zatca/sdk_Sample_Invoice_Advance_Payements__-_2.xml", 0, 0, false},
    {"zatca/sdk_Simplified_Credit_Note_Error.xml", 0, 0, false},
    {"zatca/sdk_Simplified_Debit_Note_Error.xml", 0, 0, false},
    {"zatca/sdk_Simplified_Invoice_Error.xml", 0, 0, false},
    {"zatca/sdk_Standard_Credit_Note.xml", 0, 0, true},
    {"zatca/sdk_Standard_Debit_Note.xml", 0, 0, true},
    {"zatca/sdk_Standard_Invoice.xml", 0, 0, false},
    {"zatca/sdk_Standard_Invoice_USD.xml", 0, 0, true},
    // The same stored digest in different documents: not a digest of either text.
    {"myinvois/1.1-Credit-Note-Sample.xml", 0, 0, false},
    {"myinvois/maesse_signatureOutput.xml", 0, 0, false},
    // The first signature's DTE is followed directly by '<', which the extract keeps.
    {"sii-dte/AEC--76354771-K--33--170--SEQ-2-canonicalized-c14n.xml", 0, 0, false},
    {"sii-dte/AEC--76354771-K--33--170--SEQ-2-canonicalized-c14n.xml", 1, 0, false},
    {"sii-dte/AEC--76354771-K--33--170--SEQ-2-canonicalized-c14n.xml", 2, 0, false},
    {"sii-dte/AEC--76354771-K--33--170--SEQ-2-canonicalized-c14n.xml", 3, 0, false},
    {"sii-dte/AEC--76354771-K--33--170--SEQ-2-canonicalized-c14n.xml", 4, 0, true},
    {"sii-dte/AEC--76399752-9--33--25568--SEQ-1.xml", 0, 0, false},
    {"sii-dte/AEC--76399752-9--33--25568--SEQ-1.xml", 1, 0, false},
    {"sii-dte/AEC--76399752-9--33--25568--SEQ-1.xml", 2, 0, false},
    {"sii-dte/AEC--76399752-9--33--25568--SEQ-1.xml", 3, 0, true},
    {"sii-dte/DTE--60910000-1--33--2336600.xml", 0, 0, true},
    {"sii-dte/DTE--76354771-K--33--170--cleaned-mod-bad-cert.xml", 0, 0, true},
    {"sii-dte/DTE--76354771-K--33--170--cleaned-mod-empty-emails.xml", 0, 0, false},
    {"sii-dte/DTE--76354771-K--33--170--cleaned-mod-replaced-cert.xml", 0, 0, true},
    {"sii-dte/DTE--76354771-K--33--170.xml", 0, 0, false},
    {"sii-dte/DTE--76399752-9--33--25568.xml", 0, 0, false},
    {"sii-dte/DTE--96670340-7--61--110616.xml", 0, 0, true},
    {"sunat-ubl/20000000001-RC-20171119-001.xml", 0, 0, false},
    {"sunat-ubl/20505310072-03-B001-00000088.xml", 0, 0, false},
    {"sunat-ubl/20600995805-RA-20170719-01.xml", 0, 0, true},
    {"sunat-ubl/FACTURAE001-174.xml", 0, 0, false},
    {"sunat-ubl/dte_1513569521004.xml", 0, 0, true},
    {"wssecurity/xmlcrypto_valid_signature_wsu.xml", 0, 0, true},
    {"wssecurity/xmlcrypto_valid_signature_wsu.xml", 0, 1, true},
    {"wssecurity/xmlcrypto_valid_signature_wsu.xml", 0, 2, true},
    {"wssecurity/xmlcrypto_invalid_signature_wsu_changed_content.xml", 0, 0, true},
    {"wssecurity/xmlcrypto_invalid_signature_wsu_changed_content.xml", 0, 1, false},
    {"wssecurity/xmlcrypto_invalid_signature_wsu_changed_content.xml", 0, 2, false},
    {"wssecurity/xmlcrypto_invalid_signature_wsu_invalid_signature_value.xml", 0, 0, true},
    {"wssecurity/xmlcrypto_invalid_signature_wsu_invalid_signature_value.xml", 0, 1, true},
    {"wssecurity/xmlcrypto_invalid_signature_wsu_invalid_signature_value.xml", 0, 2, false},
    {"wssecurity/springws_wss4j2_signed-soap.xml", 0, 0, true},
    {"ebics/epics_cd1_init_response.xml", 0, 0, true},
    {"ebics/epics_cdb_init_response.xml", 0, 0, true},
    {"ebics/epics_sta_response.xml", 0, 0, false},
    {"ebics/epics_upload_init_response.xml", 0, 0, true},
};

class TransformCorpus : public ::testing::TestWithParam<CorpusRef> {};

TEST_P(TransformCorpus, DigestOfTheTransformedText) {
    const CorpusRef& c = GetParam();
    const std::string path(c.path);
    auto dsig = newDsig();
    ClsBinData bd;
    ASSERT_TRUE(bd.LoadFile(corpusPath(path).c_str())) << path;
    ASSERT_TRUE(dsig->LoadSignatureBd(bd)) << dsig->lastErrorText();
    Access::isZatca(*dsig) = path.rfind("zatca/", 0) == 0;
    Access::isMyInvois(*dsig) = path.rfind("myinvois/", 0) == 0;
    ASSERT_LT(c.signature, dsig->get_NumSignatures());
    dsig->put_Selector(c.signature);
    DSigReference ref;
    ASSERT_TRUE(dsig->describeReference(c.reference, ref));
    _tvLogger log;
    const std::string digest = transformedDigest(*dsig, c.reference, log);
    EXPECT_EQ(digest == ref.m_digestValue.str(), c.reproduced)
        << "computed " << digest << " stored " << ref.m_digestValue.str() << "\n"
        << log.renderText();
}

INSTANTIATE_TEST_SUITE_P(Corpus, TransformCorpus, ::testing::ValuesIn(kCorpusRefs),
                         [](const auto& info) {
                             return testNameFor(info.param.path) + "_sig" +
                                    std::to_string(info.param.signature) + "_ref" +
                                    std::to_string(info.param.reference);
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
        for (const auto& c : kCorpusRefs) listed = listed || row.path == c.path;
        EXPECT_TRUE(listed) << row.path;
    }
}

}  // namespace
}  // namespace xmldsig::test
