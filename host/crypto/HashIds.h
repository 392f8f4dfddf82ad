// Hash algorithm ids as the hashing services number them (see detail/HashAlgorithms.cpp).
#pragma once

namespace xmldsig::hashid {

constexpr int kNone = 0;  // no hash: nothing is hashed
constexpr int kSha1 = 1;
constexpr int kSha384 = 2;
constexpr int kSha512 = 3;
constexpr int kMd2 = 4;
constexpr int kMd5 = 5;
constexpr int kSha256 = 7;
constexpr int kRipemd128 = 9;
constexpr int kRipemd160 = 10;
// The further SHA-2 and SHA-3 hashes OpenSSL 3 offers.
constexpr int kSha224 = 11;
constexpr int kSha3_224 = 12;
constexpr int kSha3_256 = 13;
constexpr int kSha3_384 = 14;
constexpr int kSha3_512 = 15;

}  // namespace xmldsig::hashid
