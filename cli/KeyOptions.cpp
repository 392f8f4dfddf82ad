#include "cli/KeyOptions.h"

#include <cstdio>

namespace xmldsig::cli {

const OptionSpec kOptKey{"--key", true, true, "FILE",
                         "the signer's key: a public key, private key or certificate, PEM or DER "
                         "(repeatable); the signature must be by one of them"};
const OptionSpec kOptCert{"--cert", true, true, "FILE",
                          "a certificate file (PEM, DER or base64) for the certificate store "
                          "that X509IssuerSerial, X509SubjectName and X509SKI are looked up in"};
const OptionSpec kOptCertDir{"--cert-dir", true, true, "DIR",
                             "every certificate file of a directory, for the store"};
const OptionSpec kOptHmacKey{"--hmac-key", true, false, "TEXT", "the HMAC key"};
const OptionSpec kOptHmacEncoding{"--hmac-encoding", true, false, "ENC",
                                  "how --hmac-key is written: ascii (default), hex, base64"};

KeyOptions::~KeyOptions() {
    for (ClsPublicKey* k : m_keys) k->decRefCount();
    delete m_vault;
}

bool KeyOptions::load(const ParsedArgs& args) {
    for (const auto& file : args.all("--key")) {
        ClsPublicKey* key = ClsPublicKey::createNewCls();
        if (key == nullptr) return false;
        if (!key->LoadFromFile(XString(file.c_str()))) {
            std::fprintf(stderr, "xmldsig: --key %s: no public key could be read\n%s", file.c_str(),
                         key->lastErrorText().c_str());
            key->decRefCount();
            return false;
        }
        m_keys.push_back(key);
    }
    if (args.has("--cert") || args.has("--cert-dir")) {
        m_vault = ClsXmlCertVault::createNewCls();
        if (m_vault == nullptr) return false;
        for (const auto& file : args.all("--cert")) {
            if (m_vault->AddCertFile(XString(file.c_str()))) continue;
            std::fprintf(stderr, "xmldsig: --cert %s: no certificate could be read\n%s",
                         file.c_str(), m_vault->lastErrorText().c_str());
            return false;
        }
        for (const auto& dir : args.all("--cert-dir")) {
            if (m_vault->AddCertDir(XString(dir.c_str()))) continue;
            std::fprintf(stderr, "xmldsig: --cert-dir %s: no certificates could be read\n%s",
                         dir.c_str(), m_vault->lastErrorText().c_str());
            return false;
        }
    }
    m_hasHmac = args.has("--hmac-key");
    m_hmacKey = args.value("--hmac-key");
    m_hmacEncoding = args.value("--hmac-encoding", "ascii");
    if (args.has("--hmac-encoding") && !m_hasHmac) {
        std::fprintf(stderr, "xmldsig: option '--hmac-encoding' needs '--hmac-key'\n");
        return false;
    }
    static const char* const kEncodings[] = {"ascii", "utf-8",  "utf8",
                                             "hex",   "base64", "base64url"};
    bool known = false;
    for (const char* e : kEncodings) known = known || m_hmacEncoding == e;
    if (!known) {
        std::fprintf(stderr,
                     "xmldsig: --hmac-encoding %s: expected ascii, utf-8, hex, base64 or "
                     "base64url\n",
                     m_hmacEncoding.c_str());
        return false;
    }
    return true;
}

bool KeyOptions::applyTo(ClsXmlDSig& dsig) {
    if (m_vault != nullptr) dsig.UseCertVault(*m_vault);
    if (!m_hasHmac) return true;
    XString key(m_hmacKey.c_str());
    if (dsig.SetHmacKey(key, XString(m_hmacEncoding.c_str()))) return true;
    std::fprintf(stderr, "xmldsig: --hmac-key is not valid %s\n%s", m_hmacEncoding.c_str(),
                 dsig.lastErrorText().c_str());
    return false;
}

}  // namespace xmldsig::cli
