// Node navigation helpers and document bookkeeping; the expat-driven parse is in XmlDomParse.cpp.
#include "host/xml/detail/XmlDom.h"

#include <algorithm>

namespace xmldsig::dom {

std::string_view Node::prefix() const {
    const std::string_view n(name);
    const std::size_t colon = n.find(':');
    return colon == std::string_view::npos ? std::string_view() : n.substr(0, colon);
}

std::string_view Node::localName() const {
    const std::string_view n(name);
    const std::size_t colon = n.find(':');
    return colon == std::string_view::npos ? n : n.substr(colon + 1);
}

const Attribute* Node::findAttribute(std::string_view qname) const {
    for (const Attribute& a : attributes) {
        if (a.name == qname) return &a;
    }
    return nullptr;
}

const std::string* Node::attributeValue(std::string_view qname) const {
    const Attribute* a = findAttribute(qname);
    return a ? &a->value : nullptr;
}

const Node* Node::firstChildElement() const {
    for (const Node* c = firstChild; c; c = c->nextSibling) {
        if (c->isElement()) return c;
    }
    return nullptr;
}

const Node* Node::nextSiblingElement() const {
    for (const Node* c = nextSibling; c; c = c->nextSibling) {
        if (c->isElement()) return c;
    }
    return nullptr;
}

Document::Document() {
    m_nodes.emplace_back().type = NodeType::Document;
}

const Node* Document::rootElement() const {
    return documentNode()->firstChildElement();
}

Node* Document::newNode(NodeType type) {
    Node& n = m_nodes.emplace_back();
    n.type = type;
    if (type == NodeType::Element) m_elements.push_back(&n);
    return &n;
}

void Document::reset() {
    m_nodes.clear();
    m_elements.clear();
    m_nodes.emplace_back().type = NodeType::Document;
    m_hadDoctype = false;
}

const Node* Document::elementStartingAt(uint32_t offset) const {
    // Elements are created in document order, so their start offsets never decrease.
    auto it = std::lower_bound(m_elements.begin(), m_elements.end(), offset,
                               [](const Node* n, uint32_t off) { return n->start < off; });
    for (; it != m_elements.end() && (*it)->start == offset; ++it) {
        if (!(*it)->fromEntity) return *it;
    }
    return nullptr;
}

const Node* nextInDocumentOrder(const Node* n, const Node* scope) {
    if (n == nullptr) return nullptr;
    if (n->firstChild) return n->firstChild;
    while (n != scope && n != nullptr) {
        if (n->nextSibling) return n->nextSibling;
        n = n->parent;
    }
    return nullptr;
}

void appendChild(Node* parent, Node* child) {
    child->parent = parent;
    child->prevSibling = parent->lastChild;
    child->nextSibling = nullptr;
    if (parent->lastChild) {
        parent->lastChild->nextSibling = child;
    } else {
        parent->firstChild = child;
    }
    parent->lastChild = child;
    child->depth = parent->depth + 1;
}

}  // namespace xmldsig::dom
