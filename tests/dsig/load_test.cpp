// Loading, selector and document-family detection of the verifier.
#include <gtest/gtest.h>

#include "host/xml/ClsBinData.h"
#include "host/xml/ClsStringBuilder.h"
#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

std::string signatureElement(const std::string& id) {
    return "<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" Id=\"" + id +
           "\"><ds:SignedInfo><ds:CanonicalizationMethod Algorithm=\"c\"/>"
           "<ds:SignatureMethod Algorithm=\"s\"/><ds:Reference URI=\"#a\">"
           "<ds:DigestValue>AAAA</ds:DigestValue></ds:Reference></ds:SignedInfo>"
           "<ds:SignatureValue>AAAA</ds:SignatureValue></ds:Signature>";
}

std::string docWithSignatures(int n, const std::string& extra = "") {
    std::string s = "<root>" + extra;
    for (int i = 0; i < n; ++i) s += signatureElement("S" + std::to_string(i));
    return s + "</root>";
}

TEST(DsigLoad, SelectorIsClampedIntoRange) {
    struct Case {
        int signatures, put, expected;
    } cases[] = {{3, 5, 2}, {3, -1, 0}, {3, 1, 1}, {3, 2, 2}, {0, 4, 0}, {0, -3, 0}};
    for (const auto& c : cases) {
        auto dsig = newDsig();
        ASSERT_TRUE(loadText(*dsig, docWithSignatures(c.signatures)));
        ASSERT_EQ(dsig->get_NumSignatures(), c.signatures);
        dsig->put_Selector(c.put);
        EXPECT_EQ(dsig->get_Selector(), c.expected) << c.signatures << " signatures, put " << c.put;
    }
    auto empty = newDsig();  // no document at all
    empty->put_Selector(7);
    EXPECT_EQ(empty->get_Selector(), 0);
}

TEST(DsigLoad, LoadingResetsTheSelectorAndTheSignatureList) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, docWithSignatures(3)));
    dsig->put_Selector(2);
    ASSERT_TRUE(loadText(*dsig, docWithSignatures(2)));
    EXPECT_EQ(dsig->get_Selector(), 0);
    EXPECT_EQ(dsig->get_NumSignatures(), 2);

    EXPECT_FALSE(loadText(*dsig, "<root><unclosed></root>"));
    EXPECT_EQ(dsig->get_NumSignatures(), 0);
    EXPECT_EQ(dsig->get_NumReferences(), 0);
    EXPECT_NE(dsig->lastErrorText().find("mismatched tag"), std::string::npos)
        << dsig->lastErrorText();
}

TEST(DsigLoad, FamilyDetectionFirstMatchWins) {
    using F = ClsXmlDSig::FamilyFlags;
    struct Case {
        const char* marker;
        bool F::*flag;
    } cases[] = {
        {"<x a=\"http://www.sii.cl/SiiDte\"/>", &F::siiCl},
        {"<x a=\"urn:sunat:names:specification:ubl:peru:schema:xsd:Sunat\"/>", &F::sunat},
        {"<x a=\"https://www.zus.pl/x\"/>", &F::emulateSortBug},
        {"<x a=\"urn:hl7-org:v3\"/>", &F::emulateSortBug},
        {"<x a=\"http://e-deklaracje.mf.gov.pl/\"/>", &F::emulateSortBug},
        {"<x a=\"https://fascicolosanitario.gov.it\"/>", &F::emulateSortBug},
        {"<x a=\"https://crd.gov.pl/xml\"/>", &F::emulateSortBug},
        {"<x a=\"https://csioz.gov.pl/x\"/>", &F::csioz},
        {"<x a=\"urn:cma:stp:xsd:stp.1.0\"/>", &F::cmaStp},
        {"<x a=\"http://siat.sat.gob.mx\"><doda>1</doda></x>", &F::doda},
    };
    for (const auto& c : cases) {
        auto dsig = newDsig();
        ASSERT_TRUE(loadText(*dsig, docWithSignatures(1, c.marker))) << c.marker;
        EXPECT_TRUE(dsig->familyFlags().*c.flag) << c.marker;
    }
    // SII comes first: a document that also names HL7 gets only the SII treatment.
    auto dsig = newDsig();
    ASSERT_TRUE(
        loadText(*dsig, docWithSignatures(1, "<x a=\"http://www.sii.cl\" b=\"urn:hl7-org:v3\"/>")));
    EXPECT_TRUE(dsig->familyFlags().siiCl);
    EXPECT_TRUE(dsig->familyFlags().noSortBugRetry);
    EXPECT_FALSE(dsig->familyFlags().emulateSortBug);
    // The SAT host alone is not a doda document.
    ASSERT_TRUE(loadText(*dsig, docWithSignatures(1, "<x a=\"http://siat.sat.gob.mx\"/>")));
    EXPECT_FALSE(dsig->familyFlags().doda);
}

TEST(DsigLoad, SkSignedDocIsDetectedBesideAnyFamily) {
    auto dsig = newDsig();
    ASSERT_TRUE(
        loadText(*dsig,
                 "<SignedDoc format=\"DIGIDOC-XML\" version=\"1.3\"><x b=\"urn:hl7-org:v3\" "
                 "c=\"SK-XML\"/>" +
                     signatureElement("S") + "</SignedDoc>"));
    EXPECT_TRUE(dsig->familyFlags().skSignedDoc);
    EXPECT_TRUE(dsig->familyFlags().emulateSortBug);
}

