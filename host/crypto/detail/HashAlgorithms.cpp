#include "host/crypto/detail/HashAlgorithms.h"

#include <iterator>

namespace xmldsig::detail {
namespace {

constexpr HashAlgorithm kAlgorithms[] = {
    {1, "sha1", 20, 64, "1.3.14.3.2.26", HashBackend::OpenSsl, "SHA1"},
    {2, "sha384", 48, 128, "2.16.840.1.101.3.4.2.2", HashBackend::OpenSsl, "SHA2-384"},
    {3, "sha512", 64, 128, "2.16.840.1.101.3.4.2.3", HashBackend::OpenSsl, "SHA2-512"},
    {4, "md2", 16, 16, "1.2.840.113549.2.2", HashBackend::OwnMd2, nullptr},
    {5, "md5", 16, 64, "1.2.840.113549.2.5", HashBackend::OpenSsl, "MD5"},
    {7, "sha256", 32, 64, "2.16.840.1.101.3.4.2.1", HashBackend::OpenSsl, "SHA2-256"},
    {9, "ripemd128", 16, 64, "1.3.36.3.2.2", HashBackend::OwnRipemd128, nullptr},
    {10, "ripemd160", 20, 64, "1.3.36.3.2.1", HashBackend::OpenSsl, "RIPEMD-160"},
    {11, "sha224", 28, 64, "2.16.840.1.101.3.4.2.4", HashBackend::OpenSsl, "SHA2-224"},
    {12, "sha3-224", 28, 144, "2.16.840.1.101.3.4.2.7", HashBackend::OpenSsl, "SHA3-224"},
    {13, "sha3-256", 32, 136, "2.16.840.1.101.3.4.2.8", HashBackend::OpenSsl, "SHA3-256"},
    {14, "sha3-384", 48, 104, "2.16.840.1.101.3.4.2.9", HashBackend::OpenSsl, "SHA3-384"},
    {15, "sha3-512", 64, 72, "2.16.840.1.101.3.4.2.10", HashBackend::OpenSsl, "SHA3-512"},
};

char foldAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isSeparator(char c) {
    return c == '-' || c == '_';
}

// Compares a caller's spelling with a table name, ignoring case, '-' and '_'.
bool sameName(std::string_view given, std::string_view tableName) {
    std::size_t t = 0;
    for (char c : given) {
        if (isSeparator(c)) continue;
        while (t < tableName.size() && isSeparator(tableName[t])) ++t;
        if (t >= tableName.size() || foldAscii(c) != tableName[t]) return false;
        ++t;
    }
    while (t < tableName.size() && isSeparator(tableName[t])) ++t;
    return t == tableName.size();
}

}  // namespace

const HashAlgorithm* findHashAlgorithm(int id) {
    for (const HashAlgorithm& a : kAlgorithms) {
        if (a.id == id) return &a;
    }
    return nullptr;
}

const HashAlgorithm* findHashAlgorithmByOid(std::string_view oid) {
    for (const HashAlgorithm& a : kAlgorithms) {
        if (oid == a.oid) return &a;
    }
    return nullptr;
}

const HashAlgorithm* findHashAlgorithmByName(std::string_view name) {
    for (const HashAlgorithm& a : kAlgorithms) {
        if (sameName(name, a.name)) return &a;
    }
    return nullptr;
}

const HashAlgorithm* hashAlgorithmsBegin() {
    return std::begin(kAlgorithms);
}
const HashAlgorithm* hashAlgorithmsEnd() {
    return std::end(kAlgorithms);
}

}  // namespace xmldsig::detail
