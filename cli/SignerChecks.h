// The checks on the signer that follow a signature that verified: its XAdES signature
// timestamp, its XAdES signer binding and, with trust options, its certificate path. Each can
// turn "valid" into "invalid" with its reason, or add a warning.
#pragma once

#include <nlohmann/json.hpp>

#include "cli/VerifyOne.h"
#include "dsig/ClsXmlDSig.h"
#include "dsig/SignerTrust.h"

namespace xmldsig::cli {

// Runs the library's signer checks for a signature that verified: their warnings become
// findings of v, a failure makes v invalid with that reason.
void applySignerChecks(ClsXmlDSig& dsig, const TrustSettings& trust, SignatureVerdict& v,
                       SignerReport& out);

// Adds "trust", "xades" and "timestamp" to a verify --json object.
void addSignerChecksJson(const SignerReport& c, nlohmann::json& j);

}  // namespace xmldsig::cli
