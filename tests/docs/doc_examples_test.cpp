// How the documentation's examples are read from Markdown and how printed output is compared
// with the lines the guide shows: a guide test that could not fail would prove nothing.
#include <gtest/gtest.h>

#include <sstream>

#include "support/DataTable.h"
#include "support/DocExamples.h"

namespace xmldsig::test {
namespace {

TEST(DocExamplesMatch, LinesAndOutputs) {
    for (const DataRow& c : loadTable("docs/output_match.tsv")) {
        if (c["kind"] == "line") {
            EXPECT_EQ(lineMatches(c["expected"], c["actual"]), c.flag("match")) << c.where();
            continue;
        }
        std::vector<std::string> expected;  // "{none}": no lines at all
        std::stringstream lines(c["expected"]);
        for (std::string l; c["expected"] != "{none}" && std::getline(lines, l, '|');)
            expected.push_back(l);
        if (c["expected"].empty()) expected.emplace_back();
        EXPECT_EQ(outputMatches(expected, c["actual"]), c.flag("match")) << c.where();
    }
}

TEST(DocExamplesParse, CommandsOutputAndExitStatus) {
    const DocExamples ex = parseDocExamples("p.md",
                                            "Intro\n"
                                            "```console\n"
                                            "$ xmldsig verify a.xml   # exit 1\n"
                                            "a.xml#0: invalid (why)\n"
                                            "$ xmldsig c14n --id x \\\n"
                                            "    b.xml | wc -c\n"
                                            "42\n"
                                            "\n"
                                            "```\n"
                                            "```sh\n"
                                            "$ not a command\n"
                                            "```\n");
    EXPECT_TRUE(ex.problems.empty());
    ASSERT_EQ(ex.commands.size(), 2u);
    EXPECT_EQ(ex.commands[0].line, 3);
    EXPECT_EQ(ex.commands[0].command, "xmldsig verify a.xml");
    EXPECT_EQ(ex.commands[0].expectedStatus, 1);
    EXPECT_EQ(ex.commands[0].expectedOutput, std::vector<std::string>{"a.xml#0: invalid (why)"});
    EXPECT_EQ(ex.commands[1].line, 5);
    EXPECT_EQ(ex.commands[1].command, "xmldsig c14n --id x \\\n    b.xml | wc -c");
    EXPECT_EQ(ex.commands[1].expectedStatus, 0);
    EXPECT_EQ(ex.commands[1].expectedOutput, (std::vector<std::string>{"42", ""}));
}

TEST(DocExamplesParse, Programs) {
    const DocExamples ex = parseDocExamples("p.md",
                                            "```cpp program=verify-it\n"
                                            "int main() { return 0; }\n"
                                            "```\n"
                                            "```cpp\n"
                                            "// a fragment, not built\n"
                                            "```\n");
    EXPECT_TRUE(ex.problems.empty());
    ASSERT_EQ(ex.programs.size(), 1u);
    EXPECT_EQ(ex.programs[0].name, "verify-it");
    EXPECT_EQ(ex.programs[0].line, 1);
    EXPECT_EQ(ex.programs[0].source, "int main() { return 0; }\n");
}

// Blocks that would silently test nothing, or less than they show, are reported.
TEST(DocExamplesParse, MalformedBlocksAreReported) {
    struct Case {
        const char* markdown;
        const char* problem;
    } cases[] = {
        {"```console\nno command here\n```\n", "p.md:2: output before the block's first command"},
        {"```console\n```\n", "p.md:1: a console block without a command"},
        {"text\n```console\n$ true\n", "p.md:2: the console block is not closed"},
        {"- item\n  ```console\n  $ true\n  ```\n", "p.md:2: an indented console block is not run"},
        {"```cpp program=bad name\n```\n", "p.md:1: a program name of letters"},
        {"```sh\nnever closed\n", "p.md:1: the code block is not closed"},
    };
    for (const auto& c : cases) {
        const DocExamples ex = parseDocExamples("p.md", c.markdown);
        ASSERT_FALSE(ex.problems.empty()) << c.markdown;
        EXPECT_EQ(ex.problems[0].rfind(c.problem, 0), 0u) << ex.problems[0];
    }
}

}  // namespace
}  // namespace xmldsig::test
