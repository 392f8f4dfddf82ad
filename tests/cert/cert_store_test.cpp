// SystemCerts: lookups by subject key identifier, subject name and issuer + serial across two
// vaults and a system trust store, in that order; the lazy loading of the trust store; chains;
// and the references that real signed documents of the corpus carry. Expected certificates
// are identified by the DER the openssl tool writes, query values by what it reports.
#include <gtest/gtest.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

#include "cert/CertTestUtil.h"
#include "host/cert/CertMgr.h"
#include "host/cert/CertificateHolder.h"
#include "host/cert/ClsXmlCertVault.h"
#include "host/cert/DistinguishedName.h"
#include "host/cert/StoredCertificate.h"
#include "host/cert/SystemCerts.h"
#include "host/cert/TavolinX509.h"
#include "host/log/_tvLogger.h"
#include "host/text/ContentCoding.h"
#include "host/text/ExtPtrArray.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

using testutil::fileBytes;
using testutil::withoutColons;

std::string hexToBase64(const std::string& hex) {
    DataBuffer bytes;
    StringBuffer b64;
    bytes.appendEncoded(hex.c_str(), "hex");
    bytes.encodeDB("base64", b64);
    return b64.str();
}

bool sameDer(const TavolinX509* found, const std::string& derFile) {
    if (found == nullptr) return false;
    DataBuffer der;
    found->getCertDer(der);
    return der.equals(fileBytes(derFile));
}

// Two vaults and a trust store of generated certificates:
//   vault 1: ca (EC, "Store CA"), leafA (RSA, issued by ca, serial 2002)
//   vault 2: shadowA (self-signed, same subject and serial as leafA), leafB (no key
//            identifier extension), leafC (issued by the trust store's root)
//   trust store: sysroot
class SystemCertsLookup : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        f = new testutil::CertFactory();
        f->selfSigned("ca", "ec", "/C=US/O=Store Test/CN=Store CA", "0x1001", true);
        f->issued("leafA", "rsa", "/C=US/O=Store Test/CN=Leaf A", "0x2002", "ca", true);
        f->selfSigned("shadowA", "ec", "/C=US/O=Store Test/CN=Leaf A", "0x2002", true);
        f->issued("leafB", "ec", "/C=US/O=Store Test/CN=Leaf B", "0x2003", "ca", false);
        f->selfSigned("sysroot", "rsa", "/O=System Store/CN=System Root", "0x3003", true);
        f->issued("leafC", "ec", "/CN=Leaf C", "77", "sysroot", true);
        for (const char* n : {"ca", "leafA", "shadowA", "leafB", "sysroot", "leafC"})
            f->toDer(f->path(std::string(n) + ".pem"));
        std::filesystem::create_directory(f->path("sys"));
        std::filesystem::copy_file(f->path("sysroot.pem"), f->path("sys/root.pem"));
    }
    static void TearDownTestSuite() {
        delete f;
        f = nullptr;
    }

    void SetUp() override {
        vault1.reset(ClsXmlCertVault::createNewCls());
        vault2.reset(ClsXmlCertVault::createNewCls());
        for (const char* n : {"ca.pem", "leafA.der"})
            ASSERT_TRUE(vault1->AddCertFile(XString(f->path(n).c_str())));
        for (const char* n : {"shadowA.pem", "leafB.pem", "leafC.pem"})
            ASSERT_TRUE(vault2->AddCertFile(XString(f->path(n).c_str())));
        store.reset(new SystemCerts());
        store->setTrustStoreLocations("", f->path("sys").c_str());
        ASSERT_TRUE(store->addCertVault(*vault1->getCertMgr(), log));
        ASSERT_TRUE(store->addCertVault(*vault2->getCertMgr(), log));
    }

    static std::string der(const char* name) { return f->path(std::string(name) + ".der"); }
    static testutil::OpensslFacts facts(const char* name) {
        return testutil::opensslFacts(f->path(std::string(name) + ".pem"));
    }

    static testutil::CertFactory* f;
    std::unique_ptr<ClsXmlCertVault> vault1, vault2;
    std::unique_ptr<SystemCerts> store;
    _tvLogger log;
};
testutil::CertFactory* SystemCertsLookup::f = nullptr;

