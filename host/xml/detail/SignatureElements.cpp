#include "host/xml/detail/SignatureElements.h"

namespace xmldsig::detail {

const std::string_view* namespaceOfPrefix(const dom::Node& element, std::string_view prefix) {
    if (prefix == "xml") {
        static const std::string_view kXml = "http://www.w3.org/XML/1998/namespace";
        return &kXml;
    }
    const std::string decl = prefix.empty() ? "xmlns" : "xmlns:" + std::string(prefix);
    // Walk up, nearest declaration first; a parser-made tree has no cycles.
    for (const dom::Node* n = &element; n != nullptr && n->isElement(); n = n->parent) {
        if (const std::string_view* uri = n->attributeValue(decl)) {
            return uri->empty() ? nullptr : uri;
        }
    }
    return nullptr;
}

const std::string_view* elementNamespace(const dom::Node& element) {
    return namespaceOfPrefix(element, element.prefix());
}

bool isXmlDsigSignature(const dom::Node& element) {
    if (!element.isElement() || element.localName() != "Signature") return false;
    const std::string_view* ns = elementNamespace(element);
    return ns != nullptr && *ns == kXmlDsigNamespace;
}

bool isSignatureElement(const dom::Node& element) {
    return isXmlDsigSignature(element) ||
           (element.isElement() && element.localName() == "AuthSignature");
}

std::vector<const dom::Node*> dsigChildren(const dom::Node& parent, std::string_view localName) {
    std::vector<const dom::Node*> out;
    for (const dom::Node* c = parent.firstChildElement(); c; c = c->nextSiblingElement()) {
        if (c->localName() != localName) continue;
        const std::string_view* ns = elementNamespace(*c);
        if (ns != nullptr && *ns == kXmlDsigNamespace) out.push_back(c);
    }
    return out;
}

std::vector<const dom::Node*> collectSignatures(const dom::Node& top) {
    std::vector<const dom::Node*> out;
    for (const dom::Node* n = &top; n != nullptr; n = dom::nextInDocumentOrder(n, &top)) {
        if (n->isElement() && isSignatureElement(*n)) out.push_back(n);
    }
    return out;
}

}  // namespace xmldsig::detail
