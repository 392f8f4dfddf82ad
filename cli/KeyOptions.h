// The key material a command line supplies: public keys (--key), certificates for the store
// (--cert, --cert-dir) and an HMAC key (--hmac-key, --hmac-encoding).
#pragma once

#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "dsig/ClsXmlDSig.h"
#include "host/cert/ClsXmlCertVault.h"
#include "host/crypto/ClsPublicKey.h"

namespace xmldsig::cli {

class KeyOptions {
  public:
    KeyOptions() = default;
    KeyOptions(const KeyOptions&) = delete;
    KeyOptions& operator=(const KeyOptions&) = delete;
    ~KeyOptions();

    // Loads every file the options name; false (after printing which file and why) on failure.
    bool load(const ParsedArgs& args);
    // Gives the certificate vault and the HMAC key to a component; false (after printing why)
    // when the HMAC key cannot be decoded.
    bool applyTo(ClsXmlDSig& dsig);
    const std::vector<ClsPublicKey*>& keys() const { return m_keys; }
    bool hasHmacKey() const { return m_hasHmac; }

  private:
    std::vector<ClsPublicKey*> m_keys;
    ClsXmlCertVault* m_vault = nullptr;
    bool m_hasHmac = false;
    std::string m_hmacKey, m_hmacEncoding;
};

extern const OptionSpec kOptKey;
extern const OptionSpec kOptCert;
extern const OptionSpec kOptCertDir;
extern const OptionSpec kOptHmacKey;
extern const OptionSpec kOptHmacEncoding;

}  // namespace xmldsig::cli
