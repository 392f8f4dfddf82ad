// The enveloped-signature transform: which signature is cut out of the working text, and how
// far the cut extends over the signatures that follow it.
#include <gtest/gtest.h>

#include <string>

#include "dsig/TransformTestUtil.h"
#include "support/DataTable.h"
#include "support/DsigTestUtil.h"
#include "support/TransformTestAccess.h"

namespace xmldsig::test {
namespace {

using Access = TransformTestAccess;

const std::string kDsigNs = "http://www.w3.org/2000/09/xmldsig#";

// A signature whose single reference carries the digest text; the namespace comes from the
// document element unless declared here.
std::string sig(const std::string& id, const std::string& digest,
                const std::string& tag = "ds:", const std::string& decl = "") {
    const std::string idAttr = id.empty() ? "" : " Id=\"" + id + "\"";
    return "<" + tag + "Signature" + decl + idAttr + "><" + tag + "SignedInfo><" + tag +
           "Reference URI=\"\"><" + tag + "DigestValue>" + digest + "</" + tag + "DigestValue></" +
           tag + "Reference></" + tag + "SignedInfo><" + tag + "SignatureValue>v</" + tag +
           "SignatureValue></" + tag + "Signature>";
}

std::string doc(const std::string& inside) {
    return "<root xmlns:ds=\"" + kDsigNs + "\"><data>1</data>" + inside + "</root>";
}

class TransformEnvelopedFollowing : public ::testing::TestWithParam<DataRow> {};

TEST_P(TransformEnvelopedFollowing, RemovesOnlyAdjacentSignatures) {
    const DataRow& row = GetParam();
    auto dsig = newDsig();
    const std::string text = doc(sig("S1", "D1") + row["after"]);
    ASSERT_TRUE(loadText(*dsig, text)) << dsig->lastErrorText();
    StringBuffer xml(text);
    DSigReference ref;
    _tvLogger log;
    EXPECT_TRUE(Access::enveloped(*dsig, xml, ref, log));
    EXPECT_EQ(xml.str(), doc(row["left"])) << log.renderText();
}

INSTANTIATE_TEST_SUITE_P(Cases, TransformEnvelopedFollowing,
                         ::testing::ValuesIn(loadTable("dsig/enveloped_following.tsv")),
                         [](const auto& info) { return info.param["name"]; });

TEST(TransformEnveloped, WithoutIdTheSignatureIsFoundByItsDigest) {
    auto dsig = newDsig();
    const std::string text = doc(sig("", "D1") + sig("", "D2"));
    ASSERT_TRUE(loadText(*dsig, text));
    DSigReference ref;
    ref.m_digestValue.setString("D1");
    StringBuffer xml(text);
    _tvLogger log;
    log.m_verboseLogging = true;
    EXPECT_TRUE(Access::enveloped(*dsig, xml, ref, log));
    EXPECT_EQ(loggedValue(log, "removeSignatureHavingDigest"), "D1");
    EXPECT_EQ(xml.str(), doc(""));
}

TEST(TransformEnveloped, SignatureNotFoundLeavesTheTextAlone) {
    struct Case {
        const char* name;
        std::string loaded;   // the document the signature is selected from
        std::string working;  // the text handed to the transform
        const char* digest;
        const char* info;
        const char* error;
    } cases[] = {
        {"IdNotInText", doc(sig("S1", "D1")), doc(sig("S9", "D1")), "D1",
         "Unable to find the Signature by Id. (This is not an error)", nullptr},
        {"DigestNotInText", doc(sig("", "D1")), doc(sig("", "D1")), "NOPE", nullptr,
         "Unable to find Signature by digest value for enveloped-signature.."},
        {"DuplicateIdIsAmbiguous", doc(sig("S1", "D1")), doc(sig("S1", "D1") + "<x Id=\"S1\"/>"),
         "D1", "Unable to find the Signature by Id. (This is not an error)", nullptr},
    };
    for (const auto& c : cases) {
        auto dsig = newDsig();
        ASSERT_TRUE(loadText(*dsig, c.loaded)) << c.name;
        DSigReference ref;
        ref.m_digestValue.setString(c.digest);
        StringBuffer xml(c.working);
        _tvLogger log;
        EXPECT_TRUE(Access::enveloped(*dsig, xml, ref, log)) << c.name;
        EXPECT_EQ(xml.str(), c.working) << c.name;
        if (c.info) EXPECT_TRUE(loggedInfo(log, c.info)) << c.name << "\n" << log.renderText();
        if (c.error) EXPECT_TRUE(loggedError(log, c.error)) << c.name << "\n" << log.renderText();
    }
}

TEST(TransformEnveloped, ZatcaSignatureIdLeftToTheXPathTransforms) {
    const std::string text = doc(sig("signature", "D1"));
    for (bool zatca : {true, false}) {
        auto dsig = newDsig();
        ASSERT_TRUE(loadText(*dsig, text));
        Access::isZatca(*dsig) = zatca;
        StringBuffer xml(text);
        DSigReference ref;
        _tvLogger log;
        EXPECT_TRUE(Access::enveloped(*dsig, xml, ref, log));
        EXPECT_EQ(xml.str(), zatca ? text : doc("")) << "zatca " << zatca;
    }
}

TEST(TransformEnveloped, AtMostOneHundredFollowersGo) {
    std::string run = sig("S0", "D0");
    for (int i = 1; i <= 101; ++i) run += sig("S" + std::to_string(i), "D" + std::to_string(i));
    const std::string text = doc(run);
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, text));
    StringBuffer xml(text);
    DSigReference ref;
    _tvLogger log;
    EXPECT_TRUE(Access::enveloped(*dsig, xml, ref, log));
    EXPECT_EQ(xml.str(), doc(sig("S101", "D101")));
}

