// CmsSignedData: timestamp tokens and other CMS structures made by the openssl tool, loaded and
// verified; openssl's own `cms -verify` says what the encapsulated content is.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/cert/ClsXmlCertVault.h"
#include "host/cert/SystemCerts.h"
#include "host/cms/CmsSignedData.h"
#include "host/cms/_clsCades.h"
#include "host/log/_tvLogger.h"
#include "host/text/XString.h"
#include "support/LoopbackTsa.h"

namespace xmldsig {
namespace {

using namespace test;

DataBuffer bytesOf(const std::string& s) {
    DataBuffer db;
    db.append(s.data(), s.size());
    return db;
}

std::string textOf(const DataBuffer& db) {
    return std::string(reinterpret_cast<const char*>(db.getData2()), db.getSize());
}

// The encapsulated content as `openssl cms -verify -noverify` writes it (the TSA certificate
// offered for tokens that do not carry it).
std::string opensslContent(const std::string& der) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string in = writeTempFile(tsa.dir(), "cms.der", der);
    bool ok = false;
    std::string out =
        runShell("openssl cms -verify -inform DER -in " + shellQuoted(in) + " -certfile " +
                     shellQuoted(tsa.file("tsa.pem")) + " -noverify -binary 2>/dev/null",
                 ok);
    return ok ? out : std::string();
}

// A store that searches only the given certificate files (never the system trust store).
struct TestStore {
    SystemCerts store;
    std::unique_ptr<ClsXmlCertVault> vault{ClsXmlCertVault::createNewCls()};
    explicit TestStore(std::initializer_list<std::string> pemFiles) {
        store.put_UseSystemTrustStore(false);
        for (const std::string& f : pemFiles) vault->AddCertFile(XString(f.c_str()));
        _tvLogger log;
        store.addCertVault(*vault->getCertMgr(), log);
    }
};

class CmsSignedDataTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!LoopbackTsa::shared().ok()) GTEST_SKIP() << LoopbackTsa::shared().error();
    }
    // Load and verify; the log text goes to logText.
    bool verify(const std::string& der, SystemCerts* store, const char* options, DataBuffer& out,
                std::string& logText) {
        _tvLogger log;
        _clsCades cades;
        cades.put_CmsOptions(StringBuffer(options));
        CmsSignedData cms;
        bool detached = false;
        const bool ok = cms.loadPkcs7Der(bytesOf(der), "token", CmsSignedData::kModeSignedDataOnly,
                                         &detached, store, log) &&
                        cms.verifyOpaqueSignature(out, cades, store, log);
        logText = log.renderText();
        return ok;
    }
};

TEST_F(CmsSignedDataTest, TimestampTokenYieldsTheTstInfoOpensslExtracts) {
    const std::string token = opensslToken("data to stamp");
    ASSERT_FALSE(token.empty());
    DataBuffer content;
    std::string log;
    ASSERT_TRUE(verify(token, nullptr, "", content, log)) << log;
    EXPECT_EQ(textOf(content), opensslContent(token));
    EXPECT_NE(log.find("CN=xmldsig Test TSA"), std::string::npos) << log;
    EXPECT_NE(log.find("1.2.840.113549.1.9.16.1.4"), std::string::npos) << log;  // TSTInfo
}

TEST_F(CmsSignedDataTest, EveryAlteredByteOfTheSignedPartFails) {
    const std::string token = opensslToken("data to stamp");
    ASSERT_FALSE(token.empty());
    // Bytes across the token: the TSTInfo, the signed attributes and the signature value.
    int checked = 0;
    for (std::size_t at = token.size() / 8; at < token.size(); at += token.size() / 9) {
        std::string bad = token;
        bad[at] = static_cast<char>(bad[at] ^ 0x01);
        DataBuffer content;
        std::string log;
        const bool ok = verify(bad, nullptr, "", content, log);
        // A flipped bit in an unsigned certificate field may still leave the token
        // verifiable; the signed content may never change unnoticed.
        if (ok) EXPECT_EQ(textOf(content), opensslContent(token)) << "byte " << at;
        checked += ok ? 0 : 1;
    }
    EXPECT_GE(checked, 4);
    std::string sigTampered = token;
    sigTampered[token.size() - 5] ^= 0x40;  // inside the RSA signature value, the last field
    DataBuffer content;
    std::string log;
    EXPECT_FALSE(verify(sigTampered, nullptr, "", content, log));
    EXPECT_NE(log.find("The CMS signature is not valid."), std::string::npos) << log;
    EXPECT_EQ(content.getSize(), 0u);
}

TEST_F(CmsSignedDataTest, MalformedInputIsRefusedAtLoad) {
    const std::string token = opensslToken("x");
    LoopbackTsa& tsa = LoopbackTsa::shared();
    bool ok = false;
    const std::string dataFile = writeTempFile(tsa.dir(), "d", "hello");
    const std::string dataCms = runShell(
        "openssl cms -data_create -in " + shellQuoted(dataFile) + " -outform DER 2>/dev/null", ok);
    struct Row {
        const char* name;
        std::string der;
        const char* logLine;
    } rows[] = {
        {"empty", "", "No CMS data."},
        {"garbage", "not DER at all", "not a DER-encoded CMS ContentInfo"},
        {"truncated", token.substr(0, token.size() / 2), "not a DER-encoded CMS ContentInfo"},
        {"trailing bytes", token + "xx", "Unexpected bytes after the CMS ContentInfo."},
        {"data content type", dataCms, "does not hold signed data"},
        {"deep nesting", std::string(4000, '\x30') + std::string(4000, '\x80'),
         "not a DER-encoded CMS ContentInfo"},
    };
    for (const Row& r : rows) {
        _tvLogger log;
        CmsSignedData cms;
        EXPECT_FALSE(cms.loadPkcs7Der(bytesOf(r.der), nullptr, CmsSignedData::kModeSignedDataOnly,
                                      nullptr, nullptr, log))
            << r.name;
        EXPECT_FALSE(cms.isLoaded()) << r.name;
        EXPECT_NE(log.renderText().find(r.logLine), std::string::npos) << r.name << "\n"
                                                                       << log.renderText();
    }
}

