// What each reference of the selected signature covers in the loaded document.
#include "dsig/ClsXmlDSig.h"
#include "dsig/ReferenceCoverage.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"
#include "host/xml/XmlIdCheck.h"

namespace xmldsig {

namespace {

// The Id a same-document URI names ("#x", "#xpointer(id('x'))"); "" for the whole document
// ("", "#xpointer(/)"). False for an external URI.
bool sameDocumentId(const std::string& uri, std::string& id) {
    id.clear();
    if (uri.empty() || uri == "#xpointer(/)") return true;
    if (uri[0] != '#') return false;
    id = uri.substr(1);
    const std::string open = "xpointer(id(";
    if (id.rfind(open, 0) == 0 && id.size() > open.size() + 4)
        id = id.substr(open.size() + 1, id.size() - open.size() - 4);  // inside the quotes
    return true;
}

void readTransforms(const StringBuffer& transformsXml, ReferenceCoverage& out) {
    if (transformsXml.getSize() == 0) return;
    ClsXml* transforms = ClsXml::createNewCls();
    if (transforms == nullptr) return;
    RefCountedObjectOwner owner(transforms);
    LogNull quiet;
    if (!transforms->loadXml(transformsXml, true, quiet)) return;
    for (int i = 0;; ++i) {
        ClsXml* t = transforms->getNthChildWithTagUtf8("*:Transform", i, quiet);
        if (t == nullptr) break;
        RefCountedObjectOwner tOwner(t);
        StringBuffer algorithm, expr;
        t->getAttrValue("Algorithm", algorithm);
        if (algorithm.containsSubstring("enveloped-signature")) out.withoutSignature = true;
        if (!algorithm.containsSubstringNoCase("xpath") && !algorithm.containsSubstring("filter2"))
            continue;
        t->getChildContentUtf8("*:XPath", expr, false);
        expr.trim2();
        out.xpath += (out.xpath.empty() ? "" : " ; ") + expr.str();
    }
}

}  // namespace

bool ClsXmlDSig::describeCoverage(int index, ReferenceCoverage& out) {
    CritSecExitor lock(this);
    out = ReferenceCoverage();
    DSigReference ref;
    if (!describeReference(index, ref)) return false;
    StringBuffer uri(ref.m_uri);
    uri.trim2();
    out.uri = uri.str();
    readTransforms(ref.m_transforms, out);
    std::string id;
    if (!sameDocumentId(out.uri, id)) {
        out.kind = ReferenceCoverage::Kind::External;
        return true;
    }
    // The component takes the signature out of a whole-document reference in every case.
    if (out.uri.empty()) out.withoutSignature = true;
    ElementPlace place;
    if (m_xmlDoc == nullptr || !placeOfElementWithId(*m_xmlDoc, id.c_str(), place)) {
        const int n = m_xmlDoc != nullptr ? countElementsWithId(*m_xmlDoc, id.c_str()) : 0;
        out.problem = n > 1 ? "Id " + id + " appears " + std::to_string(n) + " times"
                            : "no element has Id " + id;
        return true;
    }
    out.kind =
        id.empty() ? ReferenceCoverage::Kind::WholeDocument : ReferenceCoverage::Kind::Element;
    out.id = id;
    out.path = place.path;
    out.hasRange = true;
    out.start = id.empty() ? 0 : place.start;
    out.end = id.empty() ? m_xmlText.getSize() : place.end;
    return true;
}

}  // namespace xmldsig
