// Manifests: a Reference of type Manifest signs a list of further references; each of those is
// checked like a reference of SignedInfo, against the data it names.
#include "dsig/ClsXmlDSig.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"
#include "host/xml/XmlIdCheck.h"

namespace xmldsig {

namespace {

// The one Manifest element whose Id is id; null when there is none, or several elements
// carry the Id.
ClsXml* manifestById(ClsXml& doc, const std::string& id) {
    if (id.empty() || countElementsWithId(doc, id.c_str()) != 1) return nullptr;
    for (const char* attr : {"Id", "ID", "id"})
        if (ClsXml* m = doc.searchForAttribute(nullptr, "*:Manifest", attr, false, id.c_str()))
            return m;
    return nullptr;
}

}  // namespace

bool ClsXmlDSig::VerifyManifests(std::vector<ManifestReferenceResult>& out) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "VerifyManifests");
    LogBase& log = m_log;
    out.clear();
    if (m_xmlDoc == nullptr) return true;
    ExtPtrArraySb dirs;
    if (!m_externalRefDirs.isEmpty()) m_externalRefDirs.getUtf8Sb().split(dirs, ';', true, true);
    bool allOk = true;
    const int n = get_NumReferences();
    for (int i = 0; i < n; ++i) {
        DSigReference ref;
        StringBuffer type;
        ClsXml* refXml = getReference(i, log);
        if (refXml == nullptr) continue;
        RefCountedObjectOwner refOwner(refXml);
        refXml->getAttrValue("Type", type);
        ref.parseReference(*refXml, log);
        if (!type.endsWith("#Manifest") || !ref.m_uri.beginsWith("#")) continue;
        ClsXml* manifest = manifestById(*m_xmlDoc, ref.m_uri.str().substr(1));
        if (manifest == nullptr) {
            log.LogInfo("The Manifest reference names no single Manifest element.");
            continue;
        }
        RefCountedObjectOwner manifestOwner(manifest);
        m_manifest = manifest;
        const int count = manifest->numChildrenHavingTagUtf8("*:Reference", log);
        log.LogDataLong("numManifestReferences", count);
        for (int k = 0; k < count; ++k) {
            ManifestReferenceResult r;
            r.signatureReference = i;
            r.index = k;
            DSigReference inner;
            if (ClsXml* innerXml = manifest->getNthChildWithTagUtf8("*:Reference", k, log)) {
                RefCountedObjectOwner innerOwner(innerXml);
                inner.parseReference(*innerXml, log);
            }
            r.uri = inner.m_uri.str();
            // External data is hashed as it is: transforms over it would be skipped, so such a
            // reference is reported as not checked rather than as a mismatch.
            if (inner.m_transforms.getSize() != 0 && r.uri.size() != 0 && r.uri[0] != '#') {
                r.reason = RefFail::kOther;
                r.detail = "not checked: transforms over external data are not applied";
                out.push_back(r);
                continue;
            }
            bool externalMissing = false;
            r.ok = verifyReferenceDigest(k, externalMissing, dirs, log);
            r.reason = m_refFailReason;
            r.detail = m_refFailDetail;
            allOk = allOk && (r.ok || (externalMissing && m_ignoreExternalRefs));
            out.push_back(r);
        }
        m_manifest = nullptr;
    }
    logSuccessFailure(allOk);
    return allOk;
}

}  // namespace xmldsig
