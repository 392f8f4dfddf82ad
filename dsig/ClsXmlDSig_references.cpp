// Accessors for the selected signature's SignedInfo and references, and the store of
// caller-supplied data for external references.
#include "dsig/ClsXmlDSig.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/_tvCharset.h"
#include "host/xml/ClsBinData.h"
#include "host/xml/ClsStringBuilder.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

namespace {
const int kMaxExternalRefIndex = 100;
}

ClsXml* ClsXmlDSig::selectedSignature() const {
    return static_cast<ClsXml*>(m_signatures.elementAt(m_selector));
}

ClsXml* ClsXmlDSig::signedInfoOf(ClsXml& sig, LogBase&) const {
    return sig.getChildWithTagUtf8("*:SignedInfo");
}

int ClsXmlDSig::numReferences(ClsXml& sig, LogBase& log) {
    ClsXml* signedInfo = signedInfoOf(sig, log);
    if (signedInfo == nullptr) return 0;
    RefCountedObjectOwner owner(signedInfo);
    return signedInfo->numChildrenHavingTagUtf8("*:Reference", log);
}

int ClsXmlDSig::get_NumReferences() {
    CritSecExitor lock(this);
    ClsXml* sig = selectedSignature();
    if (sig == nullptr) return 0;
    LogNull quiet;
    return numReferences(*sig, quiet);
}

ClsXml* ClsXmlDSig::getReference(int index, LogBase& log) {
    LogContextExitor ctx(log, "getReference");
    if (log.verbose()) {
        log.LogDataLong("m_selector", m_selector);
        log.LogDataLong("index", index);
    }
    if (m_manifest != nullptr) return m_manifest->getNthChildWithTagUtf8("*:Reference", index, log);
    ClsXml* sig = selectedSignature();
    if (sig == nullptr) {
        log.LogError("No object in dsig array at the current selector index.");
        log.LogDataLong("selectorIndex", m_selector);
        return nullptr;
    }
    ClsXml* signedInfo = signedInfoOf(*sig, log);
    if (signedInfo == nullptr) {
        log.LogError("No SignedInfo child.");
        return nullptr;
    }
    RefCountedObjectOwner owner(signedInfo);
    ClsXml* ref = signedInfo->getNthChildWithTagUtf8("*:Reference", index, log);
    if (ref == nullptr) {
        log.LogError("No Reference element at the requested index.");
        log.LogDataLong("index", index);
    }
    return ref;
}

bool ClsXmlDSig::getReferenceUri(int index, StringBuffer& out, LogBase& log) {
    out.clear();
    ClsXml* ref = getReference(index, log);
    if (ref == nullptr) return false;
    RefCountedObjectOwner owner(ref);
    ref->getAttrValue("URI", out);
    return true;
}

bool ClsXmlDSig::getSignedInfoField(const char* tag, const char* attr, StringBuffer& out,
                                    LogBase& log) {
    LogContextExitor ctx(log, "getSignedInfoField");
    ClsXml* sig = selectedSignature();
    ClsXml* signedInfo = sig != nullptr ? signedInfoOf(*sig, log) : nullptr;
    if (signedInfo == nullptr) {
        log.LogError("No SignedInfo child.");
        return false;
    }
    RefCountedObjectOwner owner(signedInfo);
    StringBuffer path("*:");
    path.append(tag);
    ClsXml* child = signedInfo->getChildWithTagUtf8(path.getString());
    if (child == nullptr) {
        log.LogDataStr("childNotFound", tag);
        return false;
    }
    RefCountedObjectOwner childOwner(child);
    if (attr != nullptr)
        child->getAttrValue(attr, out);  // an element without the attribute reads as empty
    else
        child->getContentSb(out);
    return true;
}

bool ClsXmlDSig::getSignatureMethod(StringBuffer& out, LogBase& log) {
    return getSignedInfoField("SignatureMethod", "Algorithm", out, log);
}

bool ClsXmlDSig::getCanonicalizationMethod(StringBuffer& method, StringBuffer& prefixList,
                                           LogBase& log) {
    method.clear();
    prefixList.clear();
    ClsXml* sig = selectedSignature();
    ClsXml* signedInfo = sig != nullptr ? signedInfoOf(*sig, log) : nullptr;
    if (signedInfo == nullptr) {
        log.LogError("No SignedInfo child.");
        return false;
    }
    RefCountedObjectOwner owner(signedInfo);
    ClsXml* cm = signedInfo->getChildWithTagUtf8("*:CanonicalizationMethod");
    if (cm == nullptr) {
        log.LogDataStr("childNotFound", "*:CanonicalizationMethod");
        return false;
    }
    RefCountedObjectOwner cmOwner(cm);
    cm->getAttrValue("Algorithm", method);
    cm->getChildAttrValue("*:InclusiveNamespaces", "PrefixList", prefixList);
    return true;
}

