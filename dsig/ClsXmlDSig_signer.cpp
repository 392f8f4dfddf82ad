// The checks on the signer of a signature that verified, for library callers: the same checks
// the tool runs for its trust options, configured through VerifyOptions.
#include "dsig/ClsXmlDSig.h"
#include "dsig/SignerTrust.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"

namespace xmldsig {

bool ClsXmlDSig::VerifySigner() {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "VerifySigner");
    LogBase& log = m_log;
    m_signerReportJson.clear();
    m_trustStatus = "not checked";
    if (m_verifyingSource.empty()) {
        log.LogError("The selected signature has not been verified: call VerifySignature first.");
        logSuccessFailure(false);
        return false;
    }
    TrustSettings settings;
    StringBuffer options;
    get_CmsOptions(options);
    std::string member, error;
    if (!settings.readOptions(options.str(), log)) {
        logSuccessFailure(false);
        return false;
    }
    if (!settings.usable(member, error)) {
        log.LogError("A trust member of VerifyOptions cannot be used.");
        log.LogDataStr(member.c_str(), error.c_str());
        logSuccessFailure(false);
        return false;
    }
    SignerReport report = checkSigner(*this, settings, m_verifyingCert);
    const bool digestErrorsAllowed = log.uncommonOptions().containsSubstring("AllowXmlDigestError");
    collectFindings(*this, digestErrorsAllowed, m_lastReferencesChecked, report.warnings);
    if (report.failure.empty() && settings.strictPolicy && !report.warnings.empty())
        report.failure = "policy strict: " + report.warnings.summary();
    m_trustStatus = report.trust.status;
    m_signerReportJson = signerReportJson(report, true)
                             .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    log.LogDataStr("trust", m_trustStatus.c_str());
    for (const auto& w : report.warnings.all()) log.LogDataStr("warning", w.text.c_str());
    if (!report.failure.empty()) log.LogError(report.failure.c_str());
    logSuccessFailure(report.failure.empty());
    return report.failure.empty();
}

void ClsXmlDSig::GetSignerReport(XString& json) {
    CritSecExitor lock(this);
    json.setFromUtf8(m_signerReportJson.c_str());
}

void ClsXmlDSig::get_TrustStatus(XString& out) {
    CritSecExitor lock(this);
    out.setFromUtf8(m_trustStatus.c_str());
}

}  // namespace xmldsig
