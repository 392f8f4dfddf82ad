// xmldsig timestamp, run as a user runs it, against the loopback authority; its results are
// checked with xmldsig verify and with openssl.
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