TEST(TransformEnveloped, SpanOutsideTheTextRemovesNothing) {
    auto dsig = newDsig();
    const std::string text = doc(sig("S1", "D1"));
    struct Case {
        unsigned start, length;
    } cases[] = {{static_cast<unsigned>(text.size()), 1}, {5, 0xFFFFFFF0u}};
    for (const auto& c : cases) {
        StringBuffer xml(text);
        _tvLogger log;
        EXPECT_TRUE(Access::removeSignatureAndFollowing(*dsig, xml, c.start, c.length, log));
        EXPECT_EQ(xml.str(), text);
        EXPECT_TRUE(loggedError(log, "The signature span lies outside the text."));
    }
}

}  // namespace
}  // namespace xmldsig::test

namespace xmldsig::test {
namespace {

// The reference driver leaves the signatures out of the canonical walk over the loaded tree
// instead of cutting them from the text and parsing again: the bytes, the verdict and the log
// must be those of the cut text, including where the tree cannot stand in for it (the
// signature is the document element, the fragment lies inside the signature).
TEST(TransformEnveloped, LeftOutSignaturesCanonicalizeLikeTheCutText) {
    const std::string object = "<ds:Object Id=\"O\">in</ds:Object>";
    const std::string withObject = sig("S1", "D1");
    const std::string signedObject =
        withObject.substr(0, withObject.size() - 15) + object + "</ds:Signature>";
    struct Case {
        const char* name;
        std::string text;
        const char* uri;
    } cases[] = {
        {"WholeDocument", doc("<a b=\"1\">x</a>" + sig("S1", "D1") + sig("S2", "D2") + "<c/>"), ""},
        {"FragmentBesideSignature", doc("<a Id=\"A\" xml:lang=\"en\">" + sig("S1", "D1") + "</a>"),
         "A"},
        {"FragmentInsideSignature", doc(signedObject), "O"},
        {"SignatureIsTheRoot",
         "<ds:Signature xmlns:ds=\"" + kDsigNs + "\" Id=\"S1\"><ds:SignedInfo/></ds:Signature>",
         ""},
        {"XPointerRoot", doc("<!-- c -->" + sig("S1", "D1")), "xpointer(/)"},
    };
    const char* const algorithms[] = {"REC-xml-c14n-20010315", "xml-exc-c14n#WithComments"};
    for (const auto& c : cases) {
        for (const char* algorithm : algorithms) {
            SCOPED_TRACE(std::string(c.name) + " " + algorithm);
            auto dsig = newDsig();
            ASSERT_TRUE(loadText(*dsig, c.text));
            DSigReference ref;
            ref.m_digestValue.setString("D1");
            StringBuffer cut(c.text), walked(c.text);
            _tvLogger cutLog, walkLog;
            bool cutOk = Access::enveloped(*dsig, cut, ref, cutLog);
            cutOk = cutOk && Access::canonicalize(*dsig, nullptr, cut, algorithm, c.uri, cutLog);
            const bool walkedOk =
                Access::envelopedThenCanonicalize(*dsig, walked, ref, algorithm, c.uri, walkLog);
            EXPECT_EQ(walkedOk, cutOk);
            EXPECT_EQ(walked.str(), cut.str());
            EXPECT_EQ(walkLog.renderText(), cutLog.renderText());
        }
    }
}

}  // namespace
}  // namespace xmldsig::test
