// Turning one certificate reference into a certificate or a key: base64 certificates from the
// document, and issuer/serial, subject name and subject key identifier lookups in the store.
#include <memory>

#include "dsig/ClsXmlDSig.h"
#include "dsig/detail/KeyOrigins.h"
#include "host/cert/Asn1XmlConverter.h"
#include "host/cert/DistinguishedName.h"
#include "host/cert/StoredCertificate.h"
#include "host/cert/StringHashSet.h"
#include "host/cert/SystemCerts.h"
#include "host/cert/TavolinX509.h"
#include "host/cert/TavolinX509Holder.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/ContentCoding.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

namespace {

// The certificate's DER as base64 text; false when there is no DER.
bool certDerAsBase64(const TavolinX509* cert, StringBuffer& out) {
    if (cert == nullptr) return false;
    DataBuffer der;
    cert->getCertDer(der);
    if (der.getSize() == 0) return false;
    return der.encodeDB("base64", out);
}

}  // namespace

ClsPublicKey* ClsXmlDSig::publicKeyFromX509(TavolinX509& cert, LogBase& log) {
    LogContextExitor ctx(log, "publicKeyFromX509");
    DataBuffer der;
    if (!cert.get_PublicKey(der, log)) {
        log.LogError("Failed to get public key from X.509 certificate.");
        return nullptr;
    }
    ClsPublicKey* key = ClsPublicKey::createNewCls();
    if (key == nullptr) return nullptr;
    if (key->loadAnyDer(der, log)) {
        log.LogInfo("Loaded public key from X.509 certificate in KeyInfo.");
        StringBuffer certB64;
        certDerAsBase64(&cert, certB64);
        m_keyOrigins->noteCert(key, certB64.str());
        return key;
    }
    log.LogError("Failed to parse public key DER");
    key->decRefCount();
    return nullptr;
}

namespace {

// The steps both base64 loaders share: clean the text, parse it, record it in the seen set.
bool loadAndRecordCert(StringBuffer& base64, StringHashSet& seen, TavolinX509Holder& holder,
                       LogBase& log) {
    if (base64.containsSubstring("&#13;")) base64.replaceAllOccurances("&#13;", "");
    if (base64.containsSubstring("&#xD;")) base64.replaceAllOccurances("&#xD;", "");
    DataBuffer der;
    if (!ContentCoding::decodeBase64ToDb(base64.getString(), base64.getSize(), der)) {
        log.LogError("Failed to decode base64 cert.");
        return false;
    }
    TavolinX509* cert = holder.getX509Ptr();
    if (cert == nullptr) return false;
    if (!cert->loadX509Der(der, log)) {
        log.LogError("Failed to parse X.509 certificate.");
        return false;
    }
    XString issuerCn, serial, subject;
    cert->get_IssuerCN(issuerCn, log);
    cert->get_SerialNumber(serial, log);
    StringBuffer issuerSerial;
    issuerSerial.append3(issuerCn.getUtf8(), ":", serial.getUtf8());
    seen.hashAddKey(issuerSerial.getString());
    cert->getDN(true, true, subject, log, 0);
    StringBuffer subjectKey;
    DistinguishedName::toTvCanonHashKey(subject.getUtf8(), subjectKey, log);
    seen.hashAddKey(subjectKey.getString());
    return true;
}

}  // namespace

ClsPublicKey* ClsXmlDSig::publicKeyFromCertBase64(StringBuffer& base64, StringHashSet& seen,
                                                  LogBase& log) {
    LogContextExitor ctx(log, "publicKeyFromCertBase64");
    TavolinX509Holder holder;
    if (!loadAndRecordCert(base64, seen, holder, log)) return nullptr;
    return publicKeyFromX509(*holder.getX509Ptr(), log);
}

bool ClsXmlDSig::processCertBase64(StringBuffer& base64, StringHashSet& seen, LogBase& log) {
    LogContextExitor ctx(log, "processCertBase64");
    TavolinX509Holder holder;
    return loadAndRecordCert(base64, seen, holder, log);
}

