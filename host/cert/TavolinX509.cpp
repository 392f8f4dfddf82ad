#include "host/cert/TavolinX509.h"

#include <openssl/asn1.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/cert/detail/CertHandles.h"
#include "host/cert/detail/CertText.h"
#include "host/cert/detail/X509NameText.h"
#include "host/crypto/_tvHash.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/text/ContentCoding.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {
namespace {

constexpr int kSha1 = 1;

bool asn1TimeToTimeT(const ASN1_TIME* t, std::time_t& out) {
    std::tm tm{};
    if (t == nullptr || ASN1_TIME_to_tm(t, &tm) != 1) return false;
    out = timegm(&tm);
    return true;
}

bool asn1TimeToText(const ASN1_TIME* t, XString& out) {
    out.clear();
    std::tm tm{};
    if (t == nullptr || ASN1_TIME_to_tm(t, &tm) != 1) return false;
    char buf[32];
    const std::size_t n = std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return n != 0 && out.setFromUtf8(buf);
}

}  // namespace

void TavolinX509::X509Free::operator()(X509* p) const noexcept {
    X509_free(p);
}

TavolinX509::~TavolinX509() = default;

void TavolinX509::clear() {
    m_x509.reset();
    m_der.clear();
}

bool TavolinX509::loadX509Der(const DataBuffer& der, LogBase& log) {
    return loadX509Der(der.getData2(), der.getSize(), log);
}

bool TavolinX509::loadX509Der(const unsigned char* der, std::size_t length, LogBase& log) {
    clear();
    detail::clearOpenSslErrors();
    if (der == nullptr || length == 0) {
        log.LogError("No certificate bytes.");
        return false;
    }
    if (length > kMaxCertBytes) {
        log.LogError("Certificate is too large.");
        log.LogDataLong("numBytes", static_cast<long>(length));
        return false;
    }
    const unsigned char* p = der;
    detail::X509Ptr cert(d2i_X509(nullptr, &p, static_cast<long>(length)));
    if (!cert) {
        log.LogError("DER is not an X.509 certificate.");
        detail::logOpenSslErrors(log);
        return false;
    }
    const std::size_t used = static_cast<std::size_t>(p - der);
    if (used != length) {
        log.LogError("Bytes follow the DER certificate.");
        log.LogDataLong("certBytes", static_cast<long>(used));
        log.LogDataLong("numBytes", static_cast<long>(length));
        return false;
    }
    if (!m_der.append(der, length)) {
        log.LogError("Out of memory.");
        return false;
    }
    m_x509 = std::unique_ptr<X509, X509Free>(cert.release());
    return true;
}

bool TavolinX509::loadX509Base64(const char* text, std::size_t length, LogBase& log) {
    clear();
    DataBuffer der;
    if (text == nullptr || !ContentCoding::decodeBase64ToDb(text, length, der)) {
        log.LogError("Certificate base64 does not decode.");
        return false;
    }
    return loadX509Der(der, log);
}

bool TavolinX509::loadX509Pem(const char* text, std::size_t length, LogBase& log) {
    clear();
    std::vector<DataBuffer> certs;
    if (!detail::readPemCertificates(text, length, 1, certs, log)) return false;
    if (certs.empty()) {
        log.LogError("No certificate in the PEM text.");
        return false;
    }
    return loadX509Der(certs.front(), log);
}

bool TavolinX509::loadX509Any(const DataBuffer& data, LogBase& log) {
    clear();
    const char* text = reinterpret_cast<const char*>(data.getData2());
    switch (detail::detectCertEncoding(data)) {
        case detail::CertEncoding::Pem:
            return loadX509Pem(text, data.getSize(), log);
        case detail::CertEncoding::Der:
            return loadX509Der(data, log);
        case detail::CertEncoding::Base64:
            return loadX509Base64(text, data.getSize(), log);
    }
    return false;
}

bool TavolinX509::loadFromOpenSsl(X509* cert, LogBase& log) {
    clear();
    if (cert == nullptr) return false;
    unsigned char* der = nullptr;
    const int n = i2d_X509(cert, &der);
    if (n <= 0) {
        log.LogError("Cannot encode the certificate.");
        detail::logOpenSslErrors(log);
        return false;
    }
    const detail::OpenSslBytesPtr owned(der);
    // Parsed again from its DER, so the object does not depend on where the caller's came from.
    return loadX509Der(owned.get(), static_cast<std::size_t>(n), log);
}

void TavolinX509::getCertDer(DataBuffer& out) const {
    out.clear();
    out.append(m_der);
}

bool TavolinX509::getThumbprint(int hashId, DataBuffer& out) const {
    out.clear();
    if (!m_x509) return false;
    return _tvHash::doHash(m_der.getData2(), m_der.getSize(), hashId, out);
}

