// Parsing of one Reference element and the external-data holders.
#include "dsig/DSigReference.h"

#include "dsig/AlgorithmTable.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

bool DSigReference::parseReference(ClsXml& ref, LogBase& log) {
    LogContextExitor ctx(log, "parseReference");
    m_uriOmitted = true;
    m_uri.clear();
    if (ref.getAttrValue("URI", m_uri)) m_uriOmitted = false;
    m_id.clear();
    ref.getAttrValue("Id", m_id);
    m_digestMethod.clear();
    ref.getChildAttrValue("*:DigestMethod", "Algorithm", m_digestMethod);

    m_transforms.clear();
    if (ClsXml* transforms = ref.getChildWithTagUtf8("*:Transforms")) {
        RefCountedObjectOwner owner(transforms);
        transforms->getXml(false, m_transforms, log);
    }

    m_digestValue.clear();
    ref.getChildContentUtf8("*:DigestValue", m_digestValue, false);
    for (char c : {'\n', '\r', '\t', ' '}) m_digestValue.removeCharOccurances(c);

    if (log.verbose()) {
        log.LogDataSb("Id", m_id);
        log.LogDataSb("URI", m_uri);
        log.LogDataSb("DigestMethod", m_digestMethod);
        log.LogDataSb("DigestValue", m_digestValue);
    }
    return true;
}

void DSigReference::logReference(LogBase& log) const {
    LogContextExitor ctx(log, "logDsigReference");
    log.LogDataSb("id", m_id);
    log.LogDataSb("uri", m_uri);
    if (m_uri.getSize() == 0) log.LogDataBool("uriOmitted", m_uriOmitted);
    log.LogDataSb("digestMethod", m_digestMethod);
    log.LogDataSb("digestValue", m_digestValue);
    log.LogDataSb("transforms", m_transforms);
}

int DSigReference::getHashAlg() const {
    return firstReading(kPlaceDigestMethod, m_digestMethod).hashId;
}

void DSigRefExternalData::setData(const DataBuffer& data) {
    m_filePath.clear();
    m_data.clear();
    m_data.append(data);
}

void DSigRefExternalData::setPath(const XString& path) {
    m_data.clear();
    m_filePath.copyFromX(path);
}

}  // namespace xmldsig
