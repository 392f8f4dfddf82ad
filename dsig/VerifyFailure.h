// Why the last VerifySignature returned false, as a value a program can act on (the diagnostic
// log says the same in words), and names for the RefFailReason values.
#pragma once

namespace xmldsig {

// RefFailReason values.
namespace RefFail {
constexpr int kMatched = 0;           // matched, or a mismatch allowed by AllowXmlDigestError
constexpr int kDigestMismatch = 1;    // the computed digest differs from DigestValue
constexpr int kExternalMissing = 2;   // no external data supplied or found, or not hashable
constexpr int kNoReference = 3;       // no Reference at the index
constexpr int kCanonicalization = 5;  // canonicalizing the referenced data failed
constexpr int kOther = 99;            // any other failure (a transform, a file, a parse)

// A RefFailReason in words.
inline const char* text(int reason) {
    switch (reason) {
        case kMatched:
            return "digest matches";
        case kDigestMismatch:
            return "digest mismatch";
        case kExternalMissing:
            return "external data missing or unreadable";
        case kNoReference:
            return "no such reference";
        case kCanonicalization:
            return "canonicalization failed";
        default:
            return "transform or parse failure";
    }
}
}  // namespace RefFail

enum class VerifyFailure {
    None = 0,                    // the last VerifySignature returned true (or none ran)
    NoSignature,                 // the document has no signature
    NoReference,                 // the selected signature has no Reference
    ReferenceDigest,             // at least one reference digest failed
    ManifestReference,           // a reference of a signed Manifest does not match
    SignatureNotLocated,         // the selected signature could not be found in the text
    Timestamp,                   // the encapsulated timestamp did not verify
    SignedInfo,                  // SignedInfo could not be read or canonicalized
    SignatureValue,              // SignatureValue missing or not base64
    UnsupportedSignatureMethod,  // the SignatureMethod names no hash or key type handled
    NoKey,                       // no candidate key (or no HMAC key)
    KeyNotAllowed,               // a KeyName names none of the pinned keys
    SignatureMismatch,           // no candidate key verifies SignatureValue
};

}  // namespace xmldsig
