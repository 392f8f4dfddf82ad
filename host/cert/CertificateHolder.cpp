#include "host/cert/CertificateHolder.h"

#include <memory>
#include <new>

#include "host/log/LogBase.h"
#include "host/text/ContentCoding.h"
#include "host/text/DataBuffer.h"

namespace xmldsig {

CertificateHolder* CertificateHolder::createFromBase64(const char* base64, unsigned length,
                                                       SystemCerts*, LogBase& log) {
    DataBuffer der;
    if (base64 == nullptr || !ContentCoding::decodeBase64ToDb(base64, length, der)) {
        log.LogError("Certificate base64 does not decode.");
        return nullptr;
    }
    std::unique_ptr<CertificateHolder> holder(new (std::nothrow) CertificateHolder());
    if (!holder || !holder->m_cert.loadDer(der, log)) return nullptr;
    holder->m_loaded = true;
    return holder.release();
}

CertificateHolder::~CertificateHolder() = default;

StoredCertificate* CertificateHolder::getCertPtr(LogBase& log) {
    if (!m_loaded) {
        log.LogError("The holder has no certificate.");
        return nullptr;
    }
    return &m_cert;
}

}  // namespace xmldsig
