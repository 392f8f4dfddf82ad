#include "host/cert/CertPathVerifier.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <filesystem>

#include "host/cert/TavolinX509.h"
#include "host/cert/detail/CertFiles.h"
#include "host/cert/detail/CertHandles.h"
#include "host/cert/detail/CertText.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"
#include "host/log/LogNull.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"
#include "host/xml/FileSys.h"

namespace xmldsig {

namespace {

using detail::X509StackPtr;

void freeCrlStack(STACK_OF(X509_CRL) * sk) {
    sk_X509_CRL_pop_free(sk, X509_CRL_free);
}
using CrlStackPtr = std::unique_ptr<STACK_OF(X509_CRL), detail::FreeWith<&freeCrlStack>>;
using CrlPtr = std::unique_ptr<X509_CRL, detail::FreeWith<&X509_CRL_free>>;

std::string asn1TimeText(const ASN1_TIME* t) {
    std::tm tm{};
    if (t == nullptr || ASN1_TIME_to_tm(t, &tm) != 1) return "(unreadable time)";
    return formatUtcTime(timegm(&tm));
}

std::string subjectOf(X509* cert) {
    TavolinX509 c;
    LogNull quiet;
    XString dn;
    if (cert == nullptr || !c.loadFromOpenSsl(cert, quiet) || !c.getDN(true, true, dn, quiet, 0))
        return "(unreadable certificate)";
    return dn.getUtf8();
}

CertPathLink linkOf(X509* cert) {
    CertPathLink link{subjectOf(cert), ""};
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned int n = 0;
    if (X509_digest(cert, EVP_sha256(), md, &n) == 1) {
        static const char kHex[] = "0123456789ABCDEF";
        for (unsigned i = 0; i < n; ++i) {
            link.sha256 += kHex[md[i] >> 4];
            link.sha256 += kHex[md[i] & 15];
        }
    }
    return link;
}

// Appends the certificates of a file, or of every file of a directory, to certs.
bool readCertsFromPath(const std::string& path, std::vector<DataBuffer>& certs, LogBase& log) {
    std::error_code ec;
    if (!std::filesystem::is_directory(path, ec))
        return detail::readCertificateFile(path, certs, log);
    std::vector<std::string> files;
    if (!detail::listRegularFiles(path, files, log)) return false;
    const std::size_t before = certs.size();
    LogNull quiet;  // a directory may hold other files too
    for (const auto& f : files) detail::readCertificateFile(f, certs, quiet);
    if (certs.size() == before) {
        log.LogError("The directory holds no certificate.");
        log.LogDataStr("dir", path.c_str());
        return false;
    }
    return true;
}

X509* parseCert(const DataBuffer& der) {
    const unsigned char* p = der.getData2();
    return d2i_X509(nullptr, &p, static_cast<long>(der.getSize()));
}

// The CRLs of a file: PEM blocks, or one DER CRL.
bool readCrls(const DataBuffer& data, std::vector<CrlPtr>& out, LogBase& log) {
    const std::size_t before = out.size();
    detail::BioPtr bio(BIO_new_mem_buf(data.getData2(), static_cast<int>(data.getSize())));
    if (bio == nullptr) return false;
    for (X509_CRL* crl; out.size() <= CertPathVerifier::kMaxCrls &&
                        (crl = PEM_read_bio_X509_CRL(bio.get(), nullptr, nullptr, nullptr));)
        out.emplace_back(crl);
    ERR_clear_error();  // the end of the PEM text reads as an error
    if (out.size() == before) {
        const unsigned char* p = data.getData2();
        if (X509_CRL* crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(data.getSize())))
            out.emplace_back(crl);
    }
    if (out.size() == before) {
        detail::logOpenSslErrors(log);
        log.LogError("No CRL could be read.");
        return false;
    }
    if (out.size() > CertPathVerifier::kMaxCrls) {
        log.LogError("Too many CRLs.");
        return false;
    }
    return true;
}

}  // namespace

struct CertPathVerifier::Impl {
    detail::X509StorePtr anchors{X509_STORE_new()};
    X509StackPtr intermediates{sk_X509_new_null()};
    CrlStackPtr givenCrls{sk_X509_CRL_new_null()};
    std::vector<CrlPtr> embeddedCrls;
    std::size_t numAnchors = 0;
    std::size_t numCerts = 0;
    bool systemTrust = false;
    bool hasTime = false;
    std::time_t at = 0;

    bool addCerts(const std::vector<DataBuffer>& ders, bool anchor, LogBase& log);
    // Why X509_verify_cert refused, naming the certificate it refused.
    std::string failureReason(X509_STORE_CTX& ctx) const;
    // The revocation date of cert in any CRL that issuer signed; empty when none revokes it.
    std::string revocationDate(X509* cert, X509* issuer, bool onlyBefore, std::time_t t) const;
    std::string keyUsageProblem(X509* signer) const;
};

