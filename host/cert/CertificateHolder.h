// Owns one StoredCertificate made from base64 text, for certificates that arrive inside a
// document rather than from a store. The caller deletes it.
#pragma once

#include "host/cert/StoredCertificate.h"

namespace xmldsig {

class LogBase;
class SystemCerts;

class CertificateHolder {
  public:
    // Decodes the base64 text (white space skipped) and parses one certificate; null, logged,
    // when either fails. The store may be null; it is not changed (a certificate from a
    // document is never trusted just for having been seen).
    static CertificateHolder* createFromBase64(const char* base64, unsigned length,
                                               SystemCerts* store, LogBase& log);

    CertificateHolder(const CertificateHolder&) = delete;
    CertificateHolder& operator=(const CertificateHolder&) = delete;
    virtual ~CertificateHolder();

    // The held certificate; null when the holder is empty.
    StoredCertificate* getCertPtr(LogBase& log);

  private:
    CertificateHolder() = default;

    StoredCertificate m_cert;
    bool m_loaded = false;
};

}  // namespace xmldsig
