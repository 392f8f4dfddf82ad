// Node navigation helpers and document storage; the expat-driven parse is in XmlDomParse.cpp.
#include "host/xml/detail/XmlDom.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace xmldsig::dom {

namespace {

constexpr std::size_t kFirstNodeChunk = 64;
constexpr std::size_t kMaxNodeChunk = 8192;
constexpr std::size_t kFirstArenaChunk = 4096;
constexpr std::size_t kMaxArenaChunk = std::size_t(1) << 20;

}  // namespace

std::string_view Node::prefix() const {
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? std::string_view() : name.substr(0, colon);
}

std::string_view Node::localName() const {
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

const Attribute* Node::findAttribute(std::string_view qname) const {
    for (const Attribute& a : attributes) {
        if (a.name == qname) return &a;
    }
    return nullptr;
}

const std::string_view* Node::attributeValue(std::string_view qname) const {
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

const Node* Node::lastChildElement() const {
    const Node* last = nullptr;
    for (const Node* c = firstChildElement(); c; c = c->nextSiblingElement()) last = c;
    return last;
}

Document::Document() {
    reset();
}

Document::~Document() = default;

const Node* Document::rootElement() const {
    return documentNode()->firstChildElement();
}

Node* Document::newNode(NodeType type) {
    if (m_nodeChunks.empty() || m_nodesInLastChunk == m_nodeChunkSize) {
        m_nodeChunkSize =
            m_nodeChunks.empty() ? kFirstNodeChunk : std::min(kMaxNodeChunk, m_nodeChunkSize * 2);
        m_nodeChunks.emplace_back(new Node[m_nodeChunkSize]);
        m_nodesInLastChunk = 0;
    }
    Node* n = &m_nodeChunks.back()[m_nodesInLastChunk++];
    ++m_nodeCount;
    n->type = type;
    if (type == NodeType::Element) m_elements.push_back(n);
    return n;
}

void* Document::allocate(std::size_t bytes, std::size_t align) {
    const std::size_t pad = (align - reinterpret_cast<std::uintptr_t>(m_bump) % align) % align;
    if (m_bump != nullptr && pad + bytes <= m_bumpLeft) {
        void* p = m_bump + pad;
        m_bump += pad + bytes;
        m_bumpLeft -= pad + bytes;
        return p;
    }
    if (bytes > kMaxArenaChunk / 4) {
        // A large piece gets a chunk of its own; the current chunk keeps its free space.
        m_arenaChunks.emplace_back(new char[bytes]);
        return m_arenaChunks.back().get();
    }
    m_arenaChunkSize =
        m_arenaChunkSize == 0 ? kFirstArenaChunk : std::min(kMaxArenaChunk, m_arenaChunkSize * 2);
    m_arenaChunkSize = std::max(m_arenaChunkSize, bytes);  // a piece larger than the step
    m_arenaChunks.emplace_back(new char[m_arenaChunkSize]);
    // new char[] is aligned for any fundamental type.
    m_bump = m_arenaChunks.back().get() + bytes;
    m_bumpLeft = m_arenaChunkSize - bytes;
    return m_arenaChunks.back().get();
}

std::string_view Document::storeString(std::string_view s) {
    if (s.empty()) return {};
    char* p = static_cast<char*>(allocate(s.size(), 1));
    std::memcpy(p, s.data(), s.size());
    return std::string_view(p, s.size());
}

Attribute* Document::newAttributes(Node& element, std::size_t n) {
    if (n == 0) return nullptr;
    Attribute* a = static_cast<Attribute*>(allocate(n * sizeof(Attribute), alignof(Attribute)));
    for (std::size_t i = 0; i < n; ++i) new (a + i) Attribute();
    element.attributes.m_first = a;
    element.attributes.m_count = static_cast<uint32_t>(n);
    return a;
}

void Document::reset() {
    m_nodeChunks.clear();
    m_nodesInLastChunk = 0;
    m_nodeCount = 0;
    m_nodeChunkSize = 0;
    m_arenaChunks.clear();
    m_arenaChunkSize = m_bumpLeft = 0;
    m_bump = nullptr;
    m_elements.clear();
    m_text.clear();
    m_text.shrink_to_fit();
    m_hadDoctype = false;
    m_documentNode = newNode(NodeType::Document);
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

}  // namespace xmldsig::dom
