// The xmldsig tool, run as a user runs it.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/CliRunner.h"
#include "support/DataTable.h"
#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

std::string example(const std::string& name) {
    return std::string(XMLDSIG_TEST_DATA_DIR) + "/../../examples/" + name;
}

std::string replaceAll(std::string s, const std::string& from, const std::string& to) {
    for (std::size_t at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size()))
        s.replace(at, from.size(), to);
    return s;
}

class CliCase : public ::testing::TestWithParam<DataRow> {};

TEST_P(CliCase, ExitStatusAndOutput) {
    const DataRow& row = GetParam();
    std::vector<std::string> args;
    std::string line = replaceAll(row["args"], "{EX}", example(""));
    line = replaceAll(replaceAll(line, "{DATA}", XMLDSIG_TEST_DATA_DIR), "{CORPUS}",
                      XMLDSIG_CORPUS_DIR);
    std::istringstream words(line);
    for (std::string w; words >> w;) args.push_back(w);
    const CliResult r = runCli(args, row["stdin"]);
    EXPECT_EQ(r.status, row.number("status")) << r.out << r.err;
    EXPECT_NE(r.out.find(row["out"]), std::string::npos) << r.out;
    EXPECT_NE(r.err.find(row["err"]), std::string::npos) << r.err;
}

INSTANTIATE_TEST_SUITE_P(Table, CliCase, ::testing::ValuesIn(loadTable("cli/cases.tsv")),
                         [](const auto& info) { return info.param["name"]; });

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

// The base64 SHA-256 of a file as openssl computes it; empty when openssl failed.
std::string sha256Base64(const std::string& file) {
    FILE* p = popen(("openssl dgst -sha256 -binary '" + file + "' | base64").c_str(), "r");
    char buf[128] = {0};
    if (p == nullptr || fgets(buf, sizeof buf, p) == nullptr) return "";
    pclose(p);
    std::string digest(buf);
    return digest.erase(digest.find_last_not_of("\n") + 1);
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
    const std::string b64 = sha256Base64(file);
    ASSERT_FALSE(b64.empty());
    EXPECT_NE(readFile(example("soap-body-by-id.xml")).find("<ds:DigestValue>" + b64 + "<"),
              std::string::npos)
        << b64;
}

TEST(Cli, VerifyReportsEachSignature) {
    std::string tampered = readFile(example("invoice-enveloped.xml"));
    tampered.replace(tampered.find("20.00</Total>"), 5, "99.99");
    CliResult bad = runCli({"verify", "-"}, tampered);
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("-#0: invalid (reference 0 URI=\"\": digest mismatch)"),
              std::string::npos)
        << bad.out;

    std::string badValue = readFile(example("invoice-enveloped.xml"));
    auto at = badValue.find("<ds:SignatureValue>") + 19;
    badValue[at] = badValue[at] == 'A' ? 'B' : 'A';
    CliResult sig = runCli({"verify", "-"}, badValue);
    EXPECT_EQ(sig.status, 1);
    // The altered value no longer decodes under the signer's key: no candidate key verifies it.
    EXPECT_NE(sig.out.find("invalid (the SignatureValue does not verify under any candidate key)"),
              std::string::npos)
        << sig.out;

    // White space inside a SignedInfo tag is not part of the canonical form; an altered
    // DigestValue is, and the signature then covers another hash.
    std::string badInfo = readFile(example("invoice-enveloped.xml"));
    const std::string refTag = "<ds:Reference URI=\"\">";
    badInfo.replace(badInfo.find(refTag), refTag.size(), "<ds:Reference URI=\"\" >");
    CliResult info = runCli({"verify", "--no-refs", "-"}, badInfo);
    EXPECT_EQ(info.status, 0) << "white space inside a tag is not part of the canonical form\n"
                              << info.out;
    badInfo = readFile(example("invoice-enveloped.xml"));
    badInfo.replace(badInfo.find("<ds:DigestValue>") + 16, 1, "X");
    CliResult info2 = runCli({"verify", "--no-refs", "-"}, badInfo);
    EXPECT_EQ(info2.status, 1);
    EXPECT_NE(info2.out.find("RSA verify hash found the signature to be invalid."),
              std::string::npos)
        << info2.out;
}

