// ClsXmlCertVault: certificates from PEM, DER and base64 files and text, from directories and
// from PKCS#12 files (right, wrong and empty passwords; modern and legacy encryption). A load
// that fails leaves the vault as it was and says why in the log.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "cert/CertTestUtil.h"
#include "host/cert/CertMgr.h"
#include "host/cert/ClsXmlCertVault.h"
#include "host/cert/StoredCertificate.h"
#include "host/cert/TavolinX509.h"
#include "host/xml/ClsBinData.h"

namespace xmldsig {
namespace {

using testutil::fileBytes;
using testutil::readFileText;

class ClsXmlCertVaultLoad : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        f = new testutil::CertFactory();
        f->selfSigned("ca", "ec", "/CN=Vault CA", "1", true);
        f->issued("one", "rsa", "/CN=One", "11", "ca", true);
        f->issued("two", "ec", "/CN=Two", "12", "ca", false);
        for (const char* n : {"ca", "one", "two"}) f->toDer(f->path(std::string(n) + ".pem"));
        write("bundle.pem", readFileText(f->path("ca.pem")) + "some notes between blocks\n" +
                                readFileText(f->path("one.key")) +
                                readFileText(f->path("one.pem")) +
                                readFileText(f->path("two.pem")));
        StringBuffer b64;
        fileBytes(f->path("two.der")).encodeDB("base64", b64);
        write("two.b64", b64.str());
    }
    static void TearDownTestSuite() {
        delete f;
        f = nullptr;
    }
    void SetUp() override { vault.reset(ClsXmlCertVault::createNewCls()); }

    static std::string write(const std::string& name, const std::string& text) {
        std::ofstream out(f->path(name), std::ios::binary);
        out << text;
        return f->path(name);
    }
    bool logHas(const char* text) const {
        return vault->lastErrorText().find(text) != std::string::npos;
    }
    // True when the vault holds a certificate with the DER of the named file.
    bool holds(const std::string& derFile) const {
        const DataBuffer want = fileBytes(derFile);
        CertMgr* mgr = vault->getCertMgr();
        for (int i = 0; i < mgr->getNumCerts(); ++i) {
            DataBuffer der;
            mgr->getCert(i)->getX509()->getCertDer(der);
            if (der.equals(want)) return true;
        }
        return false;
    }

    static testutil::CertFactory* f;
    std::unique_ptr<ClsXmlCertVault> vault;
};
testutil::CertFactory* ClsXmlCertVaultLoad::f = nullptr;

TEST_F(ClsXmlCertVaultLoad, FilesInEveryEncoding) {
    const struct {
        const char* file;
        int total;  // certificates held afterwards (repeats count once)
    } rows[] = {{"bundle.pem", 3}, {"two.der", 3}, {"two.b64", 3}, {"ca.der", 3}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.file);
        EXPECT_TRUE(vault->AddCertFile(XString(f->path(r.file).c_str()))) << vault->lastErrorText();
        EXPECT_EQ(vault->get_NumCerts(), r.total);
    }
    for (const char* n : {"ca.der", "one.der", "two.der"}) EXPECT_TRUE(holds(f->path(n)));
}

TEST_F(ClsXmlCertVaultLoad, TextAndBytes) {
    EXPECT_TRUE(vault->AddCertString(XString(readFileText(f->path("one.pem")).c_str())));
    EXPECT_TRUE(vault->AddCertString(XString(readFileText(f->path("two.b64")).c_str())));
    ClsBinData der;
    der.m_data = fileBytes(f->path("ca.der"));
    EXPECT_TRUE(vault->AddCertBinary(der));
    EXPECT_EQ(vault->get_NumCerts(), 3);
    EXPECT_TRUE(holds(f->path("one.der")));
}

TEST_F(ClsXmlCertVaultLoad, BadInputFailsAndChangesNothing) {
    ASSERT_TRUE(vault->AddCertFile(XString(f->path("ca.pem").c_str())));
    // A bundle whose second block is well-formed PEM around DER that is not a certificate.
    const std::string notCert =
        "-----BEGIN CERTIFICATE-----\nMAMCAQU=\n-----END CERTIFICATE-----\n";
    write("damaged-bundle.pem", readFileText(f->path("one.pem")) + notCert);
    const struct {
        const char* name;
        std::string path;
        const char* logged;
    } files[] = {
        {"key only", f->path("one.key"), "No certificate found in the data."},
        {"second block bad", f->path("damaged-bundle.pem"), "DER is not an X.509 certificate."},
        {"missing file", f->path("absent.pem"), "Failed to open file."},
        {"broken PEM",
         write("broken.pem", "-----BEGIN CERTIFICATE-----\n!!!\n-----END CERTIFICATE-----\n"),
         "Damaged PEM block."},
    };
    for (const auto& r : files) {
        SCOPED_TRACE(r.name);
        EXPECT_FALSE(vault->AddCertFile(XString(r.path.c_str())));
        EXPECT_TRUE(logHas(r.logged)) << vault->lastErrorText();
        EXPECT_EQ(vault->get_NumCerts(), 1);
    }
    EXPECT_FALSE(vault->AddCertString(XString("")));
    EXPECT_FALSE(vault->AddCertString(XString("hello, world")));
    EXPECT_TRUE(logHas("neither PEM, DER nor base64"));
    EXPECT_EQ(vault->get_NumCerts(), 1);
}

