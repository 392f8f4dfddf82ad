#include "host/cert/StoredCertificate.h"

#include "host/cert/DistinguishedName.h"
#include "host/cert/detail/DnParser.h"
#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {
namespace {

constexpr int kSha256 = 7;

// The name's key, and the key of the same name with its attribute types removed.
void nameKeys(const TavolinX509& cert, bool subject, std::string& key, std::string* tagless,
              LogBase& log) {
    XString dn;
    cert.getDN(subject, true, dn, log, 0);
    StringBuffer sb;
    DistinguishedName::toTvCanonHashKey(dn.getUtf8(), sb, log);
    key = sb.str();
    if (tagless == nullptr) return;
    XString noTags;
    DistinguishedName::removeDnTags(dn, noTags);
    DistinguishedName::taglessKey(noTags.getUtf8(), *tagless);
}

}  // namespace

StoredCertificate::~StoredCertificate() = default;

bool StoredCertificate::loadDer(const DataBuffer& der, LogBase& log) {
    TavolinX509* cert = getX509();
    if (cert == nullptr || !cert->loadX509Der(der, log)) return false;
    nameKeys(*cert, true, m_subjectKey, &m_subjectTaglessKey, log);
    nameKeys(*cert, false, m_issuerKey, nullptr, log);
    XString cn;
    cert->get_IssuerCN(cn, log);
    m_issuerCnKey = detail::canonicalDnValue(cn.getUtf8());
    XString serial;
    cert->get_SerialNumber(serial, log);
    m_serialHex = serial.getUtf8();
    cert->getSubjectKeyIdOrComputed(m_keyId);
    cert->getThumbprint(kSha256, m_sha256);
    return true;
}

}  // namespace xmldsig
