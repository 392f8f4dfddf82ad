#include "cli/SignerChecks.h"

#include "host/cert/TavolinX509.h"
#include "host/log/_tvLogger.h"

namespace xmldsig::cli {

namespace {

// The timestamp's token, and with anchors for authorities its signer's path at its own time.
void checkTimestamp(ClsXmlDSig& dsig, const TrustOptions& trust, SignerChecks& c) {
    dsig.CheckSignatureTimeStamp(c.timestamp);
    if (!c.timestamp.present) return;
    if (!c.timestamp.verified) {
        c.failure = "signature timestamp: " + c.timestamp.problem;
        return;
    }
    const auto v = trust.tsaVerifier(c.timestamp.time);
    if (v == nullptr) return;
    _tvLogger log;
    for (const DataBuffer& der : c.timestamp.tokenCerts) v->addIntermediateDer(der, log);
    TavolinX509 tsa;
    c.tsaTrust.status = "untrusted";
    c.tsaTrust.timeSource = "signature timestamp";
    c.tsaTrust.path.validationTime = c.timestamp.time;
    if (!tsa.loadX509Der(c.timestamp.tsaCertDer, log)) {
        c.tsaTrust.reason = "the timestamp token carries no authority certificate";
    } else {
        c.tsaTrust.path = v->verify(tsa, log);
        c.tsaTrust.reason = c.tsaTrust.path.reason;
        if (c.tsaTrust.path.trusted) c.tsaTrust.status = "trusted";
    }
    if (c.tsaTrust.status != "trusted")
        c.warnings.push_back(
            {"timestamp-authority-untrusted", "the timestamp authority is not trusted (" +
                                                  c.tsaTrust.reason + "): its time is not used"});
}

std::string certSubject(const DataBuffer& der) {
    TavolinX509 cert;
    _tvLogger log;
    XString dn;
    if (!cert.loadX509Der(der, log) || !cert.getDN(true, true, dn, log, 0)) return "";
    return dn.getUtf8();
}

}  // namespace

SignerChecks checkSigner(ClsXmlDSig& dsig, const TrustOptions& trust,
                         const std::string& signerCertBase64) {
    SignerChecks c;
    checkTimestamp(dsig, trust, c);
    std::optional<std::time_t> stampTime;
    if (c.timestamp.verified && c.timestamp.hasTime && c.tsaTrust.status != "untrusted")
        stampTime = c.timestamp.time;
    c.trust = trust.check(dsig, signerCertBase64, stampTime);
    const XadesBinding& x = c.trust.xades;
    // A binding problem fails the signature when the signer is checked against a trust store;
    // without one the signer's identity is not checked anyway, and the problem is a warning
    // (refused under --policy strict). ZATCA's CertDigest form and DigiDoc's KeyInfo are not
    // matched yet, so enforcing it always would fail their valid documents.
    if (!x.problem.empty()) {
        if (c.trust.status == "not checked")
            c.warnings.push_back({"xades-binding", x.problem});
        else if (c.failure.empty())
            c.failure = x.problem;
    }
    if (!x.warning.empty()) c.warnings.push_back({"xades-uncovered", x.warning});
    if (c.failure.empty() && c.trust.status == "untrusted") c.failure = c.trust.reason;
    return c;
}

void applySignerChecks(ClsXmlDSig& dsig, const TrustOptions& trust, SignatureVerdict& v,
                       SignerChecks& out) {
    out = checkSigner(dsig, trust, v.signerCert);
    for (const auto& w : out.warnings) v.warnings.add(w.first, w.second);
    if (out.failure.empty()) return;
    v.valid = false;
    v.why = out.failure;
}

void addSignerChecksJson(const SignerChecks& c, nlohmann::json& j) {
    j["trust"] = trustJson(c.trust);
    const XadesBinding& x = c.trust.xades;
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
        nlohmann::json ts = {{"verified", t.verified}};
        if (!t.verified) ts["reason"] = t.problem;
        if (t.hasTime) ts["time"] = formatUtcTime(t.time);
        if (!t.hashAlgorithm.empty()) ts["hashAlgorithm"] = t.hashAlgorithm;
        if (t.tsaCertDer.getSize() != 0) ts["authority"] = certSubject(t.tsaCertDer);
        ts["authorityTrust"] = trustJson(c.tsaTrust);
        j["timestamp"] = ts;
    }
}

}  // namespace xmldsig::cli
