#include "cli/TrustOptions.h"

#include <cstdio>

#include "host/cert/TavolinX509.h"
#include "host/log/_tvLogger.h"
#include "host/xml/ClsStringArray.h"

namespace xmldsig::cli {

const OptionSpec kOptTrust{"--trust", true, true, "FILE|DIR",
                           "trust anchors (PEM or DER, single certificates or bundles; need not "
                           "be self-signed): \"valid\" then requires a certificate path to one "
                           "(repeatable)"};
const OptionSpec kOptSystemTrust{"--system-trust", false, false, nullptr,
                                 "the system's trust store as anchors"};
const OptionSpec kOptUntrusted{"--untrusted", true, true, "FILE|DIR",
                               "more intermediate certificates for the path (repeatable)"};
const OptionSpec kOptCrl{"--crl", true, true, "FILE",
                         "CRLs (PEM or DER): the signer's issuer must have one, and no "
                         "certificate of the path may be revoked (repeatable)"};
const OptionSpec kOptAt{"--at", true, false, "TIME",
                        "validate the path at TIME: RFC 3339 UTC (2024-06-01T00:00:00Z), now, "
                        "or signing-time (the XAdES SigningTime); default: the time of a "
                        "verified signature timestamp, else now"};
const OptionSpec kOptTsaTrust{"--tsa-trust", true, true, "FILE|DIR",
                              "trust anchors for timestamp authorities (default: those of "
                              "--trust)"};

bool TrustOptions::load(const ParsedArgs& args) {
    m_trust = args.all("--trust");
    m_untrusted = args.all("--untrusted");
    m_crls = args.all("--crl");
    m_tsaTrust = args.all("--tsa-trust");
    m_systemTrust = args.has("--system-trust");
    m_at = args.value("--at");
    m_active = !m_trust.empty() || m_systemTrust;
    std::time_t t = 0;
    if (!m_at.empty() && m_at != "now" && m_at != "signing-time" && !parseUtcTime(m_at, t)) {
        std::fprintf(stderr,
                     "xmldsig: --at %s: expected an RFC 3339 UTC time (2024-06-01T00:00:00Z), "
                     "now or signing-time\n",
                     m_at.c_str());
        return false;
    }
    if (!m_active && (!m_untrusted.empty() || !m_crls.empty() || !m_at.empty())) {
        std::fprintf(stderr,
                     "xmldsig: --untrusted, --crl and --at need --trust or --system-trust\n");
        return false;
    }
    CertPathVerifier v;
    std::string error;
    if (!fillVerifier(v, false, error) || (!m_tsaTrust.empty() && !fillVerifier(v, true, error))) {
        std::fprintf(stderr, "xmldsig: %s", error.c_str());
        return false;
    }
    return true;
}

bool TrustOptions::fillVerifier(CertPathVerifier& v, bool tsa, std::string& error) const {
    _tvLogger log;
    auto fail = [&](const char* option, const std::string& path) {
        error = std::string(option) + " " + path + ": " + "cannot be used\n" + log.renderText();
        return false;
    };
    for (const auto& p : tsa && !m_tsaTrust.empty() ? m_tsaTrust : m_trust)
        if (!v.addAnchors(p, log)) return fail(tsa ? "--tsa-trust" : "--trust", p);
    if (m_systemTrust && !(tsa && !m_tsaTrust.empty())) v.useSystemTrust();
    for (const auto& p : m_untrusted)
        if (!v.addIntermediates(p, log)) return fail("--untrusted", p);
    for (const auto& p : m_crls)
        if (!tsa && !v.addCrlFile(p, log)) return fail("--crl", p);
    return true;
}

std::unique_ptr<CertPathVerifier> TrustOptions::tsaVerifier(std::time_t at) const {
    if (m_tsaTrust.empty() && !m_active) return nullptr;
    auto v = std::make_unique<CertPathVerifier>();
    std::string error;
    if (!fillVerifier(*v, true, error)) return nullptr;  // load() read the same files
    v->setTime(at);
    return v;
}

namespace {

// The certificates a signed document offers as links: KeyInfo's and the XAdES
// CertificateValues; the RevocationValues CRLs.
void addDocumentMaterial(ClsXmlDSig& dsig, const XadesBinding& xades, CertPathVerifier& v,
                         LogBase& log) {
    ClsStringArray certs;
    dsig.GetCerts(certs);
    std::vector<std::string> all(xades.certificateValues);
    for (int i = 0; i < certs.count(); ++i)
        if (certs.getString(i) != nullptr) all.emplace_back(certs.getString(i));
    for (const auto& b64 : all) {
        DataBuffer der;
        if (der.appendEncoded(b64.c_str(), "base64")) v.addIntermediateDer(der, log);
    }
    for (const auto& b64 : xades.crlValues) {
        DataBuffer der;
        if (der.appendEncoded(b64.c_str(), "base64")) v.addEmbeddedCrlDer(der, log);
    }
}

}  // namespace

TrustReport TrustOptions::check(ClsXmlDSig& dsig, const std::string& signerCertBase64,
                                const std::optional<std::time_t>& timestampTime) const {
    TrustReport r;
    _tvLogger log;
    DataBuffer certDer;
    if (!signerCertBase64.empty()) certDer.appendEncoded(signerCertBase64.c_str(), "base64");
    dsig.GetXadesBinding(certDer, r.xades);
    if (!m_active) return r;
    r.status = "untrusted";
    CertPathVerifier v;
    std::string error;
    fillVerifier(v, false, error);
    addDocumentMaterial(dsig, r.xades, v, log);
    std::time_t at = std::time(nullptr);
    r.timeSource = "now";
    if (m_at == "signing-time") {
        r.timeSource = "signing time";
        if (!parseUtcTime(r.xades.signingTime, at)) {
            r.reason = "--at signing-time: the signature has no XAdES SigningTime in UTC";
            return r;
        }
    } else if (!m_at.empty()) {
        r.timeSource = "--at";
        if (m_at != "now") parseUtcTime(m_at, at);
    } else if (timestampTime) {
        r.timeSource = "signature timestamp";
        at = *timestampTime;
    }
    v.setTime(at);
    r.path.validationTime = at;
    TavolinX509 cert;
    if (certDer.getSize() == 0 || !cert.loadX509Der(certDer, log)) {
        r.reason = "the key that verified has no certificate to check against the trust anchors";
        return r;
    }
    r.path = v.verify(cert, log);
    r.reason = r.path.reason;
    if (r.path.trusted) r.status = "trusted";
    return r;
}

nlohmann::json trustJson(const TrustReport& r) {
    nlohmann::json j = {{"status", r.status}};
    if (r.status == "not checked") return j;
    nlohmann::json path = nlohmann::json::array();
    for (const auto& link : r.path.path)
        path.push_back({{"subject", link.subject}, {"sha256", link.sha256}});
    j["path"] = path;
    j["validationTime"] = formatUtcTime(r.path.validationTime);
    j["validationTimeSource"] = r.timeSource;
    if (!r.reason.empty()) j["reason"] = r.reason;
    return j;
}

std::string trustSummary(const TrustReport& r) {
    if (r.status == "not checked") return "signer not checked against a trust store";
    if (r.status != "trusted") return "signer not trusted: " + r.reason;
    return "signer trusted via \"" + (r.path.path.empty() ? "" : r.path.path.back().subject) +
           "\" at " + formatUtcTime(r.path.validationTime) + " (" + r.timeSource + ")";
}

}  // namespace xmldsig::cli
