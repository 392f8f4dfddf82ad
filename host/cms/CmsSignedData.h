// One CMS (PKCS#7) signed-data structure, parsed by OpenSSL: load it, verify its signature and
// take out the content it encapsulates (for an RFC 3161 timestamp token, the DER of its
// TSTInfo). Also the client side of RFC 3161: ask a timestamp authority for a token.
#pragma once

#include <cstddef>
#include <ctime>
#include <memory>
#include <vector>

struct CMS_ContentInfo_st;

namespace xmldsig {

class ClsJsonObject;
class DataBuffer;
class LogBase;
class SystemCerts;
class _clsCades;

class CmsSignedData {
  public:
    // Largest DER accepted.
    static constexpr std::size_t kMaxDerBytes = 16u << 20;
    // loadPkcs7Der modes: any ContentInfo, or only one of type signed-data.
    static constexpr int kModeAnyContentType = 1;
    static constexpr int kModeSignedDataOnly = 2;

    CmsSignedData();
    CmsSignedData(const CmsSignedData&) = delete;
    CmsSignedData& operator=(const CmsSignedData&) = delete;
    ~CmsSignedData();

    // Parses the DER of a ContentInfo, which must fill der exactly. name labels the structure
    // in the log (null: none). detached, when not null, is set to whether signed data carries
    // no encapsulated content. sysCerts (borrowed, may be null) is where signer certificates
    // that the structure lacks are looked for later. False, nothing loaded, on malformed input
    // or, under kModeSignedDataOnly, another content type.
    bool loadPkcs7Der(const DataBuffer& der, const char* name, int mode, bool* detached,
                      SystemCerts* sysCerts, LogBase& log);
    bool isLoaded() const { return m_cms != nullptr; }

    // Verifies every signer of the loaded signed data against its certificate (carried in the
    // structure, else found in sysCerts) and, on success, replaces content with the
    // encapsulated content. The certificate chain is checked only when cades' options ask
    // for it ("VerifyTsaCertChain"): then each signer's certificate must chain to a certificate
    // of sysCerts, at the token's time for a timestamp token and for the time-stamping purpose.
    bool verifyOpaqueSignature(DataBuffer& content, _clsCades& cades, SystemCerts* sysCerts,
                               LogBase& log);

    // After verifyOpaqueSignature: the DER of the first signer's certificate, and of every
    // certificate the structure carries (appended). False when there is none.
    bool getSignerCertDer(DataBuffer& out) const;
    bool getCertsDer(std::vector<DataBuffer>& out) const;
    // The genTime of a timestamp token's TSTInfo DER.
    static bool timestampTime(const DataBuffer& tstInfo, std::time_t& out);

    // Asks a timestamp authority for a token over data and replaces token with its DER (empty
    // on failure). Options of json: "timestampToken.tsaUrl" (required),
    // "timestampToken.hashAlg" (default "sha256"), "timestampToken.requestTsaCert" (default
    // true), "timestampToken.policyOid" (optional). The request goes over the HTTP object of
    // cades (setTsaHttpObj) or, without one, over a new one with default timeouts. The reply
    // must grant the request and match it (version, message imprint, nonce, policy); the
    // token's signature is not checked here.
    static bool getTimestampToken(ClsJsonObject& json, const DataBuffer& data, _clsCades& cades,
                                  DataBuffer& token, LogBase& log);

  private:
    struct CmsFree {
        void operator()(CMS_ContentInfo_st* p) const noexcept;
    };
    std::unique_ptr<CMS_ContentInfo_st, CmsFree> m_cms;
    SystemCerts* m_sysCerts = nullptr;
};

}  // namespace xmldsig
