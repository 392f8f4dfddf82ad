// SignedInfo and reference accessors, the external-data store, and the canonicalization front
// ends of the verifier.
#include <gtest/gtest.h>

#include "host/xml/ClsBinData.h"
#include "host/xml/ClsStringBuilder.h"
#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

const char kTwoReferences[] =
    "<root xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:Signature Id=\"sig1\">"
    "<ds:SignedInfo><ds:CanonicalizationMethod "
    "Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\">"
    "<ec:InclusiveNamespaces xmlns:ec=\"http://www.w3.org/2001/10/xml-exc-c14n#\" PrefixList=\"ds "
    "xs\"/>"
    "</ds:CanonicalizationMethod>"
    "<ds:SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256\"/>"
    "<ds:Reference URI=\"\"><ds:DigestMethod "
    "Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/>"
    "<ds:DigestValue>\n   AbCd\r\n\tEfGh ==\n</ds:DigestValue></ds:Reference>"
    "<ds:Reference><ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha512\"/>"
    "<ds:DigestValue>x</ds:DigestValue></ds:Reference>"
    "<ds:Reference URI=\"#frag\"/><ds:Reference URI=\"invoice.pdf\"/>"
    "<ds:Reference URI=\"http://example.com/a.xml\"/>"
    "</ds:SignedInfo><ds:SignatureValue>QUJD&amp;#13;\nREVG</ds:SignatureValue></ds:Signature></"
    "root>";

TEST(DsigReferences, ReferenceUrisAndExternalness) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, kTwoReferences));
    EXPECT_EQ(dsig->get_NumReferences(), 5);
    struct Case {
        int index;
        bool exists;
        const char* uri;
        bool external;
    } cases[] = {{0, true, "", false},
                 {1, true, "", false},
                 {2, true, "#frag", false},
                 {3, true, "invoice.pdf", true},
                 {4, true, "http://example.com/a.xml", true},
                 {5, false, "", false},
                 {-1, false, "", false}};
    for (const auto& c : cases) {
        XString uri("stale");
        EXPECT_EQ(dsig->ReferenceUri(c.index, uri), c.exists) << c.index;
        EXPECT_STREQ(uri.getUtf8(), c.uri) << c.index;
        EXPECT_EQ(dsig->IsReferenceExternal(c.index), c.external) << c.index;
    }
    XString uri;
    dsig->ReferenceUri(7, uri);
    EXPECT_NE(dsig->lastErrorText().find("No Reference element at the requested index."),
              std::string::npos);
}

TEST(DsigReferences, ParsedReferenceFields) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, kTwoReferences));
    DSigReference first, second;
    ASSERT_TRUE(dsig->describeReference(0, first));
    ASSERT_TRUE(dsig->describeReference(1, second));
    EXPECT_FALSE(first.m_uriOmitted);  // URI="" is present, just empty
    EXPECT_TRUE(second.m_uriOmitted);
    EXPECT_EQ(first.m_digestValue.str(), "AbCdEfGh==");
    EXPECT_EQ(first.getHashAlg(), 7);
    EXPECT_EQ(second.getHashAlg(), 3);

    struct HashCase {
        const char* method;
        int id;
    } hashes[] = {{"http://www.w3.org/2001/04/xmlenc#SHA256", 7},
                  {"http://www.w3.org/2001/04/xmldsig-more#sha384", 2},
                  {"http://www.w3.org/2001/04/xmldsig-more#md5", 5},
                  {"http://www.w3.org/2001/04/xmlenc#ripemd160", 10},
                  {"http://www.w3.org/2000/09/xmldsig#sha1", 1},
                  {"", 1},
                  {"urn:unknown", 1}};
    for (const auto& h : hashes) {
        DSigReference r;
        r.m_digestMethod.setString(h.method);
        EXPECT_EQ(r.getHashAlg(), h.id) << h.method;
    }
}

TEST(DsigReferences, ExternalDataIndexBounds) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, kTwoReferences));
    XString path("/tmp/x");
    EXPECT_TRUE(dsig->SetRefDataFile(100, path));
    EXPECT_TRUE(dsig->SetRefDataFile(0, path));
    EXPECT_FALSE(dsig->SetRefDataFile(101, path));
    EXPECT_FALSE(dsig->SetRefDataFile(-1, path));
    ClsBinData bd;
    bd.m_data.appendStr("abc");
    EXPECT_TRUE(dsig->SetRefDataBd(3, bd));
    EXPECT_FALSE(dsig->SetRefDataBd(1000, bd));
    ClsStringBuilder sb;
    sb.SetString("caf\xC3\xA9");
    EXPECT_TRUE(dsig->SetRefDataSb(3, sb, XString("iso-8859-1")));
    EXPECT_NE(dsig->lastErrorText().find("Success."), std::string::npos);
}

