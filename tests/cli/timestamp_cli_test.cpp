// xmldsig timestamp, run as a user runs it, against the loopback authority; its results are
// checked with xmldsig verify and with openssl.
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>

#include "dsig/TimestampTestUtil.h"
#include "support/CliRunner.h"

namespace xmldsig::test {
namespace {

class TimestampCli : public TimestampTest {
  protected:
    std::string signedFile() {
        const std::string xml = signedDocument();
        EXPECT_FALSE(xml.empty());
        return writeTempFile(tsa().dir(), "signed.xml", xml);
    }
};

TEST_F(TimestampCli, AddsATimestampThatVerifyAccepts) {
    const std::string in = signedFile();
    const std::string out = in + ".stamped.xml";
    CliResult r = runCli({"timestamp", "--tsa", tsa().url(), "-o", out, in});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.out.empty());
    EXPECT_NE(r.err.find("#0: timestamp added"), std::string::npos) << r.err;
    const std::string stamped = readFile(out);
    EXPECT_TRUE(opensslVerifiesToken(tokenOf(stamped), canonicalSignatureValue(stamped, true)));

    CliResult v = runCli({"verify", "--option", "VerifyEncapsulatedTimeStamp", out});
    EXPECT_EQ(v.status, 0) << v.out << v.err;
    EXPECT_NE(v.out.find("#0: valid"), std::string::npos) << v.out;
    // Standard output and standard input work the same way.
    CliResult piped =
        runCli({"timestamp", "--tsa", tsa().url(), "--hash", "sha512", "-"}, readFile(in));
    ASSERT_EQ(piped.status, 0) << piped.err;
    CliResult v2 = runCli({"verify", "--option", "VerifyEncapsulatedTimeStamp", "-"}, piped.out);
    EXPECT_EQ(v2.status, 0) << v2.out << v2.err;
    bool ok = false;
    const std::string token = writeTempFile(tsa().dir(), "tok", tokenOf(piped.out));
    EXPECT_NE(runShell("openssl ts -reply -token_in -text -in " + shellQuoted(token), ok)
                  .find("Hash Algorithm: sha512"),
              std::string::npos);
    // Stamping a stamped document is refused.
    CliResult again = runCli({"timestamp", "--tsa", tsa().url(), out});
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.out.empty());
    EXPECT_NE(again.err.find("Already has an EncapsulatedTimeStamp."), std::string::npos)
        << again.err;
}

// "Time stamp: Nov 23 23:20:39 2026 GMT" of openssl ts -text, as verify --json writes times.
std::string opensslTokenTime(const std::string& text) {
    const std::size_t at = text.find("Time stamp: ");
    std::tm tm{};
    if (at == std::string::npos ||
        strptime(text.c_str() + at + 12, "%b %d %H:%M:%S %Y", &tm) == nullptr)
        return "";
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buf;
}

