// Keys from a WS-Security SecurityTokenReference: a key identifier, a reference to a
// BinarySecurityToken of the document (an X.509 certificate or a PKI path), or a SHA-1
// thumbprint key identifier.
#include <memory>

#include "dsig/ClsXmlDSig.h"
#include "host/cert/CertificateHolder.h"
#include "host/cert/StoredCertificate.h"
#include "host/cert/StringHashSet.h"
#include "host/cert/SystemCerts.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/crypto/_tvHash.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

namespace {

// The certificate a key identifier names: a whole certificate (held in holder), or a store
// entry found by subject key identifier. Null when there is none.
TavolinX509* certFromKeyIdentifier(ClsXml& str, SystemCerts& store,
                                   std::unique_ptr<CertificateHolder>& holder, LogBase& log) {
    StringBuffer id;
    if (!str.getChildContentUtf8("*:KeyIdentifier", id, false) || id.getSize() == 0) return nullptr;
    StringBuffer valueType;
    str.getChildAttrValue("*:KeyIdentifier", "ValueType", valueType);
    log.LogDataSb("ValueType", valueType);
    StoredCertificate* cert = nullptr;
    if (valueType.endsWith("#X509v3")) {
        holder.reset(
            CertificateHolder::createFromBase64(id.getString(), id.getSize(), &store, log));
        cert = holder ? holder->getCertPtr(log) : nullptr;
    } else {
        cert = store.findBySubjectKeyId(id.getString(), log);
    }
    return cert != nullptr ? cert->getX509() : nullptr;
}

// The first BinarySecurityToken whose attribute matches the pattern; null when none.
ClsXml* findToken(ClsXml& doc, const char* attr, const char* pattern) {
    return doc.searchForAttribute(nullptr, "*:BinarySecurityToken", attr, false, pattern);
}

}  // namespace

bool ClsXmlDSig::certOfReferencedToken(ClsXml& ref, bool fallBackToAnyToken,
                                       const char* locatingInfo, StringBuffer& content,
                                       LogBase& log) {
    StringBuffer uri, valueType;
    const bool hasUri = ref.getAttrValue("URI", uri);
    const bool hasType = ref.getAttrValue("ValueType", valueType);
    if (!hasUri || !hasType || !uri.beginsWith("#") || !valueType.containsSubstring("#X509")) {
        log.LogError("Unhandled security token reference.");
        log.LogDataSb("uri", uri);
        log.LogDataSb("valueType", valueType);
        return false;
    }
    log.LogInfo(locatingInfo);
    log.LogDataSb("URI", uri);
    if (m_xmlDoc == nullptr) return false;
    ClsXml* token = findToken(*m_xmlDoc, "*:Id", uri.getString() + 1);
    if (token == nullptr && fallBackToAnyToken) {
        log.LogInfo(
            "Did not find a BinarySecurityToken with the specified URI.  Looking for any "
            "BinarySecurityToken...");
        token = m_xmlDoc->searchForTag(nullptr, "*:BinarySecurityToken");
    }
    if (token == nullptr) {
        log.LogError("Failed to find the wsse:BinarySecurityToken element");
        return false;
    }
    RefCountedObjectOwner tokenOwner(token);
    token->getContentSb(content);
    if (!valueType.containsSubstring("X509PKIPathv1")) return true;
    StringBuffer last;
    if (!pkiPathV1_to_cert(content, last, log)) return false;
    content.takeSb(last);
    return true;
}

bool ClsXmlDSig::keysFromTokenReference(ClsXml& str, ExtPtrArrayRc& keys, StringHashSet& seen,
                                        LogBase& log) {
    if (log.verbose()) log.LogInfo("Check for and handle SecurityTokenReference cases..");
    if (m_systemCerts != nullptr) {
        std::unique_ptr<CertificateHolder> holder;
        if (TavolinX509* cert = certFromKeyIdentifier(str, *m_systemCerts, holder, log)) {
            addCandidate(keys, publicKeyFromX509(*cert, log),
                         "KeyInfo/SecurityTokenReference/KeyIdentifier", true);
        }
    }

    if (ClsXml* ref = str.getChildWithTagUtf8("*:Reference")) {
        RefCountedObjectOwner refOwner(ref);
        if (log.verbose()) log.LogInfo("We have a *:Reference...");
        StringBuffer content;
        if (!certOfReferencedToken(*ref, true, "Need to locate BinarySecurityToken within XML...",
                                   content, log))
            return false;
        ClsPublicKey* key = publicKeyFromCertBase64(content, seen, log);
        if (key == nullptr) {
            log.LogError("Failed to get public key from cert.");
            return false;
        }
        addCandidate(keys, key, "KeyInfo/SecurityTokenReference/Reference (BinarySecurityToken)",
                     true);
    }

    ClsXml* keyId = str.getChildWithTagUtf8("*:KeyIdentifier");
    if (keyId == nullptr) return true;
    RefCountedObjectOwner keyIdOwner(keyId);
    log.LogInfo("We have a *:SecurityTokenReference/KeyIdentifier...");
    StringBuffer encodingType, valueType, identifier;
    keyId->getAttrValue("EncodingType", encodingType);  // read, deliberately unused
    keyId->getAttrValue("ValueType", valueType);
    keyId->getContentSb(identifier);
    if (!valueType.containsSubstring("ThumbprintSHA1")) return true;
    log.LogInfo(
        "Need to find the cert from the binary security token with a given SHA1 thumbprint...");
    log.LogDataSb("sbKeyIdentData", identifier);
    log.LogInfo("Need to locate BinarySecurityToken within XML...");
    if (m_xmlDoc == nullptr) return false;
    ClsXml* token = findToken(*m_xmlDoc, "*:ValueType", "*#X509v3");
    if (token == nullptr) {
        log.LogError("Failed to find the wsse:BinarySecurityToken element");
        return false;
    }
    RefCountedObjectOwner tokenOwner(token);
    StringBuffer content;
    token->getContentSb(content);
    DataBuffer der, sha1;
    der.appendEncoded(content.getString(), "base64");
    _tvHash::doHash(der.getData2(), der.getSize(), 1, sha1);
    StringBuffer sha1B64;
    sha1.encodeDB("base64", sha1B64);
    log.LogDataSb("sbSha1Base64", sha1B64);  // logged only: the first X.509 v3 token is used
    ClsPublicKey* key = publicKeyFromCertBase64(content, seen, log);
    if (key == nullptr) {
        log.LogError("Failed to get public key from cert.");
        return false;
    }
    log.LogInfo("Got public key from base64 cert.");
    addCandidate(keys, key, "KeyInfo/SecurityTokenReference/KeyIdentifier (BinarySecurityToken)",
                 true);
    return true;
}

}  // namespace xmldsig
