#include "host/cert/SystemCerts.h"

#include <cctype>
#include <set>

#include "host/cert/CertMgr.h"
#include "host/cert/DistinguishedName.h"
#include "host/cert/StoredCertificate.h"
#include "host/cert/TavolinX509.h"
#include "host/cert/detail/CertText.h"
#include "host/cert/detail/DnParser.h"
#include "host/cert/detail/SystemTrustStore.h"
#include "host/log/LogBase.h"
#include "host/text/ContentCoding.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {
namespace {

constexpr int kSha1 = 1;
constexpr int kSha256 = 7;

const char* orEmpty(const char* s) {
    return s == nullptr ? "" : s;
}

bool isHexText(const std::string& s) {
    if (s.empty() || s.size() % 2 != 0) return false;
    for (char c : s)
        if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
    return true;
}

std::string withoutBlanks(const char* text) {
    std::string out;
    for (const char* p = text; *p != '\0'; ++p)
        if (*p != ' ' && *p != '\t' && *p != '\r' && *p != '\n') out.push_back(*p);
    return out;
}

// The byte strings an identifier given as text may stand for: its base64 and its hex reading.
std::vector<DataBuffer> identifierReadings(const char* text) {
    std::vector<DataBuffer> readings;
    const std::string compact = withoutBlanks(orEmpty(text));
    DataBuffer b64;
    if (ContentCoding::decodeBase64ToDb(compact.data(), compact.size(), b64) && !b64.isEmpty())
        readings.push_back(std::move(b64));
    DataBuffer hex;
    if (isHexText(compact) && ContentCoding::decodeHexToDb(compact.data(), compact.size(), hex))
        readings.push_back(std::move(hex));
    return readings;
}

bool equalsAny(const DataBuffer& value, const std::vector<DataBuffer>& readings) {
    for (const DataBuffer& r : readings)
        if (value.equals(r)) return true;
    return false;
}

// The canonical key of a name that parses into at least one component; empty otherwise.
std::string readableNameKey(const char* dn) {
    std::vector<detail::DnComponent> components;
    std::string error;
    if (!detail::parseDn(orEmpty(dn), components, error) || components.empty()) return {};
    return detail::canonicalDnKey(components);
}

std::string issuerKeyOf(const TavolinX509& cert, LogBase& log) {
    XString dn;
    cert.getDN(false, true, dn, log, 0);
    return readableNameKey(dn.getUtf8());
}

}  // namespace

SystemCerts::~SystemCerts() {
    for (CertMgr* mgr : m_vaults) mgr->decRefCount();
    if (m_ownSystemStore && m_systemStore != nullptr) m_systemStore->decRefCount();
}

bool SystemCerts::addCertVault(CertMgr& mgr, LogBase& log) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    try {
        m_vaults.reserve(m_vaults.size() + 1);
    } catch (...) {
        log.LogError("Out of memory.");
        return false;
    }
    mgr.incRefCount();
    m_vaults.push_back(&mgr);
    log.LogDataLong("numVaultCerts", mgr.getNumCerts());
    return true;
}

int SystemCerts::numVaults() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(m_vaults.size());
}

void SystemCerts::put_UseSystemTrustStore(bool use) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_useSystemStore = use;
}

void SystemCerts::setTrustStoreLocations(const char* file, const char* dirs) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_ownSystemStore && m_systemStore != nullptr) m_systemStore->decRefCount();
    m_systemStore = nullptr;
    m_ownSystemStore = false;
    m_systemStoreTried = false;
    m_customLocations = true;
    m_storeFile = orEmpty(file);
    m_storeDirs = orEmpty(dirs);
}

std::vector<CertMgr*> SystemCerts::vaults() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_vaults;
}

CertMgr* SystemCerts::systemStore(LogBase& log) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_useSystemStore) return nullptr;
    if (!m_systemStoreTried) {
        m_systemStoreTried = true;
        if (m_customLocations) {
            m_systemStore = detail::loadTrustStore(m_storeFile, m_storeDirs, log);
            m_ownSystemStore = m_systemStore != nullptr;
        } else {
            m_systemStore = detail::defaultTrustStore(log);
        }
    }
    return m_systemStore;
}

StoredCertificate* SystemCerts::findFirst(const Match& match, LogBase& log) {
    try {
        for (CertMgr* mgr : vaults())
            if (StoredCertificate* found = mgr->findFirst(match)) return found;
        CertMgr* system = systemStore(log);
        return system != nullptr ? system->findFirst(match) : nullptr;
    } catch (...) {
        log.LogError("Out of memory.");
        return nullptr;
    }
}

StoredCertificate* SystemCerts::findBySubjectKeyId(const char* keyId, LogBase& log) {
    const std::vector<DataBuffer> readings = identifierReadings(keyId);
    if (readings.empty()) {
        log.LogError("Subject key identifier is neither base64 nor hex.");
        log.LogDataStr("keyId", orEmpty(keyId));
        return nullptr;
    }
    return findFirst(
        [&readings](const StoredCertificate& c) { return equalsAny(c.keyId(), readings); }, log);
}

