#include "dsig/SignatureMethod.h"

#include "host/text/StringBuffer.h"

namespace xmldsig {

namespace {

bool containsEither(const StringBuffer& s, const char* a, const char* b) {
    return s.containsSubstring(a) || s.containsSubstring(b);
}

}  // namespace

int signatureMethodToHashAlg(const StringBuffer& uri, LogBase&) {
    // Fixed order, first hit wins ("-sha1" is a prefix of nothing tested before it, and the
    // SHA-3 family is only recognised to be refused).
    struct Rule {
        const char* dash;
        const char* hash;
        int id;
    };
    static const Rule rules[] = {
        {"-sha256", "#sha256", 7},
        {"-sha1", "#sha1", 1},
        {"-sha384", "#sha384", 2},
        {"-sha512", "#sha512", 3},
        {"-ripemd160", "#ripemd160", 10},
        {"-ripemd128", "#ripemd128", 9},
        {"-md5", "#md5", 5},
        {"-md2", "#md2", 4},
    };
    for (const auto& r : rules)
        if (containsEither(uri, r.dash, r.hash)) return r.id;
    if (uri.containsSubstring("#sha3")) return -1;
    return 0;
}

int signatureMethodToKeyType(const StringBuffer& uri, LogBase&) {
    if (uri.containsSubstring("#dsa-")) return 2;
    if (uri.containsSubstring("#rsa-") || uri.containsSubstring("-rsa-") ||
        uri.containsSubstring("/rsa-"))
        return 1;
    if (uri.containsSubstring("#hmac-")) return 4;
    if (uri.containsSubstring("#ecdsa-")) return 3;
    return -1;
}

}  // namespace xmldsig
