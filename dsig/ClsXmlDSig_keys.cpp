// Candidate keys of the selected signature: key values, embedded and named certificates,
// WS-Security token references, and the keys the caller sets.
#include "dsig/ClsXmlDSig.h"
#include "dsig/detail/IssuerSerial.h"
#include "dsig/detail/KeyOrigins.h"
#include "host/cert/CertificateHolder.h"
#include "host/cert/ClsXmlCertVault.h"
#include "host/cert/DistinguishedName.h"
#include "host/cert/StoredCertificate.h"
#include "host/cert/StringHashSet.h"
#include "host/cert/SystemCerts.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/crypto/_tvHash.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/_clsEncode.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

namespace {

struct KeyValueForm {
    const char* tag;
    const char* source;
    const char* loaded;
    const char* failed;
    bool failureEndsSearch;  // the documented forms end the key search when they fail to load
};

const KeyValueForm kKeyValueForms[] = {
    {"*:RSAKeyValue", "KeyInfo/KeyValue/RSAKeyValue", "Loaded public key from RSA XML in KeyInfo.",
     "Failed to parse public key RSA XML", true},
    {"*:DSAKeyValue", "KeyInfo/KeyValue/DSAKeyValue", "Loaded public key from DSA XML in KeyInfo.",
     "Failed to parse public key DSA XML", true},
    {"*:ECKeyValue", "KeyInfo/KeyValue/ECKeyValue", "Loaded public key from ECDSA XML in KeyInfo.",
     "Failed to parse public key ECDSA XML", true},
    // The RFC 4050 form, still written by some signers. It is read beside the documented forms,
    // so a value that does not parse is skipped: the certificates after it are still read.
    {"*:ECDSAKeyValue", "KeyInfo/KeyValue/ECDSAKeyValue",
     "Loaded public key from ECDSA XML in KeyInfo.", "Failed to parse public key ECDSA XML", false},
};

}  // namespace

bool ClsXmlDSig::getPublicKey(bool keyInfoOnly, ExtPtrArrayRc& keys, LogBase& log) {
    LogContextExitor ctx(log, "getXmlDsigPublicKey");
    if (log.verbose()) log.LogDataLong("bKeyInfoOnly", keyInfoOnly ? 1 : 0);
    m_keyOrigins->clear();
    if (!keyInfoOnly && m_pinnedKeysOnly) {
        log.LogInfo("Pinned keys: only the caller's key is a candidate.");
    } else if (ClsXml* keyInfo = getKeyInfo(log)) {
        RefCountedObjectOwner owner(keyInfo);
        publicKeyFromKeyInfo(*keyInfo, keys, log);
        keysFromFurtherForms(*keyInfo, keys, log);
        if (log.verbose()) log.LogDataLong("numPublicKeys", keys.getSize());
    }
    if (!keyInfoOnly) {
        if (auto* own = static_cast<ClsPublicKey*>(m_publicKeys.elementAt(m_selector))) {
            own->incRefCount();
            addCandidate(keys, own, "caller key", false);
        }
    }
    return keys.getSize() != 0;
}

