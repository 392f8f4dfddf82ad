// ClsXml: children, tag paths and searches. Every walk is iterative.
#include <string>

#include "host/xml/ClsXml.h"
#include "host/xml/detail/SignatureElements.h"
#include "host/xml/detail/TagPath.h"

namespace xmldsig {

namespace {

bool valueMatches(std::string_view value, const char* pattern, bool caseInsensitive) {
    return StringBuffer(std::string(value)).matches(pattern, !caseInsensitive);
}

}  // namespace

bool ClsXml::inSubtree(const dom::Node* n) const {
    for (const dom::Node* p = n; p != nullptr; p = p->parent) {
        if (p == m_node) return true;
    }
    return false;
}

ClsXml* ClsXml::getChildWithTagUtf8(const char* tagPath) const {
    if (tagPath == nullptr) return nullptr;
    return newHandle(detail::followTagPath(*m_node, tagPath, m_i));
}

ClsXml* ClsXml::findChild(const char* tagPath) const {
    return getChildWithTagUtf8(tagPath);
}

ClsXml* ClsXml::getNthChildWithTagUtf8(const char* tag, int index, LogBase& log) const {
    if (tag == nullptr) return nullptr;
    const dom::Node* n = detail::nthChildWithTag(*m_node, tag, index);
    if (n == nullptr && log.verbose()) {
        log.LogDataStr("noChildWithTag", tag);
        log.LogDataLong("index", index);
    }
    return newHandle(n);
}

int ClsXml::numChildrenHavingTagUtf8(const char* tag, LogBase&) const {
    return tag == nullptr ? 0 : detail::countChildrenWithTag(*m_node, tag);
}

int ClsXml::get_NumChildren() const {
    return detail::countChildrenWithTag(*m_node, "*");
}

ClsXml* ClsXml::getChild(int index) const {
    return newHandle(detail::nthChildWithTag(*m_node, "*", index));
}

ClsXml* ClsXml::GetChild(int index) const {
    return getChild(index);
}

bool ClsXml::getChild2(int index) {
    const dom::Node* n = detail::nthChildWithTag(*m_node, "*", index);
    if (n == nullptr) return false;
    m_node = n;
    return true;
}

bool ClsXml::findSignatures(ExtPtrArrayRc& out, LogBase& log) const {
    const std::vector<const dom::Node*> found = detail::collectSignatures(*m_doc->documentNode());
    for (const dom::Node* n : found) {
        ClsXml* h = newHandle(n);
        if (h == nullptr || !out.appendRefCounted(h)) {
            if (h != nullptr) h->decRefCount();
            log.LogError("Out of memory collecting signatures.");
            return false;
        }
    }
    if (log.verbose()) log.LogDataLong("numSignaturesFound", static_cast<long>(found.size()));
    return true;
}

ClsXml* ClsXml::searchForTag(const ClsXml* after, const char* tag) const {
    return searchForAttribute(after, tag, nullptr, false, nullptr);
}

// With attrName null only the tag is tested.
ClsXml* ClsXml::searchForAttribute(const ClsXml* after, const char* tag, const char* attrName,
                                   bool caseInsensitive, const char* valuePattern) const {
    if (tag == nullptr) return nullptr;
    const dom::Node* from = m_node;
    if (after != nullptr) {
        if (after->m_doc != m_doc || !inSubtree(after->m_node)) return nullptr;
        from = after->m_node;
    }
    for (const dom::Node* n = dom::nextInDocumentOrder(from, m_node); n != nullptr;
         n = dom::nextInDocumentOrder(n, m_node)) {
        if (!n->isElement() || !detail::tagMatches(tag, n->name)) continue;
        if (attrName == nullptr) return newHandle(n);
        for (const dom::Attribute& a : n->attributes) {
            if (detail::tagMatches(attrName, a.name) &&
                valueMatches(a.value, valuePattern ? valuePattern : "", caseInsensitive)) {
                return newHandle(n);
            }
        }
    }
    return nullptr;
}

}  // namespace xmldsig
