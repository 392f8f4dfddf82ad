// The selected signature's KeyInfo and the certificates it carries or names, as base64 DER.
#include "dsig/ClsXmlDSig.h"
#include "dsig/detail/IssuerSerial.h"
#include "host/cert/DistinguishedName.h"
#include "host/cert/StoredCertificate.h"
#include "host/cert/StringHashSet.h"
#include "host/cert/SystemCerts.h"
#include "host/cert/TavolinX509.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsStringArray.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

ClsXml* ClsXmlDSig::getKeyInfo(LogBase& log) {
    LogContextExitor ctx(log, "getKeyInfo");
    log.LogDataLong("numSignatures", m_signatures.getSize());
    log.LogDataLong("selector", m_selector);
    ClsXml* sig = selectedSignature();
    if (sig == nullptr) return nullptr;
    ClsXml* keyInfo = sig->getChildWithTagUtf8("*:KeyInfo");
    if (keyInfo == nullptr) log.LogError("No KeyInfo child.");
    return keyInfo;
}

ClsXml* ClsXmlDSig::GetKeyInfo() {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "GetKeyInfo");
    m_log.clearLastJsonData();
    return getKeyInfo(m_log);
}

bool ClsXmlDSig::GetCerts(ClsStringArray& out) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "GetCert");
    m_log.clearLastJsonData();
    bool ok = true;
    if (ClsXml* keyInfo = getKeyInfo(m_log)) {
        RefCountedObjectOwner owner(keyInfo);
        ok = certsFromKeyInfo(*keyInfo, out, m_log);
    }
    logSuccessFailure(false);  // recorded as a failure whatever the result, as always
    return ok;
}

namespace {

// Appends the certificate text when it parses (cleaned of "&#13;" and "&#xD;").
template <typename Process>
void acceptCert(StringBuffer& b64, ClsStringArray& out, Process process) {
    if (process(b64)) out.appendUtf8(b64.getString());
}

}  // namespace

bool ClsXmlDSig::certsFromKeyInfo(ClsXml& keyInfo, ClsStringArray& out, LogBase& log) {
    LogContextExitor ctx(log, "certsFromKeyInfo");
    StringHashSet seen(79);
    auto process = [&](StringBuffer& b64) { return processCertBase64(b64, seen, log); };

    if (ClsXml* x509Data = keyInfo.getChildWithTagUtf8("*:X509Data")) {
        RefCountedObjectOwner owner(x509Data);
        const int n = x509Data->numChildrenHavingTagUtf8("*:X509Certificate", log);
        log.LogDataLong("NumX509Certificates", n);
        for (int i = 0; i < n; ++i) {
            x509Data->put_I(i);
            StringBuffer b64;
            if (x509Data->getChildContentUtf8("*:X509Certificate[i]", b64, false) &&
                b64.getSize() != 0)
                acceptCert(b64, out, process);
        }
        StringBuffer cn, serialHex, key, certText;
        if (detail::readIssuerSerial(*x509Data, cn, serialHex, key, log) &&
            !seen.hashContainsSb(key) && getCertByIssuerNameAndSerial(cn, serialHex, certText, log))
            acceptCert(certText, out, process);
    }

    StringBuffer subject;
    keyInfo.getChildContentUtf8("*:X509Data|*:X509SubjectName", subject, false);
    if (subject.getSize() != 0) {
        StringBuffer subjectKey, reversed, certText;
        DistinguishedName::toTvCanonHashKey(subject.getString(), subjectKey, log);
        if (!seen.hashContainsSb(subjectKey)) {
            reverseSubjectNameDN(subject, reversed, log);
            if (getCertBySubjectName(reversed, certText, log)) acceptCert(certText, out, process);
        }
    }
    StringBuffer ski, certText;
    keyInfo.getChildContentUtf8("*:X509Data|*:X509SKI", ski, false);
    if (ski.getSize() != 0 && getCertBySKI(ski, certText, log)) acceptCert(certText, out, process);

    ClsXml* str = keyInfo.getChildWithTagUtf8("*:SecurityTokenReference");
    if (str == nullptr) return true;
    RefCountedObjectOwner strOwner(str);
    return certsFromTokenReference(*str, out, seen, log);
}

bool ClsXmlDSig::certsFromTokenReference(ClsXml& str, ClsStringArray& out, StringHashSet& seen,
                                         LogBase& log) {
    auto process = [&](StringBuffer& b64) { return processCertBase64(b64, seen, log); };
    if (m_systemCerts != nullptr) {
        StringBuffer id;
        if (str.getChildContentUtf8("*:KeyIdentifier", id, false) && id.getSize() != 0) {
            StoredCertificate* found = m_systemCerts->findBySubjectKeyId(id.getString(), log);
            DataBuffer der;
            if (found != nullptr && found->getX509() != nullptr) found->getX509()->getCertDer(der);
            StringBuffer b64;
            if (der.getSize() != 0 && der.encodeDB("base64", b64)) acceptCert(b64, out, process);
        }
    }
    ClsXml* ref = str.getChildWithTagUtf8("*:Reference");
    if (ref == nullptr) return true;
    RefCountedObjectOwner refOwner(ref);
    // Unlike the key search, no other token stands in for a missing one.
    StringBuffer content;
    if (!certOfReferencedToken(*ref, false, "Need to locate BinarySecurityToken within XML....",
                               content, log))
        return false;
    acceptCert(content, out, process);
    return true;
}

}  // namespace xmldsig
