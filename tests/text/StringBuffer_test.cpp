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

TEST(StringBufferMatches, LongHostileInputFinishes) {
    const StringBuffer text(std::string(20000, 'a'));
    const std::string pattern = std::string(50, '*') + "a*b";
    EXPECT_FALSE(text.matches(pattern.c_str(), true));
}

}  // namespace
}  // namespace xmldsig
