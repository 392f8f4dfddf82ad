// Whom the user trusts (--trust, --system-trust, --untrusted, --crl, --at, --tsa-trust) and what
// that says about the signer of a verified signature: a certificate path to an anchor at the
// validation time, and the XAdES signer binding.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "dsig/ClsXmlDSig.h"
#include "host/cert/CertPathVerifier.h"

namespace xmldsig::cli {

struct TrustReport {
    std::string status = "not checked";  // "trusted", "untrusted" or "not checked"
    CertPathResult path;
    std::string timeSource;  // "--at", "signing time", "signature timestamp", "now"
    std::string reason;      // why untrusted
    XadesBinding xades;
};

class TrustOptions {
  public:
    // Checks every file the options name and the --at value; false (after printing which
    // option and why) when one cannot be used.
    bool load(const ParsedArgs& args);
    // Whether the options ask for a trusted path.
    bool active() const { return m_active; }

    // The trust report for the selected, verified signature of dsig. signerCertBase64: the
    // certificate of the key that verified (empty when none). timestampTime: the time of a
    // verified signature timestamp, when there is one.
    TrustReport check(ClsXmlDSig& dsig, const std::string& signerCertBase64,
                      const std::optional<std::time_t>& timestampTime) const;
    // A verifier for timestamp authorities: --tsa-trust anchors, else --trust ones (null when
    // neither is given).
    std::unique_ptr<CertPathVerifier> tsaVerifier(std::time_t at) const;

  private:
    bool fillVerifier(CertPathVerifier& v, bool tsa, std::string& error) const;
    bool m_active = false;
    std::vector<std::string> m_trust, m_untrusted, m_crls, m_tsaTrust;
    bool m_systemTrust = false;
    std::string m_at;  // "", "now", "signing-time" or an RFC 3339 time
};

// The trust object of verify --json.
nlohmann::json trustJson(const TrustReport& r);
// The verdict-line words on the signer's trust: "signer trusted via ...", "signer not checked
// against a trust store".
std::string trustSummary(const TrustReport& r);

extern const OptionSpec kOptTrust;
extern const OptionSpec kOptSystemTrust;
extern const OptionSpec kOptUntrusted;
extern const OptionSpec kOptCrl;
extern const OptionSpec kOptAt;
extern const OptionSpec kOptTsaTrust;

}  // namespace xmldsig::cli
