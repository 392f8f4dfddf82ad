// Where each candidate key of one VerifySignature came from (a KeyInfo form, the caller) and
// the certificate that carried it, so that the key that verifies can be reported truthfully.
#pragma once

#include <string>
#include <vector>

namespace xmldsig {

class ClsPublicKey;

namespace detail {

struct KeyOrigin {
    const ClsPublicKey* key = nullptr;
    std::string source;      // "KeyInfo/X509Data/X509Certificate[2]", "caller key"...
    std::string certBase64;  // DER of the certificate the key was taken from; empty when none
};

class KeyOrigins {
  public:
    void clear() {
        m_entries.clear();
        m_pendingKey = nullptr;
        m_pendingCert.clear();
    }
    // The certificate a key was just made from; taken by the next add() of that key.
    void noteCert(const ClsPublicKey* key, std::string certBase64) {
        m_pendingKey = key;
        m_pendingCert = std::move(certBase64);
    }
    // Records a key that joined the candidates. fromCert false: the key was not made from a
    // certificate, whatever an earlier, released key at the same address was.
    void add(const ClsPublicKey* key, const std::string& source, bool fromCert) {
        if (key == nullptr) return;
        KeyOrigin o{key, source, ""};
        if (fromCert && key == m_pendingKey) o.certBase64 = m_pendingCert;
        m_pendingKey = nullptr;
        m_pendingCert.clear();
        m_entries.push_back(std::move(o));
    }
    const KeyOrigin* find(const ClsPublicKey* key) const {
        for (auto it = m_entries.rbegin(); it != m_entries.rend(); ++it)
            if (it->key == key) return &*it;
        return nullptr;
    }

  private:
    std::vector<KeyOrigin> m_entries;
    const ClsPublicKey* m_pendingKey = nullptr;
    std::string m_pendingCert;
};

}  // namespace detail
}  // namespace xmldsig
