// The XPath transform: the expressions signers write, each carried out as a text removal, and
// the failures for everything else.
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>

#include "dsig/TransformTestUtil.h"
#include "dsig/detail/XmlChunks.h"
#include "support/DsigTestUtil.h"
#include "support/TransformTestAccess.h"

namespace xmldsig::test {
namespace {

using Access = TransformTestAccess;

const char* const kXPath = "http://www.w3.org/TR/1999/REC-xpath-19991116";
const char* const kFilter2 = "http://www.w3.org/2002/06/xmldsig-filter2";

const std::string kSig =
    "<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:SignedInfo/>"
    "</ds:Signature>";
const std::string kQrRef =
    "<cac:AdditionalDocumentReference><cbc:ID>QR</cbc:ID><cbc:X>q</cbc:X>"
    "</cac:AdditionalDocumentReference>";
const std::string kPihRef =
    "<cac:AdditionalDocumentReference><cbc:ID>PIH</cbc:ID></cac:AdditionalDocumentReference>";
const std::string kExt =
    "<ext:UBLExtensions><ext:UBLExtension>e</ext:UBLExtension>"
    "</ext:UBLExtensions>";

std::string filter2Transform(const std::string& first, const std::string& second = "") {
    const auto child = [](const std::string& spec) {
        const std::size_t bar = spec.find('|');
        return "<XPath xmlns=\"http://www.w3.org/2002/06/xmldsig-filter2\" Filter=\"" +
               spec.substr(0, bar) + "\">" + spec.substr(bar + 1) + "</XPath>";
    };
    return std::string("<ds:Transform xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" ") +
           "Algorithm=\"" + kFilter2 + "\">" + child(first) +
           (second.empty() ? "" : child(second)) + "</ds:Transform>";
}

struct XPathRow {
    const char* name;
    const char* algorithm;
    std::string transform;  // Transform element text; empty for none
    std::string xpath;
    bool myInvois;
    std::string input;
    std::string expected;
    bool result;
    const char* logKey;  // "commonXPathOption" or "unhandledXPath"
    const char* logValue;
};

std::vector<XPathRow> xpathRows() {
    const std::string ublExtSubtract =
        "subtract|here()/ancestor::ext:UBLExtensions/ext:UBLExtension[2]";
    return {
        {"AllSignaturesRemoved", kXPath, "", "not(ancestor-or-self::ds:Signature)", false,
         "<r><a/>" + kSig + "<b/>" + kSig + "</r>", "<r><a/><b/></r>", true, "commonXPathOption",
         "1"},
        {"OnlyUblSignatureBlocksRemoved", kXPath, "", "not(//ancestor-or-self::cac:Signature)",
         false,
         "<r><cac:Signature>x</cac:Signature><c/>" + kSig + "<cac:Signature>y" +
             "</cac:Signature></r>",
         "<r><c/>" + kSig + "</r>", true, "commonXPathOption", "1"},
        {"SignatureRemoverFailureFails", kXPath, "", "not(ancestor-or-self::ds:Signature)", false,
         "<r>" + kSig, "", false, "commonXPathOption", "1"},
        {"NextMshElementsRemoved", kXPath, "",
         "not(ancestor-or-self::node()[@SOAP:actor=\"urn:oasis:names:tc:ebxml-msg:actor:"
         "nextMSH\"])",
         false,
         "<S:Header><eb:Via S:actor=\"urn:oasis:names:tc:ebxml-msg:actor:nextMSH\">v</eb:Via>"
         "<eb:MessageHeader/></S:Header>",
         "<S:Header><eb:MessageHeader/></S:Header>", true, "commonXPathOption", "2"},
        {"OneUblDocumentSignaturesBlockRemoved", kXPath, "",
         "count(ancestor-or-self::sig:UBLDocumentSignatures | "
         "here()/ancestor::sig:UBLDocumentSignatures[1]) > "
         "count(ancestor-or-self::sig:UBLDocumentSignatures)",
         false,
         "<r><sig:UBLDocumentSignatures>1</sig:UBLDocumentSignatures><x/>"
         "<sig:UBLDocumentSignatures>2</sig:UBLDocumentSignatures></r>",
         "<r><x/><sig:UBLDocumentSignatures>2</sig:UBLDocumentSignatures></r>", true,
         "commonXPathOption", "3"},
        {"Filter2SubtractSignatures", kFilter2,
         filter2Transform("subtract|/descendant::ds:Signature"), "/descendant::ds:Signature", false,
         "<r>" + kSig + "<a/></r>", "<r><a/></r>", true, "commonXPathOption", "4"},
        {"Filter2SubtractSignaturesByName", kFilter2,
         filter2Transform("subtract|/descendant::*[name()='ds:Signature']"),
         "/descendant::*[name()='ds:Signature']", false, "<r>" + kSig + "<a/></r>", "<r><a/></r>",
         true, "commonXPathOption", "4"},
        {"Filter2IntersectSignaturesUnhandled", kFilter2,
         filter2Transform("intersect|/descendant::ds:Signature"), "/descendant::ds:Signature",
         false, "<r>" + kSig + "</r>", "<r>" + kSig + "</r>", false, "unhandledXPath", "1"},
        {"Filter2UblExtensionsFromSecondChild", kFilter2,
         filter2Transform("intersect|/", ublExtSubtract), "/", false,
         "<r>" + kExt + "<a/>" + kExt + "</r>", "<r><a/>" + kExt + "</r>", true,
         "commonXPathOption", "5"},
        {"Filter2UblExtensionsOnFirstChildOnlyUnhandled", kFilter2,
         filter2Transform(ublExtSubtract, "intersect|/"),
         "here()/ancestor::ext:UBLExtensions/ext:UBLExtension[2]", false, "<r>" + kExt + "</r>",
         "<r>" + kExt + "</r>", false, "unhandledXPath", "3"},
        {"Filter2SingleChildUnhandled", kFilter2, filter2Transform("subtract|/"), "/", false,
         "<r>" + kExt + "</r>", "<r>" + kExt + "</r>", false, "unhandledXPath", "3"},
        {"QrReferenceRemoved", kXPath, "",
         "not(//ancestor-or-self::cac:AdditionalDocumentReference[cbc:ID='QR'])", false,
         "<r>" + kPihRef + kQrRef + "<a/></r>", "<r>" + kPihRef + "<a/></r>", true,
         "commonXPathOption", "6"},
        {"QrReferenceRemovedWhateverIdIsNamed", kXPath, "",
         "not(//ancestor-or-self::cac:AdditionalDocumentReference[cbc:ID='PIH'])", false,
         "<r>" + kPihRef + kQrRef + "</r>", "<r>" + kPihRef + "</r>", true, "commonXPathOption",
         "6"},
        {"EveryUblExtensionsBlockRemoved", kXPath, "", "not(//ancestor-or-self::ext:UBLExtensions)",
         false, "<r>" + kExt + "<a/>" + kExt + "</r>", "<r><a/></r>", true, "commonXPathOption",
         "7"},
        {"MyInvoisRemovesOnlyTheSecondBlock", kXPath, "",
         "not(//ancestor-or-self::ext:UBLExtensions)", true,
         "<r>" + kExt + "<a/>" + kExt + "<b/></r>", "<r>" + kExt + "<a/><b/></r>", true,
         "commonXPathOption", "7"},
        {"MyInvoisWithOneBlockRemovesIt", kXPath, "", "not(//ancestor-or-self::ext:UBLExtensions)",
         true, "<r>" + kExt + "<a/></r>", "<r><a/></r>", true, "commonXPathOption", "7"},
        {"MyInvoisRuleOnlyForUblExtensions", kXPath, "", "not(//ancestor-or-self::x:Y)", true,
         "<r><x:Y>1</x:Y><x:Y>2</x:Y></r>", "<r></r>", true, "commonXPathOption", "7"},
        {"UnknownExpressionFails", kXPath, "", "count(//x)", false, "<r><x/></r>", "<r><x/></r>",
         false, "unhandledXPath", "2"},
    };
}

class TransformXPath : public ::testing::TestWithParam<XPathRow> {};

TEST_P(TransformXPath, RemovesWhatTheExpressionExcludes) {
    const XPathRow& row = GetParam();
    auto dsig = newDsig();
    Access::isMyInvois(*dsig) = row.myInvois;
    XmlPtr transform = parseElement(row.transform);
    ASSERT_EQ(transform == nullptr, row.transform.empty());
    StringBuffer xml(row.input);
    _tvLogger log;
    EXPECT_EQ(Access::xpath(*dsig, transform.get(), xml, row.algorithm, row.xpath.c_str(), log),
              row.result);
    EXPECT_EQ(xml.str(), row.expected);
    EXPECT_EQ(loggedValue(log, row.logKey), row.logValue) << log.renderText();
    _tvLogger boolForm;  // however the log spells a boolean
    boolForm.LogDataBool("v", row.result);
    EXPECT_EQ(loggedValue(log, "transformXPathSuccess"), loggedValue(boolForm, "v"));
    EXPECT_EQ(loggedValue(log, "xPath"), row.xpath);
}

INSTANTIATE_TEST_SUITE_P(Cases, TransformXPath, ::testing::ValuesIn(xpathRows()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(TransformXPathLog, CaseInfoLinesAndBuiltTags) {
    auto dsig = newDsig();
    {
        StringBuffer xml("<r>" + kQrRef + "</r>");
        _tvLogger log;
        Access::xpath(*dsig, nullptr, xml, kXPath,
                      "not(//ancestor-or-self::cac:AdditionalDocumentReference[cbc:ID='PIH'])",
                      log);
        EXPECT_TRUE(loggedInfo(log, "Matched not(//ancestor-or-self::*[*ID='*'])"));
        EXPECT_EQ(loggedValue(log, "startTag"), "<cac:AdditionalDocumentReference>");
        EXPECT_EQ(loggedValue(log, "endTag"), "</cac:AdditionalDocumentReference>");
        EXPECT_EQ(loggedValue(log, "mustContain"), "<cbc:ID>PIH</cbc:ID>");
    }
    {
        StringBuffer xml("<r>" + kSig + "</r>");
        _tvLogger log;
        Access::xpath(*dsig, nullptr, xml, kXPath, "not(ancestor-or-self::ds:Signature)", log);
        EXPECT_TRUE(loggedInfo(log, "removing all Signatures from the XML to be canonicalized"));
    }
    {
        StringBuffer xml("<r/>");
        _tvLogger log;
        Access::xpath(*dsig, nullptr, xml, kXPath, "not(//ancestor-or-self::ext:UBLExtensions)",
                      log);
        EXPECT_TRUE(loggedInfo(log, "Matched not(//ancestor-or-self::*)"));
        EXPECT_EQ(loggedValue(log, "startTag"), "<ext:UBLExtensions>");
        EXPECT_EQ(loggedValue(log, "endTag"), "</ext:UBLExtensions>");
    }
    {
        StringBuffer xml("<r/>");
        _tvLogger log;
        Access::xpath(*dsig, nullptr, xml, kXPath, "ancestor-or-self::sig:UBLDocumentSignatures",
                      log);
        EXPECT_TRUE(loggedInfo(log, "Found UBLDocumentSignatures transform."));
    }
}

// An expression that fits the pattern but lacks tokens reads them as empty text.
TEST(TransformXPathLog, MissingTokensReadAsEmpty) {
    auto dsig = newDsig();
    StringBuffer xml("<r><a/></r>");
    _tvLogger log;
    EXPECT_TRUE(
        Access::xpath(*dsig, nullptr, xml, kXPath, "not(//ancestor-or-self::a[ID=''])", log));
    EXPECT_EQ(loggedValue(log, "commonXPathOption"), "6");
    EXPECT_EQ(loggedValue(log, "startTag"), "<a:ID>");
    EXPECT_EQ(loggedValue(log, "mustContain"), "<'':)></'':)>");
    EXPECT_EQ(xml.str(), "<r><a/></r>");
}

TEST(TransformXPathCaps, AtMostOneHundredBlocksGo) {
    auto dsig = newDsig();
    std::string qr, ext;
    for (int i = 0; i < 101; ++i) {
        qr += kQrRef;
        ext += kExt;
    }
    struct Case {
        std::string input, xpath, left;
    } cases[] = {
        {"<r>" + ext + "</r>", "not(//ancestor-or-self::ext:UBLExtensions)", "<r>" + kExt + "</r>"},
        {"<r>" + qr + "</r>",
         "not(//ancestor-or-self::cac:AdditionalDocumentReference[cbc:ID='QR'])",
         "<r>" + kQrRef + "</r>"},
    };
    for (const auto& c : cases) {
        StringBuffer xml(c.input);
        _tvLogger log;
        EXPECT_TRUE(Access::xpath(*dsig, nullptr, xml, kXPath, c.xpath.c_str(), log));
        EXPECT_EQ(xml.str(), c.left) << c.xpath;
    }
}

struct ChunkRow {
    const char* input;
    const char* mustContain;  // null: removeXmlChunk
    bool removed;
    const char* expected;
};

TEST(TransformXmlChunk, RemovesTheFirstQualifyingSpan) {
    const ChunkRow rows[] = {
        {"x<a>1</a>y<a>2</a>", nullptr, true, "xy<a>2</a>"},
        {"<a>1<a>2</a>3</a>", nullptr, true, "3</a>"},
        {"</a>x<a>", nullptr, false, "</a>x<a>"},
        {"<a>open", nullptr, false, "<a>open"},
        {"plain", nullptr, false, "plain"},
        {"<a>1</a><a>QR</a><a>QR</a>", "QR", true, "<a>1</a><a>QR</a>"},
        {"<a>1</a><a>2</a>", "QR", false, "<a>1</a><a>2</a>"},
        {"<a>Q</a>R", "QR", false, "<a>Q</a>R"},
    };
    auto dsig = newDsig();
    for (const auto& row : rows) {
        StringBuffer xml(row.input);
        _tvLogger log;
        const bool removed =
            row.mustContain == nullptr
                ? Access::removeXmlChunk(*dsig, "<a>", "</a>", xml, log)
                : Access::removeXmlChunkContaining(*dsig, "<a>", "</a>", row.mustContain, xml, log);
        EXPECT_EQ(removed, row.removed) << row.input;
        EXPECT_EQ(xml.str(), row.expected) << row.input;
    }
}

// The one-pass removal gives what the host's delimited removal gives, on every arrangement of
// markers and text.
TEST(TransformXmlChunk, AgreesWithTheHostDelimitedRemoval) {
    const char* const pieces[] = {"<a>", "</a>", "QR", "Q", "R", "x"};
    std::mt19937 rng(20240611);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (int n = static_cast<int>(rng() % 12); n > 0; --n) text += pieces[rng() % 6];
        StringBuffer ours(text), host(text);
        const bool removed = detail::removeChunkContaining(ours, "<a>", "</a>", "QR");
        EXPECT_EQ(removed, host.removeDelimitedIfContains("<a>", "</a>", "QR", true, true)) << text;
        EXPECT_EQ(ours.str(), host.str()) << text;
    }
}

// Many start markers sharing one far end marker, the wanted text just past it: a scan per
// marker would take hours; the removal answers at once.
TEST(TransformXmlChunk, ManyStartMarkersStayLinear) {
    std::string text;
    for (int i = 0; i < 300000; ++i) text += "<a>";
    text += "</a>QR";
    const auto began = std::chrono::steady_clock::now();
    StringBuffer xml(text);
    EXPECT_FALSE(detail::removeChunkContaining(xml, "<a>", "</a>", "QR"));
    EXPECT_EQ(xml.getSize(), text.size());
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
}

}  // namespace
}  // namespace xmldsig::test
