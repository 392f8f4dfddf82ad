// What the last VerifySignature concluded beyond true or false: why it failed, and which key
// (from where, with which certificate) verified. Also the pinned-keys switch.
#include "dsig/ClsXmlDSig.h"
#include "dsig/detail/KeyOrigins.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/log/CritSecExitor.h"
#include "host/xml/XmlIdCheck.h"

namespace xmldsig {

bool ClsXmlDSig::get_PinnedKeysOnly() {
    CritSecExitor lock(this);
    return m_pinnedKeysOnly;
}

void ClsXmlDSig::put_PinnedKeysOnly(bool pinned) {
    CritSecExitor lock(this);
    m_pinnedKeysOnly = pinned;
}

ClsPublicKey* ClsXmlDSig::GetVerifyingKey() {
    CritSecExitor lock(this);
    if (m_verifyingKey != nullptr) m_verifyingKey->incRefCount();
    return m_verifyingKey;
}

bool ClsXmlDSig::GetVerifyingCert(XString& base64Der) {
    CritSecExitor lock(this);
    base64Der.setFromUtf8(m_verifyingCert.c_str());
    return !m_verifyingCert.empty();
}

bool ClsXmlDSig::GetVerifyingKeySource(XString& out) {
    CritSecExitor lock(this);
    out.setFromUtf8(m_verifyingSource.c_str());
    return !m_verifyingSource.empty();
}

VerifyFailure ClsXmlDSig::get_VerifyFailure() {
    CritSecExitor lock(this);
    return m_verifyFailure;
}

void ClsXmlDSig::GetVerifyFailureDetail(XString& out) {
    CritSecExitor lock(this);
    out.setFromUtf8(m_verifyFailureDetail.c_str());
}

void ClsXmlDSig::GetRefFailDetail(XString& out) {
    CritSecExitor lock(this);
    out.setFromUtf8(m_refFailDetail.c_str());
}

bool ClsXmlDSig::failVerify(VerifyFailure why, const std::string& detail) {
    m_verifyFailure = why;
    m_verifyFailureDetail = detail;
    return false;
}

void ClsXmlDSig::addCandidate(ExtPtrArrayRc& keys, ClsPublicKey* key, const std::string& source,
                              bool fromCert) {
    if (key == nullptr) return;
    m_keyOrigins->add(key, source, fromCert);
    keys.appendRefCounted(key);
}

void ClsXmlDSig::recordVerifyingKey(ClsPublicKey* key) {
    clearVerifyingKey();
    if (key == nullptr) return;
    key->incRefCount();
    m_verifyingKey = key;
    if (const detail::KeyOrigin* o = m_keyOrigins->find(key)) {
        m_verifyingSource = o->source;
        m_verifyingCert = o->certBase64;
    }
}

std::string ClsXmlDSig::wrappingDetail(const StringBuffer& id, const std::string& otherwise) const {
    const int n = m_xmlDoc != nullptr ? countElementsWithId(*m_xmlDoc, id.getString()) : 0;
    if (n <= 1) return otherwise;
    return "Id " + id.str() + " appears " + std::to_string(n) +
           " times (possible signature wrapping)";
}

void ClsXmlDSig::clearVerifyingKey() {
    if (m_verifyingKey != nullptr) m_verifyingKey->decRefCount();
    m_verifyingKey = nullptr;
    m_verifyingSource.clear();
    m_verifyingCert.clear();
}

}  // namespace xmldsig
