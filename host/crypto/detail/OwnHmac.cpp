#include "host/crypto/detail/OwnHmac.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <cstring>

#include "host/crypto/_tvHashStream.h"
#include "host/crypto/detail/HashAlgorithms.h"
#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"

namespace xmldsig::detail {
namespace {

constexpr std::size_t kMaxBlock = 128;  // SHA-384 and SHA-512 have the largest blocks

// Wipes the key material on every exit.
struct PaddedKey {
    unsigned char bytes[kMaxBlock] = {};
    ~PaddedKey() { OPENSSL_cleanse(bytes, sizeof bytes); }
};

// H(prefix || a || b) appended to out.
bool hashParts(int id, const unsigned char* prefix, std::size_t prefixLength, const void* a,
               std::size_t aLength, DataBuffer& out, LogBase& log) {
    _tvHashStream hasher;
    return hasher.init(id, log) && hasher.update(prefix, prefixLength) &&
           hasher.update(a, aLength) && hasher.final(out, log);
}

// K0 of RFC 2104: the key, or its digest when longer than a block, zero-padded to a block.
bool blockKey(const HashAlgorithm& alg, const unsigned char* key, std::size_t keyLength,
              PaddedKey& k0, LogBase& log) {
    if (keyLength <= alg.blockSize) {
        if (keyLength > 0) std::memcpy(k0.bytes, key, keyLength);
        return true;
    }
    DataBuffer digest;
    if (!hashParts(alg.id, key, keyLength, nullptr, 0, digest, log)) return false;
    std::memcpy(k0.bytes, digest.getData2(), digest.getSize());
    digest.secureClear();
    return true;
}

}  // namespace

bool ownHmac(const HashAlgorithm& alg, const unsigned char* data, std::size_t length,
             const unsigned char* key, std::size_t keyLength, DataBuffer& out, LogBase& log) {
    if (alg.blockSize > kMaxBlock || alg.digestSize > alg.blockSize) return false;
    PaddedKey k0;
    if (!blockKey(alg, key, keyLength, k0, log)) return false;
    PaddedKey pad;
    for (std::size_t i = 0; i < alg.blockSize; ++i) pad.bytes[i] = k0.bytes[i] ^ 0x36;
    DataBuffer inner;
    if (!hashParts(alg.id, pad.bytes, alg.blockSize, data, length, inner, log)) return false;
    for (std::size_t i = 0; i < alg.blockSize; ++i) pad.bytes[i] = k0.bytes[i] ^ 0x5C;
    return hashParts(alg.id, pad.bytes, alg.blockSize, inner.getData2(), inner.getSize(), out, log);
}

}  // namespace xmldsig::detail
