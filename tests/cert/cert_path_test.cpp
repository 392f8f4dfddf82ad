// CertPathVerifier over the test PKI of tests/data/trust (made by its make-pki.sh with the
// openssl tool): every row of cases.tsv, cross-checked with xmlsec1 or openssl, then hostile
// input.
#include <gtest/gtest.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <string>

#include "cert/CertTestUtil.h"
#include "host/cert/CertPathVerifier.h"
#include "host/cert/TavolinX509.h"
#include "host/log/_tvLogger.h"
#include "support/TrustCases.h"

namespace xmldsig {
namespace {

using test::TrustCase;

std::string pki(const std::string& name) {
    return test::trustDataDir() + "/pki/" + name;
}

bool loadCert(const std::string& path, TavolinX509& cert) {
    _tvLogger log;
    return cert.loadX509Any(testutil::fileBytes(path), log);
}

TEST(CertPath, CasesOfTheTable) {
    for (const TrustCase& c : test::loadTrustCases()) {
        if (c.trust.empty()) continue;  // nothing to check a path against
        SCOPED_TRACE(c.name());
        _tvLogger log;
        CertPathVerifier v;
        ASSERT_TRUE(v.addAnchors(pki(c.trust), log)) << log.renderText();
        if (!c.untrusted.empty()) ASSERT_TRUE(v.addIntermediates(pki(c.untrusted), log));
        if (!test::keyInfoIntermediateOf(c).empty())
            ASSERT_TRUE(v.addIntermediates(test::keyInfoIntermediateOf(c), log));
        if (!c.crl.empty()) ASSERT_TRUE(v.addCrlFile(pki(c.crl), log));
        std::time_t at = 0;
        if (!c.at.empty()) {
            ASSERT_TRUE(parseUtcTime(c.at, at));
            v.setTime(at);
        }
        TavolinX509 signer;
        ASSERT_TRUE(loadCert(test::signerCertOf(c), signer));
        const CertPathResult r = v.verify(signer, log);
        EXPECT_EQ(r.trusted ? "trusted" : "untrusted", c.status) << r.reason;
        EXPECT_NE(r.reason.find(c.reason), std::string::npos) << r.reason;
        EXPECT_EQ(r.reason.empty(), r.trusted);
        if (!c.at.empty()) EXPECT_EQ(formatUtcTime(r.validationTime), c.at);
        if (r.trusted) {
            ASSERT_GE(r.path.size(), 1u);
            EXPECT_NE(r.path[0].subject.find("O=xmldsig test PKI"), std::string::npos);
            EXPECT_EQ(r.path[0].sha256.size(), 64u);
        }
        if (c.peer == "same") EXPECT_EQ(test::peerAccepts(c), r.trusted) << "the peer differs";
    }
}

TEST(CertPath, TimesAreRfc3339Utc) {
    std::time_t t = 0;
    EXPECT_TRUE(parseUtcTime("2024-06-01T00:00:00Z", t));
    EXPECT_EQ(formatUtcTime(t), "2024-06-01T00:00:00Z");
    EXPECT_TRUE(parseUtcTime("2024-06-01T12:30:05.250+00:00", t));
    EXPECT_EQ(formatUtcTime(t), "2024-06-01T12:30:05Z");
    for (const char* bad : {"2024-06-01", "2024-06-01T00:00:00", "2024-06-01T00:00:00+02:00",
                            "2024-13-01T00:00:00Z", "yesterday", "2024-06-01T00:00:00Zjunk"})
        EXPECT_FALSE(parseUtcTime(bad, t)) << bad;
}

// Certificates made on the spot with OpenSSL: one key signs them all, so only names decide
// how they link.
struct Minted {
    EVP_PKEY* key = EVP_EC_gen("P-256");
    ~Minted() { EVP_PKEY_free(key); }
    std::string pem(const std::string& subject, const std::string& issuer, long serial) {
        X509* x = X509_new();
        X509_set_version(x, 2);
        ASN1_INTEGER_set(X509_get_serialNumber(x), serial);
        X509_NAME_add_entry_by_txt(X509_get_subject_name(x), "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(subject.c_str()), -1, -1,
                                   0);
        X509_NAME_add_entry_by_txt(X509_get_issuer_name(x), "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(issuer.c_str()), -1, -1,
                                   0);
        X509_gmtime_adj(X509_getm_notBefore(x), -86400);
        X509_gmtime_adj(X509_getm_notAfter(x), 86400);
        X509_set_pubkey(x, key);
        X509_sign(x, key, EVP_sha256());
        BIO* b = BIO_new(BIO_s_mem());
        PEM_write_bio_X509(b, x);
        char* data = nullptr;
        const long n = BIO_get_mem_data(b, &data);
        std::string out(data, static_cast<std::size_t>(n));
        BIO_free(b);
        X509_free(x);
        return out;
    }
};

TEST(CertPath, HostileInputEndsWithAReason) {
    testutil::TempDir dir;
    Minted m;
    // A thousand decoys named like the intermediate, a loop of two issuers, a signer below it.
    std::string decoys, loop = m.pem("Loop A", "Loop B", 1) + m.pem("Loop B", "Loop A", 2);
    for (long i = 0; i < 1000; ++i) decoys += m.pem("Test Intermediate", "Test Root", 10 + i);
    const std::string decoyFile =
        dir.write("decoys.pem", testutil::Bytes(decoys.begin(), decoys.end()));
    const std::string loopFile = dir.write("loop.pem", testutil::Bytes(loop.begin(), loop.end()));
    const std::string leaf = m.pem("Looping Signer", "Loop A", 3);
    const std::string leafFile = dir.write("leaf.pem", testutil::Bytes(leaf.begin(), leaf.end()));
    TavolinX509 looping, valid;
    ASSERT_TRUE(loadCert(leafFile, looping));
    ASSERT_TRUE(loadCert(pki("valid.pem"), valid));

    _tvLogger log;
    CertPathVerifier v;
    ASSERT_TRUE(v.addAnchors(pki("root.pem"), log));
    ASSERT_TRUE(v.addAnchors(decoyFile, log));  // a 1,000-certificate bundle of anchors too
    ASSERT_TRUE(v.addIntermediates(decoyFile, log));
    ASSERT_TRUE(v.addIntermediates(loopFile, log));
    CertPathResult r = v.verify(looping, log);
    EXPECT_FALSE(r.trusted);
    EXPECT_NE(r.reason.find("is not trusted"), std::string::npos) << r.reason;
    r = v.verify(valid, log);  // the real intermediate is missing: decoys must not stand in
    EXPECT_FALSE(r.trusted);
    EXPECT_NE(r.reason.find("Valid Signer"), std::string::npos) << r.reason;
    ASSERT_TRUE(v.addIntermediates(pki("inter.pem"), log));
    EXPECT_TRUE(v.verify(valid, log).trusted);

    // Damaged files are refused with a line that says so.
    const std::string crl = testutil::readFileText(pki("crl.pem"));
    for (const std::string& bad : {std::string("not a CRL"), crl.substr(0, crl.size() / 2),
                                   std::string("\x30\x82\xff\xff\x30", 5)}) {
        const std::string f = dir.write("bad.crl", testutil::Bytes(bad.begin(), bad.end()));
        _tvLogger badLog;
        EXPECT_FALSE(v.addCrlFile(f, badLog));
        EXPECT_NE(badLog.renderText().find("No CRL could be read."), std::string::npos);
        EXPECT_FALSE(v.addAnchors(f, badLog));
    }
    EXPECT_FALSE(v.addAnchors(dir.path() + "/missing.pem", log));
}

}  // namespace
}  // namespace xmldsig
