// CmsSignedData::getTimestampToken against the loopback authority: the token it brings back
// passes `openssl ts -verify` for the data, and each way the exchange can go wrong is refused.
#include <gtest/gtest.h>

#include <string>

#include "host/cms/ClsJsonObject.h"
#include "host/cms/CmsSignedData.h"
#include "host/cms/_clsCades.h"
#include "host/log/_tvLogger.h"
#include "host/text/XString.h"
#include "support/LoopbackTsa.h"

namespace xmldsig {
namespace {

using namespace test;

struct Outcome {
    bool ok = false;
    std::string token;
    std::string log;
};

Outcome requestToken(const std::string& data, const std::string& optionsJson) {
    ClsJsonObject json;
    EXPECT_TRUE(json.Load(XString(optionsJson.c_str()))) << optionsJson;
    _tvLogger log;
    _clsCades cades;
    DataBuffer in, token;
    in.append(data.data(), data.size());
    Outcome o;
    o.ok = CmsSignedData::getTimestampToken(json, in, cades, token, log);
    o.token.assign(reinterpret_cast<const char*>(token.getData2()), token.getSize());
    o.log = log.renderText();
    return o;
}

std::string options(const std::string& url, const std::string& more = "") {
    return R"({"timestampToken": {"tsaUrl": ")" + url + "\"" + more + "}}";
}

// What `openssl ts -reply -token_in -text` says about a token.
std::string tokenText(const std::string& token) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string f = writeTempFile(tsa.dir(), "tok", token);
    bool ok = false;
    const std::string text =
        runShell("openssl ts -reply -in " + shellQuoted(f) + " -token_in -text 2>/dev/null", ok);
    return ok ? text : std::string();
}

// Certificates the token carries, as `openssl pkcs7 -print_certs` lists them.
std::string tokenCerts(const std::string& token) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string f = writeTempFile(tsa.dir(), "tok", token);
    bool ok = false;
    return runShell("openssl pkcs7 -inform DER -in " + shellQuoted(f) + " -print_certs 2>&1", ok);
}

class TsaClient : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!LoopbackTsa::shared().ok()) GTEST_SKIP() << LoopbackTsa::shared().error();
    }
};

TEST_F(TsaClient, TokenCoversTheDataAndPassesOpensslVerify) {
    const std::string data = "<ds:SignatureValue>abc</ds:SignatureValue>";
    Outcome o = requestToken(data, options(LoopbackTsa::shared().url()));
    ASSERT_TRUE(o.ok) << o.log;
    EXPECT_TRUE(opensslVerifiesToken(o.token, data));
    EXPECT_FALSE(opensslVerifiesToken(o.token, data + " "));
    const std::string text = tokenText(o.token);
    EXPECT_NE(text.find("Hash Algorithm: sha256"), std::string::npos) << text;
    EXPECT_NE(text.find("Nonce: 0x"), std::string::npos) << text;
    EXPECT_NE(tokenCerts(o.token).find("CN = xmldsig Test TSA"), std::string::npos);
}

TEST_F(TsaClient, OptionsShapeTheRequest) {
    const std::string url = LoopbackTsa::shared().url();
    struct Row {
        const char* name;
        std::string more;
        const char* inText;  // in `openssl ts -text` of the token
        bool certExpected;   // the TSA certificate in the token
    } rows[] = {
        {"sha512", R"(, "hashAlg": "sha512")", "Hash Algorithm: sha512", true},
        {"sha1", R"(, "hashAlg": "SHA-1")", "Hash Algorithm: sha1", true},
        {"policy", R"(, "policyOid": "1.2.3.4.5")", "Policy OID: 1.2.3.4.5", true},
        {"no certificate", R"(, "requestTsaCert": false)", "Hash Algorithm: sha256", false},
    };
    for (const Row& r : rows) {
        Outcome o = requestToken("payload", options(url, r.more));
        ASSERT_TRUE(o.ok) << r.name << "\n" << o.log;
        EXPECT_NE(tokenText(o.token).find(r.inText), std::string::npos) << r.name;
        EXPECT_EQ(tokenCerts(o.token).find("xmldsig Test TSA") != std::string::npos, r.certExpected)
            << r.name;
        if (r.certExpected) EXPECT_TRUE(opensslVerifiesToken(o.token, "payload")) << r.name;
    }
}

TEST_F(TsaClient, FailuresLeaveTheTokenEmptyAndSayWhy) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    struct Row {
        const char* name;
        std::string json;
        const char* logLine;
    } rows[] = {
        {"no url", R"({"timestampToken": {}})", "No timestamp authority URL"},
        {"no options", "{}", "No timestamp authority URL"},
        {"unknown hash", options(tsa.url(), R"(, "hashAlg": "sha999")"),
         "Unknown timestamp hash algorithm."},
        {"bad policy", options(tsa.url(), R"(, "policyOid": "not an oid")"),
         "The timestamp policy is not a dotted OID."},
        {"policy the TSA refuses", options(tsa.url(), R"(, "policyOid": "1.9.9")"),
         "does not grant or does not match"},
        {"rejected digest", options(tsa.url("/sha512only")), "does not grant or does not match"},
        {"reply to another request", options(tsa.url("/otherdata")),
         "does not grant or does not match"},
        {"not a reply", options(tsa.url("/garbage")), "not a DER TimeStampResp"},
        {"server error", options(tsa.url("/status500")), "The timestamp request failed."},
        {"closed port", options(LoopbackTsa::closedUrl()), "HTTP request failed."},
        {"not http", options("ldap://127.0.0.1/"), "Only http and https URLs are supported."},
    };
    for (const Row& r : rows) {
        Outcome o = requestToken("payload", r.json);
        EXPECT_FALSE(o.ok) << r.name;
        EXPECT_TRUE(o.token.empty()) << r.name;
        EXPECT_NE(o.log.find(r.logLine), std::string::npos) << r.name << "\n" << o.log;
    }
    // The rejection's status (2, rejection) and the authority's reason reach the log.
    Outcome rejected = requestToken("payload", options(tsa.url("/sha512only")));
    EXPECT_NE(rejected.log.find("tsaStatus: 2"), std::string::npos) << rejected.log;
    EXPECT_NE(rejected.log.find("tsaStatusText"), std::string::npos) << rejected.log;
}

}  // namespace
}  // namespace xmldsig
