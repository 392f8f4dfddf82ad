// The checks every public key passes before we keep it, whatever its source (key-value XML,
// DER, PEM, a certificate). They bound the work a hostile key can cause and refuse keys that
// cannot verify anything.
#pragma once

#include <cstddef>
#include <string>

#include "host/crypto/detail/handles.h"

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

constexpr int kMinRsaBits = 512;
constexpr int kMaxRsaBits = 16384;  // OpenSSL's own ceiling for RSA operations
constexpr int kMinDsaBits = 512;
constexpr int kMaxDsaBits = 10000;       // likewise for DSA
constexpr int kMaxBigExponentBits = 64;  // exponent cap OpenSSL applies above 3072-bit moduli
constexpr int kSmallModulusBits = 3072;

// n odd and within the size limits; e odd, above 1, below n (and at most 64 bits when n is
// above 3072 bits, as OpenSSL requires).
bool checkRsaNumbers(const BIGNUM* n, const BIGNUM* e, LogBase& log);
// p within the size limits, q of 160, 224 or 256 bits, 1 < g < p, and y a valid public value
// for (p, q). qBytes receives the size of q.
bool checkDsaKey(EVP_PKEY* key, std::size_t& qBytes, LogBase& log);
// A named curve and a valid point on it. curveName and orderBytes receive the curve's short
// name and the size of its order.
bool checkEcKey(EVP_PKEY* key, std::string& curveName, std::size_t& orderBytes, LogBase& log);

// The number OpenSSL holds under a key parameter name; null when the key has none.
BignumPtr keyNumber(const EVP_PKEY* key, const char* paramName);

}  // namespace xmldsig::detail
