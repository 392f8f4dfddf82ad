// What a signed document says about itself: the algorithms and key forms of a signature, read
// from its tree, and the features that this verifier leaves out by design, each with the log
// lines by which the verifier must explain a failure they cause.
#pragma once

#include <string>
#include <vector>

namespace xmldsig::test {

struct ReferenceFeatures {
    std::string uri;
    std::string digestMethod;
    std::vector<std::string> transforms;
    bool external() const { return !uri.empty() && uri[0] != '#'; }
};

struct SignatureFeatures {
    int depth = 0;  // of the Signature element (the root element is 1)
    std::string signatureMethod;
    std::string hmacOutputLength;        // text of HMACOutputLength, "" when absent
    bool signatureValueWrapped = false;  // white space inside the SignatureValue text
    std::vector<ReferenceFeatures> references;
    bool hasKeyInfo = false;
    std::vector<std::string> keyInfoChildren;  // local names
    std::vector<std::string> keyValueChildren;
    std::vector<std::string> x509DataChildren;
    bool keyInfoEncrypted = false;  // XML Encryption content in KeyInfo
};

// The features of every signature of a document given as UTF-8 text, in document order (the
// order of NumSignatures and Selector); empty when the text does not parse.
std::vector<SignatureFeatures> signatureFeatures(const std::string& utf8);

// The signatures a document's verdict is about: those nearest the root. Inner signatures belong
// to documents embedded in a container (an AEC carries the DTEs it assigns, each signed by its
// issuer) and are checked as documents of their own.
std::vector<int> outermostSignatures(const std::vector<SignatureFeatures>& all);

// A feature the verifier does not implement, and the log lines (any one will do) by which the
// verifier must say why the signature does not verify.
struct Exclusion {
    std::string reason;  // empty: nothing excludes the signature
    std::vector<std::string> logSaysOneOf;
};

// Features that keep a signature from verifying whatever the key material. signerKeyGiven: the
// caller supplies keys of its own; hmacKeyGiven: an HMAC secret is known.
Exclusion exclusionFor(const SignatureFeatures& f, bool signerKeyGiven, bool hmacKeyGiven);

// Features that may keep a signature from verifying: a false verdict is accepted when the log
// names the cause (general XPath expressions, transforms of external data, a signer's key that
// KeyInfo only points at).
Exclusion conditionalExclusionFor(const SignatureFeatures& f);

// True when the log contains one of the texts.
bool logSaysOneOf(const std::string& log, const std::vector<std::string>& texts);

// The lines by which VerifySignature explains a false verdict.
const std::vector<std::string>& verdictFailureLines();

}  // namespace xmldsig::test
