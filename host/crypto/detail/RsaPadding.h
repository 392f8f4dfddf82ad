// The two RSA signature encodings, checked on the integer that the public-key operation gives
// back. They tell apart "this key did not make the signature" (the encoding is malformed) from
// "this key made a signature over something else" (well formed, another hash).
#pragma once

#include <openssl/evp.h>

#include <cstddef>

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

struct HashAlgorithm;

enum class RsaEncodingResult { Matches, OtherHash, Malformed };

// PKCS#1 v1.5: payload is what remains after the 00 01 FF..FF 00 padding. It must be a strict
// DER DigestInfo; it matches when it names alg's OID (with NULL parameters, or with none when
// acceptAbsentParams) and holds exactly hash.
RsaEncodingResult checkDigestInfo(const unsigned char* payload, std::size_t payloadLen,
                                  const HashAlgorithm& alg, const unsigned char* hash,
                                  std::size_t hashLen, bool acceptAbsentParams, LogBase& log);

// RSASSA-PSS: em is the raw result of the public-key operation (modulus-sized, big-endian).
// True when it has the EMSA-PSS shape for a modulus of modBits bits, a hash of hashLen bytes
// and MGF1 with mgf1: the 0xBC trailer, zero top bits, and a data block of zeros, 0x01 and a
// salt after unmasking. Whether the hash matches is OpenSSL's verification, not this check.
bool pssEncodingWellFormed(const unsigned char* em, std::size_t emLen, int modBits,
                           std::size_t hashLen, const EVP_MD* mgf1, LogBase& log);

}  // namespace xmldsig::detail
