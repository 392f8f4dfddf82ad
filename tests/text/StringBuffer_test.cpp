// Edge cases of the StringBuffer operations the verifier's text rewriting relies on.
#include "host/text/StringBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/text/ExtPtrArray.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

std::vector<std::string> piecesOf(const ExtPtrArraySb& arr) {
    std::vector<std::string> out;
    for (int i = 0; i < arr.getSize(); ++i) out.emplace_back(arr.strAt(i));
    return out;
}

std::vector<std::string> piecesOf(const ExtPtrArray& arr) {
    std::vector<std::string> out;
    for (int i = 0; i < arr.getSize(); ++i) {
        const StringBuffer* sb = arr.sbAt(i);
        out.push_back(sb == nullptr ? "<null>" : sb->str());
    }
    return out;
}

std::string bracketed(const std::vector<std::string>& pieces) {
    std::string out;
    for (const auto& p : pieces) out += "[" + p + "]";
    return out;
}

class StringBufferOps : public ::testing::TestWithParam<test::DataRow> {};

TEST_P(StringBufferOps, ResultMatchesTable) {
    const test::DataRow& c = GetParam();
    const std::string& op = c["op"];
    StringBuffer sb(c["text"]);
    std::string after;
    bool result = false;
    if (op == "split") {
        ExtPtrArraySb out;
        result = sb.split(out, c["a"][0], c.flag("flag1"), c.flag("flag2"));
        after = bracketed(piecesOf(out));
    } else if (op == "tokenize") {
        ExtPtrArray out;
        result = sb.tokenize(out, c["a"].c_str());
        after = bracketed(piecesOf(out));
    } else if (op == "matches") {
        result = sb.matches(c["a"].c_str(), c.flag("flag1"));
    } else if (op == "removeDelimited") {
        result =
            sb.removeDelimited(c["a"].c_str(), c["b"].c_str(), c.flag("flag1"), c.flag("flag2"));
        after = sb.str();
    } else {
        result = sb.removeDelimitedIfContains(c["a"].c_str(), c["b"].c_str(), c["c"].c_str(),
                                              c.flag("flag1"), c.flag("flag2"));
        after = sb.str();
    }
    EXPECT_EQ(result, c.flag("result"));
    if (op != "matches") EXPECT_EQ(after, c["expected"]);
}

INSTANTIATE_TEST_SUITE_P(Table, StringBufferOps,
                         ::testing::ValuesIn(test::loadTable("text/string_ops.tsv")),
                         [](const auto& info) {
                             return info.param["op"] + std::to_string(info.index);
                         });

TEST(StringBufferSplit, AppendsAfterExistingPieces) {
    ExtPtrArraySb out;
    out.appendString("first");
    StringBuffer("x,y").split(out, ',', true, true);
    EXPECT_EQ(piecesOf(out), (std::vector<std::string>{"first", "x", "y"}));
}

TEST(StringBufferMatches, LongHostileInputFinishes) {
    const StringBuffer text(std::string(20000, 'a'));
    const std::string pattern = std::string(50, '*') + "a*b";
    EXPECT_FALSE(text.matches(pattern.c_str(), true));
}

TEST(StringBufferGetDelimited, SpanWithOrWithoutMarkers) {
    const StringBuffer sb("pre<ds:Object Id=\"o\"><x/></ds:Object>post</ds:Object>");
    StringBuffer out("old");
    ASSERT_TRUE(sb.getDelimited("<ds:Object", "</ds:Object>", true, out));
    EXPECT_EQ(out.str(), "<ds:Object Id=\"o\"><x/></ds:Object>");
    ASSERT_TRUE(sb.getDelimited("<ds:Object", "</ds:Object>", false, out));
    EXPECT_EQ(out.str(), " Id=\"o\"><x/>");
    EXPECT_FALSE(sb.getDelimited("<nothing", ">", true, out));
    EXPECT_EQ(out.str(), " Id=\"o\"><x/>");  // left as it was
}

