// One parsed X.509 certificate. The DER it was loaded from is kept byte for byte; OpenSSL does
// the parsing. Names are returned as RFC 4514 text (most specific component first by default),
// serial numbers as upper-case hex without a leading zero byte.
#pragma once

#include <openssl/types.h>

#include <ctime>
#include <memory>

#include "host/text/DataBuffer.h"

namespace xmldsig {

class LogBase;
class StringBuffer;
class XString;

class TavolinX509 {
  public:
    // Largest certificate accepted; larger input is refused before it is parsed.
    static constexpr std::size_t kMaxCertBytes = 1u << 20;

    TavolinX509() = default;
    TavolinX509(const TavolinX509&) = delete;
    TavolinX509& operator=(const TavolinX509&) = delete;
    ~TavolinX509();

    // --- loading (each replaces what was loaded; on failure the object is left empty) ---

    // Exactly one DER certificate, no trailing bytes.
    bool loadX509Der(const DataBuffer& der, LogBase& log);
    bool loadX509Der(const unsigned char* der, std::size_t length, LogBase& log);
    // Base64 of the DER (white space anywhere is skipped).
    bool loadX509Base64(const char* text, std::size_t length, LogBase& log);
    // The first certificate of PEM text ("CERTIFICATE", "X509 CERTIFICATE" or "TRUSTED
    // CERTIFICATE" block).
    bool loadX509Pem(const char* text, std::size_t length, LogBase& log);
    // Whichever of the three the bytes hold: PEM when they contain "-----BEGIN", DER when they
    // start with a SEQUENCE tag, else base64 text.
    bool loadX509Any(const DataBuffer& data, LogBase& log);
    // Takes a certificate OpenSSL already parsed (a reference is added; the caller keeps its
    // own).
    bool loadFromOpenSsl(X509* cert, LogBase& log);

    bool isLoaded() const { return m_x509 != nullptr; }

    // --- the certificate as a whole ---

    // Replaces out with the certificate's DER, exactly as loaded (empty when nothing is).
    void getCertDer(DataBuffer& out) const;
    // Replaces out with the digest of the DER under a hash id of _tvHash (1 SHA-1, 7 SHA-256...).
    bool getThumbprint(int hashId, DataBuffer& out) const;
    // Upper-case hex of the SHA-1 thumbprint.
    bool get_Sha1Thumbprint(XString& out) const;

    // --- names ---

    // Replaces out with the subject (subject true) or issuer name as RFC 4514 text, components
    // separated by ", " and multi-valued RDNs by "+". mostSpecificFirst gives the RFC 4514 order
    // (CN first for the usual names); false gives the order of the certificate's encoding.
    // format must be 0 (the only text form there is). Values that are not strings are written
    // as "#" and the hex of their DER. toTvCanonHashKey and getDnPart read this text.
    bool getDN(bool subject, bool mostSpecificFirst, XString& out, LogBase& log, int format) const;
    // The value of the most specific CN component (the last one encoded), trimmed, as UTF-8;
    // empty when the name has none.
    void get_IssuerCN(XString& out, LogBase& log) const;
    void get_SubjectCN(XString& out, LogBase& log) const;

    // --- numbers and identifiers ---

    // The serial number as upper-case hex, two digits per byte, no leading zero byte (255 is
    // "FF", 256 "0100", 0 "00"). A negative serial, which a few old certificates carry, is "-"
    // and the hex of its magnitude.
    void get_SerialNumber(XString& out, LogBase& log) const;
    // Replaces out with the subject key identifier extension's bytes; false when the
    // certificate has none.
    bool getSubjectKeyId(DataBuffer& out) const;
    // The same, or when the extension is absent the SHA-1 of the subjectPublicKey bits (the
    // first method of RFC 5280, 4.2.1.2), which is how identifiers are made for such keys.
    bool getSubjectKeyIdOrComputed(DataBuffer& out) const;

    // --- the key ---

    // Replaces out with the SubjectPublicKeyInfo DER (RSA, DSA, EC and any other algorithm,
    // exactly as the certificate carries it).
    bool get_PublicKey(DataBuffer& out, LogBase& log) const;

    // --- validity ---

    // notBefore / notAfter as "YYYY-MM-DDTHH:MM:SSZ".
    bool get_ValidFromStr(XString& out) const;
    bool get_ValidToStr(XString& out) const;
    bool getValidity(std::time_t& notBefore, std::time_t& notAfter) const;
    // -1 when `now` is before notBefore, 1 when after notAfter, 0 within (and 0 when the dates
    // cannot be read, which loading already rules out).
    int checkValidityAt(std::time_t now) const;

    // --- relations ---

    bool isSelfIssued() const;  // subject equals issuer
    // True when issuer's subject is this certificate's issuer name and issuer's key verifies
    // this certificate's signature.
    bool isIssuedBy(const TavolinX509& issuer) const;

    // The parsed certificate for OpenSSL calls (borrowed; null when nothing is loaded).
    X509* openSslCert() const { return m_x509.get(); }

  private:
    struct X509Free {
        void operator()(X509* p) const noexcept;
    };

    void clear();

    std::unique_ptr<X509, X509Free> m_x509;
    DataBuffer m_der;
};

}  // namespace xmldsig
