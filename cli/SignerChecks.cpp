#include "cli/SignerChecks.h"

namespace xmldsig::cli {

void applySignerChecks(ClsXmlDSig& dsig, const TrustSettings& trust, SignatureVerdict& v,
                       SignerReport& out) {
    out = checkSigner(dsig, trust, v.signerCert);
    for (const auto& w : out.warnings.all()) v.warnings.add(w.code, w.text);
    if (out.failure.empty()) return;
    v.valid = false;
    v.why = out.failure;
}

void addSignerChecksJson(const SignerReport& c, nlohmann::json& j) {
    j.update(signerReportJson(c, false));
}

}  // namespace xmldsig::cli
