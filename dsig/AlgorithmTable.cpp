#include "dsig/AlgorithmTable.h"

#include <cstring>
#include <iterator>

#include "host/crypto/HashIds.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {

namespace {

using namespace hashid;
using namespace keytype;

constexpr AlgReading F = AlgReading::First;
constexpr AlgReading S = AlgReading::Second;
constexpr unsigned kDigest = kPlaceDigestMethod;
constexpr unsigned kSigHash = kPlaceSignatureHash;
constexpr unsigned kSigKey = kPlaceSignatureKey;
constexpr unsigned kSig = kPlaceSignatureHash | kPlaceSignatureKey;
constexpr unsigned kTransform = kPlaceTransform;
constexpr unsigned kC14n = kPlaceSignedInfoC14n;
constexpr unsigned kAnyC14n = kPlaceTransform | kPlaceSignedInfoC14n;

constexpr AlgMatch kSub = AlgMatch::Substring;
constexpr AlgMatch kSubNoCase = AlgMatch::SubstringNoCase;
constexpr AlgMatch kExact = AlgMatch::Exact;
constexpr AlgMatch kAny = AlgMatch::Any;

using H = AlgHandler;

#define DSIG "http://www.w3.org/2000/09/xmldsig#"
#define MORE "http://www.w3.org/2001/04/xmldsig-more#"
#define ENC "http://www.w3.org/2001/04/xmlenc#"
#define MORE07 "http://www.w3.org/2007/05/xmldsig-more#"
#define MORE21 "http://www.w3.org/2021/04/xmldsig-more#"

// Within one place, first-reading rows are tested in table order and the first hit wins; the
// order and the case rule of each test are part of the established behaviour.
constexpr AlgorithmRow kRows[] = {
    // Digest methods, first reading: case-insensitive, anything else is SHA-1.
    {F, kDigest, kSubNoCase, "sha256", H::Hash, kSha256, 0, false, false, "sha256"},
    {F, kDigest, kSubNoCase, "sha512", H::Hash, kSha512, 0, false, false, "sha512"},
    {F, kDigest, kSubNoCase, "sha384", H::Hash, kSha384, 0, false, false, "sha384"},
    {F, kDigest, kSubNoCase, "md5", H::Hash, kMd5, 0, false, false, "md5"},
    {F, kDigest, kSubNoCase, "ripemd160", H::Hash, kRipemd160, 0, false, false, "ripemd160"},
    {F, kDigest, kAny, "", H::Hash, kSha1, 0, false, true, "sha1"},

    // Signature-method hash, first reading: case-sensitive; "#sha3" only to be refused; no hit
    // means no hash, which every key check refuses.
    {F, kSigHash, kSub, "-sha256", H::Hash, kSha256, 0, false, false, "sha256"},
    {F, kSigHash, kSub, "#sha256", H::Hash, kSha256, 0, false, false, "sha256"},
    {F, kSigHash, kSub, "-sha1", H::Hash, kSha1, 0, false, false, "sha1"},
    {F, kSigHash, kSub, "#sha1", H::Hash, kSha1, 0, false, false, "sha1"},
    {F, kSigHash, kSub, "-sha384", H::Hash, kSha384, 0, false, false, "sha384"},
    {F, kSigHash, kSub, "#sha384", H::Hash, kSha384, 0, false, false, "sha384"},
    {F, kSigHash, kSub, "-sha512", H::Hash, kSha512, 0, false, false, "sha512"},
    {F, kSigHash, kSub, "#sha512", H::Hash, kSha512, 0, false, false, "sha512"},
    {F, kSigHash, kSub, "-ripemd160", H::Hash, kRipemd160, 0, false, false, "ripemd160"},
    {F, kSigHash, kSub, "#ripemd160", H::Hash, kRipemd160, 0, false, false, "ripemd160"},
    {F, kSigHash, kSub, "-ripemd128", H::Hash, kRipemd128, 0, false, false, "ripemd128"},
    {F, kSigHash, kSub, "#ripemd128", H::Hash, kRipemd128, 0, false, false, "ripemd128"},
    {F, kSigHash, kSub, "-md5", H::Hash, kMd5, 0, false, false, "md5"},
    {F, kSigHash, kSub, "#md5", H::Hash, kMd5, 0, false, false, "md5"},
    {F, kSigHash, kSub, "-md2", H::Hash, kMd2, 0, false, false, "md2"},
    {F, kSigHash, kSub, "#md2", H::Hash, kMd2, 0, false, false, "md2"},
    {F, kSigHash, kSub, "#sha3", H::HashNotSupported, kNone, 0, false, false, "sha3"},
    {F, kSigHash, kAny, "", H::Hash, kNone, 0, false, false, "none"},

    // Signature-method key type, first reading: case-sensitive.
    {F, kSigKey, kSub, "#dsa-", H::KeyType, 0, kDsa, false, false, "dsa"},
    {F, kSigKey, kSub, "#rsa-", H::KeyType, 0, kRsa, false, false, "rsa"},
    {F, kSigKey, kSub, "-rsa-", H::KeyType, 0, kRsa, false, false, "rsa"},
    {F, kSigKey, kSub, "/rsa-", H::KeyType, 0, kRsa, false, false, "rsa"},
    {F, kSigKey, kSub, "#hmac-", H::KeyType, 0, kHmac, false, false, "hmac"},
    {F, kSigKey, kSub, "#ecdsa-", H::KeyType, 0, kEcdsa, false, false, "ecdsa"},
    {F, kSigKey, kAny, "", H::KeyType, 0, kUnsupported, false, false, "none"},

    // Transforms, first reading: case-sensitive; anything else fails the reference.
    {F, kTransform, kSub, "REC-xpath", H::XPath, 0, 0, false, false, "xpath"},
    {F, kTransform, kSub, "2002/06/xmldsig-filter2", H::XPath, 0, 0, false, false, "xpath-filter2"},
    {F, kTransform, kSub, "enveloped-signature", H::Enveloped, 0, 0, false, false,
     "enveloped-signature"},
    {F, kTransform, kSub, "xml-c14n", H::Canonicalize, 0, 0, false, false, "c14n"},
    {F, kTransform, kSub, "xml-exc-c14n", H::Canonicalize, 0, 0, false, false, "exc-c14n"},
    {F, kTransform, kSub, "xmldsig#base64", H::Base64, 0, 0, false, false, "base64"},
    {F, kTransform, kAny, "", H::Unrecognized, 0, 0, false, false, "unrecognized"},

    // SignedInfo canonicalization, first reading: case-sensitive; Canonical XML 1.1 contains
    // "xml-c14n" and reads as 1.0; anything else goes on as inclusive.
    {F, kC14n, kSub, "xml-c14n", H::C14nInclusive, 0, 0, false, false, "c14n"},
    {F, kC14n, kSub, "xml-exc-c14n", H::C14nExclusive, 0, 0, false, false, "exc-c14n"},
    {F, kC14n, kAny, "", H::C14nInclusive, 0, 0, false, true, "c14n"},

    // Second reading: the standard URIs.
    {S, kDigest, kExact, DSIG "sha1", H::Hash, kSha1, 0, false, false, "sha1"},
    {S, kDigest, kExact, MORE "sha224", H::Hash, kSha224, 0, false, false, "sha224"},
    {S, kDigest, kExact, ENC "sha256", H::Hash, kSha256, 0, false, false, "sha256"},
    {S, kDigest, kExact, MORE "sha384", H::Hash, kSha384, 0, false, false, "sha384"},
    {S, kDigest, kExact, ENC "sha512", H::Hash, kSha512, 0, false, false, "sha512"},
    {S, kDigest, kExact, MORE07 "sha3-224", H::Hash, kSha3_224, 0, false, false, "sha3-224"},
    {S, kDigest, kExact, MORE07 "sha3-256", H::Hash, kSha3_256, 0, false, false, "sha3-256"},
    {S, kDigest, kExact, MORE07 "sha3-384", H::Hash, kSha3_384, 0, false, false, "sha3-384"},
    {S, kDigest, kExact, MORE07 "sha3-512", H::Hash, kSha3_512, 0, false, false, "sha3-512"},
    {S, kDigest, kExact, MORE "md5", H::Hash, kMd5, 0, false, false, "md5"},
    {S, kDigest, kExact, ENC "ripemd160", H::Hash, kRipemd160, 0, false, false, "ripemd160"},

    {S, kSig, kExact, DSIG "rsa-sha1", H::Signature, kSha1, kRsa, false, false, "rsa-sha1"},
    {S, kSig, kExact, MORE "rsa-sha224", H::Signature, kSha224, kRsa, false, false, "rsa-sha224"},
    {S, kSig, kExact, MORE "rsa-sha256", H::Signature, kSha256, kRsa, false, false, "rsa-sha256"},
    {S, kSig, kExact, MORE "rsa-sha384", H::Signature, kSha384, kRsa, false, false, "rsa-sha384"},
    {S, kSig, kExact, MORE "rsa-sha512", H::Signature, kSha512, kRsa, false, false, "rsa-sha512"},
    {S, kSig, kExact, MORE "rsa-md5", H::Signature, kMd5, kRsa, false, false, "rsa-md5"},
    {S, kSig, kExact, MORE "rsa-ripemd160", H::Signature, kRipemd160, kRsa, false, false,
     "rsa-ripemd160"},
    {S, kSig, kExact, MORE07 "sha1-rsa-MGF1", H::Signature, kSha1, kRsa, true, false,
     "rsa-pss-sha1"},
    {S, kSig, kExact, MORE07 "sha224-rsa-MGF1", H::Signature, kSha224, kRsa, true, false,
     "rsa-pss-sha224"},
    {S, kSig, kExact, MORE07 "sha256-rsa-MGF1", H::Signature, kSha256, kRsa, true, false,
     "rsa-pss-sha256"},
    {S, kSig, kExact, MORE07 "sha384-rsa-MGF1", H::Signature, kSha384, kRsa, true, false,
     "rsa-pss-sha384"},
    {S, kSig, kExact, MORE07 "sha512-rsa-MGF1", H::Signature, kSha512, kRsa, true, false,
     "rsa-pss-sha512"},
    {S, kSig, kExact, MORE07 "sha3-224-rsa-MGF1", H::Signature, kSha3_224, kRsa, true, false,
     "rsa-pss-sha3-224"},
    {S, kSig, kExact, MORE07 "sha3-256-rsa-MGF1", H::Signature, kSha3_256, kRsa, true, false,
     "rsa-pss-sha3-256"},
    {S, kSig, kExact, MORE07 "sha3-384-rsa-MGF1", H::Signature, kSha3_384, kRsa, true, false,
     "rsa-pss-sha3-384"},
    {S, kSig, kExact, MORE07 "sha3-512-rsa-MGF1", H::Signature, kSha3_512, kRsa, true, false,
     "rsa-pss-sha3-512"},
    {S, kSig, kExact, DSIG "dsa-sha1", H::Signature, kSha1, kDsa, false, false, "dsa-sha1"},
    {S, kSig, kExact, "http://www.w3.org/2009/xmldsig11#dsa-sha256", H::Signature, kSha256, kDsa,
     false, false, "dsa-sha256"},
    {S, kSig, kExact, MORE "ecdsa-sha1", H::Signature, kSha1, kEcdsa, false, false, "ecdsa-sha1"},
    {S, kSig, kExact, MORE "ecdsa-sha224", H::Signature, kSha224, kEcdsa, false, false,
     "ecdsa-sha224"},
    {S, kSig, kExact, MORE "ecdsa-sha256", H::Signature, kSha256, kEcdsa, false, false,
     "ecdsa-sha256"},
    {S, kSig, kExact, MORE "ecdsa-sha384", H::Signature, kSha384, kEcdsa, false, false,
     "ecdsa-sha384"},
    {S, kSig, kExact, MORE "ecdsa-sha512", H::Signature, kSha512, kEcdsa, false, false,
     "ecdsa-sha512"},
    {S, kSig, kExact, MORE21 "ecdsa-sha3-224", H::Signature, kSha3_224, kEcdsa, false, false,
     "ecdsa-sha3-224"},
    {S, kSig, kExact, MORE21 "ecdsa-sha3-256", H::Signature, kSha3_256, kEcdsa, false, false,
     "ecdsa-sha3-256"},
    {S, kSig, kExact, MORE21 "ecdsa-sha3-384", H::Signature, kSha3_384, kEcdsa, false, false,
     "ecdsa-sha3-384"},
    {S, kSig, kExact, MORE21 "ecdsa-sha3-512", H::Signature, kSha3_512, kEcdsa, false, false,
     "ecdsa-sha3-512"},
    {S, kSig, kExact, DSIG "hmac-sha1", H::Signature, kSha1, kHmac, false, false, "hmac-sha1"},
    {S, kSig, kExact, MORE "hmac-sha224", H::Signature, kSha224, kHmac, false, false,
     "hmac-sha224"},
    {S, kSig, kExact, MORE "hmac-sha256", H::Signature, kSha256, kHmac, false, false,
     "hmac-sha256"},
    {S, kSig, kExact, MORE "hmac-sha384", H::Signature, kSha384, kHmac, false, false,
     "hmac-sha384"},
    {S, kSig, kExact, MORE "hmac-sha512", H::Signature, kSha512, kHmac, false, false,
     "hmac-sha512"},
    {S, kSig, kExact, MORE "hmac-md5", H::Signature, kMd5, kHmac, false, false, "hmac-md5"},
    {S, kSig, kExact, MORE "hmac-ripemd160", H::Signature, kRipemd160, kHmac, false, false,
     "hmac-ripemd160"},
    {S, kSig, kExact, MORE21 "eddsa-ed25519", H::Signature, kNone, kEd25519, false, false,
     "ed25519"},
    {S, kSig, kExact, MORE21 "eddsa-ed448", H::Signature, kNone, kEd448, false, false, "ed448"},

    {S, kAnyC14n, kExact, "http://www.w3.org/TR/2001/REC-xml-c14n-20010315", H::C14nInclusive, 0, 0,
     false, false, "c14n"},
    {S, kAnyC14n, kExact, "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments",
     H::C14nInclusive, 0, 0, false, false, "c14n#WithComments"},
    {S, kAnyC14n, kExact, "http://www.w3.org/2001/10/xml-exc-c14n#", H::C14nExclusive, 0, 0, false,
     false, "exc-c14n"},
    {S, kAnyC14n, kExact, "http://www.w3.org/2001/10/xml-exc-c14n#WithComments", H::C14nExclusive,
     0, 0, false, false, "exc-c14n#WithComments"},
    {S, kAnyC14n, kExact, "http://www.w3.org/2006/12/xml-c14n11", H::C14n11, 0, 0, false, false,
     "c14n11"},
    {S, kAnyC14n, kExact, "http://www.w3.org/2006/12/xml-c14n11#WithComments", H::C14n11, 0, 0,
     false, false, "c14n11#WithComments"},
    {S, kTransform, kExact, DSIG "enveloped-signature", H::Enveloped, 0, 0, false, false,
     "enveloped-signature"},
    {S, kTransform, kExact, DSIG "base64", H::Base64, 0, 0, false, false, "base64"},
    {S, kTransform, kExact, "http://www.w3.org/TR/1999/REC-xpath-19991116", H::XPath, 0, 0, false,
     false, "xpath"},
    {S, kTransform, kExact, "http://www.w3.org/2002/06/xmldsig-filter2", H::XPathFilter2, 0, 0,
     false, false, "xpath-filter2"},
    {S, kTransform, kExact, "http://www.w3.org/TR/1999/REC-xslt-19991116", H::Refused, 0, 0, false,
     false, "xslt"},
};

#undef DSIG
#undef MORE
#undef ENC
#undef MORE07
#undef MORE21

// The same tests the established recognition used, on the same text type.
bool matches(const AlgorithmRow& row, const StringBuffer& uri) {
    switch (row.match) {
        case AlgMatch::Substring:
            return uri.containsSubstring(row.text);
        case AlgMatch::SubstringNoCase:
            return uri.containsSubstringNoCase(row.text);
        case AlgMatch::Exact:
            return std::strcmp(uri.getString(), row.text) == 0;
        case AlgMatch::Any:
            return true;
    }
    return false;
}

}  // namespace

