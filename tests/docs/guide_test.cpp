// Every example of the user documentation (docs/*.md) runs as written: each command of a
// ```console block, from the repository's top folder, must end with the exit status shown and
// print the lines shown; each program of a ```cpp program=NAME block must build against the
// library. One test per example, named after its file and line, so a broken example names itself.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "support/DocExamples.h"
#include "support/DocSandbox.h"
#include "support/LoopbackTsa.h"

namespace xmldsig::test {
namespace {

const DocExamples& docs() {
    static const DocExamples examples = readDocExamples(docsDir());
    return examples;
}

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string clipped(const std::string& text) {
    const std::size_t max = 6000;
    return text.size() <= max ? text
                              : text.substr(0, max) + "\n[... " +
                                    std::to_string(text.size() - max) + " more bytes]";
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& l : lines) text += l + "\n";
    return text;
}

bool mentionsWord(const std::string& text, const std::string& word) {
    return std::regex_search(text,
                             std::regex("(^|[^A-Za-z0-9_./-])" + word + "([^A-Za-z0-9_-]|$)"));
}

TEST(UserGuide, ExamplesAreWellFormed) {
    for (const std::string& p : docs().problems) ADD_FAILURE() << p;
    // The guide covers every command of the tool with runnable examples.
    EXPECT_GE(docs().commands.size(), 30u) << "docs folder: " << docsDir();
    for (const char* sub : {"verify", "refs", "info", "certs", "c14n", "timestamp"}) {
        bool shown = false;
        for (const auto& c : docs().commands)
            shown = shown || mentionsWord(c.command, std::string("xmldsig ") + sub);
        EXPECT_TRUE(shown) << "no example runs xmldsig " << sub;
    }
    EXPECT_FALSE(docs().programs.empty());
}

// Every page of the guide is reachable from its index, and the index from the README.
TEST(UserGuide, PagesAreLinked) {
    const std::string index = readText(docsDir() + "/README.md");
    ASSERT_FALSE(index.empty());
    for (const auto& entry : std::filesystem::directory_iterator(docsDir())) {
        const std::string page = entry.path().filename().string();
        if (entry.path().extension() == ".md" && page != "README.md")
            EXPECT_NE(index.find("(" + page + ")"), std::string::npos) << page << " is not linked";
    }
    EXPECT_NE(readText(repositoryRoot() + "/README.md").find("docs/README.md"), std::string::npos);
}

class GuideCommand : public ::testing::TestWithParam<DocCommand> {};

TEST_P(GuideCommand, PrintsWhatTheGuideShows) {
    const DocCommand& c = GetParam();
    DocSandbox& sandbox = DocSandbox::shared();
    ASSERT_TRUE(sandbox.ok()) << sandbox.error();
    for (const DocProgram& p : docs().programs) {
        if (!mentionsWord(c.command, p.name)) continue;
        std::string diagnostics;
        ASSERT_TRUE(sandbox.buildProgram(p, diagnostics)) << diagnostics;
    }
    std::vector<std::pair<std::string, std::string>> env;
    if (c.command.find("$TSA") != std::string::npos) {
        LoopbackTsa& tsa = LoopbackTsa::shared();
        if (!tsa.ok()) GTEST_SKIP() << "no timestamp authority for the example: " << tsa.error();
        env.emplace_back("TSA", tsa.url("/"));
    }
    const DocRun r = sandbox.run(c.command, env);
    const std::string where = c.file + ":" + std::to_string(c.line) + ": $ " + c.command + "\n";
    EXPECT_EQ(r.status, c.expectedStatus) << where << "standard error:\n" << clipped(r.err);
    EXPECT_TRUE(outputMatches(c.expectedOutput, r.out)) << where << "expected:\n"
                                                        << joined(c.expectedOutput) << "printed:\n"
                                                        << clipped(r.out) << "standard error:\n"
                                                        << clipped(r.err);
}

INSTANTIATE_TEST_SUITE_P(Guide, GuideCommand, ::testing::ValuesIn(docs().commands),
                         [](const auto& info) {
                             return docTestName(info.param.file, info.param.line);
                         });

class GuideProgram : public ::testing::TestWithParam<DocProgram> {};

TEST_P(GuideProgram, Builds) {
    DocSandbox& sandbox = DocSandbox::shared();
    ASSERT_TRUE(sandbox.ok()) << sandbox.error();
    std::string diagnostics;
    EXPECT_TRUE(sandbox.buildProgram(GetParam(), diagnostics)) << diagnostics;
}

INSTANTIATE_TEST_SUITE_P(Guide, GuideProgram, ::testing::ValuesIn(docs().programs),
                         [](const auto& info) {
                             return docTestName(info.param.file, info.param.line);
                         });

}  // namespace
}  // namespace xmldsig::test
