// The XAdES locations of a located signature: where its qualifying properties are, and where a
// timestamp or a whole new Object could be inserted without disturbing what is signed.
#include <functional>
#include <set>
#include <string>

#include "host/xml/XmlSigLocate.h"
#include "host/xml/detail/ChildElements.h"
#include "host/xml/detail/IdLookup.h"
#include "host/xml/detail/XmlLocateUtil.h"

namespace xmldsig {

namespace {

// The Id a same-document Reference URI names: "#x" or "#xpointer(id('x'))"; empty otherwise.
std::string fragmentId(std::string_view uri) {
    if (uri.size() < 2 || uri[0] != '#') return std::string();
    const std::string frag(uri.substr(1));
    const std::string open = "xpointer(id(";
    if (frag.compare(0, open.size(), open) != 0) return frag;
    const std::size_t b = open.size();
    if (frag.size() < b + 4) return std::string();
    const char quote = frag[b];
    const std::size_t e = frag.find(quote, b + 1);
    if ((quote != '\'' && quote != '"') || e == std::string::npos) return std::string();
    return frag.substr(b + 1, e - b - 1);
}

std::set<std::string, std::less<>> referencedIds(const dom::Node& sig) {
    std::set<std::string, std::less<>> ids;
    const dom::Node* si = detail::firstChildByLocalName(sig, "SignedInfo");
    if (si == nullptr) return ids;
    for (const dom::Node* ref : detail::childrenByLocalName(*si, "Reference")) {
        const std::string_view* uri = ref->attributeValue("URI");
        if (uri == nullptr) continue;
        const std::string id = fragmentId(*uri);
        if (!id.empty()) ids.insert(id);
    }
    return ids;
}

// True when a Reference names the Object or anything inside it: inserting there would change
// signed content.
bool coveredByReference(const dom::Node& object, const std::set<std::string, std::less<>>& ids) {
    for (const dom::Node* n = &object; n != nullptr; n = dom::nextInDocumentOrder(n, &object)) {
        if (!n->isElement()) continue;
        for (const dom::Attribute& a : n->attributes) {
            if (detail::isIdAttributeName(a.name) && ids.count(a.value) != 0) return true;
        }
    }
    return false;
}

const dom::Node* findContainer(const dom::Node& sig) {
    const std::set<std::string, std::less<>> ids = referencedIds(sig);
    for (const dom::Node* obj : detail::childrenByLocalName(sig, "Object")) {
        if (detail::firstChildByLocalName(*obj, "QualifyingProperties") != nullptr) continue;
        if (obj->fromEntity) continue;  // its text is not in the document (an empty tag is opened)
        if (coveredByReference(*obj, ids)) continue;
        return obj;
    }
    return nullptr;
}

const dom::Node* findQualifyingProperties(const dom::Node& sig) {
    for (const dom::Node* obj : detail::childrenByLocalName(sig, "Object")) {
        if (const dom::Node* qp = detail::firstChildByLocalName(*obj, "QualifyingProperties")) {
            return qp;
        }
    }
    return nullptr;
}

uint32_t startOf(const dom::Node* n) {
    return n ? n->start : 0;
}

}  // namespace

bool XmlSigLocate::reportXadesLocations(const dom::Node& sig, LogBase& log) {
    const dom::Node* qp = findQualifyingProperties(sig);
    const dom::Node* sp = qp ? detail::firstChildByLocalName(*qp, "SignedProperties") : nullptr;
    const dom::Node* up = qp ? detail::firstChildByLocalName(*qp, "UnsignedProperties") : nullptr;
    const dom::Node* usp =
        up ? detail::firstChildByLocalName(*up, "UnsignedSignatureProperties") : nullptr;
    const dom::Node* anchor = detail::lastChildElement(sig);
    for (const dom::Node* n : {qp, sp, up, usp, anchor}) {
        if (!detail::offsetsUsable(n, log)) return false;
    }
    m_qualifyingPropertiesLoc = startOf(qp);
    m_signedPropertiesLoc = startOf(sp);
    m_signedPropertiesLen = sp ? sp->end - sp->start : 0;
    m_unsignedPropertiesLoc = startOf(up);
    m_unsignedSignaturePropertiesLoc = startOf(usp);
    m_objectAnchorLoc = startOf(anchor);
    m_objectAnchorLen = anchor ? anchor->end - anchor->start : 0;
    m_containerLoc = startOf(findContainer(sig));
    return true;
}

}  // namespace xmldsig
