// The XPath transform: the expressions signers write, each carried out as a text removal, and
// the failures for everything else.
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>

#include "dsig/TransformTestUtil.h"
#include "dsig/detail/XmlChunks.h"
#include "support/DataTable.h"
#include "support/DsigTestUtil.h"
#include "support/TransformTestAccess.h"

namespace xmldsig::test {
namespace {

using Access = TransformTestAccess;

const char* const kXPath = "http://www.w3.org/TR/1999/REC-xpath-19991116";
const char* const kFilter2 = "http://www.w3.org/2002/06/xmldsig-filter2";

const std::string kQrRef =
    "<cac:AdditionalDocumentReference><cbc:ID>QR</cbc:ID><cbc:X>q</cbc:X>"
    "</cac:AdditionalDocumentReference>";
const std::string kExt =
    "<ext:UBLExtensions><ext:UBLExtension>e</ext:UBLExtension>"
    "</ext:UBLExtensions>";

// A Filter 2.0 Transform element with one or two XPath children, each given as Filter|expression.
std::string filter2Transform(const std::string& first, const std::string& second) {
    const auto child = [](const std::string& spec) {
        const std::size_t bar = spec.find('|');
        return "<XPath xmlns=\"http://www.w3.org/2002/06/xmldsig-filter2\" Filter=\"" +
               spec.substr(0, bar) + "\">" + spec.substr(bar + 1) + "</XPath>";
    };
    return std::string("<ds:Transform xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" ") +
           "Algorithm=\"" + kFilter2 + "\">" + child(first) +
           (second.empty() ? "" : child(second)) + "</ds:Transform>";
}

class TransformXPath : public ::testing::TestWithParam<DataRow> {};

TEST_P(TransformXPath, RemovesWhatTheExpressionExcludes) {
    const DataRow& row = GetParam();
    auto dsig = newDsig();
    Access::isMyInvois(*dsig) = row.flag("myinvois");
    const bool filter2 = row["algorithm"] == "filter2";
    XmlPtr transform =
        filter2 ? parseElement(filter2Transform(row["filter"], row["filter_second"])) : nullptr;
    ASSERT_EQ(transform == nullptr, !filter2);
    StringBuffer xml(row["input"]);
    _tvLogger log;
    const bool result = Access::xpath(*dsig, transform.get(), xml, filter2 ? kFilter2 : kXPath,
                                      row["xpath"].c_str(), log);
    EXPECT_EQ(xml.str(), row["expected"]);
    EXPECT_EQ(loggedValue(log, "xPath"), row["xpath"]);
    if (!row["info"].empty()) EXPECT_TRUE(loggedInfo(log, row["info"].c_str())) << log.renderText();
    for (const char* key : {"startTag", "endTag", "mustContain"})
        if (!row[key].empty()) EXPECT_EQ(loggedValue(log, key), row[key]);
    if (row["result"].empty()) return;
    EXPECT_EQ(result, row.flag("result"));
    EXPECT_EQ(loggedValue(log, row["log_key"].c_str()), row["log_value"]) << log.renderText();
    _tvLogger boolForm;  // however the log spells a boolean
    boolForm.LogDataBool("v", result);
    EXPECT_EQ(loggedValue(log, "transformXPathSuccess"), loggedValue(boolForm, "v"));
}

INSTANTIATE_TEST_SUITE_P(Cases, TransformXPath,
                         ::testing::ValuesIn(loadTable("dsig/xpath_cases.tsv")),
                         [](const auto& info) { return info.param["name"]; });

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
