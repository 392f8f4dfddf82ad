// Builds OpenSSL public keys from their numbers, as key-value XML gives them. The keys are not
// checked here; _tvPublicKey checks every key it takes, whatever its source.
#pragma once

#include <cstddef>

#include "host/crypto/detail/handles.h"

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

EvpPkeyPtr buildRsaKey(const BIGNUM* n, const BIGNUM* e, LogBase& log);
EvpPkeyPtr buildDsaKey(const BIGNUM* p, const BIGNUM* q, const BIGNUM* g, const BIGNUM* y,
                       LogBase& log);
// groupName is OpenSSL's curve name; point is an encoded curve point (04||X||Y, or
// compressed). OpenSSL refuses a point that is not on the curve.
EvpPkeyPtr buildEcKey(const char* groupName, const unsigned char* point, std::size_t pointLen,
                      LogBase& log);

}  // namespace xmldsig::detail
