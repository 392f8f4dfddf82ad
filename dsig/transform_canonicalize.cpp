// The canonicalization transform of a same-document reference: the host canonicalizer set up
// for the algorithm named by the transform and for the document family (attribute-sorting
// emulation, EBICS authenticated elements, CMA STP documents).
#include "dsig/_clsXmlDSigBase.h"
#include "dsig/detail/CommentsRetry.h"
#include "dsig/detail/RefDigestWork.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"
#include "host/xml/XmlCanon.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig {

namespace {

// EBICS signs every element marked authenticate="true", one after another.
bool isEbicsUri(const StringBuffer& uri) {
    if (uri.equals("EBICS")) return true;
    return uri.containsSubstring("xpointer") && uri.containsSubstring("authenticate") &&
           uri.containsSubstring("true");
}

// Dereferencing an empty or bare-name URI drops the comment nodes, so only the XPointer forms
// can give a WithComments canonicalization comments to render (unless a retry keeps them).
bool withComments(const StringBuffer& algorithm, const StringBuffer& uri, bool keepAnyway) {
    return (keepAnyway || uri.beginsWith("xpointer(")) &&
           algorithm.containsSubstringNoCase("WithComments");
}

// The PrefixList of an exclusive transform's InclusiveNamespaces child, split at blanks.
void readInclusivePrefixes(ClsXml& transform, XmlCanon& canon, LogBase& log) {
    ClsXml* inclusive = transform.getChildWithTagUtf8("*:InclusiveNamespaces");
    if (inclusive == nullptr) return;
    RefCountedObjectOwner owner(inclusive);
    StringBuffer prefixList;
    inclusive->getAttrValue("PrefixList", prefixList);
    if (log.verbose()) log.LogDataSb("inclusiveNamespacesPrefixList", prefixList);
    if (!prefixList.isEmpty()) prefixList.split(canon.m_inclusivePrefixes, ' ', true, true);
}

// The canonical forms of the authenticated elements, in document order, concatenated. The
// first one must exist; the walk stops at the first index that has none (at most 100).
bool canonicalizeEbics(XmlCanon& canon, StringBuffer& xml, const StringBuffer& uri,
                       const dom::Document* tree, LogBase& log) {
    constexpr int kMaxAuthenticated = 100;
    log.LogInfo("Canonicalizing for EBICS...");
    canon.m_ebicsMode = true;
    // Every authenticated element comes from the same text: parse it once for all of them (a
    // text that does not parse is left to the first call, which logs why).
    dom::Document local;
    if (tree == nullptr && local.parse(xml.str()).ok) tree = &local;
    canon.useParsedDocument(tree);
    StringBuffer out;
    for (int index = 0; index < kMaxAuthenticated; ++index) {
        canon.m_ebicsElementIndex = index;
        canon.m_ebicsSecondCounter = 0;
        if (canon.xmlCanonicalize(xml, uri.getString(), 0, out, log)) continue;
        if (index == 0) {
            log.LogError("Failed to canonicalize XML fragment.");
            return false;
        }
        break;
    }
    xml.takeSb(out);
    return true;
}

// CMA STP documents sign only their Document element.
void cutToDocumentElement(StringBuffer& xml) {
    xml.removeBefore("<Document ", false);
    xml.chopAtSubstr("</Document>", true);
}

}  // namespace

bool _clsXmlDSigBase::transformCanonicalize(ClsXml* transform, StringBuffer& xml,
                                            StringBuffer& algorithm, StringBuffer& uri,
                                            LogBase& log, detail::RefDigestWork* work) {
    LogContextExitor ctx(log, "transformCanonicalize");
    const bool exclusive = algorithm.containsSubstring("xml-exc-c14n");

    XmlCanon canon;
    canon.m_mode = exclusive ? XmlCanon::kModeExclusive : XmlCanon::kModeInclusive;
    canon.m_withComments = withComments(algorithm, uri, detail::KeepCommentsRetry::active());
    if (exclusive && transform != nullptr) readInclusivePrefixes(*transform, canon, log);
    if (m_isCsioz || m_emulateSortBug) {
        log.LogInfo("Will duplicate the XML canonicalization attribute sorting bug...");
        canon.m_duplicateSortingBug = true;
    }

    if (work != nullptr && !work->excluded.empty()) {
        canon.useParsedDocument(treeIfUnchanged(xml));
        canon.m_excludedSpans = work->excluded;
        const bool leaveOut = !isEbicsUri(uri) && !(m_isCmaStp && uri.isEmpty()) &&
                              canon.excludedSpansApply(uri.getString());
        if (leaveOut) {
            work->excluded.clear();
        } else {
            canon.m_excludedSpans.clear();
            work->cutExcluded();
        }
    }

    if (isEbicsUri(uri)) return canonicalizeEbics(canon, xml, uri, treeIfUnchanged(xml), log);

    if (m_isCmaStp && uri.isEmpty()) cutToDocumentElement(xml);
    canon.useParsedDocument(treeIfUnchanged(xml));
    StringBuffer out;
    if (!canon.xmlCanonicalize(xml, uri.getString(), 0, out, log)) {
        log.LogError("Failed to canonicalize XML fragment.");
        log.LogDataSb("uri", uri);
        return false;
    }
    xml.takeSb(out);
    return true;
}

}  // namespace xmldsig