bool CertPathVerifier::Impl::addCerts(const std::vector<DataBuffer>& ders, bool anchor,
                                      LogBase& log) {
    if (numCerts + ders.size() > kMaxCerts) {
        log.LogError("Too many certificates for one path validation.");
        log.LogDataLong("limit", static_cast<long>(kMaxCerts));
        return false;
    }
    for (const auto& der : ders) {
        detail::X509Ptr cert(parseCert(der));
        if (cert == nullptr) {
            detail::logOpenSslErrors(log);
            log.LogError("A certificate could not be parsed.");
            return false;
        }
        if (anchor) {
            X509_STORE_add_cert(anchors.get(), cert.get());  // a duplicate is harmless
            ERR_clear_error();
            ++numAnchors;
        } else if (sk_X509_push(intermediates.get(), cert.get()) > 0) {
            cert.release();
        } else {
            return false;
        }
        ++numCerts;
    }
    return true;
}

CertPathVerifier::CertPathVerifier() : m(new Impl) {}
CertPathVerifier::~CertPathVerifier() = default;

bool CertPathVerifier::addAnchors(const std::string& fileOrDir, LogBase& log) {
    LogContextExitor ctx(log, "addTrustAnchors");
    std::vector<DataBuffer> ders;
    return readCertsFromPath(fileOrDir, ders, log) && m->addCerts(ders, true, log);
}

bool CertPathVerifier::addIntermediates(const std::string& fileOrDir, LogBase& log) {
    LogContextExitor ctx(log, "addIntermediates");
    std::vector<DataBuffer> ders;
    return readCertsFromPath(fileOrDir, ders, log) && m->addCerts(ders, false, log);
}

bool CertPathVerifier::addAnchorDer(const DataBuffer& der, LogBase& log) {
    return m->addCerts({der}, true, log);
}

bool CertPathVerifier::addIntermediateDer(const DataBuffer& der, LogBase& log) {
    return m->addCerts({der}, false, log);
}

void CertPathVerifier::useSystemTrust() {
    if (!m->systemTrust) X509_STORE_set_default_paths(m->anchors.get());
    ERR_clear_error();
    m->systemTrust = true;
}

bool CertPathVerifier::addCrlFile(const std::string& path, LogBase& log) {
    LogContextExitor ctx(log, "addCrlFile");
    DataBuffer data;
    std::vector<CrlPtr> crls;
    if (!FileSys::readFileToDb(path.c_str(), data, log, detail::kMaxCertFileBytes) ||
        !readCrls(data, crls, log)) {
        log.LogDataStr("path", path.c_str());
        return false;
    }
    if (sk_X509_CRL_num(m->givenCrls.get()) + crls.size() > kMaxCrls) {
        log.LogError("Too many CRLs.");
        return false;
    }
    for (auto& crl : crls)
        if (sk_X509_CRL_push(m->givenCrls.get(), crl.get()) > 0) crl.release();
    return true;
}

bool CertPathVerifier::addEmbeddedCrlDer(const DataBuffer& der, LogBase& log) {
    if (m->embeddedCrls.size() >= kMaxCrls) return false;
    return readCrls(der, m->embeddedCrls, log);
}

bool CertPathVerifier::hasAnchors() const {
    return m->numAnchors > 0 || m->systemTrust;
}

void CertPathVerifier::setTime(std::time_t at) {
    m->hasTime = true;
    m->at = at;
}

std::string CertPathVerifier::Impl::revocationDate(X509* cert, X509* issuer, bool onlyBefore,
                                                   std::time_t t) const {
    EVP_PKEY* key = issuer != nullptr ? X509_get0_pubkey(issuer) : nullptr;
    if (key == nullptr) return "";
    auto check = [&](X509_CRL* crl) -> std::string {
        X509_REVOKED* entry = nullptr;
        if (X509_NAME_cmp(X509_CRL_get_issuer(crl), X509_get_subject_name(issuer)) != 0 ||
            X509_CRL_verify(crl, key) != 1 || X509_CRL_get0_by_cert(crl, &entry, cert) != 1 ||
            entry == nullptr)
            return "";
        const ASN1_TIME* when = X509_REVOKED_get0_revocationDate(entry);
        if (onlyBefore && X509_cmp_time(when, &t) > 0) return "";  // revoked after t
        return asn1TimeText(when);
    };
    for (int i = 0; i < sk_X509_CRL_num(givenCrls.get()); ++i)
        if (auto d = check(sk_X509_CRL_value(givenCrls.get(), i)); !d.empty()) return d;
    for (const auto& crl : embeddedCrls)
        if (auto d = check(crl.get()); !d.empty()) return d;
    ERR_clear_error();
    return "";
}

std::string CertPathVerifier::Impl::keyUsageProblem(X509* signer) const {
    if ((X509_get_extension_flags(signer) & EXFLAG_KUSAGE) == 0) return "";
    if ((X509_get_key_usage(signer) & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION)) != 0) return "";
    return "certificate \"" + subjectOf(signer) +
           "\" has a key usage that allows neither digitalSignature nor nonRepudiation";
}

