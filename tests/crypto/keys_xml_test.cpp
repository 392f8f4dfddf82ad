// ClsPublicKey::LoadXml: the key-value forms of XML Signature (RSAKeyValue, DSAKeyValue,
// ECKeyValue) and of RFC 4050 (ECDSAKeyValue), written from the numbers that `openssl pkey`
// prints and held against the SubjectPublicKeyInfo that openssl writes for the same key.
#include <gtest/gtest.h>
#include <openssl/bn.h>

#include <string>
#include <vector>

#include "crypto/KeyTestUtil.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/text/DataBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {
namespace {

using keytest::Bytes;
using keytest::KeyRef;

// Base64 broken into 64-column lines with indentation, as signers pretty-print it.
std::string wrapped(const std::string& b64) {
    std::string out = "\n";
    for (std::size_t i = 0; i < b64.size(); i += 64) out += "    " + b64.substr(i, 64) + "\n";
    return out;
}

std::string element(const std::string& tag, const Bytes& value, bool wrap) {
    const std::string b64 = keytest::base64(value);
    return "<" + tag + ">" + (wrap ? wrapped(b64) : b64) + "</" + tag + ">";
}

unsigned long rsaExponent(const std::string& keyName) {
    const std::string text =
        keytest::shell("openssl pkey -in '" + keytest::privateKey(keyName) + "' -text_pub -noout");
    const std::size_t at = text.find("Exponent: ");
    return at == std::string::npos ? 0 : std::stoul(text.substr(at + 10));
}

Bytes bigEndian(unsigned long v) {
    Bytes out;
    for (; v != 0; v >>= 8) out.insert(out.begin(), static_cast<unsigned char>(v & 0xFF));
    return out;
}

std::string decimal(const Bytes& bytes) {
    BIGNUM* bn = BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr);
    char* dec = BN_bn2dec(bn);
    std::string out = dec;
    OPENSSL_free(dec);
    BN_free(bn);
    return out;
}

enum class Form { Rsa, RsaPrefixedInKeyValue, Dsa, Ec11, Ec4050 };

struct XmlCase {
    const char* key;
    Form form;
    const char* curveOid;  // EC forms
    const char* type;
    int bits;
};

std::string keyValueXml(const XmlCase& c) {
    std::map<std::string, Bytes> n = keytest::publicKeyNumbers(c.key);
    switch (c.form) {
        case Form::Rsa:
            return "<RSAKeyValue>" + element("Modulus", n["Modulus"], false) +
                   element("Exponent", bigEndian(rsaExponent(c.key)), false) + "</RSAKeyValue>";
        case Form::RsaPrefixedInKeyValue:
            return "<ds:KeyValue xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\">\n"
                   "  <ds:RSAKeyValue>\n    " +
                   element("ds:Modulus", n["Modulus"], true) + "\n    " +
                   element("ds:Exponent", bigEndian(rsaExponent(c.key)), true) +
                   "\n  </ds:RSAKeyValue>\n</ds:KeyValue>";
        case Form::Dsa:
            return "<DSAKeyValue xmlns=\"http://www.w3.org/2000/09/xmldsig#\">" +
                   element("P", n["P"], true) + element("Q", n["Q"], false) +
                   element("G", n["G"], true) + element("Y", n["pub"], true) + "</DSAKeyValue>";
        case Form::Ec11:
            return std::string(
                       "<dsig11:ECKeyValue xmlns:dsig11=\"http://www.w3.org/2009/xmldsig11#\">"
                       "<dsig11:NamedCurve URI=\"urn:oid:") +
                   c.curveOid + "\"/>" + element("dsig11:PublicKey", n["pub"], false) +
                   "</dsig11:ECKeyValue>";
        case Form::Ec4050: {
            const Bytes& pub = n["pub"];  // 04 || X || Y
            const std::size_t half = (pub.size() - 1) / 2;
            const std::string x = decimal(Bytes(pub.begin() + 1, pub.begin() + 1 + half));
            const std::string y = decimal(Bytes(pub.begin() + 1 + half, pub.end()));
            return std::string(
                       "<ECDSAKeyValue xmlns=\"http://www.w3.org/2001/04/xmldsig-more#\">"
                       "<DomainParameters><NamedCurve URN=\"urn:oid:") +
                   c.curveOid + "\"/></DomainParameters><PublicKey><X Value=\"" + x +
                   "\"/><Y Value=\"" + y + "\"/></PublicKey></ECDSAKeyValue>";
        }
    }
    return {};
}

