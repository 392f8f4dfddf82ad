// One parsed Reference of a SignedInfo, and the caller-supplied data for external references.
#pragma once

#include "host/text/DataBuffer.h"
#include "host/text/ExtPtrArray.h"
#include "host/text/StringBuffer.h"
#include "host/text/TavolinObject.h"
#include "host/text/XString.h"

namespace xmldsig {

class ClsXml;
class LogBase;

class DSigReference {
    friend class TransformTestAccess;

  public:
    DSigReference() = default;
    virtual ~DSigReference() = default;

    // Fills the fields from a Reference element. Always succeeds: absent parts stay empty.
    bool parseReference(ClsXml& ref, LogBase& log);
    void logReference(LogBase& log) const;
    // Hash id of the digest method; anything unrecognised (an empty method included) is SHA-1.
    int getHashAlg() const;
    // Removes the elements addressed to the next SOAP or ebXML node (at most 13).
    static void removeEbXmlFragments(StringBuffer& xml, LogBase& log);

    bool m_uriOmitted = true;  // no URI attribute at all (an empty one is not omitted)
    StringBuffer m_uri;
    StringBuffer m_id;
    StringBuffer m_digestMethod;
    StringBuffer m_transforms;   // XML of the first Transforms child, whole
    StringBuffer m_digestValue;  // DigestValue text with all white space removed
};

// Data to digest in place of one external reference: bytes, or a file to read.
class DSigRefExternalData : public TavolinObject {
  public:
    void setData(const DataBuffer& data);
    void setPath(const XString& path);

    DataBuffer m_data;
    XString m_filePath;
};

// The external-reference data of one signature, indexed by reference index.
class DSigExternalData : public TavolinObject {
  public:
    ExtPtrArray m_refData;  // of DSigRefExternalData, owned, sparse
};

}  // namespace xmldsig