TEST(Cli, VerifyJsonSaysWhereTheKeyCameFrom) {
    CliResult r = runCli({"verify", "--json", example("soap-body-by-id.xml")});
    ASSERT_EQ(r.status, 0) << r.err;
    auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["verdict"], "valid");
    EXPECT_EQ(j["keySource"], "KeyInfo/KeyValue/RSAKeyValue");
    EXPECT_EQ(j["signedInfoSigned"], true);
    EXPECT_EQ(j["references"][0]["uri"], "#Body-1");
    EXPECT_EQ(j["references"][0]["result"], "match");
}

TEST(Cli, CertsWritesThePemOfTheSigner) {
    CliResult r = runCli({"certs", example("invoice-enveloped.xml")});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string pemFile = "/tmp/xmldsig_cli_cert.pem";
    std::ofstream(pemFile) << r.out;
    auto fingerprint = [](const std::string& file) {
        FILE* p = popen(("openssl x509 -noout -fingerprint -sha256 -in " + file).c_str(), "r");
        char buf[256] = {0};
        if (p != nullptr && fgets(buf, sizeof buf, p) == nullptr) buf[0] = 0;
        if (p != nullptr) pclose(p);
        return std::string(buf);
    };
    const std::string ours = fingerprint(pemFile);
    EXPECT_FALSE(ours.empty());
    EXPECT_EQ(ours, fingerprint(example("keys/example-rsa-cert.pem")));
}

std::map<std::string, std::string> verdictsByFileAndIndex(const std::string& jsonLines) {
    std::map<std::string, std::string> verdicts;
    std::istringstream lines(jsonLines);
    std::string line;
    while (std::getline(lines, line)) {
        auto j = nlohmann::json::parse(line);  // fails the test on malformed JSON
        const std::string key = j["file"].get<std::string>() + "#" +
                                (j.contains("index") ? std::to_string(j["index"].get<int>()) : "-");
        verdicts[key] = j["verdict"];
    }
    return verdicts;
}

TEST(Cli, ParallelBatchGivesTheSameVerdictsAsOneFileAtATime) {
    CliResult batch = runCli({"verify", "-r", "-j", "2", "--json", XMLDSIG_CORPUS_DIR});
    const auto parallel = verdictsByFileAndIndex(batch.out);
    ASSERT_GT(parallel.size(), 300u);
    EXPECT_NE(batch.err.find("files,"), std::string::npos) << "summary line missing";

    // One file at a time: the same files on a single thread, in order.
    CliResult single = runCli({"verify", "-r", "-j", "1", "--json", XMLDSIG_CORPUS_DIR});
    const auto sequential = verdictsByFileAndIndex(single.out);
    ASSERT_EQ(sequential.size(), parallel.size());
    EXPECT_EQ(single.out, batch.out) << "reports must come in the order given, whole";
    for (const auto& [key, verdict] : sequential) {
        auto it = parallel.find(key);
        ASSERT_NE(it, parallel.end()) << key << " missing from the batch";
        EXPECT_EQ(it->second, verdict) << key;
    }
}

