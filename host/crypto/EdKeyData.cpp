#include "host/crypto/EdKeyData.h"

#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"

namespace xmldsig {

bool EdKeyData::verifyMessage(const unsigned char* message, std::size_t messageLen,
                              const unsigned char* sig, std::size_t sigLen, bool& verified,
                              LogBase& log) const {
    verified = false;
    const std::size_t expected = isEd448() ? 114 : 64;
    if (sig == nullptr || sigLen != expected) {
        log.LogError("The EdDSA signature does not have the size of its curve.");
        log.LogDataLong("signatureLength", static_cast<long>(sigLen));
        return false;
    }
    detail::clearOpenSslErrors();
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    if (ctx == nullptr) return false;
    bool decided = false;
    if (EVP_DigestVerifyInit_ex(ctx, nullptr, nullptr, nullptr, nullptr, m_key.get(), nullptr) ==
        1) {
        const int rc = EVP_DigestVerify(ctx, sig, sigLen, message, messageLen);
        decided = rc >= 0;
        verified = rc == 1;
    }
    if (!decided) {
        log.LogError("OpenSSL could not check the EdDSA signature.");
        detail::logOpenSslErrors(log);
    }
    detail::clearOpenSslErrors();
    EVP_MD_CTX_free(ctx);
    return decided;
}

}  // namespace xmldsig
