// Generates own_digest_vectors.tsv with Crypto++ (Debian libcrypto++-dev), an implementation
// independent of ours, for the two digests OpenSSL 3 lacks. Not part of the build:
//   g++ -std=c++17 make_own_digest_vectors.cpp -lcryptopp -o /tmp/gen
//   /tmp/gen > own_digest_vectors.tsv
// The MD2 rows were also checked against Perl's Digest::MD2 and Digest::HMAC (see the .sh beside).
#define CRYPTOPP_ENABLE_NAMESPACE_WEAK 1
#include <crypto++/hex.h>
#include <crypto++/hmac.h>
#include <crypto++/md2.h>
#include <crypto++/ripemd.h>

#include <cstdio>
#include <string>

namespace {

std::string pattern(size_t length, unsigned mul, unsigned add) {
    std::string s(length, '\0');
    for (size_t i = 0; i < length; ++i) s[i] = static_cast<char>((i * mul + add) & 0xFF);
    return s;
}

std::string hex(const CryptoPP::byte* p, size_t n) {
    std::string out;
    for (size_t i = 0; i < n; ++i) {
        char b[3];
        std::snprintf(b, sizeof b, "%02x", p[i]);
        out += b;
    }
    return out;
}

template <class H>
void digestRow(const char* name, size_t length) {
    const std::string msg = pattern(length, 31, 7);
    CryptoPP::byte out[H::DIGESTSIZE];
    H().CalculateDigest(out, reinterpret_cast<const CryptoPP::byte*>(msg.data()), msg.size());
    std::printf("%s\t%zu\t-\t%s\n", name, length, hex(out, sizeof out).c_str());
}

template <class H>
void hmacRow(const char* name, size_t length, size_t keyLength) {
    const std::string msg = pattern(length, 31, 7);
    const std::string key = pattern(keyLength, 13, 1);
    CryptoPP::HMAC<H> mac(reinterpret_cast<const CryptoPP::byte*>(key.data()), key.size());
    CryptoPP::byte out[H::DIGESTSIZE];
    mac.CalculateDigest(out, reinterpret_cast<const CryptoPP::byte*>(msg.data()), msg.size());
    std::printf("%s\t%zu\t%zu\t%s\n", name, length, keyLength, hex(out, sizeof out).c_str());
}

}  // namespace

int main() {
    const size_t lengths[] = {0,   1,   15,  16,  17,  31,  32,  33,   47,   48,   55,
                              56,  57,  63,  64,  65,  119, 120, 127,  128,  129,  191,
                              192, 193, 255, 256, 257, 511, 512, 1000, 4099, 65537};
    const size_t keyLengths[] = {0, 1, 15, 16, 17, 20, 63, 64, 65, 200};
    std::printf("# algorithm\tmessage_length\tkey_length\tdigest_hex\n");
    std::printf("# message byte i = (31*i + 7) mod 256; key byte i = (13*i + 1) mod 256\n");
    for (size_t n : lengths) digestRow<CryptoPP::Weak::MD2>("md2", n);
    for (size_t n : lengths) digestRow<CryptoPP::RIPEMD128>("ripemd128", n);
    for (size_t k : keyLengths) {
        for (size_t n : {size_t{0}, size_t{3}, size_t{64}, size_t{100}}) {
            hmacRow<CryptoPP::Weak::MD2>("hmac-md2", n, k);
            hmacRow<CryptoPP::RIPEMD128>("hmac-ripemd128", n, k);
        }
    }
    return 0;
}