ClsPublicKey* ClsXmlDSig::getPublicKeyByIssuerNameAndSerial(StringBuffer& issuerCn,
                                                            StringBuffer& serialHex, LogBase& log) {
    LogContextExitor ctx(log, "getPublicKeyByIssuerNameAndSerial");
    if (m_systemCerts == nullptr) return nullptr;
    TavolinX509* cert =
        m_systemCerts->findX509(serialHex.getString(), issuerCn.getString(), nullptr, log);
    return cert != nullptr ? publicKeyFromX509(*cert, log) : nullptr;
}

bool ClsXmlDSig::getCertByIssuerNameAndSerial(StringBuffer& issuerCn, StringBuffer& serialHex,
                                              StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "getCertByIssuerNameAndSerial");
    out.clear();
    if (m_systemCerts == nullptr) return false;
    return certDerAsBase64(
        m_systemCerts->findX509(serialHex.getString(), issuerCn.getString(), nullptr, log), out);
}

namespace {

TavolinX509* findBySubjectName(SystemCerts& store, StringBuffer& dn, LogBase& log) {
    XString full, tagless;
    full.setFromSbUtf8(dn);
    DistinguishedName::removeDnTags(full, tagless);
    return store.findBySubjectDN_x509(tagless, full, true, log);
}

TavolinX509* findBySki(SystemCerts& store, StringBuffer& ski, LogBase& log) {
    StoredCertificate* found = store.findBySubjectKeyId(ski.getString(), log);
    return found != nullptr ? found->getX509() : nullptr;
}

}  // namespace

ClsPublicKey* ClsXmlDSig::getPublicKeyBySubjectName(StringBuffer& dn, LogBase& log) {
    LogContextExitor ctx(log, "getPublicKeyBySubjectName");
    if (m_systemCerts == nullptr) return nullptr;
    TavolinX509* cert = findBySubjectName(*m_systemCerts, dn, log);
    return cert != nullptr ? publicKeyFromX509(*cert, log) : nullptr;
}

bool ClsXmlDSig::getCertBySubjectName(StringBuffer& dn, StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "getCertSubjectName");
    out.clear();
    if (m_systemCerts == nullptr) return false;
    return certDerAsBase64(findBySubjectName(*m_systemCerts, dn, log), out);
}

ClsPublicKey* ClsXmlDSig::getPublicKeyBySKI(StringBuffer& ski, LogBase& log) {
    LogContextExitor ctx(log, "getPublicKeyBySKI");
    if (m_systemCerts == nullptr) return nullptr;
    TavolinX509* cert = findBySki(*m_systemCerts, ski, log);
    return cert != nullptr ? publicKeyFromX509(*cert, log) : nullptr;
}

bool ClsXmlDSig::getCertBySKI(StringBuffer& ski, StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "getCertBySKI");
    out.clear();
    if (m_systemCerts == nullptr) return false;
    return certDerAsBase64(findBySki(*m_systemCerts, ski, log), out);
}

bool ClsXmlDSig::pkiPathV1_to_cert(const StringBuffer& token, StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "pkiPathV1_to_cert");
    out.clear();
    DataBuffer der;
    der.appendEncoded(token.getString(), "base64");
    StringBuffer xml;
    if (!Asn1XmlConverter::derToXml(der, false, true, xml, nullptr, log)) {
        log.LogError("Invalid binary security token content.");
        return false;
    }
    ClsXml* node = ClsXml::createNewCls();
    if (node == nullptr) return false;
    RefCountedObjectOwner owner(node);
    node->loadXml(xml, false, log);
    const int n = node->get_NumChildren();
    if (n == 0) {
        log.LogError("Invalid binary security token content..");
        return false;
    }
    node->getChild2(n - 1);
    log.LogInfo("Getting last cert from X509PKIPathv1...");
    if (!Asn1XmlConverter::xmlToDer(*node, der, log)) return false;
    return der.encodeDB("base64", out);
}

void ClsXmlDSig::reverseSubjectNameDN(StringBuffer& dn, StringBuffer& out, LogBase&) {
    ExtPtrArraySb parts;
    dn.split(parts, ',', true, true);
    if (parts.getSize() == 0) {
        out.append(dn);
        return;
    }
    for (int i = parts.getSize() - 1; i >= 0; --i) {
        StringBuffer* piece = parts.sbAt(i);
        piece->trim2();
        out.append(*piece);
        if (i > 0) out.append(", ");
    }
}

}  // namespace xmldsig
