// Public keys from their binary and PEM forms. Every result holds the public half only, so a
// private key given to us is never kept.
#pragma once

#include <cstddef>
#include <vector>

#include "host/crypto/detail/handles.h"

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

// Strict DER: a SubjectPublicKeyInfo, or a PKCS#1 RSAPublicKey; nothing may follow it.
EvpPkeyPtr publicKeyFromDer(const unsigned char* der, std::size_t len, LogBase& log);

// Anything a key file may hold, PEM or DER: a public key (SubjectPublicKeyInfo or PKCS#1), a
// private key (PKCS#8 or the traditional forms; encrypted ones are refused, nobody is asked
// for a password), or an X.509 certificate. PEM blocks are tried in order (at most 16), so a
// file that starts with curve parameters or a chain of certificates still gives its key.
EvpPkeyPtr publicKeyFromAnyEncoding(const unsigned char* data, std::size_t len, LogBase& log);

// The SubjectPublicKeyInfo DER of a key.
bool publicKeyDer(const EVP_PKEY* key, std::vector<unsigned char>& out);

}  // namespace xmldsig::detail
