// How the documentation's examples are read from Markdown and how printed output is compared
// with the lines the guide shows: a guide test that could not fail would prove nothing.
#include <gtest/gtest.h>

#include "support/DocExamples.h"

namespace xmldsig::test {
namespace {

TEST(DocExamplesMatch, Lines) {
    struct Case {
        const char* expected;
        const char* actual;
        bool match;
    } cases[] = {
        {"a.xml#0: valid", "a.xml#0: valid", true},
        {"a.xml#0: valid", "a.xml#0: invalid", false},
        {"a.xml#0: valid", "a.xml#0: valid ", false},
        {"1 file, 1 signature: 1 valid (...)", "1 file, 1 signature: 1 valid (0.01s)", true},
        {"1 file, 1 signature: 1 valid (...)", "1 file, 1 signature: 0 valid (0.01s)", false},
        {"...", "", true},
        {"...", "anything at all", true},
        {"x...y...z", "x-y-z", true},
        {"x...y...z", "xyz", true},
        {"x...y...z", "x-z-y", false},
        {"ab...ba", "aba", false},  // head and tail may not share characters
        {"ab...ba", "abba", true},
        {"sorting bug...", "sorting bug...", true},
        {"", "", true},
        {"", " ", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(lineMatches(c.expected, c.actual), c.match)
            << "expected \"" << c.expected << "\", actual \"" << c.actual << "\"";
}

TEST(DocExamplesMatch, Output) {
    using Lines = std::vector<std::string>;
    struct Case {
        Lines expected;
        const char* output;
        bool match;
    } cases[] = {
        {{"one", "two"}, "one\ntwo\n", true},
        {{"one", "two"}, "one\ntwo", true},  // no final line feed
        {{"one", "two"}, "one\ntwo\n\n", false},
        {{"one", "two"}, "one\n", false},
        {{"one"}, "one\ntwo\n", false},
        {{}, "", true},
        {{}, "\n", false},
        {{""}, "\n", true},
        {{"one", "...", "four"}, "one\ntwo\nthree\nfour\n", true},
        {{"one", "...", "four"}, "one\nfour\n", true},
        {{"one", "...", "four"}, "one\ntwo\nthree\n", false},
        {{"...", "last"}, "a\nb\nlast\n", true},
        {{"...", "last"}, "a\nlast\nb\n", false},
        {{"first", "..."}, "first\n", true},
        {{"...", "b", "..."}, "a\nb\nc\n", true},
        {{"...", "b", "..."}, "a\nc\n", false},
    };
    for (const auto& c : cases) {
        std::string shown;
        for (const auto& l : c.expected) shown += "[" + l + "]";
        EXPECT_EQ(outputMatches(c.expected, c.output), c.match)
            << "expected " << shown << ", output \"" << c.output << "\"";
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

TEST(DocExamplesParse, TestNames) {
    EXPECT_EQ(docTestName("verify.md", 42), "verify_md_42");
    EXPECT_EQ(docTestName("e-invoices.md", 7), "e_invoices_md_7");
}

}  // namespace
}  // namespace xmldsig::test
