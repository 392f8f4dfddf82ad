// Our canonical output against libxml2's on the documents of tests/data/c14n: whole documents
// live against xmllint, document subsets against fixtures libxml2 produced (see the README there).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "host/log/_tvLogger.h"
#include "host/xml/XmlCanon.h"
#include "tests/xml/C14nTestUtil.h"

namespace xmldsig::testing {
namespace {

const std::string kDataDir = std::string(XMLDSIG_TEST_DATA_DIR) + "/c14n";

// Runs a command and returns its standard output, or nullopt when it fails.
std::optional<std::string> runCommand(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return std::nullopt;
    std::string output;
    char buffer[4096];
    for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
    return pclose(pipe) == 0 ? std::optional<std::string>(output) : std::nullopt;
}

bool haveXmllint() {
    static const bool present = runCommand("command -v xmllint >/dev/null 2>&1").has_value();
    return present;
}

// The canonical form without comments, from the canonical form with them: each comment node
// goes, and outside the document element so does the line feed that separates it from the
// element. In canonical XML a '<' in text or attribute values is always escaped, so every '<'
// opens a tag, a comment or a processing instruction.
std::string removeComments(const std::string& c14n) {
    std::string out;
    int depth = 0;
    bool seenRoot = false;
    for (std::size_t i = 0; i < c14n.size();) {
        if (c14n.compare(i, 4, "<!--") == 0) {
            const std::size_t end = c14n.find("-->", i + 4);
            i = end == std::string::npos ? c14n.size() : end + 3;
            if (depth == 0 && !seenRoot && i < c14n.size() && c14n[i] == '\n') ++i;
            if (depth == 0 && seenRoot && !out.empty() && out.back() == '\n') out.pop_back();
            continue;
        }
        if (c14n.compare(i, 2, "<?") == 0) {
            const std::size_t end = c14n.find("?>", i + 2);
            const std::size_t stop = end == std::string::npos ? c14n.size() : end + 2;
            out.append(c14n, i, stop - i);
            i = stop;
            continue;
        }
        if (c14n.compare(i, 2, "</") == 0) {
            --depth;
        } else if (c14n[i] == '<') {
            ++depth;
            seenRoot = true;
        }
        out += c14n[i++];
    }
    return out;
}

std::string canonicalizeWithUs(const std::string& input, int32_t mode, bool withComments,
                               const std::string& fragmentId = std::string(),
                               const std::string& prefixes = std::string(), int ebicsIndex = -1) {
    XmlCanon canon;
    canon.m_mode = mode;
    canon.m_withComments = withComments;
    std::istringstream split(prefixes);
    for (std::string p; split >> p;) canon.m_inclusivePrefixes.appendString(p.c_str());
    if (ebicsIndex >= 0) {
        canon.m_ebicsMode = true;
        canon.m_ebicsElementIndex = ebicsIndex;
    }
    StringBuffer out;
    _tvLogger log;
    const bool ok = canon.xmlCanonicalize(
        StringBuffer(input), fragmentId.empty() ? nullptr : fragmentId.c_str(), 0, out, log);
    EXPECT_TRUE(ok) << log.renderText();
    return out.str();
}

std::vector<std::string> documentNames() {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(kDataDir + "/docs", ec)) {
        if (entry.path().extension() == ".xml") names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string testName(const std::string& fileName) {
    std::string name;
    for (char c : fileName) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

class XmlCanonDifferential : public ::testing::TestWithParam<std::string> {};

TEST_P(XmlCanonDifferential, WholeDocumentMatchesXmllint) {
    if (!haveXmllint()) GTEST_SKIP() << "xmllint is not installed";
    const std::string path = kDataDir + "/docs/" + GetParam();
    const std::optional<std::string> input = readFile(path);
    ASSERT_TRUE(input) << path;
    const struct {
        const char* flag;
        int32_t mode;
    } variants[] = {{"--c14n", XmlCanon::kModeInclusive}, {"--exc-c14n", XmlCanon::kModeExclusive}};
    for (const auto& v : variants) {
        SCOPED_TRACE(v.flag);
        const std::optional<std::string> theirs =
            runCommand(std::string("xmllint ") + v.flag + " '" + path + "'");
        ASSERT_TRUE(theirs) << "xmllint " << v.flag << " failed on " << path;
        EXPECT_EQ(canonicalizeWithUs(*input, v.mode, true), *theirs) << "with comments";
        EXPECT_EQ(canonicalizeWithUs(*input, v.mode, false), removeComments(*theirs))
            << "without comments";
    }
}

INSTANTIATE_TEST_SUITE_P(Docs, XmlCanonDifferential, ::testing::ValuesIn(documentNames()),
                         [](const auto& info) { return testName(info.param); });

TEST(XmlCanonDifferentialSet, HasAtLeastThirtyDocuments) {
    EXPECT_GE(documentNames().size(), 30u);
}

// The comment remover is itself checked on a canonical form whose answer is plain.
TEST(XmlCanonDifferentialSet, CommentRemovalKeepsEverythingElse) {
    EXPECT_EQ(
        removeComments("<!--a-->\n<?p x?>\n<r a=\"&lt;!--\"><!--b-->t<?q <!--?></r>\n<!--c-->"),
        "<?p x?>\n<r a=\"&lt;!--\">t<?q <!--?></r>");
}

std::vector<test::DataRow> subsetCases() {
    return test::loadTable(kDataDir + "/subsets.tsv");
}

class XmlCanonSubsets : public ::testing::TestWithParam<test::DataRow> {};

TEST_P(XmlCanonSubsets, MatchesLibxml2NodeSetCanonicalization) {
    const test::DataRow& c = GetParam();
    const std::optional<std::string> input = readFile(kDataDir + "/docs/" + c["input"]);
    const std::optional<std::string> expected = readFile(kDataDir + "/" + c["expected"]);
    ASSERT_TRUE(input && expected) << c.where();
    const int32_t mode =
        c["mode"] == "exclusive" ? XmlCanon::kModeExclusive : XmlCanon::kModeInclusive;
    const std::string& selection = c["selection"];
    const std::string id = selection.rfind("id=", 0) == 0 ? selection.substr(3) : "";
    const int ebics = selection.rfind("ebics=", 0) == 0 ? std::stoi(selection.substr(6)) : -1;
    ASSERT_TRUE(!id.empty() || ebics >= 0 || selection == "whole") << c.where();
    const std::string ours = canonicalizeWithUs(*input, mode, c.flag("with_comments"), id,
                                                c["inclusive_prefixes"], ebics);
    EXPECT_EQ(ours, *expected) << c.where();
}

INSTANTIATE_TEST_SUITE_P(Fixtures, XmlCanonSubsets, ::testing::ValuesIn(subsetCases()),
                         [](const auto& info) {
                             const std::string& e = info.param["expected"];
                             return testName(e.substr(e.find('/') + 1));
                         });

TEST(XmlCanonSubsetsManifest, HasRows) {
    EXPECT_GE(subsetCases().size(), 30u);
}

}  // namespace
}  // namespace xmldsig::testing
