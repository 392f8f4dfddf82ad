// Verifying one signature of a loaded document as the tool reports it: the verdict, why not,
// and what the report needs to say about the signature.
#pragma once

#include <string>
#include <vector>

#include "cli/KeyOptions.h"
#include "cli/Policy.h"
#include "dsig/ClsXmlDSig.h"
#include "dsig/ReferenceCoverage.h"

namespace xmldsig::cli {

struct ReferenceResult {
    int index;
    std::string uri, digestMethod;
    bool ok;
    int reason;          // RefFailReason
    std::string detail;  // the reason in words when the number says too little
    ReferenceCoverage coverage;
    std::string reading;  // which reading verified it ("first", "second: why"); "" when none
};

struct SignatureVerdict {
    bool valid = false;
    VerifyFailure failure = VerifyFailure::None;
    std::string why;         // empty when valid
    std::string keySource;   // where the verifying key came from ("KeyInfo/...", "--key FILE",
                             // "--hmac-key"); "none" when nothing verified
    std::string signerCert;  // base64 DER of the verifying key's certificate; empty when none
    bool pinned = false;     // only --key keys were candidates
    bool signedInfoSigned = true;
    std::string signatureMethod, canonicalizationMethod;
    std::vector<ReferenceResult> references;
    std::vector<ClsXmlDSig::ManifestReferenceResult> manifestReferences;
    Findings warnings;        // what qualifies a valid verdict (refuses it under --policy strict)
    std::string log;          // the diagnostic log of the verification
    std::string explanation;  // with explain: where the hashed bytes of failed references are
};

// Where --explain and --signed-out write, and which file and signature the names are made from.
struct ExplainTarget {
    std::string dir;        // --explain; empty: do not explain
    std::string signedOut;  // --signed-out; empty: do not write
    std::string file;
    int signature = 0;
};

// Verifies the selected signature. checkReferences false skips the reference digests.
// "first": the established recognition verified the reference; "second: why": a standard
// algorithm or the general engine did; "" when it did not verify.
std::string readingText(const ClsXmlDSig& dsig, int index);

SignatureVerdict verifySelected(ClsXmlDSig& dsig, const KeyOptions& keys, bool checkReferences,
                                bool ignoreExternal, const ExplainTarget& explain);

}  // namespace xmldsig::cli
