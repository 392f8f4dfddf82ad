#include "host/cert/detail/SystemTrustStore.h"

#include <openssl/x509.h>

#include <cstdlib>
#include <mutex>
#include <vector>

#include "host/cert/CertMgr.h"
#include "host/cert/detail/CertFiles.h"
#include "host/log/LogBase.h"
#include "host/log/LogNull.h"
#include "host/xml/FileSys.h"

namespace xmldsig::detail {
namespace {

std::string envOr(const char* name, const char* fallback) {
    const char* v = std::getenv(name);
    return v != nullptr ? v : (fallback != nullptr ? fallback : "");
}

// Trust stores hold many files that are not certificates (indexes, CRLs, links); failures to
// read one are not worth a log line each.
void addFile(CertMgr& mgr, const std::string& path) {
    LogNull quiet;
    std::vector<DataBuffer> ders;
    if (readCertificateFile(path, ders, quiet)) mgr.addCertsDer(ders, quiet);
}

}  // namespace

CertMgr* loadTrustStore(const std::string& file, const std::string& dirs, LogBase& log) {
    CertMgr* mgr = CertMgr::createNew();
    if (mgr == nullptr) return nullptr;
    LogNull quiet;
    bool checkFailed = false;
    if (!file.empty() && FileSys::fileExistsX(file.c_str(), checkFailed, quiet)) {
        addFile(*mgr, file);
    }
    std::size_t start = 0;
    while (start <= dirs.size()) {
        std::size_t end = dirs.find(':', start);
        if (end == std::string::npos) end = dirs.size();
        const std::string dir = dirs.substr(start, end - start);
        std::vector<std::string> paths;
        if (!dir.empty() && listRegularFiles(dir, paths, quiet)) {
            for (const std::string& path : paths) addFile(*mgr, path);
        }
        start = end + 1;
    }
    log.LogDataStr("trustStoreFile", file.c_str());
    log.LogDataStr("trustStoreDirs", dirs.c_str());
    log.LogDataLong("numTrustStoreCerts", mgr->getNumCerts());
    return mgr;
}

CertMgr* defaultTrustStore(LogBase& log) {
    static std::mutex mutex;
    static CertMgr* store = nullptr;  // lives as long as the process
    const std::lock_guard<std::mutex> lock(mutex);
    if (store == nullptr) {
        log.LogInfo("Loading the system trust store.");
        store = loadTrustStore(
            envOr(X509_get_default_cert_file_env(), X509_get_default_cert_file()),
            envOr(X509_get_default_cert_dir_env(), X509_get_default_cert_dir()), log);
    }
    return store;
}

}  // namespace xmldsig::detail
