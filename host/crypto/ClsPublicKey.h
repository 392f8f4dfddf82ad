// A public key component: RSA, DSA or EC, loaded from key-value XML, DER, PEM, a certificate or
// a private key file. Counted: a new object carries one reference, released with
// decRefCount (an _clsOwner or ExtPtrArrayRc does that for its holder).
#pragma once

#include "host/crypto/_tvPublicKey.h"
#include "host/log/ClsBase.h"
#include "host/log/RefCountedObject.h"

namespace xmldsig {

class DataBuffer;
class LogBase;
class XString;

class ClsPublicKey : public ClsBase, public RefCountedObject {
  public:
    // An empty key with one reference; null when memory runs out.
    static ClsPublicKey* createNewCls();
    ~ClsPublicKey() override;

    // --- public operations (own lock and log) ---

    // A key value element as XML: RSAKeyValue (Modulus, Exponent), DSAKeyValue (P, Q, G, Y),
    // ECKeyValue (NamedCurve URI "urn:oid:...", PublicKey octets) or the RFC 4050
    // ECDSAKeyValue (DomainParameters/NamedCurve URN, PublicKey X and Y values).
    bool LoadXml(const XString& xml);
    // PEM text of a public key, private key or certificate.
    bool LoadPem(const XString& pem);
    // A file holding a public key, private key or certificate, PEM or DER.
    bool LoadFromFile(const XString& path);
    // "RSA", "DSA" or "EC"; empty when no key is loaded.
    void get_KeyType(XString& out);
    // Modulus bits (RSA), prime bits (DSA), order bits (EC); 0 when no key is loaded.
    int get_KeySize();
    // The SubjectPublicKeyInfo DER; false when no key is loaded.
    bool GetDer(DataBuffer& out);
    // True when both hold the same public key.
    bool Equals(ClsPublicKey& other);

    // --- for the library's own callers: they log into the given log; a failed load leaves the
    // key that was there ---

    bool loadXml(const XString& xml, LogBase& log);
    // DER as a certificate gives it: SubjectPublicKeyInfo, or a PKCS#1 RSAPublicKey.
    bool loadAnyDer(const DataBuffer& der, LogBase& log);
    bool loadPem(const XString& pem, LogBase& log);
    bool loadFromFile(const XString& path, LogBase& log);
    bool getDer(DataBuffer& out, LogBase& log);

    _tvPublicKey& pubKey() { return m_pubKey; }
    const _tvPublicKey& pubKey() const { return m_pubKey; }

  private:
    ClsPublicKey() = default;

    _tvPublicKey m_pubKey;
};

}  // namespace xmldsig
