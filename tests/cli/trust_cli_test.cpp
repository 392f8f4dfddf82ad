// xmldsig verify with trust options over the test PKI: every row of tests/data/trust/cases.tsv
// gives the verdict, trust status and reason a user expects (the same table the path checker's
// own test and xmlsec1 answer), and the XAdES documents of xades.tsv their signer binding.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cert/CertTestUtil.h"
#include "support/CliRunner.h"
#include "support/DataTable.h"
#include "support/TrustCases.h"

namespace xmldsig::test {
namespace {

std::string pki(const std::string& name) {
    return trustDataDir() + "/pki/" + name;
}
std::string doc(const std::string& name) {
    return trustDataDir() + "/docs/" + name + ".xml";
}

std::vector<std::string> optionsOf(const TrustCase& c) {
    std::vector<std::string> args;
    if (!c.trust.empty()) args.insert(args.end(), {"--trust", pki(c.trust)});
    if (!c.untrusted.empty()) args.insert(args.end(), {"--untrusted", pki(c.untrusted)});
    if (!c.crl.empty()) args.insert(args.end(), {"--crl", pki(c.crl)});
    if (!c.at.empty()) args.insert(args.end(), {"--at", c.at});
    return args;
}

TEST(TrustCli, CasesOfTheTable) {
    for (const TrustCase& c : loadTrustCases()) {
        SCOPED_TRACE(c.name());
        std::vector<std::string> args = {"verify", "--json"};
        for (const auto& a : optionsOf(c)) args.push_back(a);
        args.push_back(doc(c.document));
        const CliResult r = runCli(args);
        const bool valid = c.status != "untrusted";
        EXPECT_EQ(r.status, valid ? 0 : 1) << r.out << r.err;
        const auto j = nlohmann::json::parse(r.out);
        EXPECT_EQ(j["verdict"], valid ? "valid" : "invalid") << r.out;
        EXPECT_EQ(j["trust"]["status"], c.status) << r.out;
        if (c.status == "not checked") continue;
        EXPECT_EQ(j["trust"]["validationTimeSource"], c.at.empty() ? "now" : "--at");
        if (!c.at.empty()) EXPECT_EQ(j["trust"]["validationTime"], c.at);
        if (valid) {
            EXPECT_GE(j["trust"]["path"].size(), 1u);
            EXPECT_EQ(j["trust"]["path"][0]["sha256"].get<std::string>().size(), 64u);
        } else {
            EXPECT_NE(j["reason"].get<std::string>().find(c.reason), std::string::npos) << r.out;
            EXPECT_NE(j["trust"]["reason"].get<std::string>().find(c.reason), std::string::npos);
        }
    }
}

TEST(TrustCli, TheVerdictLineSaysHowFarTheSignerWasChecked) {
    CliResult r = runCli({"verify", doc("forger")});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("signer not checked against a trust store"), std::string::npos) << r.out;
    r = runCli(
        {"verify", "--trust", pki("root.pem"), "--untrusted", pki("inter.pem"), doc("forger")});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("invalid (certificate \""), std::string::npos) << r.out;
    r = runCli(
        {"verify", "--trust", pki("root.pem"), "--untrusted", pki("inter.pem"), doc("valid")});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("signer trusted via \""), std::string::npos) << r.out;
}

TEST(TrustCli, BadOptionsAreCommandLineErrors) {
    const std::string d = doc("valid");
    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{"--trust", pki("missing.pem")},
          {"--trust", pki("root.pem"), "--at", "yesterday"},
          {"--crl", pki("crl.pem")},
          {"--trust", pki("root.pem"), "--crl", pki("root.pem")}}) {
        std::vector<std::string> args = {"verify"};
        args.insert(args.end(), bad.begin(), bad.end());
        args.push_back(d);
        const CliResult r = runCli(args);
        EXPECT_EQ(r.status, 2) << bad[0] << " " << bad[1] << "\n" << r.err;
        EXPECT_NE(r.err.find(bad[bad.size() - 2]), std::string::npos) << r.err;
    }
}

