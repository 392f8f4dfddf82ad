#include "host/crypto/RsaCore.h"

#include <openssl/rsa.h>

#include <algorithm>
#include <vector>

#include "host/crypto/RsaKeyData.h"
#include "host/crypto/detail/EvpAlgorithms.h"
#include "host/crypto/detail/HashAlgorithms.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/crypto/detail/RsaPadding.h"
#include "host/crypto/detail/handles.h"
#include "host/log/LogBase.h"

namespace xmldsig {
namespace {

using Block = std::vector<unsigned char>;

// The outcome of one check: verdict reached or not, and why not.
struct Outcome {
    bool decided = false;
    bool verified = false;
    bool wrongKey = false;
};

Outcome wrongKeyOutcome() {
    Outcome o;
    o.wrongKey = true;
    return o;
}

Outcome verdict(bool verified) {
    Outcome o;
    o.decided = true;
    o.verified = verified;
    return o;
}

// The signature as a modulus-sized block: extra leading zero bytes dropped, missing ones
// added. False (logged) when the value does not fit below the modulus.
bool toModulusBlock(const unsigned char* sig, std::size_t sigLen, const RsaKeyData& key,
                    Block& block, LogBase& log) {
    const std::size_t k = key.modulusBytes();
    while (sigLen > k && *sig == 0) {
        ++sig;
        --sigLen;
    }
    if (sigLen > k) {
        log.LogInfo("The signature is longer than the key's modulus.");
        log.LogDataLong("signatureLength", static_cast<long>(sigLen));
        log.LogDataLong("modulusLength", static_cast<long>(k));
        return false;
    }
    block.assign(k - sigLen, 0);
    block.insert(block.end(), sig, sig + sigLen);
    if (!std::lexicographical_compare(block.begin(), block.end(), key.modulus().begin(),
                                      key.modulus().end())) {
        log.LogInfo("The signature is not below the key's modulus.");
        return false;
    }
    return true;
}

detail::EvpPkeyCtxPtr newContext(const RsaKeyData& key, int padding, bool recover, LogBase& log) {
    detail::EvpPkeyCtxPtr ctx(EVP_PKEY_CTX_new_from_pkey(nullptr, key.pkey(), nullptr));
    const bool ok = ctx &&
                    (recover ? EVP_PKEY_verify_recover_init(ctx.get())
                             : EVP_PKEY_verify_init(ctx.get())) == 1 &&
                    EVP_PKEY_CTX_set_rsa_padding(ctx.get(), padding) == 1;
    if (!ok) {
        log.LogError("Failed to set up the RSA operation.");
        detail::logOpenSslErrors(log);
        return nullptr;
    }
    return ctx;
}

// The public-key operation with the given padding removed; false when OpenSSL refuses the
// padding (its errors are dropped: for a wrong key they are expected).
bool recover(const RsaKeyData& key, int padding, const Block& block, Block& out, bool& setupOk,
             LogBase& log) {
    detail::EvpPkeyCtxPtr ctx = newContext(key, padding, true, log);
    setupOk = static_cast<bool>(ctx);
    if (!ctx) return false;
    out.assign(block.size(), 0);
    std::size_t outLen = out.size();
    if (EVP_PKEY_verify_recover(ctx.get(), out.data(), &outLen, block.data(), block.size()) != 1) {
        detail::clearOpenSslErrors();
        return false;
    }
    out.resize(outLen);
    return true;
}

Outcome checkPkcs1(const Block& block, const unsigned char* hash, std::size_t hashLen,
                   const detail::HashAlgorithm& alg, const RsaKeyData& key, bool acceptAbsent,
                   LogBase& log) {
    Block payload;
    bool setupOk = false;
    if (!recover(key, RSA_PKCS1_PADDING, block, payload, setupOk, log)) {
        if (!setupOk) return Outcome();
        log.LogInfo("The signature has no PKCS#1 v1.5 padding under this key.");
        return wrongKeyOutcome();
    }
    switch (detail::checkDigestInfo(payload.data(), payload.size(), alg, hash, hashLen,
                                    acceptAbsent, log)) {
        case detail::RsaEncodingResult::Matches:
            return verdict(true);
        case detail::RsaEncodingResult::OtherHash:
            return verdict(false);
        case detail::RsaEncodingResult::Malformed:
            break;
    }
    return wrongKeyOutcome();
}

Outcome checkPss(const Block& block, const unsigned char* hash, std::size_t hashLen,
                 const detail::HashAlgorithm& alg, const detail::HashAlgorithm& mgf1Alg,
                 const RsaKeyData& key, int saltLen, LogBase& log) {
    const EVP_MD* md = detail::evpDigestFor(alg, log);
    const EVP_MD* mgf1 = detail::evpDigestFor(mgf1Alg, log);
    if (md == nullptr || mgf1 == nullptr) {
        log.LogError("RSASSA-PSS is not available with this hash algorithm.");
        return Outcome();
    }
    Block em;
    bool setupOk = false;
    if (!recover(key, RSA_NO_PADDING, block, em, setupOk, log)) return Outcome();
    if (!detail::pssEncodingWellFormed(em.data(), em.size(), key.modulusBits(), hashLen, mgf1,
                                       log)) {
        log.LogInfo("The signature is not an RSASSA-PSS encoding under this key.");
        return wrongKeyOutcome();
    }
    detail::EvpPkeyCtxPtr ctx = newContext(key, RSA_PKCS1_PSS_PADDING, false, log);
    if (!ctx || EVP_PKEY_CTX_set_signature_md(ctx.get(), md) != 1 ||
        EVP_PKEY_CTX_set_rsa_mgf1_md(ctx.get(), mgf1) != 1 ||
        EVP_PKEY_CTX_set_rsa_pss_saltlen(ctx.get(), saltLen > 0 ? saltLen : RSA_PSS_SALTLEN_AUTO) !=
            1) {
        log.LogError("Failed to set the RSASSA-PSS parameters.");
        detail::logOpenSslErrors(log);
        return Outcome();
    }
    const int rc = EVP_PKEY_verify(ctx.get(), block.data(), block.size(), hash, hashLen);
    if (rc < 0) {
        log.LogError("OpenSSL could not check the RSASSA-PSS signature.");
        detail::logOpenSslErrors(log);
        return Outcome();
    }
    detail::clearOpenSslErrors();
    if (rc != 1) log.LogError("The RSASSA-PSS signature is over a different hash.");
    return verdict(rc == 1);
}

// The request itself: known hash and padding, a hash of the right size, a signature at all.
bool requestUsable(const unsigned char* sig, std::size_t sigLen, const unsigned char* hash,
                   std::size_t hashLen, const detail::HashAlgorithm* alg,
                   const detail::HashAlgorithm* mgf1Alg, int padding, LogBase& log) {
    if (alg == nullptr || (padding == RsaCore::kPaddingPss && mgf1Alg == nullptr)) {
        log.LogError("Unknown hash algorithm for RSA verification.");
        log.LogDataStr("hashAlg", alg == nullptr ? "unknown" : alg->name);
        log.LogDataStr("mgf1HashAlg", mgf1Alg == nullptr ? "unknown" : mgf1Alg->name);
        return false;
    }
    if (hash == nullptr || hashLen != alg->digestSize) {
        log.LogError("The hash length is not the digest size of the hash algorithm.");
        log.LogDataLong("hashLength", static_cast<long>(hashLen));
        log.LogDataStr("hashAlg", alg->name);
        return false;
    }
    if (padding != RsaCore::kPaddingPkcs1v15 && padding != RsaCore::kPaddingPss) {
        log.LogError("Unsupported RSA padding.");
        log.LogDataLong("padding", padding);
        return false;
    }
    if (sig == nullptr || sigLen == 0) {
        log.LogError("The RSA signature is empty.");
        return false;
    }
    return true;
}

}  // namespace

bool RsaCore::verifyHashExt(const unsigned char* sig, std::size_t sigLen, const unsigned char* hash,
                            std::size_t hashLen, int hashAlg, int padding, int mgf1HashAlg,
                            bool& verified, RsaKeyData& key, int pssSaltLen,
                            bool acceptAbsentDigestParams, bool& wrongKey, LogBase& log) {
    LogContextExitor ctx(log, "rsaVerifyHash");
    verified = false;
    wrongKey = false;
    const detail::HashAlgorithm* alg = detail::findHashAlgorithm(hashAlg);
    const detail::HashAlgorithm* mgf1Alg = detail::findHashAlgorithm(mgf1HashAlg);
    if (!requestUsable(sig, sigLen, hash, hashLen, alg, mgf1Alg, padding, log)) return false;
    detail::clearOpenSslErrors();
    Block block;
    if (!toModulusBlock(sig, sigLen, key, block, log)) {
        wrongKey = true;
        return false;
    }
    const Outcome o =
        padding == kPaddingPss
            ? checkPss(block, hash, hashLen, *alg, *mgf1Alg, key, pssSaltLen, log)
            : checkPkcs1(block, hash, hashLen, *alg, key, acceptAbsentDigestParams, log);
    verified = o.verified;
    wrongKey = o.wrongKey;
    return o.decided;
}

}  // namespace xmldsig
