// The inner key object of ClsPublicKey: empty, or exactly one of an RSA, a DSA or an EC public
// key. Every load replaces the key only when it succeeds, and every key taken in has passed the
// checks of detail/KeyChecks.h.
#pragma once

#include <cstddef>
#include <variant>
#include <vector>

#include "host/crypto/DsaKeyData.h"
#include "host/crypto/EccKeyData.h"
#include "host/crypto/EdKeyData.h"
#include "host/crypto/RsaKeyData.h"
#include "host/crypto/detail/handles.h"

namespace xmldsig {

class DataBuffer;
class LogBase;
class StringBuffer;

class _tvPublicKey {
  public:
    _tvPublicKey() = default;
    _tvPublicKey(const _tvPublicKey&) = delete;
    _tvPublicKey& operator=(const _tvPublicKey&) = delete;

    // Strict DER: a SubjectPublicKeyInfo or a PKCS#1 RSAPublicKey.
    bool loadAnyDer(const DataBuffer& der, LogBase& log);
    // A key value element's XML (RSAKeyValue, DSAKeyValue, ECKeyValue, ECDSAKeyValue).
    bool loadXml(const StringBuffer& xml, LogBase& log);
    // PEM or DER: public key, private key (its public half is kept) or certificate.
    bool loadAnyFormat(const DataBuffer& data, LogBase& log);
    // Takes the public half of an OpenSSL key (the caller keeps its own reference).
    bool loadEvpPkey(const EVP_PKEY* key, LogBase& log);

    void clear() { m_key = std::monostate(); }
    bool isEmpty() const { return std::holds_alternative<std::monostate>(m_key); }

    RsaKeyData* getRsaKey() { return std::get_if<RsaKeyData>(&m_key); }
    DsaKeyData* getDsaKey() { return std::get_if<DsaKeyData>(&m_key); }
    EccKeyData* getEccKey() { return std::get_if<EccKeyData>(&m_key); }
    const RsaKeyData* getRsaKey() const { return std::get_if<RsaKeyData>(&m_key); }
    const DsaKeyData* getDsaKey() const { return std::get_if<DsaKeyData>(&m_key); }
    const EccKeyData* getEccKey() const { return std::get_if<EccKeyData>(&m_key); }
    const EdKeyData* getEdKey() const { return std::get_if<EdKeyData>(&m_key); }

    // The borrowed OpenSSL key; null when empty.
    EVP_PKEY* evpPkey() const;
    // "RSA", "DSA", "EC", "Ed25519", "Ed448"; "" when empty.
    const char* keyTypeName() const;
    // RSA modulus bits, DSA prime bits, EC order bits; 0 when empty.
    int keySizeBits() const;
    // SubjectPublicKeyInfo DER; false when empty.
    bool getDer(std::vector<unsigned char>& out) const;
    // Same algorithm and same public numbers; two empty keys are not equal.
    bool equals(const _tvPublicKey& other) const;

  private:
    // Checks key and, when it is usable, makes it this object's key.
    bool adopt(detail::EvpPkeyPtr key, LogBase& log);
    bool adoptRsa(const EVP_PKEY* key, LogBase& log);
    bool adoptDsa(detail::EvpPkeyPtr key, LogBase& log);
    bool adoptEc(detail::EvpPkeyPtr key, LogBase& log);

    std::variant<std::monostate, RsaKeyData, DsaKeyData, EccKeyData, EdKeyData> m_key;
};

}  // namespace xmldsig