TEST(StringBufferMarkers, RemoveBeforeAndChopAtSubstr) {
    StringBuffer sb("<?xml?><Document a='1'><x/></Document>\n<tail/>");
    ASSERT_TRUE(sb.removeBefore("<Document ", false));
    sb.chopAtSubstr("</Document>", true);
    EXPECT_EQ(sb.str(), "<Document a='1'><x/></Document>");

    StringBuffer other("abcXYdef");
    EXPECT_TRUE(other.removeBefore("XY", true));
    EXPECT_EQ(other.str(), "def");
    EXPECT_FALSE(other.removeBefore("zz", false));
    EXPECT_EQ(other.str(), "def");
    other.chopAtSubstr("e", false);
    EXPECT_EQ(other.str(), "d");
    other.chopAtSubstr("q", true);
    EXPECT_EQ(other.str(), "d");
}

TEST(StringBufferReplace, AllAndFirst) {
    StringBuffer sb("aaa");
    EXPECT_EQ(sb.replaceAllOccurances("aa", "b"), 1u);  // non-overlapping, left to right
    EXPECT_EQ(sb.str(), "ba");
    StringBuffer grow("x.x.x");
    EXPECT_EQ(grow.replaceAllOccurances("x", "xx"), 3u);
    EXPECT_EQ(grow.str(), "xx.xx.xx");
    EXPECT_EQ(grow.replaceAllOccurances("", "y"), 0u);

    StringBuffer first("one two one");
    EXPECT_TRUE(first.replaceFirstOccurance("one", "1", false));
    EXPECT_EQ(first.str(), "1 two one");
    EXPECT_FALSE(first.replaceFirstOccurance("ONE", "1", false));
    EXPECT_TRUE(first.replaceFirstOccurance("ONE", "1", true));
    EXPECT_EQ(first.str(), "1 two 1");
}

TEST(StringBufferEdit, WhiteSpaceAndLineEnds) {
    StringBuffer sb(" \t a  b   c \r\n");
    sb.trim2();
    EXPECT_EQ(sb.str(), "a  b   c");
    sb.trimInsideSpaces();
    EXPECT_EQ(sb.str(), "a b c");

    StringBuffer lines("a\r\nb\nc\r\rd");
    lines.toLF();
    EXPECT_EQ(lines.str(), "a\nb\nc\r\rd");
    lines.toCRLF();
    EXPECT_EQ(lines.str(), "a\r\nb\r\nc\r\rd");
    lines.toCRLF();  // already CR LF: unchanged
    EXPECT_EQ(lines.str(), "a\r\nb\r\nc\r\rd");

    StringBuffer chars("a\tb\rc\nd");
    chars.replaceChar5("\r\n\t\t\t", ' ');
    EXPECT_EQ(chars.str(), "a b c d");
    chars.removeCharOccurances(' ');
    EXPECT_EQ(chars.str(), "abcd");
}

TEST(StringBufferEdit, PositionsAndBounds) {
    StringBuffer sb("hello");
    EXPECT_EQ(sb.pCharAt(4), sb.getString() + 4);
    EXPECT_EQ(sb.pCharAt(5), nullptr);
    EXPECT_TRUE(sb.insertAt(StringBuffer("XY"), 2));
    EXPECT_EQ(sb.str(), "heXYllo");
    EXPECT_TRUE(sb.insertAt(sb, 0));  // inserting itself
    EXPECT_EQ(sb.str(), "heXYlloheXYllo");
    EXPECT_FALSE(sb.insertAt("z", 100));
    sb.removeChunk(2, 100);
    EXPECT_EQ(sb.str(), "he");
    sb.removeChunk(5, 1);
    sb.shorten(10);
    EXPECT_EQ(sb.str(), "");
    sb.append("abc");
    sb.append(sb);
    sb.append(-42);
    sb.append(std::string_view(sb.getString(), 1));  // a view into itself
    EXPECT_EQ(sb.str(), "abcabc-42a");
    EXPECT_EQ(sb.indexOf("c-"), 5);
    EXPECT_EQ(sb.indexOf("zz"), -1);
    EXPECT_TRUE(sb.containsSubstringNoCase("ABCA"));
    EXPECT_FALSE(sb.containsSubstring("ABCA"));
}

TEST(StringBufferRead, HexidecimalTest) {
    EXPECT_TRUE(StringBuffer("00aFbC9").isHexidecimal());
    EXPECT_FALSE(StringBuffer("0x12").isHexidecimal());
    EXPECT_FALSE(StringBuffer("12 34").isHexidecimal());
    EXPECT_FALSE(StringBuffer("").isHexidecimal());
}

}  // namespace
}  // namespace xmldsig
