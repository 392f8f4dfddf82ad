// The parsed form of an XML document shared by the tree (ClsXml), the canonicalizer, the
// signature locator and the remover. Nodes live in one arena owned by the document and link to
// each other by plain pointers, so destroying a 100 000-deep tree recurses nowhere. Every element
// records the byte offsets of its start and end tags in the text it was parsed from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace xmldsig::dom {

enum class NodeType : uint8_t { Document, Element, Text, Comment, ProcessingInstruction };

struct Attribute {
    std::string name;       // qualified name exactly as written ("xmlns:ds", "wsu:Id", "Id")
    std::string value;      // normalized value, entities and character references replaced
    bool specified = true;  // false when the value is a default from the internal subset
};

struct Node {
    NodeType type = NodeType::Element;
    Node* parent = nullptr;
    Node* firstChild = nullptr;
    Node* lastChild = nullptr;
    Node* prevSibling = nullptr;
    Node* nextSibling = nullptr;

    std::string name;   // element: qualified name as written; PI: target
    std::string value;  // text: character data (CDATA merged in, line ends normalized to LF);
                        // comment: its text; PI: its data
    std::vector<Attribute> attributes;  // source order, namespace declarations included

    // Byte offsets into the parsed text (elements only).
    uint32_t start = 0;        // the '<' of the start tag
    uint32_t startTagEnd = 0;  // just past the '>' (or "/>") of the start tag
    uint32_t endTagStart = 0;  // the '<' of the end tag; equals end for an empty-element tag
    uint32_t end = 0;          // just past the end tag
    // True for an element that came from an entity's replacement text: its four offsets then
    // all lie on the entity reference (start at its '&', the others just past its ';').
    bool fromEntity = false;

    uint32_t depth = 0;  // document node 0, root element 1

    bool isElement() const { return type == NodeType::Element; }
    std::string_view prefix() const;     // "" when unprefixed
    std::string_view localName() const;  // part after the first ':'
    const Attribute* findAttribute(std::string_view qname) const;
    const std::string* attributeValue(std::string_view qname) const;
    const Node* firstChildElement() const;
    const Node* nextSiblingElement() const;
};

struct ParseLimits {
    // Accept text after the root element that is not well-formed (the parse then ends with the
    // root): for callers that use only the root's subtree, such as a fragment's canonical form.
    bool allowTrailingAfterRoot = false;
    std::size_t maxDepth = 10000;                          // element nesting
    std::size_t maxAttributes = 10000;                     // attributes on one start tag
    std::size_t maxNodes = 10000000;                       // nodes (about 160 bytes each)
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
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    // Parses UTF-8 text (any encoding declaration is overridden). External entities and the
    // external DTD subset are never loaded; the internal subset's entities and attribute
    // defaults are applied. Replaces any earlier content.
    ParseResult parse(std::string_view utf8, const ParseLimits& limits = ParseLimits());

    const Node* documentNode() const { return &m_nodes.front(); }
    Node* documentNode() { return &m_nodes.front(); }
    const Node* rootElement() const;

    // The element whose start tag begins at the byte offset, or null.
    const Node* elementStartingAt(uint32_t offset) const;

    std::size_t nodeCount() const { return m_nodes.size(); }
    bool hadDoctype() const { return m_hadDoctype; }

    // Used by the parser.
    Node* newNode(NodeType type);
    void setHadDoctype(bool v) { m_hadDoctype = v; }
    void reset();  // back to a lone document node

  private:
    std::deque<Node> m_nodes;       // front() is the document node; addresses stay stable
    std::vector<Node*> m_elements;  // every element, in document order
    bool m_hadDoctype = false;
};

// Document-order walk without recursion: the node after n in a pre-order walk of scope's
// subtree, or null when the walk leaves scope.
const Node* nextInDocumentOrder(const Node* n, const Node* scope);

// Appends child as the last child of parent.
void appendChild(Node* parent, Node* child);

}  // namespace xmldsig::dom
