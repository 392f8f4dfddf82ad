#include "host/crypto/Hmac.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include "host/crypto/detail/EvpAlgorithms.h"
#include "host/crypto/detail/HashAlgorithms.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/crypto/detail/OwnHmac.h"
#include "host/crypto/detail/handles.h"
#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"

namespace xmldsig {
namespace {

bool failWithOpenSsl(const char* message, LogBase& log) {
    log.LogError(message);
    detail::logOpenSslErrors(log);
    return false;
}

bool openSslHmac(const detail::HashAlgorithm& alg, const unsigned char* data, std::size_t length,
                 const unsigned char* key, std::size_t keyLength, DataBuffer& out, LogBase& log) {
    EVP_MAC* mac = detail::evpHmac(log);
    // Fetching the digest first loads a provider for it when the default one lacks it.
    if (mac == nullptr || detail::evpDigestFor(alg, log) == nullptr) return false;
    detail::clearOpenSslErrors();
    detail::EvpMacCtxPtr ctx(EVP_MAC_CTX_new(mac));
    if (!ctx) return failWithOpenSsl("Failed to create the HMAC context.", log);
    OSSL_PARAM params[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, const_cast<char*>(alg.evpName), 0),
        OSSL_PARAM_construct_end()};
    // A null key would mean "keep the previous key"; the empty key needs a real pointer.
    static const unsigned char kEmptyKey[1] = {0};
    if (EVP_MAC_init(ctx.get(), keyLength > 0 ? key : kEmptyKey, keyLength, params) != 1) {
        return failWithOpenSsl("Failed to initialize HMAC.", log);
    }
    if (length > 0 && EVP_MAC_update(ctx.get(), data, length) != 1) {
        return failWithOpenSsl("Failed to compute HMAC.", log);
    }
    unsigned char mac_out[EVP_MAX_MD_SIZE];
    std::size_t macLength = 0;
    if (EVP_MAC_final(ctx.get(), mac_out, &macLength, sizeof mac_out) != 1) {
        return failWithOpenSsl("Failed to finish HMAC.", log);
    }
    if (!out.append(mac_out, macLength)) {
        log.LogError("Failed to append the HMAC.");
        return false;
    }
    return true;
}

}  // namespace

bool Hmac::doHMAC(const unsigned char* data, std::size_t length, const unsigned char* key,
                  std::size_t keyLength, int hashId, DataBuffer& out, LogBase& log) {
    const detail::HashAlgorithm* alg = detail::findHashAlgorithm(hashId);
    if (alg == nullptr) {
        log.LogError("Unsupported HMAC hash algorithm.");
        log.LogDataLong("hashAlg", hashId);
        return false;
    }
    if ((data == nullptr && length > 0) || (key == nullptr && keyLength > 0)) {
        log.LogError("HMAC input pointer is null.");
        return false;
    }
    if (alg->backend == detail::HashBackend::OpenSsl) {
        return openSslHmac(*alg, data, length, key, keyLength, out, log);
    }
    return detail::ownHmac(*alg, data, length, key, keyLength, out, log);
}

}  // namespace xmldsig
