#include "host/crypto/detail/DlogSignature.h"

#include <openssl/ecdsa.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "host/crypto/detail/HashAlgorithms.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/crypto/detail/handles.h"
#include "host/log/LogBase.h"

namespace xmldsig::detail {
namespace {


using Der = std::vector<unsigned char>;

bool encodeRs(BignumPtr r, BignumPtr s, Der& out) {
    EcdsaSigPtr sig(ECDSA_SIG_new());
    if (!sig || ECDSA_SIG_set0(sig.get(), r.get(), s.get()) != 1) return false;
    r.release();  // owned by sig from here on
    s.release();
    const int len = i2d_ECDSA_SIG(sig.get(), nullptr);
    if (len <= 0) return false;
    out.resize(static_cast<std::size_t>(len));
    unsigned char* p = out.data();
    return i2d_ECDSA_SIG(sig.get(), &p) == len;
}

// Raw r||s: two big-endian halves of equal length, each at most halfSize bytes.
bool rawToDer(const unsigned char* sig, std::size_t len, std::size_t halfSize, Der& out) {
    if (len == 0 || len % 2 != 0 || len / 2 > halfSize) return false;
    const int half = static_cast<int>(len / 2);
    BignumPtr r(BN_bin2bn(sig, half, nullptr));
    BignumPtr s(BN_bin2bn(sig + half, half, nullptr));
    return r && s && encodeRs(std::move(r), std::move(s), out);
}

// Strict DER: it parses as SEQUENCE { INTEGER r, INTEGER s }, nothing follows, and it encodes
// back to the same bytes (no long-form lengths or extra leading zero bytes slip through).
bool strictDer(const unsigned char* sig, std::size_t len, Der& out) {
    const unsigned char* p = sig;
    EcdsaSigPtr parsed(d2i_ECDSA_SIG(nullptr, &p, static_cast<long>(len)));
    if (!parsed || p != sig + len) return false;
    const int reLen = i2d_ECDSA_SIG(parsed.get(), nullptr);
    if (reLen <= 0 || static_cast<std::size_t>(reLen) != len) return false;
    out.resize(len);
    unsigned char* q = out.data();
    i2d_ECDSA_SIG(parsed.get(), &q);
    return std::equal(out.begin(), out.end(), sig);
}

// 1 verified, 0 not verified, -1 OpenSSL could not decide.
int evpVerify(EVP_PKEY* key, const Der& der, const unsigned char* hash, std::size_t hashLen,
              LogBase& log) {
    EvpPkeyCtxPtr ctx(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
    if (!ctx || EVP_PKEY_verify_init(ctx.get()) != 1) {
        log.LogError("Failed to initialize the signature check.");
        logOpenSslErrors(log);
        return -1;
    }
    const int rc = EVP_PKEY_verify(ctx.get(), der.data(), der.size(), hash, hashLen);
    if (rc < 0) {
        log.LogError("OpenSSL could not check the signature.");
        logOpenSslErrors(log);
        return -1;
    }
    clearOpenSslErrors();  // a mismatch leaves entries that describe nothing useful
    return rc == 1 ? 1 : 0;
}

}  // namespace

bool isKnownDigestLength(std::size_t length) {
    for (const HashAlgorithm* a = hashAlgorithmsBegin(); a != hashAlgorithmsEnd(); ++a) {
        if (a->digestSize == length) return true;
    }
    return false;
}

bool verifyDlogHash(EVP_PKEY* key, std::size_t halfSize, const unsigned char* sig,
                    std::size_t sigLen, const unsigned char* hash, std::size_t hashLen,
                    bool rawFirst, bool& verified, LogBase& log) {
    verified = false;
    if (hash == nullptr || !isKnownDigestLength(hashLen)) {
        log.LogError("The hash length is not the digest size of a known hash algorithm.");
        log.LogDataLong("hashLength", static_cast<long>(hashLen));
        return false;
    }
    if (sig == nullptr || sigLen == 0) {
        log.LogError("The signature value is empty.");
        return false;
    }
    if (key == nullptr) {
        log.LogError("No key to check the signature with.");
        return false;
    }
    clearOpenSslErrors();
    Der raw, der;
    const bool hasRaw = rawToDer(sig, sigLen, halfSize, raw);
    const bool hasDer = strictDer(sig, sigLen, der);
    if (!hasRaw && !hasDer) {
        log.LogError("The signature value is neither r||s nor a DER signature.");
        log.LogDataLong("signatureLength", static_cast<long>(sigLen));
        log.LogDataLong("maxRawLength", static_cast<long>(2 * halfSize));
        clearOpenSslErrors();
        return false;
    }
    const Der* order[2] = {hasRaw ? &raw : nullptr, hasDer ? &der : nullptr};
    if (!rawFirst) std::swap(order[0], order[1]);
    bool decided = false;
    for (const Der* candidate : order) {
        if (candidate == nullptr) continue;
        const int rc = evpVerify(key, *candidate, hash, hashLen, log);
        if (rc == 1) {
            verified = true;
            return true;
        }
        decided = decided || rc == 0;
    }
    if (decided) log.LogInfo("The signature does not match the hash.");
    return decided;
}

}  // namespace xmldsig::detail
