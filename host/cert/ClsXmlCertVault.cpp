#include "host/cert/ClsXmlCertVault.h"

#include <new>
#include <string>

#include "host/cert/CertMgr.h"
#include "host/cert/detail/CertFiles.h"
#include "host/cert/detail/CertText.h"
#include "host/cert/detail/Pkcs12Certs.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/log/LogNull.h"
#include "host/xml/ClsBinData.h"
#include "host/xml/FileSys.h"

namespace xmldsig {

ClsXmlCertVault* ClsXmlCertVault::createNewCls() {
    try {
        return new ClsXmlCertVault();
    } catch (...) {
        return nullptr;
    }
}

ClsXmlCertVault::ClsXmlCertVault() : m_certMgr(CertMgr::createNew()) {}

ClsXmlCertVault::~ClsXmlCertVault() {
    CritSecExitor lock(this);
    if (m_certMgr != nullptr) m_certMgr->decRefCount();
}

bool ClsXmlCertVault::addCerts(const std::vector<DataBuffer>& ders, LogBase& log) {
    if (m_certMgr == nullptr) {
        log.LogError("The vault has no certificate manager.");
        return false;
    }
    const int before = m_certMgr->getNumCerts();
    if (!m_certMgr->addCertsDer(ders, log)) return false;
    log.LogDataLong("numCertsAdded", m_certMgr->getNumCerts() - before);
    return true;
}

bool ClsXmlCertVault::AddCertFile(const XString& path) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "AddCertFile");
    m_log.LogDataX("path", path);
    std::vector<DataBuffer> ders;
    const bool ok =
        detail::readCertificateFile(path.getUtf8(), ders, m_log) && addCerts(ders, m_log);
    logSuccessFailure(ok);
    return ok;
}

bool ClsXmlCertVault::AddCertString(const XString& text) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "AddCertString");
    DataBuffer data;
    std::vector<DataBuffer> ders;
    const bool ok = data.append(text.getUtf8Sb()) && detail::readCertificates(data, ders, m_log) &&
                    addCerts(ders, m_log);
    logSuccessFailure(ok);
    return ok;
}

bool ClsXmlCertVault::AddCertBinary(const ClsBinData& data) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "AddCertBinary");
    std::vector<DataBuffer> ders;
    const bool ok = detail::readCertificates(data.m_data, ders, m_log) && addCerts(ders, m_log);
    logSuccessFailure(ok);
    return ok;
}

bool ClsXmlCertVault::AddCertDir(const XString& dirPath) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "AddCertDir");
    m_log.LogDataX("dir", dirPath);
    std::vector<std::string> paths;
    bool ok = detail::listRegularFiles(dirPath.getUtf8(), paths, m_log);
    if (ok) {
        int filesWithCerts = 0;
        for (const std::string& path : paths) {
            // A directory may hold keys, CRLs and notes beside the certificates: a file that
            // is not one is noted, not reported as an error.
            LogNull quiet;
            std::vector<DataBuffer> ders;
            if (detail::readCertificateFile(path, ders, quiet) && addCerts(ders, quiet)) {
                ++filesWithCerts;
            } else {
                m_log.LogDataStr("skippedFile", path.c_str());
            }
        }
        m_log.LogDataLong("numFiles", static_cast<long>(paths.size()));
        m_log.LogDataLong("numFilesWithCerts", filesWithCerts);
        if (filesWithCerts == 0) m_log.LogError("No certificates found in the directory.");
        ok = filesWithCerts > 0;
    }
    logSuccessFailure(ok);
    return ok;
}

bool ClsXmlCertVault::addPfx(const DataBuffer& p12, const XString& password, LogBase& log) {
    std::vector<DataBuffer> ders;
    return detail::readPkcs12Certificates(p12, password.getUtf8(), ders, log) &&
           addCerts(ders, log);
}

bool ClsXmlCertVault::AddPfxFile(const XString& path, const XString& password) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "AddPfxFile");
    m_log.LogDataX("path", path);
    DataBuffer p12;
    const bool ok = FileSys::readFileToDb(path.getUtf8(), p12, m_log, detail::kMaxCertFileBytes) &&
                    addPfx(p12, password, m_log);
    p12.secureClear();  // it holds the private key too
    logSuccessFailure(ok);
    return ok;
}

bool ClsXmlCertVault::AddPfxBinary(const ClsBinData& data, const XString& password) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "AddPfxBinary");
    const bool ok = addPfx(data.m_data, password, m_log);
    logSuccessFailure(ok);
    return ok;
}

int ClsXmlCertVault::get_NumCerts() {
    CritSecExitor lock(this);
    return m_certMgr != nullptr ? m_certMgr->getNumCerts() : 0;
}

CertMgr* ClsXmlCertVault::getCertMgr() {
    CritSecExitor lock(this);
    return m_certMgr;
}

}  // namespace xmldsig
