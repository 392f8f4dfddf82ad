// An elliptic-curve public key on a named curve, and ECDSA verification with it. Built only by
// _tvPublicKey, after the point was checked to lie on the curve.
#pragma once

#include <cstddef>
#include <string>

#include "host/crypto/detail/handles.h"

namespace xmldsig {

class LogBase;

class EccKeyData {
  public:
    EccKeyData(detail::EvpPkeyPtr key, std::string curveName, std::size_t orderBytes)
        : m_key(std::move(key)), m_curveName(std::move(curveName)), m_orderBytes(orderBytes) {}

    // Verifies an ECDSA signature over a precomputed hash. The signature is accepted as raw
    // r||s (the XML Signature form: any even length up to twice the order size, the halves
    // padded alike) or as a DER SEQUENCE of two INTEGERs; derFirst says which form to try
    // first, and both are tried. rawHalfSize, when not 0, caps the size of each raw half
    // instead of the curve's order size.
    // True when a verdict was reached (verified tells it). False, logged, when the hash length
    // is not the digest size of a known hash algorithm, when the signature has neither form,
    // or when OpenSSL fails; verified is then false.
    bool eccVerifyHash(const unsigned char* sig, std::size_t sigLen, bool derFirst,
                       const unsigned char* hash, std::size_t hashLen, bool& verified, LogBase& log,
                       unsigned rawHalfSize) const;

    EVP_PKEY* pkey() const { return m_key.get(); }
    const std::string& curveName() const { return m_curveName; }  // OpenSSL's short name
    std::size_t orderBytes() const { return m_orderBytes; }
    int orderBits() const { return EVP_PKEY_get_bits(m_key.get()); }

  private:
    detail::EvpPkeyPtr m_key;
    std::string m_curveName;
    std::size_t m_orderBytes;
};

}  // namespace xmldsig
