// The one table of hash algorithms this library knows. Every other place that needs an
// algorithm's name, digest size, OID or OpenSSL name looks it up here by its numeric id.
#pragma once

#include <cstddef>
#include <string_view>

namespace xmldsig::detail {

// How the digest is computed: through OpenSSL, or by our own code where OpenSSL 3 has none.
enum class HashBackend { OpenSsl, OwnMd2, OwnRipemd128 };

struct HashAlgorithm {
    int id;                  // the numeric id callers pass (1 SHA-1, 7 SHA-256, ...)
    const char* name;        // lower-case short name ("sha256")
    std::size_t digestSize;  // bytes
    std::size_t blockSize;   // bytes of one compression block (the HMAC pad length)
    const char* oid;         // dotted object identifier of the hash algorithm
    HashBackend backend;
    const char* evpName;  // OpenSSL fetch name when backend is OpenSsl, else null
};

// Null when id names no known algorithm (0, "no hash", included).
const HashAlgorithm* findHashAlgorithm(int id);
// Null when the dotted OID is not one of the table's.
const HashAlgorithm* findHashAlgorithmByOid(std::string_view oid);
// Case-insensitive; "-" and "_" are ignored, so "SHA-256", "sha_256" and "sha256" all match.
const HashAlgorithm* findHashAlgorithmByName(std::string_view name);

// The whole table, for tests and diagnostics.
const HashAlgorithm* hashAlgorithmsBegin();
const HashAlgorithm* hashAlgorithmsEnd();

}  // namespace xmldsig::detail
