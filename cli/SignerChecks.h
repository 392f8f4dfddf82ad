// The checks on the signer that follow a signature that verified: its XAdES signature
// timestamp, its XAdES signer binding and, with trust options, its certificate path. Each can
// turn "valid" into "invalid" with its reason, or add a warning.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "cli/TrustOptions.h"
#include "cli/VerifyOne.h"
#include "dsig/ClsXmlDSig.h"

namespace xmldsig::cli {

struct SignerChecks {
    TrustReport trust;
    SignatureTimestampInfo timestamp;
    TrustReport tsaTrust;  // the timestamp authority's path ("not checked" without anchors)
    // What qualifies a valid verdict: {code, text}, refused under --policy strict.
    std::vector<std::pair<std::string, std::string>> warnings;
    std::string failure;  // why the signature is not valid after all; empty when it is
};

// signerCertBase64: the certificate of the key that verified (empty when none).
SignerChecks checkSigner(ClsXmlDSig& dsig, const TrustOptions& trust,
                         const std::string& signerCertBase64);

// Runs checkSigner for a signature that verified: its warnings become findings of v, a failure
// makes v invalid with that reason.
void applySignerChecks(ClsXmlDSig& dsig, const TrustOptions& trust, SignatureVerdict& v,
                       SignerChecks& out);

// Adds "trust", "xades" and "timestamp" to a verify --json object.
void addSignerChecksJson(const SignerChecks& c, nlohmann::json& j);

}  // namespace xmldsig::cli
