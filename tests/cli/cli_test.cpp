// The xmldsig tool, run as a user runs it.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/CliRunner.h"
#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

std::string example(const std::string& name) {
    return std::string(XMLDSIG_TEST_DATA_DIR) + "/../../examples/" + name;
}

TEST(Cli, InfoListsEverySignedCorpusDocument) {
    const auto docs = corpusDocuments("no signature");
    ASSERT_GT(docs.size(), 250u);
    std::vector<std::string> args = {"info", "--json"};
    args.insert(args.end(), docs.begin(), docs.end());
    CliResult r = runCli(args);
    EXPECT_EQ(r.status, 0) << r.err;

    std::map<std::string, int> signaturesPerFile;
    std::istringstream lines(r.out);
    std::string line;
    while (std::getline(lines, line)) {
        auto j = nlohmann::json::parse(line);  // throws, failing the test, on bad JSON
        const std::string file = j["file"];
        ++signaturesPerFile[file];
        EXPECT_GE(j["references"].size(), 1u) << file << " signature " << j["index"];
        EXPECT_FALSE(j["signatureMethod"].get<std::string>().empty()) << file;
    }
    for (const auto& doc : docs) EXPECT_GE(signaturesPerFile[doc], 1) << doc;
}

TEST(Cli, InfoTextNamesMethodsAndReferences) {
    CliResult r = runCli({"info", example("soap-body-by-id.xml")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("1 signature"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("signature method: rsa-sha256"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("#0 URI=\"#Body-1\" digest=sha256 transforms=exc-c14n"), std::string::npos)
        << r.out;
}

TEST(Cli, CanonicalFormOfTheSignedBodyHashesToItsDigestValue) {
    // The example was signed by xmlsec1; its DigestValue is the SHA-256 of this output.
    CliResult r = runCli({"c14n", "--exclusive", "--id", "Body-1", example("soap-body-by-id.xml")});
    ASSERT_EQ(r.status, 0) << r.err;
    CliResult digest = runCli({"c14n", "--exclusive", "--id", "Body-1", "-"},
                              readFile(example("soap-body-by-id.xml")));
    ASSERT_EQ(digest.out, r.out);
    const std::string file = "/tmp/xmldsig_cli_body_c14n";
    { std::ofstream(file, std::ios::binary) << r.out; }
    FILE* p = popen(("openssl dgst -sha256 -binary " + file + " | base64").c_str(), "r");
    ASSERT_NE(p, nullptr);
    char buf[128] = {0};
    ASSERT_NE(fgets(buf, sizeof buf, p), nullptr);
    pclose(p);
    std::string b64(buf);
    b64.erase(b64.find_last_not_of("\n") + 1);
    EXPECT_NE(readFile(example("soap-body-by-id.xml")).find("<ds:DigestValue>" + b64 + "<"),
              std::string::npos)
        << b64;
}

TEST(Cli, BadCommandLinesExitWithStatusTwoAndNameTheArgument) {
    struct Case {
        std::vector<std::string> args;
        const char* mentioned;
    } cases[] = {
        {{"frobnicate"}, "frobnicate"},
        {{"info", "--no-such-option", "x.xml"}, "--no-such-option"},
        {{"info"}, "FILE"},
        {{"c14n", "--id"}, "--id"},
        {{"c14n", "a.xml", "b.xml"}, "b.xml"},
        {{"c14n", "--prefixes", "ds", "a.xml"}, "--exclusive"},
        {{"c14n", "--exclusive", "--exclusive", "a.xml"}, "--exclusive"},
        {{"info", "--signature", "9", example("soap-body-by-id.xml")}, "--signature 9"},
        {{}, "usage"},
    };
    for (const auto& c : cases) {
        CliResult r = runCli(c.args);
        std::string joined;
        for (const auto& a : c.args) joined += a + " ";
        EXPECT_EQ(r.status, 2) << joined;
        EXPECT_NE(r.err.find(c.mentioned), std::string::npos) << joined << "\n" << r.err;
    }
}

TEST(Cli, EverySubcommandHasHelp) {
    for (const char* cmd : {"info", "c14n"}) {
        CliResult r = runCli({cmd, "--help"});
        EXPECT_EQ(r.status, 0) << cmd;
        EXPECT_NE(r.out.find(std::string("usage: xmldsig ") + cmd), std::string::npos) << r.out;
    }
    CliResult r = runCli({"--help"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("c14n"), std::string::npos);
}

TEST(Cli, UnreadableOrMalformedInputFailsWithAReason) {
    CliResult missing = runCli({"info", "/nonexistent/file.xml"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("cannot open"), std::string::npos) << missing.err;

    CliResult broken = runCli({"c14n", "-"}, "<a><b></a>");
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.err.find("mismatched tag"), std::string::npos) << broken.err;
}

}  // namespace
}  // namespace xmldsig::test
