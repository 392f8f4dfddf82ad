#include "host/crypto/detail/KeyChecks.h"

#include <openssl/core_names.h>

#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"

namespace xmldsig::detail {
namespace {

bool refuse(const char* message, const char* valueName, long value, LogBase& log) {
    log.LogError(message);
    if (valueName != nullptr) log.LogDataLong(valueName, value);
    return false;
}

// OpenSSL's own consistency check of a public value (range, subgroup or curve membership).
bool publicCheck(EVP_PKEY* key, LogBase& log) {
    EvpPkeyCtxPtr ctx(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
    if (!ctx || EVP_PKEY_public_check(ctx.get()) != 1) {
        log.LogError("The public key value is not valid for its parameters.");
        logOpenSslErrors(log);
        return false;
    }
    return true;
}

}  // namespace

BignumPtr keyNumber(const EVP_PKEY* key, const char* paramName) {
    BIGNUM* bn = nullptr;
    if (EVP_PKEY_get_bn_param(key, paramName, &bn) != 1) return nullptr;
    return BignumPtr(bn);
}

bool checkRsaNumbers(const BIGNUM* n, const BIGNUM* e, LogBase& log) {
    if (n == nullptr || e == nullptr)
        return refuse("The RSA key has no modulus or exponent.", nullptr, 0, log);
    const int bits = BN_num_bits(n);
    if (bits < kMinRsaBits || bits > kMaxRsaBits) {
        refuse("The RSA modulus size is outside the supported range.", "modulusBits", bits, log);
        log.LogDataLong("minBits", kMinRsaBits);
        log.LogDataLong("maxBits", kMaxRsaBits);
        return false;
    }
    if (!BN_is_odd(n)) return refuse("The RSA modulus is even.", nullptr, 0, log);
    const int eBits = BN_num_bits(e);
    if (!BN_is_odd(e) || BN_is_one(e) || BN_cmp(e, n) >= 0) {
        return refuse("The RSA public exponent is not usable.", "exponentBits", eBits, log);
    }
    if (bits > kSmallModulusBits && eBits > kMaxBigExponentBits) {
        return refuse("The RSA public exponent is too large for this modulus size.", "exponentBits",
                      eBits, log);
    }
    return true;
}

bool checkDsaKey(EVP_PKEY* key, std::size_t& qBytes, LogBase& log) {
    BignumPtr p = keyNumber(key, OSSL_PKEY_PARAM_FFC_P);
    BignumPtr q = keyNumber(key, OSSL_PKEY_PARAM_FFC_Q);
    BignumPtr g = keyNumber(key, OSSL_PKEY_PARAM_FFC_G);
    if (!p || !q || !g) return refuse("The DSA key lacks its domain parameters.", nullptr, 0, log);
    const int pBits = BN_num_bits(p.get());
    if (pBits < kMinDsaBits || pBits > kMaxDsaBits) {
        return refuse("The DSA prime size is outside the supported range.", "primeBits", pBits,
                      log);
    }
    const int qBits = BN_num_bits(q.get());
    if (qBits != 160 && qBits != 224 && qBits != 256) {
        return refuse("The DSA subgroup order must have 160, 224 or 256 bits.", "subgroupBits",
                      qBits, log);
    }
    if (BN_is_zero(g.get()) || BN_is_one(g.get()) || BN_cmp(g.get(), p.get()) >= 0) {
        return refuse("The DSA generator is not usable.", nullptr, 0, log);
    }
    if (!publicCheck(key, log)) return false;
    qBytes = static_cast<std::size_t>((qBits + 7) / 8);
    return true;
}

bool checkEcKey(EVP_PKEY* key, std::string& curveName, std::size_t& orderBytes, LogBase& log) {
    char name[80] = {0};
    std::size_t nameLen = 0;
    if (EVP_PKEY_get_utf8_string_param(key, OSSL_PKEY_PARAM_GROUP_NAME, name, sizeof name,
                                       &nameLen) != 1 ||
        nameLen == 0) {
        clearOpenSslErrors();
        return refuse("The EC key is not on a named curve (explicit parameters are not supported).",
                      nullptr, 0, log);
    }
    if (!publicCheck(key, log)) return false;
    const int bits = EVP_PKEY_get_bits(key);
    if (bits <= 0) return refuse("The EC key's curve size is unknown.", nullptr, 0, log);
    curveName.assign(name, nameLen);
    orderBytes = static_cast<std::size_t>((bits + 7) / 8);
    return true;
}

}  // namespace xmldsig::detail
