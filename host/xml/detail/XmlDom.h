// The parsed form of an XML document shared by the tree (ClsXml), the canonicalizer, the
// signature locator and the remover. The document keeps its own copy of the parsed text; names,
// attribute values and character data are views into that copy, and only where entity
// references, character references, line-end or attribute-value normalization change the bytes
// is a decoded copy kept, in the document's string arena. Nodes and attribute arrays live in
// chunks owned by the document and are freed in bulk: no node owns memory, and destroying a
// 100 000-deep tree visits no node. Every element records the byte offsets of its start and end
// tags in the parsed text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace xmldsig::dom {

enum class NodeType : uint8_t { Document, Element, Text, Comment, ProcessingInstruction };

struct Attribute {
    std::string_view name;   // qualified name exactly as written ("xmlns:ds", "wsu:Id", "Id")
    std::string_view value;  // normalized value, entities and character references replaced
    bool specified = true;   // false when the value is a default from the internal subset
};

// An element's attributes in source order (namespace declarations included), stored
// contiguously by the document.
class AttributeList {
  public:
    const Attribute* begin() const { return m_first; }
    const Attribute* end() const { return m_first + m_count; }
    std::size_t size() const { return m_count; }
    bool empty() const { return m_count == 0; }
    const Attribute& operator[](std::size_t i) const { return m_first[i]; }

  private:
    friend class Document;
    const Attribute* m_first = nullptr;
    uint32_t m_count = 0;
};

struct Node {
    Node* parent = nullptr;
    Node* firstChild = nullptr;
    Node* nextSibling = nullptr;

    std::string_view name;   // element: qualified name as written; PI: target
    std::string_view value;  // text: character data (CDATA merged in, line ends normalized to
                             // LF); comment: its text; PI: its data
    AttributeList attributes;

    // Byte offsets into the parsed text (elements only).
    uint32_t start = 0;        // the '<' of the start tag
    uint32_t startTagEnd = 0;  // just past the '>' (or "/>") of the start tag
    uint32_t endTagStart = 0;  // the '<' of the end tag; equals end for an empty-element tag
    uint32_t end = 0;          // just past the end tag

    uint32_t depth = 0;  // document node 0, root element 1
    NodeType type = NodeType::Element;
    // True for an element that came from an entity's replacement text: its four offsets then
    // all lie on the entity reference (start at its '&', the others just past its ';').
    bool fromEntity = false;

    bool isElement() const { return type == NodeType::Element; }
    std::string_view prefix() const;     // "" when unprefixed
    std::string_view localName() const;  // part after the first ':'
    const Attribute* findAttribute(std::string_view qname) const;
    const std::string_view* attributeValue(std::string_view qname) const;
    const Node* firstChildElement() const;
    const Node* nextSiblingElement() const;
    const Node* lastChildElement() const;
};

struct ParseLimits {
    // Accept text after the root element that is not well-formed (the parse then ends with the
    // root): for callers that use only the root's subtree, such as a fragment's canonical form.
    bool allowTrailingAfterRoot = false;
    std::size_t maxDepth = 10000;                          // element nesting
    std::size_t maxAttributes = 10000;                     // attributes on one start tag
    std::size_t maxNodes = 10000000;                       // nodes (about 100 bytes each)
    float maxEntityAmplification = 100.0f;                 // billion-laughs protection
    unsigned long long amplificationThreshold = 4u << 20;  // bytes before the ratio applies
};

struct ParseResult {
    bool ok = false;
    uint64_t byteOffset = 0;  // where the parser stopped, on failure
    uint64_t line = 0;        // 1-based
    uint64_t column = 0;      // 1-based, in bytes
    std::string message;      // empty on success
    explicit operator bool() const { return ok; }
};

class Document {
  public:
    Document();
    ~Document();
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    // Parses UTF-8 text (any encoding declaration is overridden). External entities and the
    // external DTD subset are never loaded; the internal subset's entities and attribute
    // defaults are applied. Replaces any earlier content; the document keeps a copy of the text.
    ParseResult parse(std::string_view utf8, const ParseLimits& limits = ParseLimits());

    const Node* documentNode() const { return m_documentNode; }
    Node* documentNode() { return m_documentNode; }
    const Node* rootElement() const;

    // The text the tree was parsed from; the nodes' offsets point into it.
    std::string_view text() const { return m_text; }

    // The element whose start tag begins at the byte offset, or null.
    const Node* elementStartingAt(uint32_t offset) const;

    std::size_t nodeCount() const { return m_nodeCount; }
    bool hadDoctype() const { return m_hadDoctype; }

    // Used by the parser.
    Node* newNode(NodeType type);
    // A copy of s kept by the document (for values that decoding changed).
    std::string_view storeString(std::string_view s);
    // n attributes, stored contiguously, attached to element.
    Attribute* newAttributes(Node& element, std::size_t n);
    void setHadDoctype(bool v) { m_hadDoctype = v; }
    void reset();  // back to a lone document node

  private:
    void* allocate(std::size_t bytes, std::size_t align);

    std::string m_text;
    std::vector<std::unique_ptr<Node[]>> m_nodeChunks;
    std::size_t m_nodeChunkSize = 0;  // capacity of the last node chunk
    std::size_t m_nodesInLastChunk = 0;
    std::size_t m_nodeCount = 0;
    std::vector<std::unique_ptr<char[]>> m_arenaChunks;  // strings and attribute arrays
    std::size_t m_arenaChunkSize = 0;
    char* m_bump = nullptr;  // free space of the current arena chunk
    std::size_t m_bumpLeft = 0;
    Node* m_documentNode = nullptr;
    std::vector<Node*> m_elements;  // every element, in document order
    bool m_hadDoctype = false;
};

// Document-order walk without recursion: the node after n in a pre-order walk of scope's
// subtree, or null when the walk leaves scope.
const Node* nextInDocumentOrder(const Node* n, const Node* scope);

}  // namespace xmldsig::dom
