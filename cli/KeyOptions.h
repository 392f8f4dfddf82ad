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

// One --key: the key, the file it came from, the KeyName it is bound to (NAME=FILE) and the
// certificate when the file held one.
struct GivenKey {
    ClsPublicKey* key = nullptr;
    std::string file, name;
    std::string certBase64;  // empty when the file held a bare key
};

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
    const std::vector<GivenKey>& keys() const { return m_keys; }
    bool pinned() const { return !m_keys.empty(); }
    // The given keys that may verify a signature whose KeyInfo has keyName ("" when it has
    // none): with named keys given, a KeyName selects the key bound to it; keys without a name
    // serve signatures without a KeyName, or all signatures when no key is named. Empty, with
    // why set, when none may.
    std::vector<const GivenKey*> candidatesFor(const std::string& keyName, std::string& why) const;
    bool hasHmacKey() const { return m_hasHmac; }

  private:
    bool loadKey(const std::string& spec);
    std::vector<GivenKey> m_keys;
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
