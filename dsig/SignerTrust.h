// Whom the caller trusts, and what that says about the signer of a signature that verified:
// the XAdES signature timestamp, the XAdES signer binding and, with trust anchors, a
// certificate path from the signer's certificate to an anchor at the validation time. The tool's
// --trust options and the library's VerifyOptions members fill the same settings.
#pragma once

#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "dsig/SignatureTimestampInfo.h"
#include "dsig/VerdictFindings.h"
#include "dsig/XadesBinding.h"
#include "host/cert/CertPathVerifier.h"

namespace xmldsig {

class ClsXmlDSig;
class LogBase;

struct TrustSettings {
    std::vector<std::string> anchors;     // files or directories of trust anchors
    std::vector<std::string> untrusted;   // more intermediate certificates
    std::vector<std::string> crls;        // CRL files
    std::vector<std::string> tsaAnchors;  // anchors for timestamp authorities (default: anchors)
    bool systemTrust = false;
    std::string at;             // "", "now", "signing-time" or an RFC 3339 UTC time
    bool strictPolicy = false;  // findings refuse the signer instead of qualifying it

    // Whether a trusted path is asked for.
    bool active() const { return !anchors.empty() || systemTrust; }
    // Reads the members "TrustAnchors", "Untrusted", "Crls", "TsaTrustAnchors" (arrays of paths),
    // "SystemTrust" (boolean), "ValidationTime" and "Policy" ("default" or "strict") of a
    // VerifyOptions JSON object. False, with
    // the reason in log, when a member has the wrong type.
    bool readOptions(const std::string& optionsJson, LogBase& log);
    // Whether every file can be used and the time can be read; false with the problem in error
    // and the member it concerns in member ("TrustAnchors", "ValidationTime"...).
    bool usable(std::string& member, std::string& error) const;
};

struct TrustReport {
    std::string status = "not checked";  // "trusted", "untrusted" or "not checked"
    CertPathResult path;
    std::string timeSource;  // "--at", "signing time", "signature timestamp", "now"
    std::string reason;      // why untrusted
};

// Everything the checks on a verified signature found.
struct SignerReport {
    TrustReport trust;
    XadesBinding xades;
    SignatureTimestampInfo timestamp;
    TrustReport tsaTrust;  // the timestamp authority's path ("not checked" without anchors)
    Findings warnings;     // what qualifies a valid verdict
    std::string failure;   // why the signature is not valid after all; empty when it is
};

// Runs the checks on the selected signature of dsig, which verified. signerCertBase64: the
// certificate of the key that verified (empty when none).
SignerReport checkSigner(ClsXmlDSig& dsig, const TrustSettings& settings,
                         const std::string& signerCertBase64);

// The report as a JSON object: "trust", and "xades" and "timestamp" when present; with
// withVerdict also "warnings" (a list of {"code", "text"}) and "failure".
nlohmann::json signerReportJson(const SignerReport& r, bool withVerdict);
// "signer trusted via ...", "signer not trusted: ...", "signer not checked against a trust
// store".
std::string trustSummary(const TrustReport& r);

}  // namespace xmldsig
