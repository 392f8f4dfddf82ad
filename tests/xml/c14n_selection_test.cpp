// How XmlCanon picks what to canonicalize: the whole document, an element by Id, the element at
// a byte offset, or the n-th EBICS authenticated element; and how it fails when it cannot.
#include <gtest/gtest.h>

#include "tests/xml/C14nTestUtil.h"

namespace xmldsig::testing {
namespace {

const std::string kDoc =
    "<?xml version=\"1.0\"?>\n<!--c-->\n"
    R"(<r xmlns="urn:r" xmlns:p="urn:p" xml:lang="en"><p:a Id="a1">text<b Id="b1" k="v"/></p:a></r>)";

uint32_t offsetOf(const std::string& doc, const std::string& needle) {
    const std::size_t at = doc.find(needle);
    EXPECT_NE(at, std::string::npos) << needle;
    return static_cast<uint32_t>(at);
}

TEST(XmlCanonSelection, OffsetZeroIsTheWholeDocument) {
    XmlCanon canon;
    canon.m_withComments = true;
    const CanonRun run = runCanon(canon, kDoc, nullptr, 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(
        run.out,
        "<!--c-->\n"
        R"(<r xmlns="urn:r" xmlns:p="urn:p" xml:lang="en"><p:a Id="a1">text<b Id="b1" k="v"></b></p:a></r>)");
}

TEST(XmlCanonSelection, ElementAtAnOffsetInheritsLikeTheSameElementById) {
    for (int32_t mode : {XmlCanon::kModeInclusive, XmlCanon::kModeExclusive}) {
        XmlCanon canon;
        canon.m_mode = mode;
        const CanonRun byOffset = runCanon(canon, kDoc, nullptr, offsetOf(kDoc, "<b "));
        const CanonRun byId = runCanon(canon, kDoc, "b1", 0);
        ASSERT_TRUE(byOffset.ok && byId.ok) << byOffset.log << byId.log;
        EXPECT_EQ(byOffset.out, byId.out);
    }
    XmlCanon inclusive;
    EXPECT_EQ(runCanon(inclusive, kDoc, nullptr, offsetOf(kDoc, "<b ")).out,
              R"(<b xmlns="urn:r" xmlns:p="urn:p" Id="b1" k="v" xml:lang="en"></b>)");
}

TEST(XmlCanonSelection, EmptyFragmentIdMeansNoFragment) {
    XmlCanon canon;
    EXPECT_EQ(runCanon(canon, kDoc, "", 0).out, runCanon(canon, kDoc, nullptr, 0).out);
}

TEST(XmlCanonSelection, XpointerFormsSelectTheDocumentAndAnId) {
    XmlCanon canon;
    EXPECT_EQ(runCanon(canon, kDoc, "xpointer(/)", 0).out, runCanon(canon, kDoc, nullptr, 0).out);
    const std::string byId = runCanon(canon, kDoc, "a1", 0).out;
    EXPECT_EQ(runCanon(canon, kDoc, "xpointer(id('a1'))", 0).out, byId);
    EXPECT_EQ(runCanon(canon, kDoc, "xpointer(id(\"a1\"))", 0).out, byId);
    EXPECT_FALSE(runCanon(canon, kDoc, "xpointer(id('a1)", 0).ok);
}

TEST(XmlCanonSelection, ResultIsAppendedToTheOutput) {
    XmlCanon canon;
    const CanonRun run = runCanon(canon, kDoc, "b1", 0, "before|");
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out.rfind("before|<b ", 0), 0u) << run.out;
}

TEST(XmlCanonSelection, UnknownModeIsInclusive) {
    XmlCanon odd;
    odd.m_mode = 7;
    XmlCanon inclusive;
    EXPECT_EQ(runCanon(odd, kDoc, "b1", 0).out, runCanon(inclusive, kDoc, "b1", 0).out);
}

struct FailureCase {
    const char* name;
    std::string doc;
    const char* fragmentId;
    std::string offsetNeedle;  // empty: offset 0; "@N": offset N
    const char* logMentions;
};

const FailureCase kFailures[] = {
    {"DuplicateIdAcrossIdAttributeNames",
     R"(<r xmlns:wsu="urn:wsu"><a Id="dup"/><b wsu:Id="dup"/></r>)", "dup", "", "dup"},
    {"DuplicateIdSameName", R"(<r><a ID="twice"/><c><b ID="twice"/></c></r>)", "twice", "",
     "twice"},
    {"UnknownId", kDoc, "nosuch", "", "nosuch"},
    {"OffsetInsideText", kDoc, nullptr, "text", "No element starts at the byte offset"},
    {"OffsetInsideAStartTag", kDoc, nullptr, "Id=\"a1\"", "No element starts at the byte offset"},
    {"OffsetOfAnEndTag", kDoc, nullptr, "</p:a>", "No element starts at the byte offset"},
    {"OffsetOfAComment", kDoc, nullptr, "<!--c", "No element starts at the byte offset"},
    {"OffsetPastTheEnd", kDoc, nullptr, "@100000", "No element starts at the byte offset"},
    {"UnparseableInput", "<r><a></r>", nullptr, "", "byteOffset"},
    {"EmptyInput", "", nullptr, "", "Failed to parse"},
};

class XmlCanonFailure : public ::testing::TestWithParam<FailureCase> {};

TEST_P(XmlCanonFailure, ReturnsFalseLogsWhyAndLeavesOutputAlone) {
    const FailureCase& c = GetParam();
    uint32_t offset = 0;
    if (!c.offsetNeedle.empty()) {
        offset = c.offsetNeedle[0] == '@' ? std::stoul(c.offsetNeedle.substr(1))
                                          : offsetOf(c.doc, c.offsetNeedle);
    }
    XmlCanon canon;
    const CanonRun run = runCanon(canon, c.doc, c.fragmentId, offset, "kept");
    EXPECT_FALSE(run.ok);
    EXPECT_EQ(run.out, "kept");
    EXPECT_NE(run.log.find(c.logMentions), std::string::npos) << run.log;
}

INSTANTIATE_TEST_SUITE_P(Cases, XmlCanonFailure, ::testing::ValuesIn(kFailures),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(XmlCanonSelection, OneElementCarryingTheIdTwiceIsNotADuplicate) {
    XmlCanon canon;
    const CanonRun run = runCanon(canon, R"(<r><a Id="x" ID="x"/></r>)", "x", 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, R"(<a ID="x" Id="x"></a>)");
}

const std::string kEbicsDoc =
    R"(<req xmlns="urn:ebics"><h authenticate="true"><n>1</n></h><s authenticate="false"/>)"
    R"(<body><d authenticate="true" x="y">data</d></body></req>)";

TEST(XmlCanonEbics, IndexSelectsTheAuthenticatedElementsInDocumentOrder) {
    XmlCanon canon;
    canon.m_ebicsMode = true;
    canon.m_ebicsElementIndex = 0;
    CanonRun run = runCanon(canon, kEbicsDoc, nullptr, 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, R"(<h xmlns="urn:ebics" authenticate="true"><n>1</n></h>)");
    canon.m_ebicsElementIndex = 1;
    run = runCanon(canon, kEbicsDoc, nullptr, 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, R"(<d xmlns="urn:ebics" authenticate="true" x="y">data</d>)");
}

TEST(XmlCanonEbics, IndexPastTheLastElementFailsWithTheIndexLogged) {
    XmlCanon canon;
    canon.m_ebicsMode = true;
    canon.m_ebicsElementIndex = 2;
    const CanonRun run = runCanon(canon, kEbicsDoc, nullptr, 0, "kept");
    EXPECT_FALSE(run.ok);
    EXPECT_EQ(run.out, "kept");
    EXPECT_NE(run.log.find("ebicsElementIndex: 2"), std::string::npos) << run.log;
    EXPECT_EQ(canon.m_ebicsSecondCounter, 2);
}

TEST(XmlCanonEbics, RepeatedCallsAppendEachElementUntilNoneIsLeft) {
    XmlCanon canon;
    canon.m_ebicsMode = true;
    StringBuffer out;
    _tvLogger log;
    int produced = 0;
    for (int i = 0; i < 100; ++i) {
        canon.m_ebicsElementIndex = i;
        canon.m_ebicsSecondCounter = 0;
        if (!canon.xmlCanonicalize(StringBuffer(kEbicsDoc), nullptr, 0, out, log)) break;
        ++produced;
    }
    EXPECT_EQ(produced, 2);
    EXPECT_EQ(out.str(), R"(<h xmlns="urn:ebics" authenticate="true"><n>1</n></h>)"
                         R"(<d xmlns="urn:ebics" authenticate="true" x="y">data</d>)");
}

TEST(XmlCanonEbics, TakesPrecedenceOverFragmentIdAndOffset) {
    XmlCanon canon;
    canon.m_ebicsMode = true;
    const std::string doc = R"(<r><a Id="a"/><b authenticate="true"/></r>)";
    const CanonRun run = runCanon(canon, doc, "a", offsetOf(doc, "<a"));
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, R"(<b authenticate="true"></b>)");
}

TEST(XmlCanonEbics, DocumentWithoutAuthenticatedElementsFails) {
    XmlCanon canon;
    canon.m_ebicsMode = true;
    EXPECT_FALSE(runCanon(canon, kDoc, nullptr, 0).ok);
}

}  // namespace
}  // namespace xmldsig::testing