bool ClsXmlDSig::getSignatureValue(StringBuffer& out, LogBase& log) {
    out.clear();
    ClsXml* sig = selectedSignature();
    if (sig == nullptr) return false;
    ClsXml* value = sig->getChildWithTagUtf8("*:SignatureValue");
    if (value == nullptr) {
        log.LogError("No SignatureValue child.");
        return false;
    }
    RefCountedObjectOwner owner(value);
    value->getContentSb(out);
    // Carriage returns written as character references survive as text in some signers' output.
    out.replaceAllOccurances("&#13;", "");
    out.replaceAllOccurances("&#xD;", "");
    return out.getSize() != 0;
}

bool ClsXmlDSig::selectedSignatureId(StringBuffer& out, LogBase&) {
    out.clear();
    ClsXml* sig = selectedSignature();
    return sig != nullptr && sig->getAttrValue("Id", out);
}

bool ClsXmlDSig::selectBySignatureId(const StringBuffer& id, LogBase& log) {
    LogContextExitor ctx(log, "selectBySignatureId");
    log.LogDataSb("signatureId", id);
    for (int i = 0; i < m_signatures.getSize(); ++i) {
        auto* sig = static_cast<ClsXml*>(m_signatures.elementAt(i));
        StringBuffer sigId;
        if (sig != nullptr && sig->getAttrValue("Id", sigId) && sigId.equals(id)) {
            m_selector = i;
            return true;
        }
    }
    log.LogError("Signature with Id not found.");
    return false;
}

DSigRefExternalData* ClsXmlDSig::getExtRef(int index, bool create, LogBase& log) {
    LogContextExitor ctx(log, "getExtRef");
    log.LogDataLong("index", index);
    // Tested unsigned so that a negative index is out of range too.
    if (static_cast<unsigned>(index) > static_cast<unsigned>(kMaxExternalRefIndex)) return nullptr;

    auto* sigData = static_cast<DSigExternalData*>(m_refExternalData.elementAt(m_selector));
    if (sigData == nullptr) {
        sigData = new DSigExternalData();
        sigData->m_refData.setOwnsObjects(true);
        m_refExternalData.setAt(m_selector, sigData);
    }
    auto* refData = static_cast<DSigRefExternalData*>(sigData->m_refData.elementAt(index));
    if (refData == nullptr && create) {
        refData = new DSigRefExternalData();
        sigData->m_refData.setAt(index, refData);
    }
    return refData;
}

bool ClsXmlDSig::ReferenceUri(int index, XString& out) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "ReferenceUri");
    m_log.clearLastJsonData();
    StringBuffer uri;
    bool ok = getReferenceUri(index, uri, m_log);
    out.setFromSbUtf8(uri);
    logSuccessFailure(ok);
    return ok;
}

bool ClsXmlDSig::IsReferenceExternal(int index) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "IsReferenceExternal");
    m_log.clearLastJsonData();
    StringBuffer uri;
    if (!getReferenceUri(index, uri, m_log)) return false;
    return uri.getSize() != 0 && !uri.beginsWith("#");
}

bool ClsXmlDSig::setRefData(const char* opName, int index, const DataBuffer* data,
                            const XString* path) {
    LogContextExitor ctx(*this, opName);
    m_log.clearLastJsonData();
    DSigRefExternalData* ext = getExtRef(index, true, m_log);
    if (ext == nullptr) {
        logSuccessFailure(false);
        return false;
    }
    if (path != nullptr) ext->setPath(*path);
    if (data != nullptr) ext->setData(*data);
    logSuccessFailure(true);
    return true;
}

bool ClsXmlDSig::SetRefDataFile(int index, const XString& path) {
    CritSecExitor lock(this);
    return setRefData("SetRefDataFile", index, nullptr, &path);
}

bool ClsXmlDSig::SetRefDataBd(int index, const ClsBinData& bd) {
    CritSecExitor lock(this);
    return setRefData("SetRefDataBd", index, &bd.m_data, nullptr);
}

bool ClsXmlDSig::SetRefDataSb(int index, const ClsStringBuilder& sb, const XString& charset) {
    CritSecExitor lock(this);
    _tvCharset cs;
    cs.setByName(charset.getUtf8());
    DataBuffer bytes;
    sb.m_str.getConverted(cs, bytes);
    return setRefData("SetRefDataSb", index, &bytes, nullptr);
}

bool ClsXmlDSig::describeReference(int index, DSigReference& out) {
    CritSecExitor lock(this);
    LogNull quiet;
    ClsXml* ref = getReference(index, quiet);
    if (ref == nullptr) return false;
    RefCountedObjectOwner owner(ref);
    return out.parseReference(*ref, quiet);
}

bool ClsXmlDSig::describeSignedInfo(StringBuffer& canonMethod, StringBuffer& prefixList,
                                    StringBuffer& signatureMethod, StringBuffer& signatureId) {
    CritSecExitor lock(this);
    LogNull quiet;
    signatureMethod.clear();
    bool ok = getCanonicalizationMethod(canonMethod, prefixList, quiet);
    getSignatureMethod(signatureMethod, quiet);
    selectedSignatureId(signatureId, quiet);
    return ok;
}

}  // namespace xmldsig
