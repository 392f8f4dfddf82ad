#include "host/crypto/detail/RsaPadding.h"

#include <openssl/objects.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "host/crypto/detail/HashAlgorithms.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/crypto/detail/handles.h"
#include "host/log/LogBase.h"

namespace xmldsig::detail {
namespace {

X509SigPtr parseStrictDigestInfo(const unsigned char* payload, std::size_t len) {
    const unsigned char* p = payload;
    X509SigPtr sig(d2i_X509_SIG(nullptr, &p, static_cast<long>(len)));
    if (!sig || p != payload + len) return nullptr;
    if (i2d_X509_SIG(sig.get(), nullptr) != static_cast<int>(len)) return nullptr;
    return sig;
}

// MGF1 (RFC 8017 B.2.1): the mask is Hash(seed || counter) for counter 0, 1, ..., cut to size.
bool mgf1Mask(const unsigned char* seed, std::size_t seedLen, const EVP_MD* md,
              std::vector<unsigned char>& mask) {
    EvpMdCtxPtr ctx(EVP_MD_CTX_new());
    unsigned char block[EVP_MAX_MD_SIZE];
    std::size_t done = 0;
    for (std::uint32_t counter = 0; ctx && done < mask.size(); ++counter) {
        const unsigned char c[4] = {
            static_cast<unsigned char>(counter >> 24), static_cast<unsigned char>(counter >> 16),
            static_cast<unsigned char>(counter >> 8), static_cast<unsigned char>(counter)};
        unsigned int blockLen = 0;
        if (EVP_DigestInit_ex(ctx.get(), md, nullptr) != 1 ||
            EVP_DigestUpdate(ctx.get(), seed, seedLen) != 1 ||
            EVP_DigestUpdate(ctx.get(), c, sizeof c) != 1 ||
            EVP_DigestFinal_ex(ctx.get(), block, &blockLen) != 1 || blockLen == 0) {
            return false;
        }
        const std::size_t take = std::min<std::size_t>(blockLen, mask.size() - done);
        std::copy(block, block + take, mask.begin() + static_cast<std::ptrdiff_t>(done));
        done += take;
    }
    return done == mask.size();
}

bool paramsAcceptable(const X509_ALGOR* algor, bool acceptAbsent) {
    int paramType = V_ASN1_UNDEF;
    X509_ALGOR_get0(nullptr, &paramType, nullptr, algor);
    return paramType == V_ASN1_NULL || (acceptAbsent && paramType == V_ASN1_UNDEF);
}

}  // namespace

RsaEncodingResult checkDigestInfo(const unsigned char* payload, std::size_t payloadLen,
                                  const HashAlgorithm& alg, const unsigned char* hash,
                                  std::size_t hashLen, bool acceptAbsentParams, LogBase& log) {
    X509SigPtr info = parseStrictDigestInfo(payload, payloadLen);
    clearOpenSslErrors();
    if (!info) {
        log.LogInfo("The PKCS#1 v1.5 payload is not a DigestInfo.");
        return RsaEncodingResult::Malformed;
    }
    const X509_ALGOR* algor = nullptr;
    const ASN1_OCTET_STRING* digest = nullptr;
    X509_SIG_get0(info.get(), &algor, &digest);
    const ASN1_OBJECT* oid = nullptr;
    X509_ALGOR_get0(&oid, nullptr, nullptr, algor);
    char oidText[128] = {0};
    OBJ_obj2txt(oidText, sizeof oidText, oid, 1);
    if (std::strcmp(oidText, alg.oid) != 0) {
        log.LogError("The signature was made over a different hash algorithm.");
        log.LogDataStr("signedHashOid", oidText);
        log.LogDataStr("expectedHashOid", alg.oid);
        return RsaEncodingResult::OtherHash;
    }
    if (!paramsAcceptable(algor, acceptAbsentParams)) {
        log.LogError("The DigestInfo algorithm parameters are neither NULL nor absent.");
        return RsaEncodingResult::OtherHash;
    }
    const unsigned char* signedHash = ASN1_STRING_get0_data(digest);
    const std::size_t signedLen = static_cast<std::size_t>(ASN1_STRING_length(digest));
    if (signedLen != hashLen || !std::equal(hash, hash + hashLen, signedHash)) {
        log.LogError("The signed hash differs from the computed hash.");
        return RsaEncodingResult::OtherHash;
    }
    return RsaEncodingResult::Matches;
}

bool pssEncodingWellFormed(const unsigned char* em, std::size_t emLen, int modBits,
                           std::size_t hashLen, const EVP_MD* mgf1, LogBase& log) {
    // EMSA-PSS works on emBits = modBits - 1; when that is a multiple of 8 the first byte of
    // the modulus-sized block is a zero that is not part of EM.
    const std::size_t emBits = static_cast<std::size_t>(modBits) - 1;
    const std::size_t encLen = (emBits + 7) / 8;
    if (modBits < 2 || encLen > emLen || encLen < hashLen + 2) return false;
    for (std::size_t i = 0; i < emLen - encLen; ++i) {
        if (em[i] != 0) return false;
    }
    const unsigned char* enc = em + (emLen - encLen);
    const unsigned topMask = (0xFFu << (8 - (8 * encLen - emBits))) & 0xFFu;  // unused bits
    if (enc[encLen - 1] != 0xBC || (enc[0] & topMask) != 0) return false;

    const std::size_t dbLen = encLen - hashLen - 1;
    std::vector<unsigned char> db(dbLen);
    if (!mgf1Mask(enc + dbLen, hashLen, mgf1, db)) {
        log.LogError("Failed to compute the PSS mask.");
        logOpenSslErrors(log);
        return false;
    }
    for (std::size_t i = 0; i < dbLen; ++i) db[i] ^= enc[i];
    db[0] &= static_cast<unsigned char>(~topMask);
    const auto first = std::find_if(db.begin(), db.end(), [](unsigned char b) { return b != 0; });
    return first != db.end() && *first == 0x01;
}

}  // namespace xmldsig::detail