TEST_F(CmsSignedDataTest, DetachedSignatureHasNoContentToExtract) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string dataFile = writeTempFile(tsa.dir(), "d", "hello");
    bool ok = false;
    const std::string detached =
        runShell("openssl cms -sign -binary -in " + shellQuoted(dataFile) + " -signer " +
                     shellQuoted(tsa.file("signer.pem")) + " -inkey " +
                     shellQuoted(tsa.file("signer.key")) + " -outform DER 2>/dev/null",
                 ok);
    ASSERT_TRUE(ok);
    _tvLogger log;
    CmsSignedData cms;
    bool isDetached = false;
    ASSERT_TRUE(cms.loadPkcs7Der(bytesOf(detached), nullptr, CmsSignedData::kModeAnyContentType,
                                 &isDetached, nullptr, log));
    EXPECT_TRUE(isDetached);
    _clsCades cades;
    DataBuffer content;
    EXPECT_FALSE(cms.verifyOpaqueSignature(content, cades, nullptr, log));
    EXPECT_NE(log.renderText().find("detached"), std::string::npos) << log.renderText();
}

TEST_F(CmsSignedDataTest, SignerCertificateFromTheStoreWhenTheTokenLacksIt) {
    const std::string token = opensslToken("no cert inside", "sha256", false);
    ASSERT_FALSE(token.empty());
    DataBuffer content;
    std::string log;
    EXPECT_FALSE(verify(token, nullptr, "", content, log)) << log;
    TestStore withTsa({LoopbackTsa::shared().file("tsa.pem")});
    EXPECT_TRUE(verify(token, &withTsa.store, "", content, log)) << log;
    EXPECT_NE(log.find("looking in the store"), std::string::npos) << log;
    EXPECT_EQ(textOf(content), opensslContent(token));
}

TEST_F(CmsSignedDataTest, ChainIsCheckedOnlyWhenAsked) {
    const std::string token = opensslToken("chain");
    ASSERT_FALSE(token.empty());
    TestStore empty({});
    TestStore withCa({LoopbackTsa::shared().file("ca.pem")});
    TestStore signerOnly({LoopbackTsa::shared().file("signer.pem")});
    struct Row {
        const char* name;
        SystemCerts* store;
        const char* options;
        bool expected;
        const char* logLine;
    } rows[] = {
        {"default, no store", nullptr, "", true, "The CMS signature is valid."},
        {"default, empty store", &empty.store, "", true, "verifyTsaCertChain: false"},
        {"asked, CA in store", &withCa.store, R"({"VerifyTsaCertChain": true})", true,
         "Every signer's certificate chains to a trusted certificate."},
        {"asked, empty store", &empty.store, R"({"VerifyTsaCertChain": true})", false,
         "does not chain to a trusted certificate"},
        {"asked, unrelated cert", &signerOnly.store, R"({"VerifyTsaCertChain": true})", false,
         "does not chain to a trusted certificate"},
        {"asked, no store", nullptr, R"({"VerifyTsaCertChain": true})", false,
         "No certificate store to check the signer's chain against."},
        {"explicitly off", &empty.store, R"({"VerifyTsaCertChain": false})", true,
         "verifyTsaCertChain: false"},
        {"options not JSON", &empty.store, "VerifyTsaCertChain", true,
         "The CMS options are not a JSON object; they are ignored."},
    };
    for (const Row& r : rows) {
        DataBuffer content;
        std::string log;
        EXPECT_EQ(verify(token, r.store, r.options, content, log), r.expected) << r.name << "\n"
                                                                               << log;
        EXPECT_NE(log.find(r.logLine), std::string::npos) << r.name << "\n" << log;
    }
}

TEST_F(CmsSignedDataTest, ChainCheckRequiresTheTimeStampingPurpose) {
    // A CMS structure signed by the signer certificate (no timeStamping usage), made to look
    // like a token: content type TSTInfo, content the TSTInfo of a real token.
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string tstInfo = opensslContent(opensslToken("purpose"));
    ASSERT_FALSE(tstInfo.empty());
    const std::string in = writeTempFile(tsa.dir(), "tst", tstInfo);
    bool ok = false;
    const std::string fake =
        runShell("openssl cms -sign -nodetach -binary -econtent_type id-smime-ct-TSTInfo -in " +
                     shellQuoted(in) + " -signer " + shellQuoted(tsa.file("signer.pem")) +
                     " -inkey " + shellQuoted(tsa.file("signer.key")) + " -outform DER 2>/dev/null",
                 ok);
    ASSERT_TRUE(ok);
    TestStore withCa({tsa.file("ca.pem")});
    DataBuffer content;
    std::string log;
    EXPECT_TRUE(verify(fake, &withCa.store, "", content, log)) << log;
    EXPECT_FALSE(verify(fake, &withCa.store, R"({"VerifyTsaCertChain": true})", content, log));
    EXPECT_NE(log.find("unsuitable certificate purpose"), std::string::npos) << log;
}

}  // namespace
}  // namespace xmldsig
