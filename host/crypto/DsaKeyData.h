// A DSA public key, ready for DsaCore. Built only by _tvPublicKey, after the domain parameters
// and the public value passed validation.
#pragma once

#include <cstddef>

#include "host/crypto/detail/handles.h"

namespace xmldsig {

class DsaKeyData {
  public:
    DsaKeyData(detail::EvpPkeyPtr key, std::size_t subgroupBytes)
        : m_key(std::move(key)), m_subgroupBytes(subgroupBytes) {}

    EVP_PKEY* pkey() const { return m_key.get(); }
    // Bytes of the subgroup order q: the size of each half of a raw r||s signature.
    std::size_t subgroupBytes() const { return m_subgroupBytes; }
    int primeBits() const { return EVP_PKEY_get_bits(m_key.get()); }

  private:
    detail::EvpPkeyPtr m_key;
    std::size_t m_subgroupBytes;
};

}  // namespace xmldsig
