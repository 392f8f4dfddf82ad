#include "host/cert/detail/Pkcs12Certs.h"

#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/x509.h>

#include <climits>
#include <cstring>
#include <mutex>

#include "host/cert/detail/CertHandles.h"
#include "host/cert/detail/CertText.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"

namespace xmldsig::detail {
namespace {

// A library context with the legacy provider beside the default one, for the RC2 and 3DES
// encryption of older PKCS#12 files. It is separate so that the legacy algorithms never become
// available to the rest of the process. Created once, never freed.
OSSL_LIB_CTX* pkcs12LibraryContext() {
    static std::once_flag once;
    static OSSL_LIB_CTX* ctx = nullptr;
    std::call_once(once, [] {
        OSSL_LIB_CTX* c = OSSL_LIB_CTX_new();
        if (c == nullptr) return;
        if (OSSL_PROVIDER_load(c, "default") == nullptr) {
            OSSL_LIB_CTX_free(c);
            return;
        }
        OSSL_PROVIDER_load(c, "legacy");  // optional: without it only modern files are read
        ctx = c;
    });
    clearOpenSslErrors();
    return ctx;
}

// Makes ctx the calling thread's default library context until the object goes.
class DefaultContextSwitch {
  public:
    explicit DefaultContextSwitch(OSSL_LIB_CTX* ctx)
        : m_previous(ctx != nullptr ? OSSL_LIB_CTX_set0_default(ctx) : nullptr),
          m_switched(ctx != nullptr && m_previous != nullptr) {}
    DefaultContextSwitch(const DefaultContextSwitch&) = delete;
    DefaultContextSwitch& operator=(const DefaultContextSwitch&) = delete;
    ~DefaultContextSwitch() {
        if (m_switched) OSSL_LIB_CTX_set0_default(m_previous);
    }

  private:
    OSSL_LIB_CTX* m_previous;
    bool m_switched;
};

bool appendDer(X509* cert, std::vector<DataBuffer>& out) {
    unsigned char* der = nullptr;
    const int n = i2d_X509(cert, &der);
    if (n <= 0) return false;
    const OpenSslBytesPtr owned(der);
    out.emplace_back();
    return out.back().append(owned.get(), static_cast<std::size_t>(n));
}

// The password that opens the MAC: as given, and for an empty one also "no password", which
// some writers use instead.
const char* checkMac(PKCS12* p12, const char* password, bool& ok) {
    ok = true;
    if (!PKCS12_mac_present(p12)) return password;
    if (PKCS12_verify_mac(p12, password, -1) == 1) return password;
    if (password[0] == '\0' && PKCS12_verify_mac(p12, nullptr, 0) == 1) return nullptr;
    ok = false;
    return password;
}

}  // namespace

bool readPkcs12Certificates(const DataBuffer& p12Bytes, const char* password,
                            std::vector<DataBuffer>& out, LogBase& log) {
    clearOpenSslErrors();
    if (p12Bytes.isEmpty() || p12Bytes.getSize() > kMaxCertFileBytes) {
        log.LogError("PKCS#12 data is empty or too large.");
        log.LogDataLong("numBytes", static_cast<long>(p12Bytes.getSize()));
        return false;
    }
    const DefaultContextSwitch useLegacyCapable(pkcs12LibraryContext());
    const unsigned char* p = p12Bytes.getData2();
    const Pkcs12Ptr p12(d2i_PKCS12(nullptr, &p, static_cast<long>(p12Bytes.getSize())));
    if (!p12) {
        log.LogError("Data is not PKCS#12.");
        logOpenSslErrors(log);
        return false;
    }
    bool macOk = false;
    const char* pass = checkMac(p12.get(), password != nullptr ? password : "", macOk);
    if (!macOk) {
        log.LogError("PKCS#12 MAC verification failed: the password is wrong.");
        clearOpenSslErrors();
        return false;
    }
    EVP_PKEY* rawKey = nullptr;
    X509* rawCert = nullptr;
    STACK_OF(X509)* rawCa = nullptr;
    const bool parsed = PKCS12_parse(p12.get(), pass, &rawKey, &rawCert, &rawCa) == 1;
    const EvpPkeyPtr key(rawKey);  // only the certificates are kept
    const X509Ptr cert(rawCert);
    const X509StackPtr ca(rawCa);
    if (!parsed) {
        log.LogError("Cannot read the PKCS#12 contents.");
        logOpenSslErrors(log);
        return false;
    }
    const std::size_t before = out.size();
    if (cert && !appendDer(cert.get(), out)) return false;
    for (int i = 0; ca && i < sk_X509_num(ca.get()); ++i)
        if (!appendDer(sk_X509_value(ca.get(), i), out)) return false;
    if (out.size() == before) {
        log.LogError("The PKCS#12 data holds no certificate.");
        return false;
    }
    log.LogDataLong("numPkcs12Certs", static_cast<long>(out.size() - before));
    return true;
}

}  // namespace xmldsig::detail