// The rows of tests/data/cert/store_lookups.tsv: by subject key identifier, subject name and
// issuer and serial.
TEST_F(SystemCertsLookup, TableOfLookups) {
    const std::string skiA = withoutColons(facts("leafA").at("ski"));
    ASSERT_EQ(facts("leafB").count("ski"), 0u);
    ASSERT_EQ(facts("leafA").at("serial"), "2002");
    // leafB has no extension: its identifier is the SHA-1 of its key bits, which openssl
    // computes the same way for another certificate of the same key that carries it.
    const std::string leafBWithSki = f->path("leafB-ski.pem");
    ASSERT_TRUE(testutil::CertFactory::run(
        "openssl x509 -req -set_serial 1 -in " + testutil::shellQuote(f->path("leafB.csr")) +
        " -CA " + testutil::shellQuote(f->path("ca.pem")) + " -CAkey " +
        testutil::shellQuote(f->path("ca.key")) + " -extfile " +
        testutil::shellQuote(f->path("openssl.cnf")) + " -extensions leaf_ski -out " +
        testutil::shellQuote(leafBWithSki)));
    const std::map<std::string, std::string> pieces = {
        {"SKI_A", skiA},
        {"SKI_A_B64", hexToBase64(skiA)},
        {"SKI_A_LOWER", testutil::lowerTrimmed(skiA)},
        {"SKI_B_B64", hexToBase64(withoutColons(testutil::opensslFacts(leafBWithSki).at("ski")))},
        {"SKI_ROOT_B64", hexToBase64(withoutColons(facts("sysroot").at("ski")))}};
    for (const test::DataRow& r : test::loadTable("cert/store_lookups.tsv", pieces)) {
        SCOPED_TRACE(r.where() + " " + r["name"]);
        const TavolinX509* found = nullptr;
        if (r["kind"] == "ski") {
            StoredCertificate* stored = store->findBySubjectKeyId(r["a"].c_str(), log);
            found = stored != nullptr ? stored->x509Holder().getX509Ptr() : nullptr;
        } else if (r["kind"] == "subject") {
            found = store->findBySubjectDN_x509(XString(r["b"].c_str()), XString(r["a"].c_str()),
                                                r.flag("flag"), log);
        } else {
            found = store->findX509(r["a"].c_str(), r["b"].c_str(),
                                    r["c"].empty() ? nullptr : r["c"].c_str(), log);
        }
        if (r["expected"] == "(none)")
            EXPECT_EQ(found, nullptr);
        else
            EXPECT_TRUE(sameDer(found, der(r["expected"].c_str())));
    }
    _tvLogger badLog;
    EXPECT_EQ(store->findBySubjectKeyId("***", badLog), nullptr);
    EXPECT_TRUE(badLog.hasErrorContaining("neither base64 nor hex"));
    EXPECT_EQ(store->findX509("zz", "Store CA", nullptr, badLog), nullptr);
    EXPECT_TRUE(badLog.hasErrorContaining("Serial number is not hex."));
    EXPECT_EQ(store->findX509("2002", nullptr, nullptr, badLog), nullptr);
    EXPECT_TRUE(badLog.hasErrorContaining("No issuer to search by."));
}

TEST_F(SystemCertsLookup, ByThumbprint) {
    const std::string sha1 = withoutColons(facts("leafB").at("sha1 Fingerprint"));
    EXPECT_TRUE(sameDer(store->findByThumbprint(sha1.c_str(), log), der("leafB")));
    EXPECT_TRUE(sameDer(store->findByThumbprint(hexToBase64(sha1).c_str(), log), der("leafB")));
}

TEST_F(SystemCertsLookup, TrustStoreIsLoadedOnlyWhenASearchReachesIt) {
    _tvLogger first;
    ASSERT_NE(store->findX509("2002", "Store CA", nullptr, first), nullptr);
    EXPECT_EQ(first.renderText().find("numTrustStoreCerts"), std::string::npos);
    _tvLogger second;
    ASSERT_NE(store->findX509("3003", "System Root", nullptr, second), nullptr);
    EXPECT_NE(second.renderText().find("numTrustStoreCerts: 1"), std::string::npos)
        << second.renderText();
    _tvLogger third;  // loaded once only
    ASSERT_NE(store->findX509("3003", "System Root", nullptr, third), nullptr);
    EXPECT_EQ(third.renderText().find("numTrustStoreCerts"), std::string::npos);

    SystemCerts noSystem;
    noSystem.setTrustStoreLocations("", f->path("sys").c_str());
    noSystem.put_UseSystemTrustStore(false);
    ASSERT_TRUE(noSystem.addCertVault(*vault2->getCertMgr(), log));
    EXPECT_EQ(noSystem.findX509("3003", "System Root", nullptr, log), nullptr);
    EXPECT_NE(noSystem.findX509("4D", "System Root", nullptr, log), nullptr);
}

