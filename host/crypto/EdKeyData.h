// An Ed25519 or Ed448 public key. EdDSA signs the message itself, not a hash of it, so the check
// takes the signed bytes.
#pragma once

#include <cstddef>

#include "host/crypto/detail/handles.h"

namespace xmldsig {

class LogBase;

class EdKeyData {
  public:
    explicit EdKeyData(detail::EvpPkeyPtr key) : m_key(std::move(key)) {}

    EVP_PKEY* pkey() const { return m_key.get(); }
    bool isEd448() const { return EVP_PKEY_get_base_id(m_key.get()) == EVP_PKEY_ED448; }
    // Pure EdDSA (RFC 8032, no context) over message. True when a decision was reached;
    // verified tells it.
    bool verifyMessage(const unsigned char* message, std::size_t messageLen,
                       const unsigned char* sig, std::size_t sigLen, bool& verified,
                       LogBase& log) const;

  private:
    detail::EvpPkeyPtr m_key;
};

}  // namespace xmldsig
