// The certificate store a verifier searches. Its sources, in search order: the vaults added
// with addCertVault, in the order added, then the system trust store (OpenSSL's default bundle
// file and certificate directory), loaded on the first search that gets that far. Every
// certificate pointer a search returns is borrowed: the store keeps ownership, and the pointer
// stays valid for as long as the store lives.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace xmldsig {

class CertMgr;
class LogBase;
class StoredCertificate;
class TavolinX509;
class XString;

class SystemCerts {
  public:
    // Longest certificate chain getCertChain builds.
    static constexpr int kMaxChainLength = 16;

    SystemCerts() = default;
    SystemCerts(const SystemCerts&) = delete;
    SystemCerts& operator=(const SystemCerts&) = delete;
    ~SystemCerts();

    // Adds a vault's certificates as a further source of all later searches (the store holds a
    // reference to the manager, so certificates added to the vault later are found too).
    bool addCertVault(CertMgr& mgr, LogBase& log);
    int numVaults() const;

    // Whether searches may reach the system trust store (true by default).
    void put_UseSystemTrustStore(bool use);
    // Searches this store's own copy of the given bundle file and directories (':' separated)
    // instead of the process-wide default trust store; loaded on first use like the default.
    void setTrustStoreLocations(const char* file, const char* dirs);

    // --- searches (null when nothing matches or the input is malformed) ---

    // By subject key identifier, given as base64 (as X509SKI and WS-Security key identifiers
    // carry it) or as hex. A certificate without the extension is matched by the SHA-1 of its
    // public key bits.
    StoredCertificate* findBySubjectKeyId(const char* keyId, LogBase& log);

    // By subject name: dn (either component order, any spelling toTvCanonHashKey accepts) is
    // compared by canonical key. When dn cannot be read as a name and allowTagless is true,
    // dnNoTags (the values without their types, as removeDnTags gives them) is compared with
    // the values of each subject instead.
    TavolinX509* findBySubjectDN_x509(const XString& dnNoTags, const XString& dn, bool allowTagless,
                                      LogBase& log);

    // By serial number (hex, any case, leading zeros ignored) and issuer. issuer is the
    // issuer's common name, compared trimmed and without regard to ASCII case and inner white
    // space runs; a full issuer name is also accepted and compared by canonical key. A
    // non-null issuerFullDn must in addition equal the certificate's issuer by canonical key.
    TavolinX509* findX509(const char* serialHex, const char* issuer, const char* issuerFullDn,
                          LogBase& log);

    // By the SHA-1 of the whole DER (hex or base64).
    TavolinX509* findByThumbprint(const char* sha1, LogBase& log);
    // By the digest of the whole DER under the hash id (hex or base64), as X509Digest gives it.
    TavolinX509* findByCertDigest(int hashId, const char* digest, LogBase& log);

    // --- chains ---

    // A certificate of the store whose subject is cert's issuer and whose key verifies cert's
    // signature; null when there is none (or cert is self-issued and so its own issuer).
    TavolinX509* findIssuer(const TavolinX509& cert, LogBase& log);
    // Fills chain with cert's issuers found in the store, nearest first, until a self-issued
    // certificate or a missing issuer (at most kMaxChainLength links). Returns true when the
    // chain ends in a self-issued certificate of the store.
    bool getCertChain(const TavolinX509& cert, std::vector<TavolinX509*>& chain, LogBase& log);

    // True when a certificate with the same DER is in one of the sources.
    bool containsCert(const TavolinX509& cert, LogBase& log);

    // Every certificate of every source (the system store is loaded for this), in search
    // order, for callers that hand them to OpenSSL's own verification.
    bool getAllCerts(std::vector<TavolinX509*>& out, LogBase& log);

  private:
    using Match = std::function<bool(const StoredCertificate&)>;

    std::vector<CertMgr*> vaults() const;
    // The system trust store, loaded on the first call; null when it is not to be used.
    CertMgr* systemStore(LogBase& log);
    // The first match in the vaults, then in the system store.
    StoredCertificate* findFirst(const Match& match, LogBase& log);

    mutable std::mutex m_mutex;
    std::vector<CertMgr*> m_vaults;  // one reference each
    bool m_useSystemStore = true;
    bool m_systemStoreTried = false;
    CertMgr* m_systemStore = nullptr;  // borrowed default, or owned when m_ownSystemStore
    bool m_ownSystemStore = false;
    bool m_customLocations = false;
    std::string m_storeFile;
    std::string m_storeDirs;
};

}  // namespace xmldsig
