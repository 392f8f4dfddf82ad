// The certificates of one vault. Shared by counted reference: a vault and every store it was
// added to hold one each, so a store keeps searching a vault its caller has released.
// Certificates are only ever added, never removed, so a pointer a search returns stays valid
// for as long as the manager lives. All operations may be called from several threads.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/cert/StoredCertificate.h"
#include "host/log/RefCountedObject.h"

namespace xmldsig {

class DataBuffer;
class LogBase;

class CertMgr : public RefCountedObject {
  public:
    // Most certificates one manager holds; adding past it fails.
    static constexpr std::size_t kMaxCerts = 100000;

    // Null when memory runs out.
    static CertMgr* createNew();

    // Parses DER certificates and adds them, all or none: one bad certificate (logged) leaves
    // the manager unchanged. A certificate already present (same DER) is not added twice; that
    // still counts as success.
    bool addCertDer(const DataBuffer& der, LogBase& log);
    bool addCertsDer(const std::vector<DataBuffer>& ders, LogBase& log);

    int getNumCerts() const;
    StoredCertificate* getCert(int index) const;  // borrowed; null outside the range

    // The first certificate, in the order added, for which match is true; null when none is.
    StoredCertificate* findFirst(const std::function<bool(const StoredCertificate&)>& match) const;

  private:
    CertMgr() = default;
    ~CertMgr() override;

    mutable std::mutex m_mutex;
    std::vector<std::unique_ptr<StoredCertificate>> m_certs;
    std::unordered_set<std::string> m_digests;  // SHA-256 of each certificate, to skip repeats
};

}  // namespace xmldsig
