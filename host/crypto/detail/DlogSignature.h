// What DSA and ECDSA verification share: both sign a hash with a pair (r, s), which XML
// Signature writes as raw r||s and other producers (the ZATCA samples among them) as DER.
#pragma once

#include <openssl/evp.h>

#include <cstddef>

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

// True when length is the digest size of a hash algorithm we know (the hash table's
// algorithms). Anything else, the empty hash above all, must never reach DSA or
// ECDSA: with a hash of zero, (r, s) can be forged from the public key alone.
bool isKnownDigestLength(std::size_t length);

// Verifies (r, s) over hash with a DSA or EC key. halfSize is the size of the group order in
// bytes: a raw signature is any even length up to 2 * halfSize. Both encodings are tried,
// rawFirst choosing the order. True when a verdict was reached; false (logged) when the hash
// length is refused, the signature has neither encoding, or OpenSSL fails.
bool verifyDlogHash(EVP_PKEY* key, std::size_t halfSize, const unsigned char* sig,
                    std::size_t sigLen, const unsigned char* hash, std::size_t hashLen,
                    bool rawFirst, bool& verified, LogBase& log);

}  // namespace xmldsig::detail
