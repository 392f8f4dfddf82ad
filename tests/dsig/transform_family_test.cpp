// Document-family rewrites of the working text: the Chilean SII DTE extraction, the SWIFT
// Alliance LAU removal and the ZATCA invoice transformation.
#include <gtest/gtest.h>

#include <string>

#include "dsig/TransformTestUtil.h"
#include "support/DsigTestUtil.h"
#include "support/TransformTestAccess.h"

namespace xmldsig::test {
namespace {

using Access = TransformTestAccess;

// Two DTE elements in an envelope; a non-ASCII character before them makes byte and character
// offsets differ.
const std::string kDte1 =
    "<DTE version=\"1.0\">\n<Documento ID=\"F60T33\"><Folio>60</Folio>"
    "</Documento>\n<Signature>s</Signature></DTE>";
const std::string kDte2 =
    "<DTE version=\"1.0\"><Documento ID=\"F61T33\"><Folio>61</Folio></Documento></DTE>";
const std::string kEnvio =
    "<?xml version=\"1.0\"?>\n<EnvioDTE xmlns=\"http://www.sii.cl/SiiDte\" "
    "v=\"\xC3\x91\"><SetDTE ID=\"SetDoc\">" +
    kDte1 + "\n" + kDte2 + "</SetDTE></EnvioDTE>";

struct SiiRow {
    const char* name;
    std::string input;
    const char* id;
    std::string expected;
    long offset;  // m_siiDteOffset afterwards (it starts at 0)
};

std::vector<SiiRow> siiRows() {
    const long dte1 = static_cast<long>(kEnvio.find(kDte1));
    const long dte2 = static_cast<long>(kEnvio.find(kDte2));
    const std::string lone = "<DTE version=\"1.0\"><Documento ID=\"A\">x</Documento>";
    return {
        {"DteWithVersionAndTheCharacterAfterIt", kEnvio, "F60T33", kDte1 + "\n", dte1},
        {"SecondDte", kEnvio, "F61T33", kDte2 + "<", dte2},
        {"IdOnAnotherElementKeepsTheWholeText", kEnvio, "SetDoc", kEnvio, 0},
        {"UnknownIdKeepsTheWholeText", kEnvio, "F99", kEnvio, 0},
        {"DteWithoutAttributes", "x<DTE><Documento ID=\"A\">x</Documento></DTE>", "A",
         "x<DTE><Documento ID=\"A\">x</Documento></DTE>", 0},
        {"DocumentoNameMustEndWithABlank", "x<DTE v=\"1\"><DocumentoX ID=\"A\"/></DTE>", "A",
         "x<DTE v=\"1\"><DocumentoX ID=\"A\"/></DTE>", 0},
        {"DteAtOffsetZero", lone + "</DTE>", "A", lone + "</DTE>", 0},
        {"NoDteEndTagRecordsTheOffsetOnly", "x" + lone, "A", "x" + lone, 1},
        {"DteEndsTheText", "x" + lone + "</DTE>", "A", lone + "</DTE>", 1},
    };
}

class TransformSiiDte : public ::testing::TestWithParam<SiiRow> {};

TEST_P(TransformSiiDte, ExtractsTheSignedDte) {
    const SiiRow& row = GetParam();
    auto dsig = newDsig();
    StringBuffer xml(row.input);
    _tvLogger log;
    Access::extractSiiDte(*dsig, xml, row.id, true, log);
    EXPECT_EQ(xml.str(), row.expected);
    EXPECT_EQ(static_cast<long>(Access::siiDteOffset(*dsig)), row.offset);
    const bool extracted = row.expected != row.input;
    EXPECT_EQ(Access::siiDte(*dsig).str(), extracted ? row.expected : "");
}

INSTANTIATE_TEST_SUITE_P(Cases, TransformSiiDte, ::testing::ValuesIn(siiRows()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(TransformSiiDteCopy, KeptOnlyWhenAsked) {
    auto dsig = newDsig();
    StringBuffer xml(kEnvio);
    _tvLogger log;
    Access::extractSiiDte(*dsig, xml, "F60T33", false, log);
    EXPECT_EQ(xml.str(), kDte1 + "\n");
    EXPECT_TRUE(Access::siiDte(*dsig).isEmpty());
}

TEST(TransformPreprocess, ExtractsOnlyForSiiDocuments) {
    for (bool sii : {false, true}) {
        auto dsig = newDsig();
        Access::isSiiCl(*dsig) = sii;
        StringBuffer xml(kEnvio);
        _tvLogger log;
        EXPECT_TRUE(Access::preprocess(*dsig, "F60T33", xml, log));
        EXPECT_EQ(xml.str(), sii ? kDte1 + "\n" : kEnvio);
        EXPECT_EQ(loggedInfo(log, "Preprocessing for www.sii.cl"), sii);
    }
}

TEST(TransformPostProcess, SwiftLauRemovedOnlyUnderTheSaaNamespace) {
    const std::string saa = "<Saa:DataPDU xmlns:Saa=\"urn:swift:saa:xsd:saa.2.0\">";
    const std::string lau = "<LAU xmlns=\"urn:lau\"><Signature>s</Signature></LAU>";
    struct Case {
        const char* name;
        std::string input;
        std::string expected;
    } cases[] = {
        {"Removed", saa + "<Body>b</Body>" + lau + "</Saa:DataPDU>",
         saa + "<Body>b</Body></Saa:DataPDU>"},
        {"OtherNamespaceKeepsIt", "<DataPDU xmlns=\"urn:swift:saa:xsd:saa.1.0\">" + lau + "</x>",
         "<DataPDU xmlns=\"urn:swift:saa:xsd:saa.1.0\">" + lau + "</x>"},
        {"AtOffsetZeroStays", "<LAU>urn:swift:saa:xsd:saa.2.0</LAU>",
         "<LAU>urn:swift:saa:xsd:saa.2.0</LAU>"},
        {"EndTagFirstStays", saa + "</LAU><LAU>", saa + "</LAU><LAU>"},
        {"NoEndTagStays", saa + "<LAU>", saa + "<LAU>"},
    };
    for (const auto& c : cases) {
        auto dsig = newDsig();
        StringBuffer xml(c.input);
        _tvLogger log;
        EXPECT_TRUE(Access::postProcess(*dsig, xml, log));
        EXPECT_EQ(xml.str(), c.expected) << c.name;
        EXPECT_EQ(loggedInfo(log, "Adjusting XML to canonicalized by removing <LAU ... </LAU>"),
                  c.expected != c.input)
            << c.name;
    }
}

TEST(TransformZatcaInvoice, SignedTextOfAnInvoice) {
    const std::string input =
        "\r\n  <?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n \t<Invoice xmlns=\"urn:inv\"\r\n"
        "\txmlns:cac=\"urn:cac\"   xmlns:cbc=\"urn:cbc\"\r\n    xmlns:ext=\"urn:ext\">\r\n"
        "  <ext:UBLExtensions>\r\n<ext:UBLExtension>sig</ext:UBLExtension>\r\n"
        "</ext:UBLExtensions>\r\n  <cbc:ID>1</cbc:ID>\r\n"
        "  <cac:AdditionalDocumentReference>\r\n <cbc:ID>ICV</cbc:ID>\r\n"
        "</cac:AdditionalDocumentReference>\r\n"
        "  <cac:AdditionalDocumentReference>\r\n <cbc:ID>QR</cbc:ID>\r\n"
        "</cac:AdditionalDocumentReference>\r\n"
        "  <cac:Signature>\r\n<cbc:ID>x</cbc:ID>\r\n</cac:Signature>\r\n</Invoice>\r\n";
    const std::string expected =
        "<Invoice xmlns=\"urn:inv\" xmlns:cac=\"urn:cac\" xmlns:cbc=\"urn:cbc\" "
        "xmlns:ext=\"urn:ext\">\n  \n  <cbc:ID>1</cbc:ID>\n"
        "  <cac:AdditionalDocumentReference>\n <cbc:ID>ICV</cbc:ID>\n"
        "</cac:AdditionalDocumentReference>\n  \n  \n</Invoice>";
    auto dsig = newDsig();
    StringBuffer xml(input);
    _tvLogger log;
    EXPECT_TRUE(Access::zatcaInvoice(*dsig, xml, log));
    EXPECT_EQ(xml.str(), expected);
}

TEST(TransformZatcaInvoice, TextWithoutTheMarkersOnlyLosesOuterSpace) {
    const struct {
        std::string input, expected;
    } cases[] = {
        {"  <r>\r\n<a/>\r\n</r>\n", "<r>\n<a/>\n</r>"},
        {"<?xml version=\"1.0\"?>", ""},
        {"<?xml version=\"1.0\"", "<?xml version=\"1.0\""},
        {"<Invoice a=\"1\"\n", "<Invoice a=\"1\""},
        {"", ""},
    };
    auto dsig = newDsig();
    for (const auto& c : cases) {
        StringBuffer xml(c.input);
        _tvLogger log;
        EXPECT_TRUE(Access::zatcaInvoice(*dsig, xml, log));
        EXPECT_EQ(xml.str(), c.expected) << c.input;
    }
}

}  // namespace
}  // namespace xmldsig::test