bool TavolinX509::get_Sha1Thumbprint(XString& out) const {
    out.clear();
    DataBuffer digest;
    StringBuffer hex;
    if (!getThumbprint(kSha1, digest) || !digest.encodeDB("hex", hex)) return false;
    return out.setFromSbUtf8(hex);
}

bool TavolinX509::getDN(bool subject, bool mostSpecificFirst, XString& out, LogBase& log,
                        int format) const {
    out.clear();
    if (!m_x509) {
        log.LogError("No certificate is loaded.");
        return false;
    }
    if (format != 0) {
        log.LogError("Unknown name format.");
        log.LogDataLong("format", format);
        return false;
    }
    const X509_NAME* name =
        subject ? X509_get_subject_name(m_x509.get()) : X509_get_issuer_name(m_x509.get());
    std::string text;
    if (!detail::x509NameToText(name, mostSpecificFirst, text)) return false;
    return out.setFromUtf8(text.c_str());
}

void TavolinX509::get_IssuerCN(XString& out, LogBase&) const {
    out.clear();
    if (m_x509) out.setFromUtf8(detail::lastCommonName(X509_get_issuer_name(m_x509.get())).c_str());
}

void TavolinX509::get_SubjectCN(XString& out, LogBase&) const {
    out.clear();
    if (m_x509)
        out.setFromUtf8(detail::lastCommonName(X509_get_subject_name(m_x509.get())).c_str());
}

void TavolinX509::get_SerialNumber(XString& out, LogBase& log) const {
    out.clear();
    if (!m_x509) return;
    const ASN1_INTEGER* serial = X509_get0_serialNumber(m_x509.get());
    std::string hex;
    if (!detail::serialToHex(serial, hex)) {
        log.LogError("Cannot read the serial number.");
        return;
    }
    out.setFromUtf8(hex.c_str());
}

bool TavolinX509::getSubjectKeyId(DataBuffer& out) const {
    out.clear();
    if (!m_x509) return false;
    const ASN1_OCTET_STRING* ski = X509_get0_subject_key_id(m_x509.get());
    if (ski == nullptr) return false;
    return out.append(ASN1_STRING_get0_data(ski),
                      static_cast<std::size_t>(ASN1_STRING_length(ski)));
}

bool TavolinX509::getSubjectKeyIdOrComputed(DataBuffer& out) const {
    if (getSubjectKeyId(out)) return true;
    if (!m_x509) return false;
    const ASN1_BIT_STRING* bits = X509_get0_pubkey_bitstr(m_x509.get());
    if (bits == nullptr) return false;
    return _tvHash::doHash(ASN1_STRING_get0_data(bits),
                           static_cast<std::size_t>(ASN1_STRING_length(bits)), kSha1, out);
}

bool TavolinX509::get_PublicKey(DataBuffer& out, LogBase& log) const {
    out.clear();
    if (!m_x509) {
        log.LogError("No certificate is loaded.");
        return false;
    }
    detail::clearOpenSslErrors();
    unsigned char* der = nullptr;
    const int n = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(m_x509.get()), &der);
    if (n <= 0) {
        log.LogError("Cannot encode the certificate's public key.");
        detail::logOpenSslErrors(log);
        return false;
    }
    const detail::OpenSslBytesPtr owned(der);
    return out.append(owned.get(), static_cast<std::size_t>(n));
}

bool TavolinX509::get_ValidFromStr(XString& out) const {
    return m_x509 && asn1TimeToText(X509_get0_notBefore(m_x509.get()), out);
}

bool TavolinX509::get_ValidToStr(XString& out) const {
    return m_x509 && asn1TimeToText(X509_get0_notAfter(m_x509.get()), out);
}

bool TavolinX509::getValidity(std::time_t& notBefore, std::time_t& notAfter) const {
    return m_x509 && asn1TimeToTimeT(X509_get0_notBefore(m_x509.get()), notBefore) &&
           asn1TimeToTimeT(X509_get0_notAfter(m_x509.get()), notAfter);
}

int TavolinX509::checkValidityAt(std::time_t now) const {
    std::time_t from = 0, to = 0;
    if (!getValidity(from, to)) return 0;
    if (now < from) return -1;
    return now > to ? 1 : 0;
}

bool TavolinX509::isSelfIssued() const {
    return m_x509 && X509_NAME_cmp(X509_get_subject_name(m_x509.get()),
                                   X509_get_issuer_name(m_x509.get())) == 0;
}

bool TavolinX509::isIssuedBy(const TavolinX509& issuer) const {
    if (!m_x509 || !issuer.m_x509) return false;
    if (X509_NAME_cmp(X509_get_issuer_name(m_x509.get()),
                      X509_get_subject_name(issuer.m_x509.get())) != 0)
        return false;
    EVP_PKEY* key = X509_get0_pubkey(issuer.m_x509.get());
    const bool ok = key != nullptr && X509_verify(m_x509.get(), key) == 1;
    detail::clearOpenSslErrors();  // a failed check is an answer, not an error to report later
    return ok;
}

}  // namespace xmldsig
