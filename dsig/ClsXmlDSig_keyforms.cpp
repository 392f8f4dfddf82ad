// KeyInfo forms beyond the established ones: RetrievalMethod to a KeyValue or X509Data of the
// same document, KeyInfoReference to a KeyInfo of the same document, DEREncodedKeyValue, and
// X509Digest naming a certificate of the store. Each only adds candidate keys; which key may
// verify, and whether its certificate is trusted, is decided as for every other key.
#include <cstring>

#include "dsig/AlgorithmTable.h"
#include "dsig/ClsXmlDSig.h"
#include "host/cert/SystemCerts.h"
#include "host/cert/TavolinX509.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/ContentCoding.h"
#include "host/xml/ClsXml.h"
#include "host/xml/detail/IdLookup.h"

namespace xmldsig {

namespace {

std::string localNameOf(const ClsXml& x) {
    StringBuffer tag;
    x.getTag(tag);
    const std::string t = tag.str();
    const auto colon = t.find(':');
    return colon == std::string::npos ? t : t.substr(colon + 1);
}

std::string attr(const ClsXml& x, const char* name) {
    StringBuffer v;
    x.getAttrValue(name, v);
    return v.str();
}

bool endsWith(const std::string& s, const char* suffix) {
    const std::size_t n = std::strlen(suffix);
    return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

}  // namespace

ClsXml* ClsXmlDSig::sameDocumentElement(const std::string& uri, LogBase& log) {
    if (m_xmlDoc == nullptr || uri.size() < 2 || uri[0] != '#') {
        log.LogError("Only same-document URIs (#id) are followed for keys.");
        log.LogDataStr("uri", uri.c_str());
        return nullptr;
    }
    std::string error;
    const dom::Node* n = detail::findElementById(*m_xmlDoc->document(), uri.substr(1), error);
    if (n == nullptr) {
        log.LogError(error.c_str());
        return nullptr;
    }
    return m_xmlDoc->handleFor(n);
}

// Reads the keys of a KeyInfo made of one element found elsewhere in the document.
void ClsXmlDSig::keysFromWrapped(const ClsXml& element, bool asKeyValue, ExtPtrArrayRc& keys,
                                 LogBase& log) {
    XString xml;
    element.GetXml(xml);
    StringBuffer text(asKeyValue ? "<KeyInfo><KeyValue>" : "<KeyInfo>");
    text.append(xml.getUtf8());
    text.append(asKeyValue ? "</KeyValue></KeyInfo>" : "</KeyInfo>");
    ClsXml* wrapped = ClsXml::createNewCls();
    if (wrapped == nullptr) return;
    RefCountedObjectOwner owner(wrapped);
    if (wrapped->loadXml(text, true, log)) publicKeyFromKeyInfo(*wrapped, keys, log);
}

void ClsXmlDSig::keysFromRetrievalMethods(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log) {
    const int n = keyInfo.numChildrenHavingTagUtf8("*:RetrievalMethod", log);
    for (int i = 0; i < n; ++i) {
        ClsXml* rm = keyInfo.getNthChildWithTagUtf8("*:RetrievalMethod", i, log);
        if (rm == nullptr) continue;
        RefCountedObjectOwner owner(rm);
        LogContextExitor ctx(log, "retrievalMethod");
        const std::string type = attr(*rm, "Type");
        ClsXml* target = sameDocumentElement(attr(*rm, "URI"), log);
        if (target == nullptr) continue;
        RefCountedObjectOwner targetOwner(target);
        const std::string name = localNameOf(*target);
        const bool keyValue = endsWith(type, "KeyValue") && endsWith(name, "KeyValue");
        const bool x509Data = endsWith(type, "#X509Data") && name == "X509Data";
        if (!keyValue && !x509Data) {
            log.LogError("The RetrievalMethod's Type does not match the element it names.");
            log.LogDataStr("type", type.c_str());
            log.LogDataStr("element", name.c_str());
            continue;
        }
        keysFromWrapped(*target, keyValue, keys, log);
    }
}

void ClsXmlDSig::keysFromDerEncodedKeyValues(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log) {
    const int n = keyInfo.numChildrenHavingTagUtf8("*:DEREncodedKeyValue", log);
    for (int i = 0; i < n; ++i) {
        ClsXml* der = keyInfo.getNthChildWithTagUtf8("*:DEREncodedKeyValue", i, log);
        if (der == nullptr) continue;
        RefCountedObjectOwner owner(der);
        StringBuffer b64;
        der->getContentSb(b64);
        DataBuffer bytes;
        ClsPublicKey* key = ClsPublicKey::createNewCls();
        if (key == nullptr) return;
        if (ContentCoding::decodeBase64ToDb(b64.getString(), b64.getSize(), bytes) &&
            key->loadAnyDer(bytes, log)) {
            log.LogInfo("Loaded public key from DEREncodedKeyValue in KeyInfo.");
            keys.appendRefCounted(key);
        } else {
            log.LogError("Failed to parse DEREncodedKeyValue");
            key->decRefCount();
        }
    }
}

void ClsXmlDSig::keysFromX509Digest(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log) {
    ClsXml* digest = keyInfo.getChildWithTagUtf8("*:X509Data|*:X509Digest");
    if (digest == nullptr || m_systemCerts == nullptr) return;
    RefCountedObjectOwner owner(digest);
    LogContextExitor ctx(log, "x509Digest");
    const std::string algorithm = attr(*digest, "Algorithm");
    const int hashId = digestMethodHash(algorithm.c_str());
    StringBuffer value;
    digest->getContentSb(value);
    TavolinX509* cert = m_systemCerts->findByCertDigest(hashId, value.getString(), log);
    if (cert == nullptr) {
        log.LogError("No certificate of the store has the X509Digest.");
        log.LogDataStr("algorithm", algorithm.c_str());
        return;
    }
    if (ClsPublicKey* key = publicKeyFromX509(*cert, log)) keys.appendRefCounted(key);
}

void ClsXmlDSig::keysFromKeyInfoReference(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log) {
    ClsXml* ref = keyInfo.getChildWithTagUtf8("*:KeyInfoReference");
    if (ref == nullptr) return;
    RefCountedObjectOwner owner(ref);
    LogContextExitor ctx(log, "keyInfoReference");
    ClsXml* target = sameDocumentElement(attr(*ref, "URI"), log);
    if (target == nullptr) return;
    RefCountedObjectOwner targetOwner(target);
    if (localNameOf(*target) != "KeyInfo") {
        log.LogError("A KeyInfoReference must name a KeyInfo element.");
        return;
    }
    // One step only: the KeyInfo named is read without following its own references.
    publicKeyFromKeyInfo(*target, keys, log);
}

void ClsXmlDSig::keysFromFurtherForms(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log) {
    keysFromRetrievalMethods(keyInfo, keys, log);
    keysFromDerEncodedKeyValues(keyInfo, keys, log);
    keysFromX509Digest(keyInfo, keys, log);
    keysFromKeyInfoReference(keyInfo, keys, log);
}

}  // namespace xmldsig
