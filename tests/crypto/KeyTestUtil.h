// Helpers for the public-key tests: the xmlsec test keys of the corpus, a few keys made with
// the openssl tool, signatures made by the openssl tool over a given hash, and conversions
// that the tool does for us (DER signature to raw r||s, key numbers as text).
#pragma once

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "crypto/crypto_test_util.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/log/_tvLogger.h"
#include "host/text/DataBuffer.h"
#include "host/text/XString.h"

namespace xmldsig::keytest {

using testutil::Bytes;

inline std::string corpusKey(const std::string& relative) {
    return std::string(XMLDSIG_CORPUS_DIR) + "/xmlsec/keys/" + relative;
}

inline Bytes readFile(const std::string& path) {
    Bytes out;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return out;
    unsigned char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
        out.insert(out.end(), buf, buf + n);
    std::fclose(f);
    return out;
}

inline std::string shell(const std::string& command) {
    bool ok = false;
    std::string out = testutil::runCommand(command, ok);
    EXPECT_TRUE(ok) << "command failed: " << command;
    return out;
}

// A scratch directory shared by the whole test binary, holding the generated keys.
inline const testutil::TempDir& scratch() {
    static const testutil::TempDir dir;
    return dir;
}

// A private key file: corpus keys by relative path ("rsa/rsa-2048-key.pem"), generated ones by
// the names "gen:rsa1024", "gen:rsa2048b", "gen:secp256k1", "gen:p256b", "gen:dsa2048b",
// "gen:x25519".
inline std::string privateKey(const std::string& name) {
    static std::map<std::string, std::string> made;
    if (name.rfind("gen:", 0) != 0) return corpusKey(name);
    auto it = made.find(name);
    if (it != made.end()) return it->second;
    const std::string path = scratch().file(name.substr(4) + ".pem");
    const std::string out = " -out '" + path + "'";
    const std::string dsaParams = scratch().file("dsa2048.params");
    const std::map<std::string, std::string> recipes = {
        {"gen:rsa1024", "openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024" + out},
        {"gen:rsa2048b", "openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048" + out},
        {"gen:secp256k1",
         "openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:secp256k1" + out},
        {"gen:p256b", "openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256" + out},
        {"gen:x25519", "openssl genpkey -algorithm X25519" + out},
        {"gen:dsa2048b",
         "openssl genpkey -genparam -algorithm DSA -pkeyopt dsa_paramgen_bits:2048 -out '" +
             dsaParams + "' && openssl genpkey -paramfile '" + dsaParams + "'" + out},
    };
    shell("(" + recipes.at(name) + ") 2>/dev/null");
    made[name] = path;
    return path;
}

// The public key file of a private key, as openssl writes it (PEM or DER).
inline std::string publicKeyFile(const std::string& keyName, bool der) {
    const std::string path = scratch().file(
        "pub_" + std::to_string(std::hash<std::string>()(keyName)) + (der ? ".der" : ".pem"));
    shell("openssl pkey -in '" + privateKey(keyName) + "' -pubout -outform " +
          (der ? "DER" : "PEM") + " -out '" + path + "'");
    return path;
}

// The digest of data by an OpenSSL name ("SHA256", "RIPEMD160"...).
inline Bytes digest(const char* name, const Bytes& data) {
    Bytes out(EVP_MAX_MD_SIZE);
    unsigned len = 0;
    EVP_MD* md = EVP_MD_fetch(nullptr, name, nullptr);
    EXPECT_NE(md, nullptr) << name;
    if (md == nullptr) return {};
    EXPECT_EQ(1, EVP_Digest(data.data(), data.size(), out.data(), &len, md, nullptr));
    EVP_MD_free(md);
    out.resize(len);
    return out;
}

// `openssl pkeyutl -sign` over a precomputed hash with the given -pkeyopt options
// ("digest:sha256 rsa_padding_mode:pss"); the raw input is signed as is when no digest is set.
inline Bytes opensslSign(const std::string& keyName, const Bytes& hash, const std::string& opts) {
    static int counter = 0;
    const std::string stem = "sig" + std::to_string(++counter);
    const std::string in = scratch().write(stem + ".in", hash);
    const std::string out = scratch().file(stem + ".out");
    std::string options;
    for (std::size_t pos = 0; pos < opts.size();) {
        std::size_t end = opts.find(' ', pos);
        if (end == std::string::npos) end = opts.size();
        if (end > pos) options += " -pkeyopt " + opts.substr(pos, end - pos);
        pos = end + 1;
    }
    shell("openssl pkeyutl -sign -inkey '" + privateKey(keyName) + "' -in '" + in + "' -out '" +
          out + "'" + options);
    return readFile(out);
}

// A DER (r, s) signature as raw r||s with each half left-padded to half bytes, read with
// `openssl asn1parse` so that our own DER code is not involved.
inline Bytes derToRaw(const Bytes& der, std::size_t half) {
    const std::string path = scratch().write("rs.der", der);
    const std::string text = shell("openssl asn1parse -inform DER -in '" + path + "'");
    Bytes raw;
    for (std::size_t pos = text.find("INTEGER"); pos != std::string::npos;
         pos = text.find("INTEGER", pos + 1)) {
        const std::size_t colon = text.find(':', pos);
        const std::string hex = text.substr(colon + 1, text.find('\n', colon) - colon - 1);
        Bytes v = testutil::fromHex(hex.size() % 2 ? "0" + hex : hex);
        while (v.size() > half && v.front() == 0) v.erase(v.begin());
        EXPECT_LE(v.size(), half);
        raw.insert(raw.end(), half - v.size(), 0);
        raw.insert(raw.end(), v.begin(), v.end());
    }
    EXPECT_EQ(raw.size(), 2 * half);
    return raw;
}

inline std::string base64(const Bytes& data) {
    const std::string path = scratch().write("b64.in", data);
    std::string out = shell("openssl base64 -A -in '" + path + "'");
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
    return out;
}

// The hex blocks of `openssl pkey -text_pub` by label ("Modulus", "P", "pub"...), as bytes.
inline std::map<std::string, Bytes> publicKeyNumbers(const std::string& keyName) {
    const std::string text =
        shell("openssl pkey -in '" + privateKey(keyName) + "' -text_pub -noout");
    std::map<std::string, Bytes> out;
    std::string label, hex;
    auto flush = [&] {
        if (!label.empty() && !hex.empty()) out[label] = testutil::fromHex(hex);
        hex.clear();
    };
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t end = text.find('\n', pos);
        if (end == std::string::npos) end = text.size();
        const std::string line = text.substr(pos, end - pos);
        pos = end + 1;
        if (!line.empty() && line[0] != ' ') {
            flush();
            label = line.substr(0, line.find(':'));
            continue;
        }
        for (char c : line) {
            if (std::isxdigit(static_cast<unsigned char>(c))) hex += c;
        }
    }
    flush();
    return out;
}

// Loads a key file into a new component; null (with the log printed) on failure.
inline ClsPublicKey* loadKey(const std::string& path) {
    ClsPublicKey* key = ClsPublicKey::createNewCls();
    if (key == nullptr) return nullptr;
    if (!key->LoadFromFile(XString(path.c_str()))) {
        ADD_FAILURE() << "cannot load " << path << "\n" << key->lastErrorText();
        key->decRefCount();
        return nullptr;
    }
    return key;
}

// Owns one reference to a ClsPublicKey.
struct KeyRef {
    ClsPublicKey* p;
    explicit KeyRef(ClsPublicKey* key) : p(key) {}
    KeyRef(const KeyRef&) = delete;
    KeyRef& operator=(const KeyRef&) = delete;
    ~KeyRef() {
        if (p != nullptr) p->decRefCount();
    }
    ClsPublicKey* operator->() const { return p; }
    explicit operator bool() const { return p != nullptr; }
};

inline Bytes flipped(Bytes b, std::size_t index) {
    b.at(index) ^= 0x01;
    return b;
}

}  // namespace xmldsig::keytest
