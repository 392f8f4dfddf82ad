// Adding a XAdES signature timestamp to the selected signature: a token from a timestamp
// authority over the canonical SignatureValue element, spliced into the document text.
#include "dsig/ClsXmlDSig.h"
#include "dsig/detail/XadesInsert.h"
#include "host/cms/ClsHttp.h"
#include "host/cms/ClsJsonObject.h"
#include "host/cms/CmsSignedData.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsStringBuilder.h"
#include "host/xml/ClsXml.h"
#include "host/xml/XmlCanon.h"
#include "host/xml/XmlSigLocate.h"

namespace xmldsig {

namespace {

void logXadesLocations(const XmlSigLocate& loc, LogBase& log) {
    log.LogDataLong("m_signatureValueLoc", loc.m_signatureValueLoc);
    log.LogDataLong("m_qualifyingPropertiesLoc", loc.m_qualifyingPropertiesLoc);
    log.LogDataLong("m_unsignedPropertiesLoc", loc.m_unsignedPropertiesLoc);
    log.LogDataLong("m_unsignedSignaturePropertiesLoc", loc.m_unsignedSignaturePropertiesLoc);
    log.LogDataLong("m_signedPropertiesLoc", loc.m_signedPropertiesLoc);
    log.LogDataLong("m_signedPropertiesLen", loc.m_signedPropertiesLen);
}

}  // namespace

bool ClsXmlDSig::HasEncapsulatedTimeStamp() {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "HasEncapsulatedTimeStamp");
    m_log.clearLastJsonData();
    return hasEncapsulatedTimeStamp(m_log);
}

bool ClsXmlDSig::hasEncapsulatedTimeStamp(LogBase& log) {
    LogContextExitor ctx(log, "hasEncapsulatedTimeStamp");
    log.LogDataLong("numSignatures", m_signatures.getSize());
    log.LogDataLong("selector", m_selector);
    ClsXml* sig = selectedSignature();
    if (sig == nullptr) {
        log.LogError("No signature at the selector index.");
        return false;
    }
    ClsXml* found = sig->searchForTag(nullptr, "*:EncapsulatedTimeStamp");
    if (found != nullptr) {
        found->decRefCount();
        return true;
    }
    log.LogError("No EncapsulatedTimestamp.");
    return false;
}

void ClsXmlDSig::SetHttpObj(ClsHttp& http) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "SetHttpObj");
    setTsaHttpObj(&http, m_log);
}

bool ClsXmlDSig::AddEncapsulatedTimeStamp(ClsJsonObject& json, ClsStringBuilder& sbOut) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "AddEncapsulatedTimeStamp");
    m_log.clearLastJsonData();
    sbOut.m_str.clear();
    m_log.LogDataLong("numSignatures", m_signatures.getSize());
    m_log.LogDataLong("selector", m_selector);
    if (hasEncapsulatedTimeStamp(m_log)) {
        m_log.LogError("Already has an EncapsulatedTimeStamp.");
        return false;
    }
    return addEncapsulatedTimeStamp(json, sbOut.m_str, m_log);
}

bool ClsXmlDSig::addEncapsulatedTimeStamp(ClsJsonObject& json, XString& out, LogBase& log) {
    LogContextExitor ctx(log, "addEncapsulatedTimeStamp");
    out.clear();
    ClsXml* sig = selectedSignature();
    if (sig == nullptr) {
        log.LogError("No signature at the selector.");
        return false;
    }
    StringBuffer sigId;
    selectedSignatureId(sigId, log);
    log.LogDataSb("SignatureId", sigId);
    XmlSigLocate loc;
    loc.m_getXadesLocations = true;
    if (!locateSelectedSignature(sigId, loc, log)) return false;
    logXadesLocations(loc, log);

    ClsXml* sigValue = sig->getChildWithTagUtf8("*:SignatureValue");
    RefCountedObjectOwner sigValueOwner(sigValue);
    StringBuffer sigValueId;
    if (sigValue == nullptr) {
        log.LogError("No SignatureValue found.");
        return false;
    }
    if (loc.m_signatureValueLoc == 0) {
        log.LogError("No SignatureValue location found.");
        return false;
    }
    if (!sigValue->getAttrValue("Id", sigValueId)) {
        log.LogError("No SignatureValue Id attribute found.");
        return false;
    }
    StringBuffer prefix;
    sig->getTagNamespace(prefix);
    const bool sigHasXadesNs = sig->HasAttribute(XString("xmlns:xades"));

    detail::TimestampInsertion insertion;
    detail::planTimestampInsertion(loc, m_xmlText, prefix, sigHasXadesNs, sigId, insertion, log);

    // The token covers the exclusive canonical form of the SignatureValue element, LF line ends.
    XmlCanon canon;
    canon.m_mode = XmlCanon::kModeExclusive;
    canon.m_withComments = false;
    canon.useParsedDocument(treeIfUnchanged(m_xmlText));
    StringBuffer canonSigValue;
    DataBuffer token;
    if (canon.xmlCanonicalize(m_xmlText, sigValueId.getString(), 0, canonSigValue, log)) {
        canonSigValue.toLF();
        DataBuffer toStamp;
        toStamp.append(canonSigValue);
        // Deliberately not checked: an unreachable authority leaves the token empty, and the
        // document still gets its (empty) timestamp element.
        CmsSignedData::getTimestampToken(json, toStamp, *this, token, log);
    } else {
        log.LogError("Failed to canonicalize the SignatureValue; no timestamp was requested.");
    }

    StringBuffer tokenBase64;
    token.encodeDB("base64", tokenBase64);
    insertion.fragment.replaceFirstOccurance(detail::kTokenPlaceholder, tokenBase64.getString(),
                                             false);
    StringBuffer& text = out.getUtf8Sb_rw();
    text.setString(m_xmlText);
    if (insertion.offset != 0) {
        text.removeChunk(insertion.offset, insertion.removeLen);
        text.insertAt(insertion.fragment, insertion.offset);
    }
    logSuccessFailure2(true, log);
    return true;
}

}  // namespace xmldsig