TEST(TrustCli, XadesSignerBinding) {
    std::ifstream in(trustDataDir() + "/xades.tsv");
    int rows = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> f;
        std::istringstream s(line);
        for (std::string field; std::getline(s, field, '\t');) f.push_back(field);
        ASSERT_EQ(f.size(), 7u) << line;
        ++rows;
        for (const bool strict : {false, true}) {
            SCOPED_TRACE(f[0] + (strict ? " strict" : ""));
            // The binding is enforced when the signer is checked against a trust store.
            std::vector<std::string> args = {"verify",        "--json",      "--trust",
                                             pki("root.pem"), "--untrusted", pki("inter.pem")};
            if (strict) args.insert(args.end(), {"--policy", "strict"});
            args.push_back(doc(f[0]));
            const CliResult r = runCli(args);
            const auto j = nlohmann::json::parse(r.out);
            EXPECT_EQ(j["verdict"], strict ? f[6] : f[5]) << r.out;
            if (f[3] != "-")
                EXPECT_NE(j["reason"].get<std::string>().find(f[3]), std::string::npos);
            if (f[4] != "-") EXPECT_NE(r.out.find(f[4]), std::string::npos) << r.out;
            if (f[1] == "yes") {
                EXPECT_EQ(j["xades"]["signingTime"], "2025-03-01T10:00:00Z");
                EXPECT_EQ(j["xades"]["signingCertificate"],
                          f[2] == "yes" ? "matches" : "does not match");
            }
        }
    }
    EXPECT_GE(rows, 5);
}

// Documents of other signing software (tests/data/dss/cases.tsv): trusted lists and XAdES-T/LTA
// signatures report their signing time, signing certificate and timestamp as openssl reads them,
// verify with their own certificates as anchors at the signing time, and fail when tampered.
TEST(TrustCli, DocumentsOfOtherSigningSoftware) {
    const std::string dir = XMLDSIG_TEST_DATA_DIR "/dss/";
    for (const DataRow& row : loadTable("dss/cases.tsv")) {
        SCOPED_TRACE(row.where());
        std::string text = testutil::readFileText(dir + row["document"] + ".xml");
        std::vector<std::string> args = {"verify", "--json"};
        if (row["anchor"] != "-")
            args.insert(args.end(),
                        {"--trust", dir + row["document"] + "." + row["anchor"] + ".pem"});
        if (row["at"] != "-") args.insert(args.end(), {"--at", row["at"]});
        const std::string tamper = row["tamper"];
        const std::size_t arrow = tamper.find("=>");
        if (arrow != std::string::npos) {
            const std::size_t at = text.find(tamper.substr(0, arrow));
            ASSERT_NE(at, std::string::npos);
            text.replace(at, arrow, tamper.substr(arrow + 2));
        }
        args.push_back(arrow != std::string::npos ? "-" : dir + row["document"] + ".xml");
        const CliResult r = runCli(args, arrow != std::string::npos ? text : "");
        const auto j = nlohmann::json::parse(r.out);
        EXPECT_EQ(j["verdict"], row["verdict"]) << r.out;
        if (row["trust"] != "-") EXPECT_EQ(j["trust"]["status"], row["trust"]) << r.out;
        if (row["verdict"] != "valid") continue;
        EXPECT_EQ(j["xades"]["signingTime"], row["signingTime"]);
        EXPECT_EQ(j["xades"]["signingCertificate"], "matches");
        EXPECT_EQ(j["xades"]["signingCertificateForm"], row["signingCertificate"]);
        if (row["timestampTime"] == "-") {
            EXPECT_FALSE(j.contains("timestamp"));
        } else {
            EXPECT_EQ(j["timestamp"]["verified"], true) << r.out;
            EXPECT_EQ(j["timestamp"]["time"], row["timestampTime"]);
        }
    }
}

}  // namespace
}  // namespace xmldsig::test
