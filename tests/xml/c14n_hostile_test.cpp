// Large and hostile input for the canonicalizer: a 100 000-node document nested 9 100 deep is
// walked without recursion, and output that would balloon is cut off with a reason.
#include <gtest/gtest.h>

#include "host/xml/detail/Canonicalizer.h"
#include "tests/xml/C14nTestUtil.h"

namespace xmldsig::testing {
namespace {

constexpr int kLevels = 9100;     // below the parser's nesting limit of 10 000
constexpr int kDeepLevel = 8000;  // where the element with Id="deep" sits

// Nested e elements, each holding five empty l elements and five text nodes: 11 nodes a level.
// It is written in canonical form already, so canonicalizing it must give it back unchanged.
struct DeepDoc {
    std::string text;
    std::size_t deepStart = 0;
    std::size_t deepTagEnd = 0;
};

DeepDoc makeDeepDoc() {
    DeepDoc d;
    for (int i = 0; i < kLevels; ++i) {
        if (i == 0) {
            d.text += "<e xmlns:p=\"urn:p\" n=\"0\">";
        } else if (i == kDeepLevel) {
            d.deepStart = d.text.size();
            d.text += "<e Id=\"deep\" n=\"" + std::to_string(i) + "\">";
            d.deepTagEnd = d.text.size();
        } else {
            d.text += "<e n=\"" + std::to_string(i) + "\">";
        }
        for (int k = 0; k < 5; ++k) d.text += "<l></l>t";
    }
    for (int i = 0; i < kLevels; ++i) d.text += "</e>";
    return d;
}

TEST(XmlCanonHostile, HundredThousandNodesNinethousandDeepRoundTrip) {
    const DeepDoc d = makeDeepDoc();
    dom::Document doc;
    ASSERT_TRUE(doc.parse(d.text).ok);
    ASSERT_GE(doc.nodeCount(), 100000u);
    XmlCanon canon;
    const CanonRun run = runCanon(canon, d.text, nullptr, 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_TRUE(run.out == d.text) << "canonical input did not come back unchanged";
}

TEST(XmlCanonHostile, DeepFragmentInheritsFromThousandsOfAncestors) {
    const DeepDoc d = makeDeepDoc();
    const std::string expected =
        "<e xmlns:p=\"urn:p\" Id=\"deep\" n=\"" + std::to_string(kDeepLevel) + "\">" +
        d.text.substr(d.deepTagEnd, d.text.find("</e>") - d.deepTagEnd) + [] {
            std::string closers;
            for (int i = kDeepLevel; i < kLevels; ++i) closers += "</e>";
            return closers;
        }();
    XmlCanon canon;
    const CanonRun byId = runCanon(canon, d.text, "deep", 0);
    ASSERT_TRUE(byId.ok) << byId.log;
    EXPECT_TRUE(byId.out == expected) << "deep fragment differs";
    const CanonRun byOffset = runCanon(canon, d.text, nullptr, static_cast<uint32_t>(d.deepStart));
    ASSERT_TRUE(byOffset.ok) << byOffset.log;
    EXPECT_TRUE(byOffset.out == expected) << "deep fragment by offset differs";
}

// Exclusive canonicalization repeats a used declaration on every element whose output ancestors
// lack it, so a long namespace URI used by many siblings multiplies the output.
std::string declarationBomb(std::size_t uriLength, int children) {
    std::string doc = "<r xmlns:a=\"urn:" + std::string(uriLength, 'x') + "\">";
    for (int i = 0; i < children; ++i) doc += "<a:x/>";
    return doc + "</r>";
}

TEST(XmlCanonHostile, RepeatedDeclarationsStopAtTheOutputLimit) {
    const std::string bomb = declarationBomb(60000, 20000);  // about 1.2 GB if let through
    XmlCanon canon;
    canon.m_mode = XmlCanon::kModeExclusive;
    const CanonRun run = runCanon(canon, bomb, nullptr, 0, "kept");
    EXPECT_FALSE(run.ok);
    EXPECT_EQ(run.out, "kept");
    EXPECT_NE(run.log.find("exceeds the limit"), std::string::npos) << run.log;
}

TEST(XmlCanonHostile, OutputLimitIsExactInTheCore) {
    const std::string small = declarationBomb(10, 3);
    dom::Document doc;
    ASSERT_TRUE(doc.parse(small).ok);
    detail::CanonOptions options;
    options.mode = detail::CanonMode::Exclusive;
    std::string out;
    std::string error;
    ASSERT_TRUE(detail::canonicalize(doc, doc.documentNode(), options, out, error)) << error;
    options.maxOutputBytes = out.size();
    std::string again;
    EXPECT_TRUE(detail::canonicalize(doc, doc.documentNode(), options, again, error)) << error;
    options.maxOutputBytes = out.size() - 1;
    again.clear();
    EXPECT_FALSE(detail::canonicalize(doc, doc.documentNode(), options, again, error));
    EXPECT_NE(error.find("exceeds the limit"), std::string::npos) << error;
}

TEST(XmlCanonHostile, NullOrNonElementApexFailsInTheCore) {
    dom::Document doc;
    ASSERT_TRUE(doc.parse("<r>text</r>").ok);
    std::string out;
    std::string error;
    EXPECT_FALSE(detail::canonicalize(doc, nullptr, {}, out, error));
    EXPECT_FALSE(error.empty());
    error.clear();
    EXPECT_FALSE(detail::canonicalize(doc, doc.rootElement()->firstChild, {}, out, error));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(out.empty());
}

TEST(XmlCanonHostile, NestingPastTheParserLimitFailsWithALogLine) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "<a>";
    for (int i = 0; i < 100000; ++i) deep += "</a>";
    XmlCanon canon;
    const CanonRun run = runCanon(canon, deep, nullptr, 0);
    EXPECT_FALSE(run.ok);
    EXPECT_NE(run.log.find("Failed to parse"), std::string::npos) << run.log;
}

}  // namespace
}  // namespace xmldsig::testing
