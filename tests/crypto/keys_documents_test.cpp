// Signature values of real documents signed by other implementations (the W3C XML Signature
// 1.1 interop set, Merlin's and Aleksey's xmlsec samples): the key comes from the document's
// own key value, SignedInfo is canonicalized and hashed, and the value must verify; with one
// byte of SignedInfo changed it must not. ECDSA values here are raw r||s.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "crypto/KeyTestUtil.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/crypto/DsaCore.h"
#include "host/crypto/EccKeyData.h"
#include "host/crypto/RsaCore.h"
#include "host/crypto/_tvHash.h"
#include "host/log/_tvLogger.h"
#include "host/text/ContentCoding.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/xml/XmlCanon.h"

namespace xmldsig {
namespace {

using keytest::Bytes;
using keytest::KeyRef;

std::string corpusPath(const std::string& relative) {
    return std::string(XMLDSIG_CORPUS_DIR) + "/xmlsec/" + relative;
}

std::vector<std::string> documents() {
    std::vector<std::string> out = {
        "merlin-xmldsig-twenty-three/signature-enveloping-dsa.xml",
        "merlin-xmldsig-twenty-three/signature-enveloping-rsa.xml",
        "xmldsig11-interop-2012/signature-enveloping-derencoded-ec.xml",
        "xmldsig11-interop-2012/signature-enveloping-derencoded-rsa.xml",
    };
    const std::regex interop("signature-enveloping-p(256|384|521)_sha[0-9]+(_4050)?\\.xml");
    const std::regex aleksey(
        "enveloping-sha[0-9]+-(rsa|dsa|ec)[^-]*-.*der-encoded-key-value\\.xml");
    for (const auto& [dir, pattern] : {std::make_pair("xmldsig11-interop-2012", interop),
                                       std::make_pair("aleksey-xmldsig-01", aleksey)}) {
        for (const auto& e : std::filesystem::directory_iterator(corpusPath(dir))) {
            const std::string name = e.path().filename().string();
            if (std::regex_match(name, pattern)) out.push_back(std::string(dir) + "/" + name);
        }
    }
    return out;
}

// The first match's group 1, or "".
std::string find(const std::string& text, const std::string& pattern) {
    std::smatch m;
    return std::regex_search(text, m, std::regex(pattern)) ? m[1].str() : std::string();
}

struct SignedDocument {
    std::string text;
    std::string keyValueXml;  // the key value element, or the DER key's base64
    bool derKey = false;
    std::string hashName;  // "sha256"...
    std::string keyKind;   // "rsa", "dsa", "ecdsa"
    Bytes signature;
    std::size_t signedInfoOffset = 0;
    bool exclusive = false;
};

bool parse(const std::string& relative, SignedDocument& doc) {
    const Bytes bytes = keytest::readFile(corpusPath(relative));
    doc.text.assign(bytes.begin(), bytes.end());
    const std::string method = find(doc.text, "SignatureMethod Algorithm=\"[^\"]*#([a-z0-9-]+)\"");
    doc.keyKind = method.substr(0, method.find('-'));
    doc.hashName = method.substr(method.rfind('-') + 1);
    doc.exclusive = doc.text.find("xml-exc-c14n") != std::string::npos;
    std::smatch m;
    if (std::regex_search(doc.text, m,
                          std::regex("<(\\w+:)?(RSAKeyValue|DSAKeyValue|ECKeyValue|ECDSAKeyValue)"
                                     "[\\s>][\\s\\S]*?</\\1?\\2>"))) {
        doc.keyValueXml = m[0].str();
    } else {
        doc.keyValueXml = find(doc.text, "DEREncodedKeyValue[^>]*>([^<]*)<");
        doc.derKey = true;
    }
    const std::string sig = find(doc.text, "SignatureValue[^>]*>([^<]*)<");
    DataBuffer db;
    ContentCoding::decodeBase64ToDb(sig.data(), sig.size(), db);
    doc.signature.assign(db.bytes().begin(), db.bytes().end());
    if (std::regex_search(doc.text, m, std::regex("<(\\w+:)?SignedInfo[\\s>]"))) {
        doc.signedInfoOffset = static_cast<std::size_t>(m.position(0));
    }
    return !doc.keyValueXml.empty() && !doc.signature.empty() && doc.signedInfoOffset > 0;
}

bool loadDocumentKey(const SignedDocument& doc, ClsPublicKey& key, _tvLogger& log) {
    if (!doc.derKey) return key.loadXml(XString(doc.keyValueXml.c_str()), log);
    DataBuffer der;
    ContentCoding::decodeBase64ToDb(doc.keyValueXml.data(), doc.keyValueXml.size(), der);
    return key.loadAnyDer(der, log);
}

Bytes signedInfoHash(const SignedDocument& doc, const std::string& text) {
    XmlCanon canon;
    canon.m_mode = doc.exclusive ? XmlCanon::kModeExclusive : XmlCanon::kModeInclusive;
    StringBuffer canonical;
    _tvLogger log;
    EXPECT_TRUE(canon.xmlCanonicalize(StringBuffer(text), nullptr,
                                      static_cast<uint32_t>(doc.signedInfoOffset), canonical, log))
        << log.renderText();
    return keytest::digest(doc.hashName.c_str(),
                           Bytes(canonical.str().begin(), canonical.str().end()));
}

bool verifies(ClsPublicKey& key, const SignedDocument& doc, const Bytes& hash,
              std::string& logText) {
    _tvLogger log;
    bool verified = false, wrongKey = false;
    if (doc.keyKind == "rsa") {
        RsaKeyData* rsa = key.pubKey().getRsaKey();
        const int id = _tvHash::hashAlgFromName(doc.hashName.c_str());
        if (rsa != nullptr) {
            RsaCore::verifyHashExt(doc.signature.data(), doc.signature.size(), hash.data(),
                                   hash.size(), id, RsaCore::kPaddingPkcs1v15, id, verified, *rsa,
                                   0, true, wrongKey, log);
        }
    } else if (doc.keyKind == "dsa" && key.pubKey().getDsaKey() != nullptr) {
        DsaCore::verifyHash(*key.pubKey().getDsaKey(), doc.signature.data(), doc.signature.size(),
                            true, hash.data(), hash.size(), verified, log);
    } else if (doc.keyKind == "ecdsa" && key.pubKey().getEccKey() != nullptr) {
        key.pubKey().getEccKey()->eccVerifyHash(doc.signature.data(), doc.signature.size(), false,
                                                hash.data(), hash.size(), verified, log, 0);
    }
    logText = log.renderText();
    return verified;
}

class KeysRealDocuments : public ::testing::TestWithParam<std::string> {};

TEST_P(KeysRealDocuments, SignatureValueVerifiesWithTheDocumentsKey) {
    SignedDocument doc;
    ASSERT_TRUE(parse(GetParam(), doc)) << GetParam();
    KeyRef key(ClsPublicKey::createNewCls());
    _tvLogger log;
    ASSERT_TRUE(loadDocumentKey(doc, *key.p, log)) << log.renderText();

    std::string why;
    EXPECT_TRUE(verifies(*key.p, doc, signedInfoHash(doc, doc.text), why))
        << doc.keyKind << "-" << doc.hashName << "\n"
        << why;

    // One changed character inside SignedInfo (in a DigestValue) must break it.
    std::string altered = doc.text;
    const std::size_t digest = altered.find("DigestValue>", doc.signedInfoOffset);
    ASSERT_NE(digest, std::string::npos);
    char& c = altered[digest + 12];
    c = (c == 'A') ? 'B' : 'A';
    EXPECT_FALSE(verifies(*key.p, doc, signedInfoHash(doc, altered), why));
}

INSTANTIATE_TEST_SUITE_P(Corpus, KeysRealDocuments, ::testing::ValuesIn(documents()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string n = info.param.substr(info.param.find('/') + 1);
                             for (char& ch : n) {
                                 if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
                             }
                             return n;
                         });

TEST(KeysRealDocumentsList, FindsTheInteropAndXmlsecSamples) {
    EXPECT_GE(documents().size(), 35u);
}

// Edwards-curve keys of the same sample set load as EdDSA keys of their curve.
TEST(KeysRealDocumentsEdwards, EdwardsKeysLoadAsTheirCurve) {
    const std::pair<const char*, const char*> files[] = {
        {"aleksey-xmldsig-01/enveloping-sha256-eddsa-ed25519-der-encoded-key-value.xml", "Ed25519"},
        {"aleksey-xmldsig-01/enveloping-sha256-eddsa-ed448-der-encoded-key-value.xml", "Ed448"}};
    for (const auto& [file, type] : files) {
        SignedDocument doc;
        ASSERT_TRUE(parse(file, doc)) << file;
        KeyRef key(ClsPublicKey::createNewCls());
        _tvLogger log;
        EXPECT_TRUE(loadDocumentKey(doc, *key.p, log)) << log.renderText();
        EXPECT_STREQ(key->pubKey().keyTypeName(), type);
    }
}

}  // namespace
}  // namespace xmldsig