std::string CertPathVerifier::Impl::failureReason(X509_STORE_CTX& ctx) const {
    const int err = X509_STORE_CTX_get_error(&ctx);
    X509* cert = X509_STORE_CTX_get_current_cert(&ctx);
    STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(&ctx);
    const int depth = X509_STORE_CTX_get_error_depth(&ctx);
    if (cert == nullptr && chain != nullptr && depth >= 0 && depth < sk_X509_num(chain))
        cert = sk_X509_value(chain, depth);
    const std::string who = "certificate \"" + subjectOf(cert) + "\"";
    switch (err) {
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return who + " expired at " + asn1TimeText(X509_get0_notAfter(cert));
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return who + " is not yet valid (valid from " +
                   asn1TimeText(X509_get0_notBefore(cert)) + ")";
        case X509_V_ERR_CERT_REVOKED: {
            X509* issuer = chain != nullptr && depth + 1 < sk_X509_num(chain)
                               ? sk_X509_value(chain, depth + 1)
                               : nullptr;
            const std::string date = revocationDate(cert, issuer, false, 0);
            return who + " was revoked" + (date.empty() ? "" : " on " + date);
        }
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_CERT_UNTRUSTED:
        case X509_V_ERR_CERT_REJECTED:
            return who + " is not trusted: no path to a trust anchor (" +
                   X509_verify_cert_error_string(err) + ")";
        case X509_V_ERR_UNABLE_TO_GET_CRL:
            return who + " cannot be checked for revocation: no CRL from its issuer was given";
        default:
            return who + ": " + X509_verify_cert_error_string(err);
    }
}

CertPathResult CertPathVerifier::verify(const TavolinX509& cert, LogBase& log) const {
    LogContextExitor logCtx(log, "verifyCertPath");
    detail::clearOpenSslErrors();
    CertPathResult r;
    r.validationTime = m->hasTime ? m->at : std::time(nullptr);
    X509* leaf = cert.openSslCert();
    detail::X509StoreCtxPtr ctx(X509_STORE_CTX_new());
    if (leaf == nullptr || m->anchors == nullptr || ctx == nullptr ||
        X509_STORE_CTX_init(ctx.get(), m->anchors.get(), leaf, m->intermediates.get()) != 1) {
        detail::logOpenSslErrors(log);
        r.reason = "the certificate path could not be checked (no certificate or out of memory)";
        log.LogError(r.reason.c_str());
        return r;
    }
    X509_VERIFY_PARAM* param = X509_STORE_CTX_get0_param(ctx.get());
    X509_VERIFY_PARAM_set_depth(param, kMaxDepth);
    unsigned long flags = X509_V_FLAG_PARTIAL_CHAIN;
    if (sk_X509_CRL_num(m->givenCrls.get()) > 0) {
        flags |= X509_V_FLAG_CRL_CHECK;
        X509_STORE_CTX_set0_crls(ctx.get(), m->givenCrls.get());
    }
    X509_VERIFY_PARAM_set_flags(param, flags);
    X509_STORE_CTX_set_time(ctx.get(), 0, r.validationTime);
    const bool ok = X509_verify_cert(ctx.get()) == 1;
    if (STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(ctx.get()))
        for (int i = 0; i < sk_X509_num(chain); ++i)
            r.path.push_back(linkOf(sk_X509_value(chain, i)));
    if (!ok) {
        r.reason = m->failureReason(*ctx);
    } else if (r.reason = m->keyUsageProblem(leaf); r.reason.empty()) {
        // Every link against every CRL at hand, given or embedded (OpenSSL checked the
        // signer's own against the given ones).
        STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(ctx.get());
        for (int i = 0; i + 1 < sk_X509_num(chain) && r.reason.empty(); ++i) {
            X509* c = sk_X509_value(chain, i);
            const std::string date =
                m->revocationDate(c, sk_X509_value(chain, i + 1), true, r.validationTime);
            if (!date.empty())
                r.reason = "certificate \"" + subjectOf(c) + "\" was revoked on " + date;
        }
    }
    r.trusted = r.reason.empty();
    ERR_clear_error();
    if (r.trusted)
        log.LogInfo("The certificate chains to a trust anchor.");
    else
        log.LogError(r.reason.c_str());
    log.LogDataStr("validationTime", formatUtcTime(r.validationTime).c_str());
    return r;
}

std::string formatUtcTime(std::time_t t) {
    std::tm tm{};
    if (gmtime_r(&t, &tm) == nullptr) return "";
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buf;
}

bool parseUtcTime(const std::string& text, std::time_t& out) {
    int y, mo, d, h, mi, s, used = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &y, &mo, &d, &h, &mi, &s, &used) !=
            6 ||
        used != 19)
        return false;
    std::size_t i = 19;
    if (i < text.size() && text[i] == '.') {
        ++i;
        const std::size_t digits = i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i;
        if (i == digits) return false;
    }
    const std::string zone = text.substr(i);
    if (zone != "Z" && zone != "z" && zone != "+00:00") return false;
    if (mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || s > 60) return false;
    std::tm tm{};
    tm.tm_year = y - 1900;
    tm.tm_mon = mo - 1;
    tm.tm_mday = d;
    tm.tm_hour = h;
    tm.tm_min = mi;
    tm.tm_sec = s;
    out = timegm(&tm);
    return true;
}

}  // namespace xmldsig
