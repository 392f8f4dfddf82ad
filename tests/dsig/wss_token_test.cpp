// WS-Security token references in KeyInfo: a BinarySecurityToken found by Id (or, for the key,
// any token), X509PKIPathv1 tokens, SHA-1 thumbprint key identifiers. The documents are signed
// by xmlsec1 in the test; KeyInfo is not signed, so its variants keep the signature intact.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "host/crypto/ClsPublicKey.h"
#include "host/xml/ClsStringArray.h"
#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

const char kX509v3[] =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-x509-token-profile-1.0#X509v3";
const char kPkiPath[] =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-x509-token-profile-1.0#X509PKIPathv1";

std::string run(const std::string& cmd) {
    std::string out;
    FILE* p = popen(cmd.c_str(), "r");
    if (p == nullptr) return out;
    char buf[4096];
    while (std::size_t n = fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    pclose(p);
    return out;
}

std::string replaced(std::string s, const std::string& from, const std::string& to) {
    const auto at = s.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) s.replace(at, from.size(), to);
    return s;
}

// A signer key and certificate, another certificate for PKI paths, and the signed envelope.
class WssToken : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        dir = run("mktemp -d /tmp/xmldsig_wss_XXXXXX");
        dir.erase(dir.find_last_not_of('\n') + 1);
        const std::string req = "openssl req -x509 -newkey rsa:2048 -nodes -days 30 ";
        run(req + "-keyout " + dir + "/key.pem -out " + dir +
            "/cert.pem -subj /CN=signer 2>/dev/null");
        run(req + "-keyout " + dir + "/ca-key.pem -out " + dir +
            "/ca.pem -subj /CN=other 2>/dev/null");
        signerDer = run("openssl x509 -in " + dir + "/cert.pem -outform DER");
        const std::string otherDer = run("openssl x509 -in " + dir + "/ca.pem -outform DER");
        certB64 = base64(signerDer);
        pkiPathB64 = base64(derSequence(otherDer + signerDer));
        std::string tpl = readFile(std::string(XMLDSIG_TEST_DATA_DIR) + "/wss/token-template.xml");
        tpl.replace(tpl.find("@CERT@"), 6, certB64);
        std::ofstream(dir + "/tpl.xml") << tpl;
        run("xmlsec1 --sign --privkey-pem " + dir + "/key.pem --id-attr:Id Body --output " + dir +
            "/signed.xml " + dir + "/tpl.xml 2>/dev/null");
        signedDoc = readFile(dir + "/signed.xml");
    }
    static void TearDownTestSuite() { run("rm -rf '" + dir + "'"); }

    static std::string base64(const std::string& bytes) {
        const std::string f = dir + "/b64.bin";
        std::ofstream(f, std::ios::binary) << bytes;
        std::string b = run("base64 -w0 " + f);
        return b;
    }
    // DER SEQUENCE around content (long-form length).
    static std::string derSequence(const std::string& content) {
        std::string len;
        for (std::size_t n = content.size(); n > 0; n >>= 8)
            len.insert(len.begin(), char(n & 0xFF));
        return std::string("\x30", 1) + char(0x80 | len.size()) + len + content;
    }

    void SetUp() override { ASSERT_NE(signedDoc.find("<ds:SignatureValue>"), std::string::npos); }

    static std::string dir, signerDer, certB64, pkiPathB64, signedDoc;
};
std::string WssToken::dir, WssToken::signerDer, WssToken::certB64, WssToken::pkiPathB64,
    WssToken::signedDoc;

std::string withReference(const std::string& doc, const std::string& uri, const std::string& type) {
    return replaced(doc,
                    std::string("<wsse:Reference URI=\"#X509-1\" ValueType=\"") + kX509v3 + "\"/>",
                    "<wsse:Reference URI=\"" + uri + "\" ValueType=\"" + type + "\"/>");
}

