// What the verdict says about signed, forged and tampered documents (made by
// tests/data/verdict/make_forgeries.sh with openssl and xmlsec1): one row of
// tests/data/verdict/cases.tsv per command, with its exit status and a text its standard output
// must contain ("2>TEXT": standard error must contain TEXT; "<FILE": standard output must contain
// the file's text). "@/" is the data folder.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/CliRunner.h"
#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

const std::string kDir = std::string(XMLDSIG_TEST_DATA_DIR) + "/verdict";

struct VerdictCase {
    std::string name;
    std::vector<std::string> args;
    int status = 0;
    std::string expected;
};

std::string expand(std::string text) {
    for (std::size_t at; (at = text.find("@/")) != std::string::npos;)
        text.replace(at, 2, kDir + "/");
    return text;
}

std::vector<VerdictCase> loadCases() {
    std::vector<VerdictCase> cases;
    std::ifstream in(kDir + "/cases.tsv");
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream row(line);
        VerdictCase c;
        std::string args, status;
        std::getline(row, c.name, '\t');
        std::getline(row, args, '\t');
        std::getline(row, status, '\t');
        std::getline(row, c.expected);
        std::istringstream words(args);
        for (std::string w; words >> w;) c.args.push_back(expand(w));
        c.status = std::stoi(status);
        c.expected = expand(c.expected);
        cases.push_back(c);
    }
    return cases;
}

class Verdict : public ::testing::TestWithParam<VerdictCase> {};

TEST_P(Verdict, SaysWhatTheTableSays) {
    const VerdictCase& c = GetParam();
    const CliResult r = runCli(c.args);
    EXPECT_EQ(r.status, c.status) << r.out << r.err;
    const bool onErr = c.expected.rfind("2>", 0) == 0;
    const std::string expected = onErr                           ? c.expected.substr(2)
                                 : c.expected.rfind("<", 0) == 0 ? readFile(c.expected.substr(1))
                                                                 : c.expected;
    ASSERT_FALSE(expected.empty()) << c.name;
    EXPECT_NE((onErr ? r.err : r.out).find(expected), std::string::npos)
        << "expected: " << expected << "\nprinted: " << r.out << r.err;
}

INSTANTIATE_TEST_SUITE_P(Cases, Verdict, ::testing::ValuesIn(loadCases()),
                         [](const auto& info) { return info.param.name; });

TEST(Verdict, TableIsRead) {
    EXPECT_GE(loadCases().size(), 10u);
}

}  // namespace
}  // namespace xmldsig::test
