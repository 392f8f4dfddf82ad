// One table of every algorithm URI the verifier recognises: digest methods, signature methods,
// transforms and SignedInfo canonicalization methods.
//
// Each place where a URI is read has two readings:
//  - the first reading is the established recognition: ordered substring tests, first hit wins,
//    ending in a default row (an unknown digest method is SHA-1, an unknown canonicalization is
//    inclusive). It decides first, always, so documents verify exactly as they always did;
//  - the second reading is the URI as its standard defines it (exact match). It is used only
//    when the first reading does not verify and names a different algorithm.
#pragma once

#include <cstddef>

namespace xmldsig {

class StringBuffer;

// Key types of a signature method.
namespace keytype {
constexpr int kUnsupported = -1;
constexpr int kRsa = 1;
constexpr int kDsa = 2;
constexpr int kEcdsa = 3;
constexpr int kHmac = 4;
constexpr int kEd25519 = 5;
constexpr int kEd448 = 6;
}  // namespace keytype

// Where a URI is read. A row may serve several places (a bit set).
enum AlgPlace : unsigned {
    kPlaceDigestMethod = 1u,     // Reference/DigestMethod
    kPlaceSignatureHash = 2u,    // SignedInfo/SignatureMethod, its hash
    kPlaceSignatureKey = 4u,     // SignedInfo/SignatureMethod, its key type
    kPlaceTransform = 8u,        // Reference/Transforms/Transform
    kPlaceSignedInfoC14n = 16u,  // SignedInfo/CanonicalizationMethod
};

enum class AlgReading { First, Second };

enum class AlgMatch { Substring, SubstringNoCase, Exact, Any };

enum class AlgHandler {
    Hash,              // hashId names the digest
    HashNotSupported,  // recognised only to be refused
    KeyType,           // keyType names the key (signature-method key place)
    Signature,         // a whole signature method: hashId, keyType, pss
    XPath,             // XPath 1.0 transform
    XPathFilter2,      // XPath Filter 2.0 transform
    Enveloped,         // enveloped-signature transform
    Canonicalize,      // a canonicalization transform (its URI picks the variant)
    C14nInclusive,     // Canonical XML 1.0
    C14nExclusive,     // Exclusive XML Canonicalization 1.0
    C14n11,            // Canonical XML 1.1
    Base64,            // base64 decoding transform
    Refused,           // known, and never run (XSLT)
    Unrecognized,      // the reference fails
};

struct AlgorithmRow {
    AlgReading reading;
    unsigned places;  // AlgPlace bits
    AlgMatch match;
    const char* text;  // substring (first reading) or the whole standard URI (second)
    AlgHandler handler;
    int hashId;        // hashid:: value, 0 none
    int keyType;       // keytype:: value
    bool pss;          // RSASSA-PSS with MGF1 over the same hash
    bool isDefault;    // reached only because no earlier row matched
    const char* name;  // short name for logs and reports
};

// The row the first reading gives to uri at one place. Never null: every chain ends in a
// default or catch-all row.
const AlgorithmRow& firstReading(AlgPlace place, const StringBuffer& uri);
const AlgorithmRow& firstReading(AlgPlace place, const char* uri);

// The second-reading row whose standard URI is exactly uri and that serves this place; null
// when the URI is not a standard one this build knows.
const AlgorithmRow* standardAlgorithm(AlgPlace place, const char* uri);

// For policies: true when the first reading of uri only reaches a default row (a digest
// method read as SHA-1, a canonicalization read as inclusive).
bool isDefaultMapping(AlgPlace place, const char* uri);

// The hash a digest method URI finally names: the standard row's when there is one, else the
// first reading's. 0 when neither names a hash this build can compute.
int digestMethodHash(const char* uri);

// The whole table, for listings and tests.
const AlgorithmRow* algorithmRowsBegin();
const AlgorithmRow* algorithmRowsEnd();

}  // namespace xmldsig
