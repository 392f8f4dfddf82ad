#include "host/crypto/detail/KeyBuild.h"

#include <openssl/core_names.h>

#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"

namespace xmldsig::detail {
namespace {

struct BnParam {
    const char* name;
    const BIGNUM* value;
};

EvpPkeyPtr fromParams(const char* keyType, const OSSL_PARAM* params, LogBase& log) {
    EvpPkeyCtxPtr ctx(EVP_PKEY_CTX_new_from_name(nullptr, keyType, nullptr));
    EVP_PKEY* raw = nullptr;
    if (!ctx || EVP_PKEY_fromdata_init(ctx.get()) != 1 ||
        EVP_PKEY_fromdata(ctx.get(), &raw, EVP_PKEY_PUBLIC_KEY, const_cast<OSSL_PARAM*>(params)) !=
            1) {
        log.LogError("OpenSSL refused the public key numbers.");
        log.LogDataStr("keyType", keyType);
        logOpenSslErrors(log);
        return nullptr;
    }
    return EvpPkeyPtr(raw);
}

template <std::size_t N>
EvpPkeyPtr fromBignums(const char* keyType, const BnParam (&values)[N], LogBase& log) {
    clearOpenSslErrors();
    OsslParamBldPtr bld(OSSL_PARAM_BLD_new());
    bool ok = static_cast<bool>(bld);
    for (const BnParam& v : values) {
        ok = ok && v.value != nullptr && OSSL_PARAM_BLD_push_BN(bld.get(), v.name, v.value) == 1;
    }
    OsslParamPtr params(ok ? OSSL_PARAM_BLD_to_param(bld.get()) : nullptr);
    if (!params) {
        log.LogError("Failed to collect the public key numbers.");
        logOpenSslErrors(log);
        return nullptr;
    }
    return fromParams(keyType, params.get(), log);
}

}  // namespace

EvpPkeyPtr buildRsaKey(const BIGNUM* n, const BIGNUM* e, LogBase& log) {
    const BnParam values[] = {{OSSL_PKEY_PARAM_RSA_N, n}, {OSSL_PKEY_PARAM_RSA_E, e}};
    return fromBignums("RSA", values, log);
}

EvpPkeyPtr buildDsaKey(const BIGNUM* p, const BIGNUM* q, const BIGNUM* g, const BIGNUM* y,
                       LogBase& log) {
    const BnParam values[] = {{OSSL_PKEY_PARAM_FFC_P, p},
                              {OSSL_PKEY_PARAM_FFC_Q, q},
                              {OSSL_PKEY_PARAM_FFC_G, g},
                              {OSSL_PKEY_PARAM_PUB_KEY, y}};
    return fromBignums("DSA", values, log);
}

EvpPkeyPtr buildEcKey(const char* groupName, const unsigned char* point, std::size_t pointLen,
                      LogBase& log) {
    clearOpenSslErrors();
    const OSSL_PARAM params[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, const_cast<char*>(groupName),
                                         0),
        OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY,
                                          const_cast<unsigned char*>(point), pointLen),
        OSSL_PARAM_construct_end()};
    return fromParams("EC", params, log);
}

}  // namespace xmldsig::detail
