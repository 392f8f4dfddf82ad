// ClsPublicKey as a component: every file form of the same key loads to the same key, the DER
// it gives back is what openssl writes, and a failed load keeps the key and logs the failure.
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/evp.h>

#include <string>
#include <vector>

#include "crypto/KeyTestUtil.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/log/_tvLogger.h"
#include "host/text/DataBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {
namespace {

using keytest::Bytes;
using keytest::KeyRef;

struct FormSet {
    const char* base;  // "rsa/rsa-2048" and so on
    const char* type;
    int bits;
};

const FormSet kSets[] = {
    {"rsa/rsa-2048", "RSA", 2048},   {"rsa/rsa-4096", "RSA", 4096},
    {"dsa/dsa-1024", "DSA", 1024},   {"dsa/dsa-3072", "DSA", 3072},
    {"ec/ec-prime256v1", "EC", 256}, {"ec/ec-prime384v1", "EC", 384},
    {"ec/ec-prime521v1", "EC", 521},
};

// Public key PEM and DER, certificate PEM and DER (".crt" is DER too), unencrypted private
// key PEM (PKCS#8) and DER (traditional form).
const char* const kSuffixes[] = {"-pubkey.pem", "-pubkey.der", "-cert.pem", "-cert.der",
                                 "-pubkey.crt", "-key.pem",    "-key.der"};

class ClsPublicKeyForms : public ::testing::TestWithParam<FormSet> {};

TEST_P(ClsPublicKeyForms, EveryFileFormGivesTheSameKey) {
    const FormSet& set = GetParam();
    const Bytes expectedDer =
        keytest::readFile(keytest::publicKeyFile(std::string(set.base) + "-key.pem", true));
    ASSERT_FALSE(expectedDer.empty());
    KeyRef first(keytest::loadKey(keytest::corpusKey(std::string(set.base) + kSuffixes[0])));
    ASSERT_TRUE(first);
    for (const char* suffix : kSuffixes) {
        KeyRef key(keytest::loadKey(keytest::corpusKey(std::string(set.base) + suffix)));
        ASSERT_TRUE(key) << suffix;
        XString type;
        key->get_KeyType(type);
        EXPECT_STREQ(type.getUtf8(), set.type) << suffix;
        EXPECT_EQ(key->get_KeySize(), set.bits) << suffix;
        DataBuffer der;
        ASSERT_TRUE(key->GetDer(der));
        EXPECT_EQ(testutil::toHex(der), testutil::toHex(expectedDer)) << suffix;
        EXPECT_TRUE(key->Equals(*first.p)) << suffix;
    }
}

INSTANTIATE_TEST_SUITE_P(XmlsecKeys, ClsPublicKeyForms, ::testing::ValuesIn(kSets),
                         [](const ::testing::TestParamInfo<FormSet>& info) {
                             std::string n = info.param.base;
                             n = n.substr(n.find('/') + 1);
                             for (char& c : n) {
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             }
                             return n;
                         });

TEST(ClsPublicKeyCompare, DifferentKeysAreNotEqual) {
    KeyRef a(keytest::loadKey(keytest::corpusKey("rsa/rsa-2048-pubkey.pem")));
    KeyRef b(keytest::loadKey(keytest::corpusKey("rsa/rsa-4096-pubkey.pem")));
    KeyRef c(keytest::loadKey(keytest::corpusKey("ec/ec-prime256v1-pubkey.pem")));
    KeyRef d(keytest::loadKey(keytest::corpusKey("ec/ec-prime256v1-second-pubkey.pem")));
    KeyRef empty(ClsPublicKey::createNewCls());
    ASSERT_TRUE(a && b && c && d && empty);
    EXPECT_FALSE(a->Equals(*b.p));
    EXPECT_FALSE(a->Equals(*c.p));
    EXPECT_FALSE(c->Equals(*d.p));
    EXPECT_FALSE(empty->Equals(*empty.p));
    EXPECT_TRUE(a->Equals(*a.p));
}

TEST(ClsPublicKeyLoad, Pkcs1RsaPublicKeyDerAndPemText) {
    const std::string pkcs1 = keytest::scratch().file("pkcs1.der");
    keytest::shell("openssl rsa -in '" + keytest::corpusKey("rsa/rsa-2048-key.pem") +
                   "' -RSAPublicKey_out -outform DER -out '" + pkcs1 + "' 2>/dev/null");
    const Bytes bytes = keytest::readFile(pkcs1);
    DataBuffer der;
    der.append(bytes.data(), bytes.size());
    KeyRef fromPkcs1(ClsPublicKey::createNewCls());
    _tvLogger log;
    ASSERT_TRUE(fromPkcs1->loadAnyDer(der, log)) << log.renderText();

    const Bytes pem = keytest::readFile(keytest::corpusKey("rsa/rsa-2048-pubkey.pem"));
    KeyRef fromPem(ClsPublicKey::createNewCls());
    ASSERT_TRUE(fromPem->LoadPem(XString(std::string(pem.begin(), pem.end()).c_str())))
        << fromPem->lastErrorText();
    EXPECT_TRUE(fromPkcs1->Equals(*fromPem.p));
    // As a key file too: OpenSSL's decoders, left to choose, read these two INTEGERs as DH.
    KeyRef fromFile(keytest::loadKey(pkcs1));
    ASSERT_TRUE(fromFile);
    EXPECT_TRUE(fromFile->Equals(*fromPem.p));
}

// `openssl ecparam -genkey` writes the curve parameters before the key.
TEST(ClsPublicKeyLoad, PemWithParametersBeforeTheKey) {
    const std::string path = keytest::scratch().file("ecparam.pem");
    keytest::shell("openssl ecparam -name secp256k1 -genkey -out '" + path + "'");
    const std::string text = keytest::shell("cat '" + path + "'");
    ASSERT_NE(text.find("BEGIN EC PARAMETERS"), std::string::npos);
    KeyRef key(keytest::loadKey(path));
    ASSERT_TRUE(key);
    EXPECT_EQ(key->get_KeySize(), 256);
    EXPECT_EQ(key->pubKey().getEccKey()->curveName(), "secp256k1");
}

TEST(ClsPublicKeyLoad, PrivateKeyFileKeepsOnlyThePublicHalf) {
    KeyRef key(keytest::loadKey(keytest::corpusKey("rsa/rsa-2048-key.pem")));
    ASSERT_TRUE(key);
    EVP_PKEY* pkey = key->pubKey().evpPkey();
    BIGNUM* d = nullptr;
    EXPECT_NE(1, EVP_PKEY_get_bn_param(pkey, "d", &d));
    BN_free(d);
}

TEST(ClsPublicKeyLoad, FailedLoadKeepsTheKeyAndLogsFailure) {
    KeyRef key(keytest::loadKey(keytest::corpusKey("dsa/dsa-2048-pubkey.pem")));
    ASSERT_TRUE(key);
    EXPECT_FALSE(key->LoadXml(XString("<RSAKeyValue><Modulus>AQAB</Modulus></RSAKeyValue>")));
    const std::string log = key->lastErrorText();
    EXPECT_NE(log.find("LoadXml:"), std::string::npos) << log;
    EXPECT_NE(log.find("missing or empty"), std::string::npos) << log;
    EXPECT_NE(log.find("Failed."), std::string::npos) << log;
    XString type;
    key->get_KeyType(type);
    EXPECT_STREQ(type.getUtf8(), "DSA");
    EXPECT_EQ(key->get_KeySize(), 2048);

    EXPECT_FALSE(key->LoadFromFile(XString("/nonexistent/key.pem")));
    EXPECT_NE(key->lastErrorText().find("Failed."), std::string::npos);
    EXPECT_EQ(key->get_KeySize(), 2048);
}

}  // namespace
}  // namespace xmldsig