TEST(DsigLoad, ZatcaAndMyInvoisFollowTheOptionsAtTextLoadsOnly) {
    auto dsig = newDsig();
    dsig->put_UncommonOptions(XString("zatca"));  // case-insensitive
    ASSERT_TRUE(loadText(*dsig, docWithSignatures(1)));
    EXPECT_TRUE(dsig->familyFlags().zatca);
    // Family detection runs after the switches and clears the no-retry flag; verification
    // re-reads the switches, which sets it again.
    EXPECT_FALSE(dsig->familyFlags().noSortBugRetry);
    EXPECT_FALSE(dsig->familyFlags().myInvois);

    // Byte loads deliberately leave the switches as the previous load set them.
    dsig->put_UncommonOptions(XString("MyInvois"));
    ClsBinData bd;
    bd.m_data.appendStr(docWithSignatures(1));
    ASSERT_TRUE(dsig->LoadSignatureBd(bd));
    EXPECT_TRUE(dsig->familyFlags().zatca);
    EXPECT_FALSE(dsig->familyFlags().myInvois);

    ClsStringBuilder sb;
    sb.SetString(docWithSignatures(1).c_str());
    ASSERT_TRUE(dsig->LoadSignatureSb(sb));
    EXPECT_FALSE(dsig->familyFlags().zatca);
    EXPECT_TRUE(dsig->familyFlags().myInvois);
}

TEST(DsigLoad, ByteLoadsHonourTheDeclaredEncoding) {
    // "Å" in the reference URI, written in each encoding.
    const std::string body =
        "<root>" + std::string(
                       "<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\">"
                       "<ds:SignedInfo><ds:Reference "
                       "URI=\"#\xC3\x85\"/></ds:SignedInfo></ds:Signature></root>");
    struct Case {
        const char* name;
        std::string bytes;
    };
    std::string latin1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + body;
    latin1.replace(latin1.find("\xC3\x85"), 2, "\xC5");
    std::string cp1252 = "<?xml version=\"1.0\" encoding=\"windows-1252\"?>" + body;
    cp1252.replace(cp1252.find("\xC3\x85"), 2, "\xC5");
    std::string utf16le = "\xFF\xFE";
    for (char c : "<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + body) {
        if (c == '\0') break;
        utf16le.push_back(c);
        utf16le.push_back('\0');
    }
    // Re-encode the two UTF-8 bytes of Å (U+00C5) as one UTF-16 unit.
    auto pos = utf16le.find(std::string("\xC3\0\x85\0", 4));
    ASSERT_NE(pos, std::string::npos);
    utf16le.replace(pos, 4, std::string("\xC5\0", 2));
    const Case cases[] = {{"utf-8", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + body},
                          {"iso-8859-1", latin1},
                          {"windows-1252", cp1252},
                          {"utf-16le bom", utf16le}};
    for (const auto& c : cases) {
        auto dsig = newDsig();
        ClsBinData bd;
        bd.m_data.appendStr(c.bytes);
        ASSERT_TRUE(dsig->LoadSignatureBd(bd)) << c.name << "\n" << dsig->lastErrorText();
        XString uri;
        ASSERT_TRUE(dsig->ReferenceUri(0, uri)) << c.name;
        EXPECT_STREQ(uri.getUtf8(), "#\xC3\x85") << c.name;
    }
}

TEST(DsigLoad, TextThatIsNotUtf8IsReadAsWindows1252) {
    auto dsig = newDsig();
    std::string doc = docWithSignatures(1);
    doc.replace(doc.find("#a"), 2, "#\x80");  // the euro sign in Windows-1252
    ASSERT_TRUE(loadText(*dsig, doc)) << dsig->lastErrorText();
    XString uri;
    ASSERT_TRUE(dsig->ReferenceUri(0, uri));
    EXPECT_STREQ(uri.getUtf8(), "#\xE2\x82\xAC");
}

TEST(DsigLoad, HostileDocumentsFailWithAReason) {
    const std::string bomb =
        "<!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
        "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d "
        "\"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">"
        "<!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\"><!ENTITY f "
        "\"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\">"
        "<!ENTITY g \"&f;&f;&f;&f;&f;&f;&f;&f;&f;&f;\">]><r>&g;&g;&g;&g;&g;&g;&g;&g;</r>";
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "<a>";
    const std::pair<const char*, std::string> cases[] = {
        {"entity expansion", bomb},
        {"deep nesting", deep},
        {"truncated", docWithSignatures(1).substr(0, 120)},
        {"NUL byte", std::string("<root>\0</root>", 14)},
        {"empty", ""},
    };
    for (const auto& [name, text] : cases) {
        auto dsig = newDsig();
        ClsBinData bd;
        bd.m_data.appendStr(text);
        EXPECT_FALSE(dsig->LoadSignatureBd(bd)) << name;
        EXPECT_NE(dsig->lastErrorText().find("Failed to parse XML."), std::string::npos)
            << name << "\n"
            << dsig->lastErrorText();
        EXPECT_EQ(dsig->get_NumSignatures(), 0) << name;
    }
}

}  // namespace
}  // namespace xmldsig::test
