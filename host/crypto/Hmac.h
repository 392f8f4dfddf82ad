// Keyed-hash message authentication codes (RFC 2104) over the hash ids of _tvHash.
#pragma once

#include <cstddef>

namespace xmldsig {

class DataBuffer;
class LogBase;

class Hmac {
  public:
    // Appends HMAC(key, data) under the hash algorithm hashId to out. Any key length is
    // accepted, the empty key included. False, with the reason logged and out unchanged, for
    // id 0, an unknown id, a null pointer with a non-zero length, or a failure inside OpenSSL.
    static bool doHMAC(const unsigned char* data, std::size_t length, const unsigned char* key,
                       std::size_t keyLength, int hashId, DataBuffer& out, LogBase& log);
};

}  // namespace xmldsig