TavolinX509* SystemCerts::findBySubjectDN_x509(const XString& dnNoTags, const XString& dn,
                                               bool allowTagless, LogBase& log) {
    const std::string key = readableNameKey(dn.getUtf8());
    StoredCertificate* found = nullptr;
    if (!key.empty()) {
        found =
            findFirst([&key](const StoredCertificate& c) { return c.subjectKey() == key; }, log);
    } else if (allowTagless) {
        log.LogInfo("Subject name is not a readable distinguished name; comparing values only.");
        std::string tagless;
        if (!DistinguishedName::taglessKey(dnNoTags.getUtf8(), tagless) || tagless.empty())
            return nullptr;
        found = findFirst(
            [&tagless](const StoredCertificate& c) { return c.subjectTaglessKey() == tagless; },
            log);
    } else {
        log.LogError("Subject name is not a readable distinguished name.");
        log.LogDataX("dn", dn);
    }
    return found != nullptr ? found->getX509() : nullptr;
}

TavolinX509* SystemCerts::findX509(const char* serialHex, const char* issuer,
                                   const char* issuerFullDn, LogBase& log) {
    std::string serial;
    if (!detail::normalizeHexSerial(serialHex, serial)) {
        log.LogError("Serial number is not hex.");
        log.LogDataStr("serial", orEmpty(serialHex));
        return nullptr;
    }
    if (issuer == nullptr) {
        log.LogError("No issuer to search by.");
        return nullptr;
    }
    const std::string cnKey = detail::canonicalDnValue(issuer);
    const std::string dnKey = std::string(issuer).find('=') != std::string::npos
                                  ? readableNameKey(issuer)
                                  : std::string();
    const std::string fullKey = issuerFullDn != nullptr ? readableNameKey(issuerFullDn) : "";
    if (issuerFullDn != nullptr && fullKey.empty()) {
        log.LogError("Issuer name is not a readable distinguished name.");
        log.LogDataStr("issuer", issuerFullDn);
        return nullptr;
    }
    StoredCertificate* found = findFirst(
        [&](const StoredCertificate& c) {
            if (c.serialHex() != serial) return false;
            const bool issuerMatches =
                c.issuerCnKey() == cnKey || (!dnKey.empty() && c.issuerKey() == dnKey);
            return issuerMatches && (fullKey.empty() || c.issuerKey() == fullKey);
        },
        log);
    return found != nullptr ? found->getX509() : nullptr;
}

TavolinX509* SystemCerts::findByThumbprint(const char* sha1, LogBase& log) {
    return findByCertDigest(kSha1, sha1, log);
}

TavolinX509* SystemCerts::findByCertDigest(int hashId, const char* digest, LogBase& log) {
    const std::vector<DataBuffer> readings = identifierReadings(digest);
    if (readings.empty()) {
        log.LogError("Thumbprint is neither base64 nor hex.");
        return nullptr;
    }
    StoredCertificate* found = findFirst(
        [&readings, hashId](const StoredCertificate& c) {
            DataBuffer d;
            const TavolinX509* x = c.getX509();
            return x != nullptr && x->getThumbprint(hashId, d) && equalsAny(d, readings);
        },
        log);
    return found != nullptr ? found->getX509() : nullptr;
}

TavolinX509* SystemCerts::findIssuer(const TavolinX509& cert, LogBase& log) {
    if (!cert.isLoaded() || cert.isSelfIssued()) return nullptr;
    const std::string key = issuerKeyOf(cert, log);
    if (key.empty()) return nullptr;
    StoredCertificate* found = findFirst(
        [&](const StoredCertificate& c) {
            return c.subjectKey() == key && c.getX509() != nullptr && cert.isIssuedBy(*c.getX509());
        },
        log);
    return found != nullptr ? found->getX509() : nullptr;
}

bool SystemCerts::getCertChain(const TavolinX509& cert, std::vector<TavolinX509*>& chain,
                               LogBase& log) {
    chain.clear();
    std::set<const TavolinX509*> seen{&cert};
    const TavolinX509* current = &cert;
    while (static_cast<int>(chain.size()) < kMaxChainLength) {
        if (current->isSelfIssued()) return current != &cert || containsCert(cert, log);
        TavolinX509* issuer = findIssuer(*current, log);
        if (issuer == nullptr) {
            log.LogInfo("Issuer of a certificate in the chain is not in the store.");
            return false;
        }
        if (!seen.insert(issuer).second) {
            log.LogError("Certificate chain loops.");
            return false;
        }
        chain.push_back(issuer);
        current = issuer;
    }
    log.LogError("Certificate chain is too long.");
    return false;
}

bool SystemCerts::containsCert(const TavolinX509& cert, LogBase& log) {
    DataBuffer digest;
    if (!cert.getThumbprint(kSha256, digest)) return false;
    return findFirst([&digest](const StoredCertificate& c) { return c.sha256().equals(digest); },
                     log) != nullptr;
}

bool SystemCerts::getAllCerts(std::vector<TavolinX509*>& out, LogBase& log) {
    out.clear();
    try {
        std::vector<CertMgr*> all = vaults();
        if (CertMgr* system = systemStore(log)) all.push_back(system);
        for (CertMgr* mgr : all) {
            const int n = mgr->getNumCerts();
            for (int i = 0; i < n; ++i) {
                StoredCertificate* c = mgr->getCert(i);
                if (c != nullptr && c->getX509() != nullptr) out.push_back(c->getX509());
            }
        }
        return true;
    } catch (...) {
        log.LogError("Out of memory.");
        return false;
    }
}

}  // namespace xmldsig
