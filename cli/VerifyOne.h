// Verifying one signature of a loaded document as the tool reports it: the verdict, why not,
// and what the report needs to say about the signature.
#pragma once

#include <string>
#include <vector>

#include "cli/KeyOptions.h"
#include "dsig/ClsXmlDSig.h"

namespace xmldsig::cli {

struct ReferenceResult {
    int index;
    std::string uri, digestMethod;
    bool ok;
    int reason;  // RefFailReason
};

struct SignatureVerdict {
    bool valid = false;
    std::string why;        // empty when valid
    std::string keySource;  // "KeyInfo", "--key", "--hmac-key" or "none"
    bool signedInfoSigned = true;
    std::string signatureMethod, canonicalizationMethod;
    std::vector<ReferenceResult> references;
    std::string log;          // the diagnostic log of the verification
    std::string explanation;  // with explain: where the hashed bytes of failed references are
};

// Where --explain writes, and which file and signature the names are made from.
struct ExplainTarget {
    std::string dir;  // empty: do not explain
    std::string file;
    int signature = 0;
};

// Verifies the selected signature. checkReferences false skips the reference digests.
SignatureVerdict verifySelected(ClsXmlDSig& dsig, const KeyOptions& keys, bool checkReferences,
                                bool ignoreExternal, const ExplainTarget& explain);

// The last error line of the component's log, or "" when there is none.
std::string lastLoggedError(const ClsBase& component);

}  // namespace xmldsig::cli