TEST_F(SystemCertsLookup, VaultsStaySearchableAndGrow) {
    SystemCerts own;
    own.put_UseSystemTrustStore(false);
    {
        std::unique_ptr<ClsXmlCertVault> temporary(ClsXmlCertVault::createNewCls());
        ASSERT_TRUE(temporary->AddCertFile(XString(f->path("leafB.pem").c_str())));
        ASSERT_TRUE(own.addCertVault(*temporary->getCertMgr(), log));
        EXPECT_EQ(own.findX509("2003", "Store CA", nullptr, log) != nullptr, true);
        // Added after the vault was handed over: still found.
        ASSERT_TRUE(temporary->AddCertFile(XString(f->path("leafA.pem").c_str())));
    }  // the caller released its vault
    EXPECT_TRUE(sameDer(own.findX509("2003", "Store CA", nullptr, log), der("leafB")));
    EXPECT_TRUE(sameDer(own.findX509("2002", "Store CA", nullptr, log), der("leafA")));
    EXPECT_EQ(own.numVaults(), 1);
}

TEST_F(SystemCertsLookup, ChainsEndAtARootOfTheStore) {
    _tvLogger l;
    TavolinX509 leafA, leafC, shadow, stranger;
    ASSERT_TRUE(leafA.loadX509Any(fileBytes(der("leafA")), l));
    ASSERT_TRUE(leafC.loadX509Any(fileBytes(der("leafC")), l));
    ASSERT_TRUE(shadow.loadX509Any(fileBytes(der("shadowA")), l));
    std::vector<TavolinX509*> chain;
    ASSERT_TRUE(store->getCertChain(leafA, chain, l));
    ASSERT_EQ(chain.size(), 1u);
    EXPECT_TRUE(sameDer(chain[0], der("ca")));
    ASSERT_TRUE(store->getCertChain(leafC, chain, l));
    ASSERT_EQ(chain.size(), 1u);
    EXPECT_TRUE(sameDer(chain[0], der("sysroot")));
    EXPECT_TRUE(store->getCertChain(shadow, chain, l));  // self-signed and in vault 2
    EXPECT_TRUE(chain.empty());

    SystemCerts empty;
    empty.put_UseSystemTrustStore(false);
    EXPECT_FALSE(empty.getCertChain(leafA, chain, l));
    EXPECT_NE(l.renderText().find("not in the store"), std::string::npos);
    EXPECT_FALSE(empty.getCertChain(shadow, chain, l));  // a root, but not one of the store
}

TEST_F(SystemCertsLookup, AllCertificatesInSearchOrder) {
    std::vector<TavolinX509*> all;
    ASSERT_TRUE(store->getAllCerts(all, log));
    ASSERT_EQ(all.size(), 6u);
    const char* order[] = {"ca", "leafA", "shadowA", "leafB", "leafC", "sysroot"};
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_TRUE(sameDer(all[i], der(order[i]))) << i;
}

// The process's real trust store, where OpenSSL looks by default (SSL_CERT_FILE and
// SSL_CERT_DIR included, as for OpenSSL itself).
TEST(SystemCertsDefaultStore, FindsASystemRootBySubjectAndKeyIdentifier) {
    const char* env = std::getenv(X509_get_default_cert_file_env());
    const std::string bundle = env != nullptr ? env : X509_get_default_cert_file();
    const testutil::OpensslFacts facts = testutil::opensslFacts(bundle);  // its first certificate
    if (facts.empty() || facts.count("ski") == 0)
        GTEST_SKIP() << "no usable system trust store at " << bundle;
    SystemCerts store;
    _tvLogger log;
    const TavolinX509* bySubject =
        store.findBySubjectDN_x509(XString(), XString(facts.at("subject").c_str()), true, log);
    ASSERT_NE(bySubject, nullptr) << facts.at("subject");
    XString sha1;
    bySubject->get_Sha1Thumbprint(sha1);
    EXPECT_EQ(sha1.getUtf8(), withoutColons(facts.at("sha1 Fingerprint")));
    StoredCertificate* byKeyId =
        store.findBySubjectKeyId(hexToBase64(withoutColons(facts.at("ski"))).c_str(), log);
    ASSERT_NE(byKeyId, nullptr);
    EXPECT_EQ(byKeyId->getX509(), bySubject);
    EXPECT_NE(log.renderText().find("numTrustStoreCerts"), std::string::npos);
}