TEST_F(WssToken, TokenReferencedById) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, signedDoc));
    EXPECT_TRUE(dsig->VerifySignature(true)) << dsig->lastErrorText();
    ClsStringArray certs;
    EXPECT_TRUE(dsig->GetCerts(certs));
    ASSERT_EQ(certs.count(), 1);
    EXPECT_EQ(std::string(certs.getString(0)), certB64);

    std::string tampered = replaced(signedDoc, "42.00", "42.01");
    ASSERT_TRUE(loadText(*dsig, tampered));
    EXPECT_FALSE(dsig->VerifySignature(true));
}

TEST_F(WssToken, MissingTokenIdFallsBackForTheKeyButNotForCertificates) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, withReference(signedDoc, "#nowhere", kX509v3)));
    EXPECT_TRUE(dsig->VerifySignature(true)) << dsig->lastErrorText();
    EXPECT_NE(dsig->lastErrorText().find("Did not find a BinarySecurityToken with the specified "
                                         "URI.  Looking for any BinarySecurityToken..."),
              std::string::npos);
    ClsStringArray certs;
    EXPECT_FALSE(dsig->GetCerts(certs));
    EXPECT_EQ(certs.count(), 0);
    EXPECT_NE(dsig->lastErrorText().find("Failed to find the wsse:BinarySecurityToken element"),
              std::string::npos);
}

TEST_F(WssToken, ReferencesThisVerifierCannotFollow) {
    struct Case {
        const char* uri;
        const char* type;
    } cases[] = {{"#X509-1", "urn:example:SAMLAssertionID"}, {"X509-1", kX509v3}};
    for (const auto& c : cases) {
        auto dsig = newDsig();
        ASSERT_TRUE(loadText(*dsig, withReference(signedDoc, c.uri, c.type)));
        EXPECT_FALSE(dsig->VerifySignature(true)) << c.uri << " " << c.type;
        EXPECT_NE(dsig->lastErrorText().find("Unhandled security token reference."),
                  std::string::npos);
        EXPECT_NE(dsig->lastErrorText().find("No public key available to verify signature."),
                  std::string::npos);
    }
}

TEST_F(WssToken, PkiPathGivesItsLastCertificate) {
    std::string doc = replaced(signedDoc, certB64, pkiPathB64);
    doc = replaced(doc, std::string("ValueType=\"") + kX509v3 + "\" wsu:Id",
                   std::string("ValueType=\"") + kPkiPath + "\" wsu:Id");
    doc = withReference(doc, "#X509-1", kPkiPath);
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, doc));
    EXPECT_TRUE(dsig->VerifySignature(true)) << dsig->lastErrorText();
    EXPECT_NE(dsig->lastErrorText().find("Getting last cert from X509PKIPathv1..."),
              std::string::npos);
    ClsStringArray certs;
    EXPECT_TRUE(dsig->GetCerts(certs));
    ASSERT_EQ(certs.count(), 1);
    EXPECT_EQ(std::string(certs.getString(0)), certB64);
}

TEST_F(WssToken, ThumbprintKeyIdentifierUsesTheFirstX509Token) {
    // The thumbprint is logged, not compared: the document's first X.509 v3 token is used.
    const std::string doc = replaced(
        signedDoc, std::string("<wsse:Reference URI=\"#X509-1\" ValueType=\"") + kX509v3 + "\"/>",
        "<wsse:KeyIdentifier ValueType=\"http://docs.oasis-open.org/wss/oasis-wss-soap-message-"
        "security-1.1#ThumbprintSHA1\">AAAAAAAAAAAAAAAAAAAAAAAAAAA=</wsse:KeyIdentifier>");
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, doc));
    EXPECT_TRUE(dsig->VerifySignature(true)) << dsig->lastErrorText();
    const std::string log = dsig->lastErrorText();
    EXPECT_NE(log.find("sbSha1Base64: "), std::string::npos) << log;
    EXPECT_NE(log.find("Got public key from base64 cert."), std::string::npos) << log;
}

}  // namespace
}  // namespace xmldsig::test
