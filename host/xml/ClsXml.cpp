// ClsXml: creation, loading, serialization, attributes and content. Navigation and searches are
// in ClsXml_navigate.cpp.
#include "host/xml/ClsXml.h"

#include <new>
#include <string>

#include "host/log/LogNull.h"
#include "host/xml/detail/ChildElements.h"
#include "host/xml/detail/TagPath.h"
#include "host/xml/detail/XmlLocateUtil.h"
#include "host/xml/detail/XmlSerialize.h"

namespace xmldsig {

namespace {

bool isXmlSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view trimXmlSpace(std::string_view s) {
    while (!s.empty() && isXmlSpace(s.front())) s.remove_prefix(1);
    while (!s.empty() && isXmlSpace(s.back())) s.remove_suffix(1);
    return s;
}

std::string ownText(const dom::Node& element, bool trim) {
    std::string own = detail::ownText(element);
    return trim ? std::string(trimXmlSpace(own)) : own;
}

}  // namespace

ClsXml::ClsXml(std::shared_ptr<dom::Document> doc, const dom::Node* node, bool trimContent)
    : m_doc(std::move(doc)), m_node(node), m_trimContent(trimContent) {}

ClsXml::~ClsXml() = default;

ClsXml* ClsXml::createNewCls() {
    try {
        auto doc = std::make_shared<dom::Document>();
        const dom::Node* top = doc->documentNode();
        return new (std::nothrow) ClsXml(std::move(doc), top, false);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

ClsXml* ClsXml::newHandle(const dom::Node* n) const {
    if (n == nullptr) return nullptr;
    ClsXml* h = new (std::nothrow) ClsXml(m_doc, n, m_trimContent);
    return h;
}

ClsXml* ClsXml::handleFor(const dom::Node* n) const {
    if (n == nullptr) return nullptr;
    const dom::Node* top = n;
    while (top->parent != nullptr) top = top->parent;
    return top == m_doc->documentNode() ? newHandle(n) : nullptr;
}

bool ClsXml::loadXml(const StringBuffer& text, bool trimContent, LogBase& log) {
    LogContextExitor ctx(log, "loadXml");
    std::shared_ptr<dom::Document> doc;
    try {
        doc = std::make_shared<dom::Document>();
    } catch (const std::bad_alloc&) {
        log.LogError("Out of memory creating the XML document.");
        return false;
    }
    const bool ok = detail::parseLogged(text, *doc, log);
    m_doc = doc;
    m_trimContent = trimContent;
    m_i = 0;
    if (!ok) {
        m_node = m_doc->documentNode();
        return false;
    }
    m_node = m_doc->rootElement();
    return true;
}

bool ClsXml::getXml(bool withDeclaration, StringBuffer& out, LogBase& log) const {
    std::string xml;
    try {
        if (withDeclaration) xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
        detail::appendXml(*m_node, xml);
    } catch (const std::bad_alloc&) {
        log.LogError("Out of memory serializing XML.");
        return false;
    }
    if (!out.append(xml)) {
        log.LogError("Serialized XML too large for the output buffer.");
        return false;
    }
    return true;
}

bool ClsXml::GetXml(XString& out) const {
    StringBuffer sb;
    LogNull quiet;
    if (!getXml(false, sb, quiet)) return false;
    return out.setFromSbUtf8(sb);
}

void ClsXml::get_Content(XString& out) const {
    StringBuffer sb;
    getContentSb(sb);
    out.setFromSbUtf8(sb);
}

void ClsXml::getContentSb(StringBuffer& out) const {
    out.setString(ownText(*m_node, m_trimContent));
}

bool ClsXml::getChildContentUtf8(const char* tagPath, StringBuffer& out, bool append) const {
    if (!append) out.clear();
    if (tagPath == nullptr) return false;
    const dom::Node* target = detail::followTagPath(*m_node, tagPath, m_i);
    if (target == nullptr) return false;
    return out.append(ownText(*target, m_trimContent));
}

bool ClsXml::getAttrValue(const char* name, StringBuffer& out) const {
    out.clear();
    if (name == nullptr) return false;
    const dom::Attribute* a = detail::findAttributeMatching(*m_node, name);
    return a != nullptr && out.setString(a->value);
}

bool ClsXml::HasAttribute(const XString& name) const {
    return detail::findAttributeMatching(*m_node, name.getUtf8()) != nullptr;
}

bool ClsXml::getChildAttrValue(const char* tagPath, const char* attrName, StringBuffer& out) const {
    out.clear();
    if (tagPath == nullptr || attrName == nullptr) return false;
    const dom::Node* target = detail::followTagPath(*m_node, tagPath, m_i);
    if (target == nullptr) return false;
    const dom::Attribute* a = detail::findAttributeMatching(*target, attrName);
    return a != nullptr && out.setString(a->value);
}

void ClsXml::getTagNamespace(StringBuffer& out) const {
    out.setString(m_node->isElement() ? m_node->prefix() : std::string_view());
}

void ClsXml::getTag(StringBuffer& out) const {
    out.setString(m_node->isElement() ? std::string_view(m_node->name) : std::string_view());
}

}  // namespace xmldsig
