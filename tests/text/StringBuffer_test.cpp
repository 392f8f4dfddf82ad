// Edge cases of the StringBuffer operations the verifier's text rewriting relies on.
#include "host/text/StringBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/text/ExtPtrArray.h"

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

struct SplitCase {
    const char* text;
    char sep;
    bool skipEmpty;
    bool honourQuotes;
    std::vector<std::string> pieces;
};

TEST(StringBufferSplit, PiecesMatchTable) {
    const SplitCase cases[] = {
        {"a b c", ' ', true, true, {"a", "b", "c"}},
        {"a  b ", ' ', true, true, {"a", "b"}},
        {"a  b ", ' ', false, false, {"a", "", "b", ""}},
        {"", ',', false, false, {""}},
        {"", ',', true, false, {}},
        {",,,", ',', true, true, {}},
        {" x ; y ", ';', true, true, {" x ", " y "}},  // never trimmed
        {"a \"b c\" d", ' ', true, true, {"a", "\"b c\"", "d"}},
        {"a \"b c\" d", ' ', true, false, {"a", "\"b", "c\"", "d"}},
        {"a\\ b c", ' ', true, true, {"a\\ b", "c"}},
        {"a\\ b c", ' ', true, false, {"a\\", "b", "c"}},
        {"\"unclosed a b", ' ', true, true, {"\"unclosed a b"}},
        {"ends\\", ' ', true, true, {"ends\\"}},
    };
    for (const SplitCase& c : cases) {
        ExtPtrArraySb out;
        EXPECT_TRUE(StringBuffer(c.text).split(out, c.sep, c.skipEmpty, c.honourQuotes));
        EXPECT_EQ(piecesOf(out), c.pieces) << "text: " << c.text;
    }
}

TEST(StringBufferSplit, AppendsAfterExistingPieces) {
    ExtPtrArraySb out;
    out.appendString("first");
    StringBuffer("x,y").split(out, ',', true, true);
    EXPECT_EQ(piecesOf(out), (std::vector<std::string>{"first", "x", "y"}));
}

struct TokenizeCase {
    const char* text;
    const char* seps;
    std::vector<std::string> pieces;
};

TEST(StringBufferTokenize, SeparatorsArePiecesOfTheirOwn) {
    const TokenizeCase cases[] = {
        {"a::b[c]", ":[=]", {"a", ":", ":", "b", "[", "c", "]"}},
        {"ds:Signature", ":", {"ds", ":", "Signature"}},
        {"x", ":", {"x"}},
        {"", ":", {}},
        {"::", ":", {":", ":"}},
        {"*[local-name()='ID']", "[=]", {"*", "[", "local-name()", "=", "'ID'", "]"}},
        {"abc", "", {"abc"}},
    };
    for (const TokenizeCase& c : cases) {
        ExtPtrArray out;
        EXPECT_TRUE(StringBuffer(c.text).tokenize(out, c.seps));
        EXPECT_EQ(piecesOf(out), c.pieces) << "text: " << c.text;
    }
}

struct MatchCase {
    const char* text;
    const char* pattern;
    bool caseSensitive;
    bool expected;
};

TEST(StringBufferMatches, WildcardWholeString) {
    const MatchCase cases[] = {
        {"not(//ancestor-or-self::*[@ID='abc'])", "not(//ancestor-or-self::*[*ID='*'])", true,
         true},
        {"not(//ancestor-or-self::*[@ID='abc'])x", "not(//ancestor-or-self::*[*ID='*'])", true,
         false},
        {"abc", "abc", true, true},
        {"abc", "ab", true, false},  // whole string, not prefix
        {"abc", "*", true, true},
        {"", "*", true, true},
        {"", "", true, true},
        {"a", "", true, false},
        {"abc", "a*c", true, true},
        {"ac", "a*c", true, true},
        {"abcbc", "a*bc", true, true},
        {"abcbd", "a*bc", true, false},
        {"ABC", "abc", true, false},
        {"ABC", "abc", false, true},
        {"ABC", "a*C", false, true},
        {"a?c", "a?c", true, true},  // '?' is literal
        {"abc", "a?c", true, false},
        {"aaaaaaaaaaaaaaaaaaaaaaaaaaaaab", "*a*a*a*a*a*a*c", true, false},
    };
    for (const MatchCase& c : cases)
        EXPECT_EQ(StringBuffer(c.text).matches(c.pattern, c.caseSensitive), c.expected)
            << c.text << " ~ " << c.pattern;
}

TEST(StringBufferMatches, LongHostileInputFinishes) {
    const StringBuffer text(std::string(20000, 'a'));
    const std::string pattern = std::string(50, '*') + "a*b";
    EXPECT_FALSE(text.matches(pattern.c_str(), true));
}

struct DelimitedCase {
    const char* text;
    const char* begin;
    const char* end;
    const char* required;  // null: removeDelimited
    bool removeBegin, removeEnd;
    bool result;
    const char* after;
};

TEST(StringBufferRemoveDelimited, FirstSpanOnly) {
    const DelimitedCase cases[] = {
        {"x<a>1</a>y<a>2</a>z", "<a>", "</a>", nullptr, true, true, true, "xy<a>2</a>z"},
        {"x<a>1</a>y", "<a>", "</a>", nullptr, false, true, true, "x<a>y"},
        {"x<a>1</a>y", "<a>", "</a>", nullptr, true, false, true, "x</a>y"},
        {"x<a>1</a>y", "<a>", "</a>", nullptr, false, false, true, "x<a></a>y"},
        {"x<a>1y", "<a>", "</a>", nullptr, true, true, false, "x<a>1y"},
        {"x</a><a>", "<a>", "</a>", nullptr, true, true, false, "x</a><a>"},
        {"", "<a>", "</a>", nullptr, true, true, false, ""},
        // The span needing the text is the third one (as the QR document reference is).
        {"<r><cbc:ID>ICV</cbc:ID></r><r><cbc:ID>PIH</cbc:ID></r><r><cbc:ID>QR</cbc:ID></r>!", "<r>",
         "</r>", "<cbc:ID>QR", true, true, true,
         "<r><cbc:ID>ICV</cbc:ID></r><r><cbc:ID>PIH</cbc:ID></r>!"},
        {"<r>a</r><r>QR</r><r>QR</r>", "<r>", "</r>", "QR", true, true, true, "<r>a</r><r>QR</r>"},
        {"<r>a</r><r>b</r>", "<r>", "</r>", "QR", true, true, false, "<r>a</r><r>b</r>"},
    };
    for (const DelimitedCase& c : cases) {
        StringBuffer sb(c.text);
        const bool r = c.required == nullptr
                           ? sb.removeDelimited(c.begin, c.end, c.removeBegin, c.removeEnd)
                           : sb.removeDelimitedIfContains(c.begin, c.end, c.required, c.removeBegin,
                                                          c.removeEnd);
        EXPECT_EQ(r, c.result) << c.text;
        EXPECT_EQ(sb.str(), c.after) << c.text;
    }
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
