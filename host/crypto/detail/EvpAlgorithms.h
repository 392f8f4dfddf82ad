// OpenSSL algorithm objects fetched once per process and then shared: fetching is costly, and a
// fetched EVP_MD or EVP_MAC may be used by any number of threads at once. They are never freed.
#pragma once

#include <openssl/evp.h>

#include "host/crypto/detail/HashAlgorithms.h"

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

// The digest for an algorithm whose backend is OpenSsl; null (logged) when OpenSSL has none.
const EVP_MD* evpDigestFor(const HashAlgorithm& alg, LogBase& log);
// OpenSSL's HMAC; null (logged) when it cannot be fetched.
EVP_MAC* evpHmac(LogBase& log);

}  // namespace xmldsig::detail