// --- references written in real signed documents ---

std::string reversedComponents(const std::string& dn) {
    ExtPtrArraySb parts;
    StringBuffer(dn.c_str()).split(parts, ',', true, true);
    std::string out;
    for (int i = parts.getSize() - 1; i >= 0; --i) {
        StringBuffer piece(*parts.sbAt(i));
        piece.trim2();
        out += piece.str() + (i > 0 ? ", " : "");
    }
    return out;
}

TEST(SystemCertsCorpus, ResolvesTheReferencesOfRealDocuments) {
    // Every certificate file of the corpus in one vault: look-alikes included.
    std::unique_ptr<ClsXmlCertVault> vault(ClsXmlCertVault::createNewCls());
    for (const std::string& file : testutil::corpusCertFiles())
        vault->AddCertFile(XString(file.c_str()));
    ASSERT_GT(vault->get_NumCerts(), 50);  // distinct certificates (PEM and DER pairs count once)
    SystemCerts store;
    store.put_UseSystemTrustStore(false);
    _tvLogger log;
    ASSERT_TRUE(store.addCertVault(*vault->getCertMgr(), log));

    for (const test::DataRow& r : test::loadTable("cert/corpus_references.tsv")) {
        SCOPED_TRACE(r.where());
        const std::string expected = std::string(XMLDSIG_CORPUS_DIR) + "/" + r["expected"];
        const std::string& value = r["value"];
        if (r["kind"] == "issuerSerial") {
            StringBuffer cn;
            ASSERT_TRUE(DistinguishedName::getDnPart(value.c_str(), "CN", cn, log));
            cn.trim2();
            XString serial(r["serial"].c_str());
            ASSERT_TRUE(serial.reencode("decimal", "hex"));
            EXPECT_TRUE(
                sameDer(store.findX509(serial.getUtf8(), cn.getString(), nullptr, log), expected));
        } else if (r["kind"] == "subject") {
            for (const std::string& dn : {value, reversedComponents(value)}) {
                XString full(dn.c_str()), noTags;
                DistinguishedName::removeDnTags(full, noTags);
                EXPECT_TRUE(sameDer(store.findBySubjectDN_x509(noTags, full, true, log), expected))
                    << dn;
            }
        } else {
            StoredCertificate* found = store.findBySubjectKeyId(value.c_str(), log);
            ASSERT_NE(found, nullptr);
            EXPECT_TRUE(sameDer(found->getX509(), expected));
        }
    }
}

TEST(CertificateHolderFromBase64, HoldsOneParsedCertificate) {
    const DataBuffer der = fileBytes(std::string(XMLDSIG_CORPUS_DIR) + "/xmlsec/keys/ca2cert.der");
    StringBuffer b64;
    der.encodeDB("base64", b64);
    _tvLogger log;
    std::unique_ptr<CertificateHolder> holder(
        CertificateHolder::createFromBase64(b64.getString(), b64.getSize(), nullptr, log));
    ASSERT_NE(holder, nullptr);
    StoredCertificate* cert = holder->getCertPtr(log);
    ASSERT_NE(cert, nullptr);
    ASSERT_NE(cert->x509Holder().getX509Ptr(), nullptr);
    DataBuffer out;
    cert->x509Holder().getX509Ptr()->getCertDer(out);
    EXPECT_TRUE(out.equals(der));

    const char notCert[] = "MAMCAQU=";  // SEQUENCE { INTEGER 5 }
    EXPECT_EQ(CertificateHolder::createFromBase64(notCert, sizeof notCert - 1, nullptr, log),
              nullptr);
    EXPECT_TRUE(log.hasErrorContaining("DER is not an X.509 certificate."));
    EXPECT_EQ(CertificateHolder::createFromBase64("@@", 2, nullptr, log), nullptr);
    EXPECT_TRUE(log.hasErrorContaining("does not decode"));
}

}  // namespace
}  // namespace xmldsig
