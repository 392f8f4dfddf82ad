#include "dsig/SignerTrust.h"

#include <nlohmann/json.hpp>

#include "dsig/ClsXmlDSig.h"
#include "host/cert/TavolinX509.h"
#include "host/log/_tvLogger.h"
#include "host/xml/ClsStringArray.h"

namespace xmldsig {

namespace {

using Json = nlohmann::json;

bool readPaths(const Json& options, const char* member, std::vector<std::string>& out,
               LogBase& log) {
    const auto it = options.find(member);
    if (it == options.end()) return true;
    bool ok = it->is_array();
    for (std::size_t i = 0; ok && i < it->size(); ++i) ok = (*it)[i].is_string();
    if (!ok) {
        log.LogError("A VerifyOptions member that must be an array of file names is not one.");
        log.LogDataStr("member", member);
        return false;
    }
    for (const auto& p : *it) out.push_back(p.get<std::string>());
    return true;
}

// Which settings a verifier gets: the signer's (anchors, intermediates, CRLs) or the timestamp
// authority's (its own anchors when given, no CRLs).
bool fillVerifier(const TrustSettings& s, CertPathVerifier& v, bool tsa, std::string& member,
                  std::string& error) {
    _tvLogger log;
    auto fail = [&](const char* which, const std::string& path) {
        member = which;
        error = path + ": cannot be used\n" + log.renderText();
        return false;
    };
    const bool ownTsa = tsa && !s.tsaAnchors.empty();
    for (const auto& p : ownTsa ? s.tsaAnchors : s.anchors)
        if (!v.addAnchors(p, log)) return fail(ownTsa ? "TsaTrustAnchors" : "TrustAnchors", p);
    if (s.systemTrust && !ownTsa) v.useSystemTrust();
    for (const auto& p : s.untrusted)
        if (!v.addIntermediates(p, log)) return fail("Untrusted", p);
    for (const auto& p : s.crls)
        if (!tsa && !v.addCrlFile(p, log)) return fail("Crls", p);
    return true;
}

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

// The validation time the settings name: ValidationTime, else a verified timestamp's, else now.
bool validationTime(const TrustSettings& s, const XadesBinding& xades,
                    const std::optional<std::time_t>& stampTime, TrustReport& r, std::time_t& at) {
    at = std::time(nullptr);
    r.timeSource = "now";
    if (s.at == "signing-time") {
        r.timeSource = "signing time";
        if (parseUtcTime(xades.signingTime, at)) return true;
        r.reason = "--at signing-time: the signature has no XAdES SigningTime in UTC";
        return false;
    }
    if (!s.at.empty()) {
        r.timeSource = "--at";
        if (s.at != "now") parseUtcTime(s.at, at);
    } else if (stampTime) {
        r.timeSource = "signature timestamp";
        at = *stampTime;
    }
    return true;
}

TrustReport checkPath(ClsXmlDSig& dsig, const TrustSettings& s, const DataBuffer& certDer,
                      const XadesBinding& xades, const std::optional<std::time_t>& stampTime) {
    TrustReport r;
    if (!s.active()) return r;
    r.status = "untrusted";
    _tvLogger log;
    CertPathVerifier v;
    std::string member, error;
    fillVerifier(s, v, false, member, error);  // usable() has read the same files
    addDocumentMaterial(dsig, xades, v, log);
    std::time_t at = 0;
    if (!validationTime(s, xades, stampTime, r, at)) return r;
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

// The timestamp's token, and with anchors for authorities its signer's path at its own time.
void checkTimestamp(ClsXmlDSig& dsig, const TrustSettings& s, SignerReport& c) {
    dsig.CheckSignatureTimeStamp(c.timestamp);
    if (!c.timestamp.present) return;
    if (!c.timestamp.verified) {
        c.failure = "signature timestamp: " + c.timestamp.problem;
        return;
    }
    if (s.tsaAnchors.empty() && !s.active()) return;
    CertPathVerifier v;
    std::string member, error;
    if (!fillVerifier(s, v, true, member, error)) return;
    v.setTime(c.timestamp.time);
    _tvLogger log;
    for (const DataBuffer& der : c.timestamp.tokenCerts) v.addIntermediateDer(der, log);
    TavolinX509 tsa;
    c.tsaTrust.status = "untrusted";
    c.tsaTrust.timeSource = "signature timestamp";
    c.tsaTrust.path.validationTime = c.timestamp.time;
    if (!tsa.loadX509Der(c.timestamp.tsaCertDer, log)) {
        c.tsaTrust.reason = "the timestamp token carries no authority certificate";
    } else {
        c.tsaTrust.path = v.verify(tsa, log);
        c.tsaTrust.reason = c.tsaTrust.path.reason;
        if (c.tsaTrust.path.trusted) c.tsaTrust.status = "trusted";
    }
    if (c.tsaTrust.status != "trusted")
        c.warnings.add("timestamp-authority-untrusted", "the timestamp authority is not trusted (" +
                                                            c.tsaTrust.reason +
                                                            "): its time is not used");
}

std::string certSubject(const DataBuffer& der) {
    TavolinX509 cert;
    _tvLogger log;
    XString dn;
    if (!cert.loadX509Der(der, log) || !cert.getDN(true, true, dn, log, 0)) return "";
    return dn.getUtf8();
}

Json trustJson(const TrustReport& r) {
    Json j = {{"status", r.status}};
    if (r.status == "not checked") return j;
    Json path = Json::array();
    for (const auto& link : r.path.path)
        path.push_back({{"subject", link.subject}, {"sha256", link.sha256}});
    j["path"] = path;
    j["validationTime"] = formatUtcTime(r.path.validationTime);
    j["validationTimeSource"] = r.timeSource;
    if (!r.reason.empty()) j["reason"] = r.reason;
    return j;
}

}  // namespace

bool TrustSettings::readOptions(const std::string& optionsJson, LogBase& log) {
    if (optionsJson.empty()) return true;
    const Json options = Json::parse(optionsJson, nullptr, false);
    if (!options.is_object()) {
        log.LogError("VerifyOptions is not a JSON object.");
        return false;
    }
    bool ok = readPaths(options, "TrustAnchors", anchors, log) &&
              readPaths(options, "Untrusted", untrusted, log) &&
              readPaths(options, "Crls", crls, log) &&
              readPaths(options, "TsaTrustAnchors", tsaAnchors, log);
    const auto sys = options.find("SystemTrust");
    if (sys != options.end()) {
        ok = ok && sys->is_boolean();
        systemTrust = sys->is_boolean() && sys->get<bool>();
    }
    const auto time = options.find("ValidationTime");
    if (time != options.end()) {
        ok = ok && time->is_string();
        if (time->is_string()) at = time->get<std::string>();
    }
    const auto policy = options.find("Policy");
    if (policy != options.end()) {
        const bool known = policy->is_string() && (*policy == "default" || *policy == "strict");
        ok = ok && known;
        strictPolicy = known && *policy == "strict";
    }
    if (!ok) log.LogError("A member of VerifyOptions has the wrong type or value.");
    return ok;
}

bool TrustSettings::usable(std::string& member, std::string& error) const {
    std::time_t t = 0;
    if (!at.empty() && at != "now" && at != "signing-time" && !parseUtcTime(at, t)) {
        member = "ValidationTime";
        error = at + ": expected an RFC 3339 UTC time (2024-06-01T00:00:00Z), now or signing-time";
        return false;
    }
    if (!active() && (!untrusted.empty() || !crls.empty() || !at.empty())) {
        member = "TrustAnchors";
        error = "intermediates, CRLs and a validation time need trust anchors";
        return false;
    }
    CertPathVerifier v;
    return fillVerifier(*this, v, false, member, error) &&
           (tsaAnchors.empty() || fillVerifier(*this, v, true, member, error));
}

SignerReport checkSigner(ClsXmlDSig& dsig, const TrustSettings& settings,
                         const std::string& signerCertBase64) {
    SignerReport c;
    checkTimestamp(dsig, settings, c);
    std::optional<std::time_t> stampTime;
    if (c.timestamp.verified && c.timestamp.hasTime && c.tsaTrust.status != "untrusted")
        stampTime = c.timestamp.time;
    DataBuffer certDer;
    if (!signerCertBase64.empty()) certDer.appendEncoded(signerCertBase64.c_str(), "base64");
    dsig.GetXadesBinding(certDer, c.xades);
    c.trust = checkPath(dsig, settings, certDer, c.xades, stampTime);
    // A binding problem fails the signature when the signer is checked against a trust store;
    // without one the signer's identity is not checked anyway, and the problem is a warning
    // (refused under the strict policy). ZATCA's CertDigest form and DigiDoc's KeyInfo are not
    // matched yet, so enforcing it always would fail their valid documents.
    if (!c.xades.problem.empty()) {
        if (c.trust.status == "not checked")
            c.warnings.add("xades-binding", c.xades.problem);
        else if (c.failure.empty())
            c.failure = c.xades.problem;
    }
    if (!c.xades.warning.empty()) c.warnings.add("xades-uncovered", c.xades.warning);
    if (c.failure.empty() && c.trust.status == "untrusted") c.failure = c.trust.reason;
    return c;
}

Json signerReportJson(const SignerReport& c, bool withVerdict) {
    Json j = {{"trust", trustJson(c.trust)}};
    const XadesBinding& x = c.xades;
    if (x.present) {
        j["xades"] = {{"covered", x.covered},
                      {"signingCertificate", x.signingCertForm.empty() ? "absent"
                                             : x.signingCertMatches    ? "matches"
                                                                       : "does not match"},
                      {"signingCertificateForm", x.signingCertForm},
                      {"signingTime", x.signingTime}};
    }
    const SignatureTimestampInfo& t = c.timestamp;
    if (t.present) {
        Json ts = {{"verified", t.verified}};
        if (!t.verified) ts["reason"] = t.problem;
        if (t.hasTime) ts["time"] = formatUtcTime(t.time);
        if (!t.hashAlgorithm.empty()) ts["hashAlgorithm"] = t.hashAlgorithm;
        if (t.tsaCertDer.getSize() != 0) ts["authority"] = certSubject(t.tsaCertDer);
        ts["authorityTrust"] = trustJson(c.tsaTrust);
        j["timestamp"] = ts;
    }
    if (withVerdict) {
        j["warnings"] = Json::array();
        for (const auto& w : c.warnings.all())
            j["warnings"].push_back({{"code", w.code}, {"text", w.text}});
        j["failure"] = c.failure;
    }
    return j;
}

std::string trustSummary(const TrustReport& r) {
    if (r.status == "not checked") return "signer not checked against a trust store";
    if (r.status != "trusted") return "signer not trusted: " + r.reason;
    return "signer trusted via \"" + (r.path.path.empty() ? "" : r.path.path.back().subject) +
           "\" at " + formatUtcTime(r.path.validationTime) + " (" + r.timeSource + ")";
}

}  // namespace xmldsig
