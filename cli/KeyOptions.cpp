#include "cli/KeyOptions.h"

#include <cstdio>
#include <filesystem>

#include "host/cert/TavolinX509.h"
#include "host/log/LogNull.h"
#include "host/xml/FileSys.h"

namespace xmldsig::cli {

const OptionSpec kOptKey{"--key", true, true, "[NAME=]FILE",
                         "a signer's key: a public key, private key or certificate, PEM or DER "
                         "(repeatable); only the given keys may verify, KeyInfo keys are never "
                         "tried; NAME=FILE binds the key to the KeyName NAME"};
const OptionSpec kOptCert{"--cert", true, true, "FILE",
                          "a certificate file (PEM, DER or base64) for the certificate store "
                          "that X509IssuerSerial, X509SubjectName and X509SKI are looked up in"};
const OptionSpec kOptCertDir{"--cert-dir", true, true, "DIR",
                             "every certificate file of a directory, for the store"};
const OptionSpec kOptHmacKey{"--hmac-key", true, false, "TEXT", "the HMAC key"};
const OptionSpec kOptHmacEncoding{"--hmac-encoding", true, false, "ENC",
                                  "how --hmac-key is written: ascii (default), hex, base64"};

KeyOptions::~KeyOptions() {
    for (GivenKey& k : m_keys) k.key->decRefCount();
    delete m_vault;
}

bool KeyOptions::load(const ParsedArgs& args) {
    for (const auto& spec : args.all("--key"))
        if (!loadKey(spec)) return false;
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

bool KeyOptions::loadKey(const std::string& spec) {
    GivenKey given;
    given.file = spec;
    // NAME=FILE, unless the whole text names a file.
    const auto eq = spec.find('=');
    std::error_code ec;
    if (eq != std::string::npos && eq > 0 && !std::filesystem::exists(spec, ec)) {
        given.name = spec.substr(0, eq);
        given.file = spec.substr(eq + 1);
    }
    ClsPublicKey* key = ClsPublicKey::createNewCls();
    if (key == nullptr) return false;
    if (!key->LoadFromFile(XString(given.file.c_str()))) {
        std::fprintf(stderr, "xmldsig: --key %s: no public key could be read\n%s", spec.c_str(),
                     key->lastErrorText().c_str());
        key->decRefCount();
        return false;
    }
    given.key = key;
    LogNull quiet;
    DataBuffer bytes;
    TavolinX509 cert;
    if (FileSys::readFileToDb(given.file.c_str(), bytes, quiet, TavolinX509::kMaxCertBytes) &&
        cert.loadX509Any(bytes, quiet)) {
        DataBuffer der;
        cert.getCertDer(der);
        StringBuffer b64;
        der.encodeDB("base64", b64);
        given.certBase64 = b64.str();
    }
    m_keys.push_back(given);
    return true;
}

std::vector<const GivenKey*> KeyOptions::candidatesFor(const std::string& keyName,
                                                       std::string& why) const {
    bool anyNamed = false;
    for (const GivenKey& k : m_keys) anyNamed = anyNamed || !k.name.empty();
    std::vector<const GivenKey*> out;
    for (const GivenKey& k : m_keys) {
        if (!anyNamed || (keyName.empty() ? k.name.empty() : k.name == keyName)) out.push_back(&k);
    }
    if (out.empty())
        why = keyName.empty() ? "the signature has no KeyName and every --key is bound to a name"
                              : "KeyName " + keyName + " names no given key";
    return out;
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