// The file holds exactly what the reference's transform chain digested: its SHA-256 is the
// digest the log reports for the chain ("calculatedDigest"), also after a MyInvois or ZATCA
// retry that did not match.
TEST(Cli, ExplainWritesTheBytesThatWereHashed) {
    struct Case {
        std::string document, from, to, option;
    };
    const std::string myInvois =
        std::string(XMLDSIG_CORPUS_DIR) + "/myinvois/1.1-Refund-Note-Sample.xml";
    for (const Case& c :
         {Case{example("invoice-enveloped.xml"), "Widget", "Gadget", ""},
          Case{myInvois, "Payment method is cash", "Payment method is gold", "MYINVOIS"}}) {
        SCOPED_TRACE(c.document);
        std::string tampered = readFile(c.document);
        tampered.replace(tampered.find(c.from), c.from.size(), c.to);
        const std::string doc = "/tmp/xmldsig_cli_explain.xml", dir = "/tmp/xmldsig_cli_explain";
        std::ofstream(doc) << tampered;
        std::system(("rm -rf " + dir + " && mkdir -p " + dir).c_str());
        std::vector<std::string> args = {"refs", "--explain", dir, "--log", doc};
        if (!c.option.empty()) args.insert(args.begin() + 1, {"--option", c.option});
        CliResult r = runCli(args);
        EXPECT_EQ(r.status, 1);
        // The file's whole path names the output, "/" written as "%2F".
        const std::string hashedFile = dir + "/%2Ftmp%2Fxmldsig_cli_explain.xml.sig0.ref0.hashed";
        EXPECT_NE(r.err.find("bytes hashed are in " + hashedFile), std::string::npos) << r.err;
        const std::string hashed = readFile(hashedFile);
        EXPECT_NE(hashed.find(c.to), std::string::npos);
        EXPECT_EQ(hashed.find("<ds:Signature"), std::string::npos) << "the signature is out";
        const std::string digest = sha256Base64(hashedFile);
        EXPECT_NE(r.err.find("calculatedDigest: " + digest + "\n"), std::string::npos) << digest;

        CliResult v = runCli({"verify", "--explain", dir, doc});
        EXPECT_NE(v.err.find("reference 0: the "), std::string::npos) << v.err;
    }
}

TEST(Cli, EachSignatureIsVerifiedWithAComponentOfItsOwn) {
    // The inner DTE signatures of an SII AEC leave their extract behind in a component; the
    // outer AEC signature verifies only when that state does not reach it.
    const std::string aec = std::string(XMLDSIG_CORPUS_DIR) +
                            "/sii-dte/AEC--76354771-K--33--170--SEQ-2-canonicalized-c14n.xml";
    CliResult all = runCli({"verify", aec});
    CliResult alone = runCli({"verify", "--signature", "4", aec});
    EXPECT_NE(alone.out.find("#4: valid"), std::string::npos) << alone.out;
    EXPECT_NE(all.out.find("#4: valid"), std::string::npos) << all.out;
    // From standard input the document is read once and still reloaded for each signature.
    CliResult piped = runCli({"verify", "-"}, readFile(aec));
    EXPECT_NE(piped.out.find("-#4: valid"), std::string::npos) << piped.out;
}

TEST(Cli, IgnoredExternalReferencesAreReportedAsSkipped) {
    // A detached signature whose file is nowhere to be found.
    std::string doc = readFile(example("detached-file.xml"));
    CliResult r =
        runCli({"verify", "--json", "--ignore-external", "--ext-dir", "/nonexistent", "-"}, doc);
    auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["references"][0]["result"], "skipped") << r.out;
    EXPECT_EQ(j["references"][0]["refFailReason"], 2);
    CliResult bad = runCli({"verify", "--hmac-key", "x", "--hmac-encoding", "rot13",
                            example("invoice-enveloped.xml")});
    EXPECT_EQ(bad.status, 2);
    EXPECT_NE(bad.err.find("--hmac-encoding rot13"), std::string::npos) << bad.err;
}

TEST(Cli, JobsOutOfRange) {
    CliResult jobs = runCli({"verify", "-j", "0", example("invoice-enveloped.xml")});
    EXPECT_EQ(jobs.status, 2);
    EXPECT_NE(jobs.err.find("-j 0"), std::string::npos) << jobs.err;
}

}  // namespace
}  // namespace xmldsig::test