TEST(DsigCanonicalize, VersionWordSelectsTheMethod) {
    // The apex's unused inherited namespace shows which method ran.
    const char* doc = "<a xmlns:u=\"urn:unused\"><b Id=\"x\">t</b></a>";
    const std::string inclusive = "<b xmlns:u=\"urn:unused\" Id=\"x\">t</b>";
    const std::string exclusive = "<b Id=\"x\">t</b>";
    struct Case {
        const char* version;
        const std::string& expected;
    } cases[] = {{" EXCL_C14N ", exclusive}, {"excl_c14n", exclusive}, {"C14N", inclusive},
                 {"c14n_11", inclusive},     {"", inclusive},          {"anything", inclusive}};
    auto dsig = newDsig();
    for (const auto& c : cases) {
        XString out;
        ASSERT_TRUE(dsig->CanonicalizeFragment(XString(doc), XString("x"), XString(c.version),
                                               XString(""), false, out))
            << c.version;
        EXPECT_EQ(std::string(out.getUtf8()), c.expected) << c.version;
    }
}

TEST(DsigCanonicalize, PrefixListOnlyForExclusive) {
    const char* doc =
        "<a xmlns:ds=\"urn:ds\" xmlns:xs=\"urn:xs\" xmlns:z=\"urn:z\"><b Id=\"x\"/></a>";
    auto dsig = newDsig();
    XString out;
    ASSERT_TRUE(dsig->CanonicalizeFragment(XString(doc), XString("x"), XString("excl_c14n"),
                                           XString("ds  xs"), false, out));
    EXPECT_STREQ(out.getUtf8(), "<b xmlns:ds=\"urn:ds\" xmlns:xs=\"urn:xs\" Id=\"x\"></b>");
    ASSERT_TRUE(dsig->CanonicalizeFragment(XString(doc), XString("x"), XString("c14n"),
                                           XString("ds"), false, out));
    EXPECT_STREQ(out.getUtf8(),
                 "<b xmlns:ds=\"urn:ds\" xmlns:xs=\"urn:xs\" xmlns:z=\"urn:z\" Id=\"x\"></b>");
}

TEST(DsigCanonicalize, FailuresLeaveTheOutputEmpty) {
    auto dsig = newDsig();
    XString out("old");
    EXPECT_FALSE(dsig->CanonicalizeFragment(XString("<a Id=\"x\"/>"), XString("nope"),
                                            XString("c14n"), XString(""), false, out));
    EXPECT_TRUE(out.isEmpty());
    const std::string log = dsig->lastErrorText();
    EXPECT_NE(log.find("fragmentId: nope"), std::string::npos) << log;

    out.setFromUtf8("old");
    EXPECT_FALSE(dsig->CanonicalizeFragment(XString("<a><b Id=\"x\"/><c Id=\"x\"/></a>"),
                                            XString("x"), XString("c14n"), XString(""), false,
                                            out));
    EXPECT_TRUE(out.isEmpty());
    EXPECT_NE(dsig->lastErrorText().find("x"), std::string::npos);

    EXPECT_FALSE(dsig->CanonicalizeXml(XString("<a>"), XString(""), false, out));
    EXPECT_TRUE(out.isEmpty());
}

TEST(DsigCanonicalize, WholeDocumentWithAndWithoutComments) {
    auto dsig = newDsig();
    XString out;
    const char* doc = "<?xml version=\"1.0\"?>\n<!--c--><a b='1'  a='2'><!--in--></a>";
    ASSERT_TRUE(dsig->CanonicalizeXml(XString(doc), XString(""), true, out));
    EXPECT_STREQ(out.getUtf8(), "<!--c-->\n<a a=\"2\" b=\"1\"><!--in--></a>");
    ASSERT_TRUE(dsig->CanonicalizeXml(XString(doc), XString(""), false, out));
    EXPECT_STREQ(out.getUtf8(), "<a a=\"2\" b=\"1\"></a>");
}

}  // namespace
}  // namespace xmldsig::test
