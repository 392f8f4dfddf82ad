#include "host/cert/CertMgr.h"

#include <new>

#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"

namespace xmldsig {

CertMgr* CertMgr::createNew() {
    return new (std::nothrow) CertMgr();
}

CertMgr::~CertMgr() = default;

bool CertMgr::addCertDer(const DataBuffer& der, LogBase& log) {
    return addCertsDer(std::vector<DataBuffer>{der}, log);
}

bool CertMgr::addCertsDer(const std::vector<DataBuffer>& ders, LogBase& log) {
    try {
        // Parse everything first, so that one bad certificate leaves the manager unchanged.
        std::vector<std::unique_ptr<StoredCertificate>> parsed;
        parsed.reserve(ders.size());
        for (const DataBuffer& der : ders) {
            parsed.push_back(std::make_unique<StoredCertificate>());
            if (!parsed.back()->loadDer(der, log)) return false;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_certs.size() + parsed.size() > kMaxCerts) {
            log.LogError("The vault is full.");
            log.LogDataLong("maxCerts", static_cast<long>(kMaxCerts));
            return false;
        }
        m_certs.reserve(m_certs.size() + parsed.size());
        for (auto& cert : parsed) {
            const std::vector<unsigned char>& d = cert->sha256().bytes();
            if (!m_digests.insert(std::string(d.begin(), d.end())).second) {
                log.LogInfo("Certificate is already in the vault.");
                continue;
            }
            m_certs.push_back(std::move(cert));
        }
        return true;
    } catch (...) {
        log.LogError("Out of memory.");
        return false;
    }
}

int CertMgr::getNumCerts() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(m_certs.size());
}

StoredCertificate* CertMgr::getCert(int index) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (index < 0 || static_cast<std::size_t>(index) >= m_certs.size()) return nullptr;
    return m_certs[static_cast<std::size_t>(index)].get();
}

StoredCertificate* CertMgr::findFirst(
    const std::function<bool(const StoredCertificate&)>& match) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& cert : m_certs)
        if (match(*cert)) return cert.get();
    return nullptr;
}

}  // namespace xmldsig
