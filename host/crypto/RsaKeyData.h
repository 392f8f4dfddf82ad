// An RSA public key, ready for RsaCore. Built only by _tvPublicKey, after the key passed the
// size and exponent checks, so holders never see an unusable key.
#pragma once

#include <cstddef>
#include <vector>

#include "host/crypto/detail/handles.h"

namespace xmldsig {

class RsaKeyData {
  public:
    RsaKeyData(detail::EvpPkeyPtr key, std::vector<unsigned char> modulus)
        : m_key(std::move(key)), m_modulus(std::move(modulus)) {}

    EVP_PKEY* pkey() const { return m_key.get(); }
    // The modulus, big-endian without leading zero bytes.
    const std::vector<unsigned char>& modulus() const { return m_modulus; }
    std::size_t modulusBytes() const { return m_modulus.size(); }
    int modulusBits() const { return EVP_PKEY_get_bits(m_key.get()); }

  private:
    detail::EvpPkeyPtr m_key;
    std::vector<unsigned char> m_modulus;
};

}  // namespace xmldsig
