// Canonicalization on request: thin, strict front ends to the host canonicalizer.
#include "dsig/ClsXmlDSig.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/xml/XmlCanon.h"

namespace xmldsig {

namespace {

// "excl_c14n" (after trimming and lower-casing) selects exclusive canonicalization; any other
// text, the empty text included, means inclusive Canonical XML 1.0.
bool isExclusiveVersion(const XString& canonVersion) {
    StringBuffer v;
    v.setString(canonVersion.getUtf8Sb());
    v.trim2();
    v.toLowerCase();
    return v.equals("excl_c14n");
}

}  // namespace

bool ClsXmlDSig::CanonicalizeXml(const XString& xml, const XString& canonVersion, bool withComments,
                                 XString& out) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "CanonicalizeXml");
    m_log.clearLastJsonData();
    out.clear();
    XmlCanon canon;
    canon.m_withComments = withComments;
    canon.m_mode = isExclusiveVersion(canonVersion) ? 2 : 1;
    return canon.xmlCanonicalize(xml.getUtf8Sb(), nullptr, 0, out.getUtf8Sb_rw(), m_log);
}

bool ClsXmlDSig::CanonicalizeFragment(const XString& xml, const XString& fragmentId,
                                      const XString& canonVersion, const XString& prefixList,
                                      bool withComments, XString& out) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "CanonicalizeFragment");
    m_log.LogDataX("fragmentId", fragmentId);
    m_log.LogDataX("canonicalization", canonVersion);
    m_log.LogDataX("prefixList", prefixList);
    m_log.clearLastJsonData();
    out.clear();
    XmlCanon canon;
    canon.m_withComments = withComments;
    canon.m_mode = 1;
    if (isExclusiveVersion(canonVersion)) {
        canon.m_mode = 2;
        StringBuffer prefixes;
        prefixes.setString(prefixList.getUtf8Sb());
        prefixes.split(canon.m_inclusivePrefixes, ' ', true, true);
    }
    return canon.xmlCanonicalize(xml.getUtf8Sb(), fragmentId.getUtf8(), 0, out.getUtf8Sb_rw(),
                                 m_log);
}

}  // namespace xmldsig
