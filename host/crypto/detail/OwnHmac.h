// RFC 2104 HMAC built on _tvHashStream, for the digests OpenSSL 3 does not offer (MD2,
// RIPEMD-128). Works for every id of the hash table, which lets tests hold it against OpenSSL.
#pragma once

#include <cstddef>

namespace xmldsig {
class DataBuffer;
class LogBase;
}  // namespace xmldsig

namespace xmldsig::detail {

struct HashAlgorithm;

// Appends the MAC to out; false (logged, out unchanged) when hashing fails.
bool ownHmac(const HashAlgorithm& alg, const unsigned char* data, std::size_t length,
             const unsigned char* key, std::size_t keyLength, DataBuffer& out, LogBase& log);

}  // namespace xmldsig::detail