TEST_F(TimestampCli, VerifyChecksTheTimestampAndItsAuthority) {
    const std::string in = signedFile();
    const std::string out = in + ".checked.xml";
    ASSERT_EQ(runCli({"timestamp", "--tsa", tsa().url(), "-o", out, in}).status, 0);
    bool ok = false;
    const std::string token = tokenOf(readFile(out));
    const std::string text = runShell("openssl ts -reply -token_in -text -in " +
                                          shellQuoted(writeTempFile(tsa().dir(), "t", token)),
                                      ok);
    CliResult v = runCli({"verify", "--json", out});  // no option needed
    ASSERT_EQ(v.status, 0) << v.out << v.err;
    auto j = nlohmann::json::parse(v.out);
    EXPECT_EQ(j["timestamp"]["verified"], true) << v.out;
    EXPECT_EQ(j["timestamp"]["time"], opensslTokenTime(text)) << text;
    EXPECT_EQ(j["timestamp"]["hashAlgorithm"], "sha256");
    EXPECT_NE(j["timestamp"]["authority"].get<std::string>().find("CN=xmldsig Test TSA"),
              std::string::npos);
    // With anchors the signer's path is checked at the timestamp's time, and so is the
    // authority's; anchors of its own that do not cover the authority leave its time unused.
    v = runCli({"verify", "--json", "--trust", tsa().file("ca.pem"), out});
    j = nlohmann::json::parse(v.out);
    EXPECT_EQ(j["trust"]["status"], "trusted") << v.out;
    EXPECT_EQ(j["trust"]["validationTimeSource"], "signature timestamp");
    EXPECT_EQ(j["trust"]["validationTime"], opensslTokenTime(text));
    EXPECT_EQ(j["timestamp"]["authorityTrust"]["status"], "trusted");
    v = runCli({"verify", "--json", "--trust", tsa().file("ca.pem"), "--tsa-trust",
                tsa().file("signer.pem"), out});
    j = nlohmann::json::parse(v.out);
    EXPECT_EQ(j["timestamp"]["authorityTrust"]["status"], "untrusted") << v.out;
    EXPECT_EQ(j["trust"]["validationTimeSource"], "now");
    EXPECT_NE(v.out.find("timestamp-authority-untrusted"), std::string::npos);
    // A token whose signature was altered makes the signature invalid.
    std::string broken = token;
    broken[broken.size() - 3] ^= 0x01;
    const std::string tampered =
        writeTempFile(tsa().dir(), "tampered.xml", withToken(readFile(out), broken));
    v = runCli({"verify", tampered});
    EXPECT_EQ(v.status, 1);
    EXPECT_NE(v.out.find("invalid (signature timestamp: "), std::string::npos) << v.out;
}

TEST_F(TimestampCli, FailsWhenTheAuthorityGivesNoToken) {
    const std::string in = signedFile();
    struct Row {
        const char* name;
        std::string url;
    } rows[] = {
        {"closed port", LoopbackTsa::closedUrl()},
        {"rejection", tsa().url("/sha512only")},
        {"not a reply", tsa().url("/garbage")},
    };
    for (const Row& r : rows) {
        const std::string out = in + ".none.xml";
        CliResult c = runCli({"timestamp", "--tsa", r.url, "-o", out, in});
        EXPECT_EQ(c.status, 1) << r.name;
        EXPECT_NE(c.err.find("the timestamp authority returned no token"), std::string::npos)
            << r.name << "\n"
            << c.err;
        EXPECT_TRUE(readFile(out).empty()) << r.name;  // nothing written
    }
    CliResult slow = runCli({"timestamp", "--tsa", tsa().url("/slow"), "--timeout", "1", in});
    EXPECT_EQ(slow.status, 1);
    EXPECT_NE(slow.err.find("curlError"), std::string::npos) << slow.err;
}

TEST_F(TimestampCli, CommandLineMistakes) {
    const std::string in = signedFile();
    struct Row {
        std::vector<std::string> args;
        int status;
        const char* err;
    } rows[] = {
        {{"timestamp", in}, 2, "option '--tsa URL' is required"},
        {{"timestamp", "--tsa", tsa().url(), "--timeout", "0", in}, 2, "--timeout"},
        {{"timestamp", "--tsa", tsa().url(), "--timeout", "x", in}, 2, "--timeout"},
        {{"timestamp", "--tsa", tsa().url(), "--signature", "3", in}, 2, "has 1 signature"},
        {{"timestamp", "--tsa", tsa().url()}, 2, "needs a FILE"},
        {{"timestamp", "--tsa", tsa().url(), in + ".missing"}, 1, "missing"},
    };
    for (const Row& r : rows) {
        CliResult c = runCli(r.args);
        EXPECT_EQ(c.status, r.status) << c.err;
        EXPECT_NE(c.err.find(r.err), std::string::npos) << c.err;
    }
    CliResult help = runCli({"timestamp", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("timestamp --tsa URL [-o OUT] FILE"), std::string::npos) << help.out;
    CliResult usage = runCli({"--help"});
    EXPECT_NE(usage.out.find("timestamp"), std::string::npos);
}

}  // namespace
}  // namespace xmldsig::test
