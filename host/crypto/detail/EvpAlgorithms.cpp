#include "host/crypto/detail/EvpAlgorithms.h"

#include <openssl/provider.h>

#include <array>
#include <mutex>

#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"

namespace xmldsig::detail {
namespace {

constexpr int kMaxCachedId = 15;

std::mutex g_mutex;
std::array<EVP_MD*, kMaxCachedId + 1> g_digests{};  // indexed by hash id
EVP_MAC* g_hmac = nullptr;
bool g_legacyTried = false;

// RIPEMD-160 comes from the default provider since OpenSSL 3.0.7; the 3.0 releases before that
// keep it in the legacy provider only. Loading a provider by hand stops OpenSSL from loading
// the default one by itself, so both are loaded. Called with g_mutex held; tried only once.
void loadLegacyProvider(LogBase& log) {
    if (g_legacyTried) return;
    g_legacyTried = true;
    if (OSSL_PROVIDER_load(nullptr, "default") == nullptr ||
        OSSL_PROVIDER_load(nullptr, "legacy") == nullptr) {
        log.LogInfo("The OpenSSL legacy provider could not be loaded.");
        logOpenSslErrors(log);
    }
}

}  // namespace

const EVP_MD* evpDigestFor(const HashAlgorithm& alg, LogBase& log) {
    if (alg.evpName == nullptr || alg.id < 0 || alg.id > kMaxCachedId) return nullptr;
    std::lock_guard<std::mutex> lock(g_mutex);
    EVP_MD*& slot = g_digests[static_cast<std::size_t>(alg.id)];
    if (slot != nullptr) return slot;
    clearOpenSslErrors();
    slot = EVP_MD_fetch(nullptr, alg.evpName, nullptr);
    if (slot == nullptr) {
        loadLegacyProvider(log);
        slot = EVP_MD_fetch(nullptr, alg.evpName, nullptr);
    }
    if (slot == nullptr) {
        log.LogError("OpenSSL does not provide this hash algorithm.");
        log.LogDataStr("hashAlg", alg.name);
        logOpenSslErrors(log);
    }
    return slot;
}

EVP_MAC* evpHmac(LogBase& log) {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (g_hmac != nullptr) return g_hmac;
    clearOpenSslErrors();
    g_hmac = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    if (g_hmac == nullptr) {
        log.LogError("OpenSSL does not provide HMAC.");
        logOpenSslErrors(log);
    }
    return g_hmac;
}

}  // namespace xmldsig::detail