const XmlCase kCases[] = {
    {"rsa/rsa-2048-key.pem", Form::Rsa, nullptr, "RSA", 2048},
    {"rsa/rsa-4096-key.pem", Form::RsaPrefixedInKeyValue, nullptr, "RSA", 4096},
    {"gen:rsa1024", Form::Rsa, nullptr, "RSA", 1024},
    {"dsa/dsa-1024-key.pem", Form::Dsa, nullptr, "DSA", 1024},
    {"dsa/dsa-2048-key.pem", Form::Dsa, nullptr, "DSA", 2048},
    {"dsa/dsa-3072-key.pem", Form::Dsa, nullptr, "DSA", 3072},
    {"ec/ec-prime256v1-key.pem", Form::Ec11, "1.2.840.10045.3.1.7", "EC", 256},
    {"ec/ec-prime384v1-key.pem", Form::Ec11, "1.3.132.0.34", "EC", 384},
    {"ec/ec-prime521v1-key.pem", Form::Ec11, "1.3.132.0.35", "EC", 521},
    {"gen:secp256k1", Form::Ec11, "1.3.132.0.10", "EC", 256},
    {"ec/ec-prime256v1-key.pem", Form::Ec4050, "1.2.840.10045.3.1.7", "EC", 256},
    {"ec/ec-prime384v1-key.pem", Form::Ec4050, "1.3.132.0.34", "EC", 384},
    {"ec/ec-prime521v1-key.pem", Form::Ec4050, "1.3.132.0.35", "EC", 521},
    {"gen:secp256k1", Form::Ec4050, "1.3.132.0.10", "EC", 256},
};

class KeyValueXmlLoad : public ::testing::TestWithParam<XmlCase> {};

TEST_P(KeyValueXmlLoad, GivesTheKeyOpensslWrites) {
    const XmlCase& c = GetParam();
    const std::string xml = keyValueXml(c);
    KeyRef key(ClsPublicKey::createNewCls());
    ASSERT_TRUE(key);
    ASSERT_TRUE(key->LoadXml(XString(xml.c_str()))) << xml << "\n" << key->lastErrorText();
    XString type;
    key->get_KeyType(type);
    EXPECT_STREQ(type.getUtf8(), c.type);
    EXPECT_EQ(key->get_KeySize(), c.bits);
    DataBuffer der;
    ASSERT_TRUE(key->GetDer(der));
    EXPECT_EQ(testutil::toHex(der),
              testutil::toHex(keytest::readFile(keytest::publicKeyFile(c.key, true))));
}

std::string formCaseName(const ::testing::TestParamInfo<XmlCase>& info) {
    static const char* const kForm[] = {"rsa", "rsaPrefixed", "dsa", "ec11", "ec4050"};
    std::string key = info.param.key;
    key = key.substr(key.find_last_of("/:") + 1);
    std::string name = std::string(kForm[static_cast<int>(info.param.form)]) + "_" + key;
    for (char& ch : name) {
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Forms, KeyValueXmlLoad, ::testing::ValuesIn(kCases), formCaseName);

// The DSA and RSA key values of xmlsec's own key file (the DSA one carries its private X too,
// which a public key ignores).
TEST(KeyValueXmlXmlsecKeys, DsaAndRsaEntriesLoad) {
    const Bytes file = keytest::readFile(keytest::corpusKey("keys.xml"));
    const std::string text(file.begin(), file.end());
    const struct {
        const char* tag;
        const char* type;
        int bits;
    } rows[] = {{"DSAKeyValue", "DSA", 1024}, {"RSAKeyValue", "RSA", 1024}};
    for (const auto& r : rows) {
        const std::size_t begin = text.find(std::string("<") + r.tag);
        const std::string close = std::string("</") + r.tag + ">";
        const std::size_t end = text.find(close, begin);
        ASSERT_NE(end, std::string::npos) << r.tag;
        const std::string xml = text.substr(begin, end + close.size() - begin);
        KeyRef key(ClsPublicKey::createNewCls());
        ASSERT_TRUE(key->LoadXml(XString(xml.c_str()))) << key->lastErrorText();
        XString type;
        key->get_KeyType(type);
        EXPECT_STREQ(type.getUtf8(), r.type);
        EXPECT_EQ(key->get_KeySize(), r.bits);
    }
}

}  // namespace
}  // namespace xmldsig