const AlgorithmRow& firstReading(AlgPlace place, const StringBuffer& uri) {
    const AlgorithmRow* last = nullptr;
    for (const AlgorithmRow& row : kRows) {
        if (row.reading != AlgReading::First || (row.places & place) == 0) continue;
        if (matches(row, uri)) return row;
        last = &row;
    }
    return *last;  // unreachable: every place's chain ends in an AlgMatch::Any row
}

const AlgorithmRow& firstReading(AlgPlace place, const char* uri) {
    return firstReading(place, StringBuffer(uri == nullptr ? "" : uri));
}

const AlgorithmRow* standardAlgorithm(AlgPlace place, const char* uri) {
    if (uri == nullptr) return nullptr;
    const StringBuffer text(uri);
    for (const AlgorithmRow& row : kRows)
        if (row.reading == AlgReading::Second && (row.places & place) != 0 && matches(row, text))
            return &row;
    return nullptr;
}

bool isDefaultMapping(AlgPlace place, const char* uri) {
    return firstReading(place, uri).isDefault;
}

int digestMethodHash(const char* uri) {
    if (const AlgorithmRow* s = standardAlgorithm(kPlaceDigestMethod, uri)) return s->hashId;
    return firstReading(kPlaceDigestMethod, uri).hashId;
}

const AlgorithmRow* algorithmRowsBegin() {
    return std::begin(kRows);
}
const AlgorithmRow* algorithmRowsEnd() {
    return std::end(kRows);
}

}  // namespace xmldsig