TEST_F(ClsXmlCertVaultLoad, DirectoriesSkipFilesWithoutCertificates) {
    const std::string dir = f->path("dir");
    std::filesystem::create_directory(dir);
    std::filesystem::create_directory(dir + "/nested");  // not descended into
    std::filesystem::copy_file(f->path("one.pem"), dir + "/one.pem");
    std::filesystem::copy_file(f->path("two.der"), dir + "/two.cer");
    std::filesystem::copy_file(f->path("ca.pem"), dir + "/nested/ca.pem");
    std::filesystem::copy_file(f->path("one.key"), dir + "/one.key");
    write("dir/README", "certificates for the tests\n");
    EXPECT_TRUE(vault->AddCertDir(XString(dir.c_str()))) << vault->lastErrorText();
    EXPECT_EQ(vault->get_NumCerts(), 2);
    EXPECT_TRUE(logHas("skippedFile"));
    EXPECT_FALSE(holds(f->path("ca.der")));

    const std::string empty = f->path("emptydir");
    std::filesystem::create_directory(empty);
    EXPECT_FALSE(vault->AddCertDir(XString(empty.c_str())));
    EXPECT_TRUE(logHas("No certificates found in the directory."));
    EXPECT_FALSE(vault->AddCertDir(XString(f->path("nowhere").c_str())));
    EXPECT_TRUE(logHas("Cannot open the directory."));
    EXPECT_EQ(vault->get_NumCerts(), 2);
}

TEST_F(ClsXmlCertVaultLoad, Pkcs12WithRightAndWrongPasswords) {
    const std::string modern = f->pkcs12("one", "s3cret", {f->path("ca.pem")}, false);
    const std::string legacy = f->pkcs12("two", "old-pass", {}, true);
    const std::string noPassword = f->pkcs12("ca", "", {}, false);
    ASSERT_FALSE(modern.empty());
    ASSERT_FALSE(legacy.empty());
    ASSERT_FALSE(noPassword.empty());

    EXPECT_FALSE(vault->AddPfxFile(XString(modern.c_str()), XString("wrong")));
    EXPECT_TRUE(logHas("PKCS#12 MAC verification failed: the password is wrong."));
    EXPECT_EQ(vault->get_NumCerts(), 0);

    EXPECT_TRUE(vault->AddPfxFile(XString(modern.c_str()), XString("s3cret")))
        << vault->lastErrorText();
    EXPECT_EQ(vault->get_NumCerts(), 2);  // the key's certificate and the CA beside it
    EXPECT_TRUE(holds(f->path("one.der")));
    EXPECT_TRUE(holds(f->path("ca.der")));

    EXPECT_FALSE(vault->AddPfxFile(XString(legacy.c_str()), XString("s3cret")));
    EXPECT_TRUE(vault->AddPfxFile(XString(legacy.c_str()), XString("old-pass")))
        << vault->lastErrorText();
    EXPECT_TRUE(holds(f->path("two.der")));

    std::unique_ptr<ClsXmlCertVault> other(ClsXmlCertVault::createNewCls());
    EXPECT_TRUE(other->AddPfxFile(XString(noPassword.c_str()), XString("")))
        << other->lastErrorText();
    EXPECT_EQ(other->get_NumCerts(), 1);
}

TEST_F(ClsXmlCertVaultLoad, DamagedPkcs12) {
    const std::string good = f->pkcs12("one", "pw", {}, false);
    const std::string bytes = readFileText(good);
    ClsBinData cut;
    cut.m_data.appendStr(bytes.substr(0, bytes.size() / 2));
    EXPECT_FALSE(vault->AddPfxBinary(cut, XString("pw")));
    EXPECT_TRUE(logHas("Data is not PKCS#12."));
    ClsBinData cert;
    cert.m_data = fileBytes(f->path("one.der"));
    EXPECT_FALSE(vault->AddPfxBinary(cert, XString("pw")));
    ClsBinData nothing;
    EXPECT_FALSE(vault->AddPfxBinary(nothing, XString("pw")));
    EXPECT_TRUE(logHas("PKCS#12 data is empty or too large."));
    EXPECT_EQ(vault->get_NumCerts(), 0);
}

// PKCS#12 files written by other software: xmlsec's test keys (password "secret123").
TEST_F(ClsXmlCertVaultLoad, Pkcs12FromTheCorpus) {
    const std::string keys = std::string(XMLDSIG_CORPUS_DIR) + "/xmlsec/keys/";
    const struct {
        const char* p12;
        const char* cert;
    } rows[] = {
        {"rsa/rsa-2048-key.p12", "rsa/rsa-2048-cert.der"},
        {"rsa/rsa-2048-key-win.p12", "rsa/rsa-2048-cert.der"},
        {"dsa/dsa-1024-key.p12", "dsa/dsa-1024-cert.der"},
        {"ec/ec-prime256v1-key.p12", "ec/ec-prime256v1-cert.der"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.p12);
        if (!std::filesystem::exists(keys + r.p12) || !std::filesystem::exists(keys + r.cert))
            GTEST_SKIP() << "not in the corpus: " << r.p12;
        EXPECT_TRUE(vault->AddPfxFile(XString((keys + r.p12).c_str()), XString("secret123")))
            << vault->lastErrorText();
        EXPECT_TRUE(holds(keys + r.cert));
    }
}

}  // namespace
}  // namespace xmldsig
