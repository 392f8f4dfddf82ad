#include "host/crypto/ClsPublicKey.h"

#include <vector>

#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/text/DataBuffer.h"
#include "host/text/XString.h"
#include "host/xml/FileSys.h"

namespace xmldsig {
namespace {

// Key and certificate files are a few kilobytes; anything much larger is not one.
constexpr std::size_t kMaxKeyFileBytes = 1u << 20;

}  // namespace

ClsPublicKey* ClsPublicKey::createNewCls() {
    try {
        return new ClsPublicKey();
    } catch (...) {
        return nullptr;
    }
}

ClsPublicKey::~ClsPublicKey() {
    CritSecExitor lock(this);
    m_pubKey.clear();
}

bool ClsPublicKey::LoadXml(const XString& xml) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "LoadXml");
    m_log.clearLastJsonData();
    const bool ok = loadXml(xml, m_log);
    logSuccessFailure(ok);
    return ok;
}

bool ClsPublicKey::LoadPem(const XString& pem) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "LoadPem");
    m_log.clearLastJsonData();
    const bool ok = loadPem(pem, m_log);
    logSuccessFailure(ok);
    return ok;
}

bool ClsPublicKey::LoadFromFile(const XString& path) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "LoadFromFile");
    m_log.clearLastJsonData();
    const bool ok = loadFromFile(path, m_log);
    logSuccessFailure(ok);
    return ok;
}

void ClsPublicKey::get_KeyType(XString& out) {
    CritSecExitor lock(this);
    out.setFromUtf8(m_pubKey.keyTypeName());
}

int ClsPublicKey::get_KeySize() {
    CritSecExitor lock(this);
    return m_pubKey.keySizeBits();
}

bool ClsPublicKey::GetDer(DataBuffer& out) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "GetDer");
    m_log.clearLastJsonData();
    const bool ok = getDer(out, m_log);
    logSuccessFailure(ok);
    return ok;
}

bool ClsPublicKey::Equals(ClsPublicKey& other) {
    // Each key is read under its own lock only, so two threads comparing a and b in opposite
    // orders cannot deadlock.
    std::vector<unsigned char> mine, theirs;
    {
        CritSecExitor lock(this);
        if (!m_pubKey.getDer(mine)) return false;
    }
    {
        CritSecExitor lock(&other);
        if (!other.m_pubKey.getDer(theirs)) return false;
    }
    return mine == theirs;
}

bool ClsPublicKey::loadXml(const XString& xml, LogBase& log) {
    CritSecExitor lock(this);
    LogContextExitor ctx(log, "loadXml");
    return m_pubKey.loadXml(xml.getUtf8Sb(), log);
}

bool ClsPublicKey::loadAnyDer(const DataBuffer& der, LogBase& log) {
    CritSecExitor lock(this);
    return m_pubKey.loadAnyDer(der, log);
}

bool ClsPublicKey::loadPem(const XString& pem, LogBase& log) {
    CritSecExitor lock(this);
    LogContextExitor ctx(log, "loadPem");
    DataBuffer bytes;
    if (!bytes.append(pem.getUtf8Sb())) {
        log.LogError("Out of memory.");
        return false;
    }
    return m_pubKey.loadAnyFormat(bytes, log);
}

bool ClsPublicKey::loadFromFile(const XString& path, LogBase& log) {
    CritSecExitor lock(this);
    LogContextExitor ctx(log, "loadFromFile");
    log.LogDataX("path", path);
    DataBuffer bytes;
    if (!FileSys::readFileToDb(path.getUtf8(), bytes, log, kMaxKeyFileBytes)) return false;
    return m_pubKey.loadAnyFormat(bytes, log);
}

bool ClsPublicKey::getDer(DataBuffer& out, LogBase& log) {
    CritSecExitor lock(this);
    std::vector<unsigned char> der;
    if (!m_pubKey.getDer(der)) {
        log.LogError("No public key is loaded.");
        return false;
    }
    return out.append(der.data(), der.size());
}

}  // namespace xmldsig