bool ClsXmlDSig::publicKeyFromKeyInfo(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log) {
    LogContextExitor ctx(log, "publicKeyFromKeyInfo");
    StringHashSet seen(79);

    if (ClsXml* keyValue = keyInfo.getChildWithTagUtf8("*:KeyValue")) {
        RefCountedObjectOwner owner(keyValue);
        for (const auto& form : kKeyValueForms) {
            ClsXml* value = keyValue->getChildWithTagUtf8(form.tag);
            if (value == nullptr) continue;
            RefCountedObjectOwner valueOwner(value);
            ClsPublicKey* key = ClsPublicKey::createNewCls();
            if (key == nullptr) return false;
            XString xml;
            value->GetXml(xml);
            const bool ok =
                &form == &kKeyValueForms[0] ? key->LoadXml(xml) : key->loadXml(xml, log);
            if (!ok) {
                log.LogError(form.failed);
                key->decRefCount();
                if (form.failureEndsSearch) return false;
                continue;
            }
            log.LogInfo(form.loaded);
            addCandidate(keys, key, form.source, false);
        }
    }

    if (ClsXml* x509Data = keyInfo.getChildWithTagUtf8("*:X509Data")) {
        RefCountedObjectOwner owner(x509Data);
        const int n = x509Data->numChildrenHavingTagUtf8("*:X509Certificate", log);
        log.LogDataLong("numX509Certificates", n);
        for (int i = 0; i < n; ++i) {
            x509Data->put_I(i);
            StringBuffer b64;
            if (x509Data->getChildContentUtf8("*:X509Certificate[i]", b64, false) &&
                b64.getSize() != 0)
                addCandidate(keys, publicKeyFromCertBase64(b64, seen, log),
                             "KeyInfo/X509Data/X509Certificate[" + std::to_string(i + 1) + "]",
                             true);
        }
        StringBuffer cn, serialHex, isKey;
        if (detail::readIssuerSerial(*x509Data, cn, serialHex, isKey, log) &&
            !seen.hashContainsSb(isKey))
            addCandidate(keys, getPublicKeyByIssuerNameAndSerial(cn, serialHex, log),
                         "KeyInfo/X509Data/X509IssuerSerial (certificate store)", true);
    }

    StringBuffer subject;
    keyInfo.getChildContentUtf8("*:X509Data|*:X509SubjectName", subject, false);
    if (subject.getSize() != 0) {
        StringBuffer subjectKey, reversed;
        DistinguishedName::toTvCanonHashKey(subject.getString(), subjectKey, log);
        if (!seen.hashContainsSb(subjectKey)) {
            reverseSubjectNameDN(subject, reversed, log);
            addCandidate(keys, getPublicKeyBySubjectName(reversed, log),
                         "KeyInfo/X509Data/X509SubjectName (certificate store)", true);
        }
    }
    StringBuffer ski;
    keyInfo.getChildContentUtf8("*:X509Data|*:X509SKI", ski, false);
    if (ski.getSize() != 0)
        addCandidate(keys, getPublicKeyBySKI(ski, log),
                     "KeyInfo/X509Data/X509SKI (certificate store)", true);

    ClsXml* str = keyInfo.getChildWithTagUtf8("*:SecurityTokenReference");
    if (str == nullptr) return true;
    RefCountedObjectOwner strOwner(str);
    return keysFromTokenReference(*str, keys, seen, log);
}

ClsPublicKey* ClsXmlDSig::GetPublicKey() {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "GetPublicKey");
    m_log.clearLastJsonData();
    ExtPtrArrayRc keys;
    getPublicKey(true, keys, m_log);
    auto* first = static_cast<ClsPublicKey*>(keys.elementAt(0));
    if (first == nullptr) return nullptr;
    first->incRefCount();  // the caller's reference; the list releases its own
    return first;
}

bool ClsXmlDSig::SetPublicKey(ClsPublicKey& key) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "SetPublicKey");
    if (static_cast<unsigned>(m_selector) > 199) {
        m_log.LogError("Selector index is not sane.");
        m_log.LogDataLong("m_selector", m_selector);
        return false;
    }
    key.incRefCount();
    return m_publicKeys.replaceRefCountedAt(m_selector, &key);
}

bool ClsXmlDSig::SetHmacKey(XString& key, const XString& encoding) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "SetHmacKey");
    m_hmacKey.secureClear();
    key.setSecureX(true);
    _clsEncode decoder;
    decoder.put_EncodingMode(encoding.getUtf8());
    return decoder.decodeBinary(key.getUtf8(), m_hmacKey, false, m_log);
}

bool ClsXmlDSig::UseCertVault(ClsXmlCertVault& vault) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "UseCertVault");
    CertMgr* mgr = vault.getCertMgr();
    const bool ok =
        m_systemCerts != nullptr && mgr != nullptr && m_systemCerts->addCertVault(*mgr, m_log);
    logSuccessFailure(ok);
    return ok;
}

}  // namespace xmldsig
