#include "host/xml/w3c/detail/NodeSet.h"

namespace xmldsig::w3c::detail {

namespace {

std::string prefixOf(const xmlNs* ns) {
    return ns->prefix != nullptr ? reinterpret_cast<const char*>(ns->prefix) : "";
}

// The element a node belongs to for subtree tests: itself, or the owner of an attribute or
// namespace node.
const xmlNode* positionOf(const xmlNode* node, const xmlNode* parent) {
    if (node->type == XML_NAMESPACE_DECL || node->type == XML_ATTRIBUTE_NODE)
        return parent != nullptr ? parent : node->parent;
    return node;
}

}  // namespace

void NodeSet::intersectWith(const std::vector<const xmlNodeSet*>& parts) {
    auto e = std::make_shared<Explicit>();
    for (const xmlNodeSet* nodes : parts) add(*e, nodes);
    m_explicit.push_back(std::move(e));
}

void NodeSet::add(Explicit& e, const xmlNodeSet* nodes) {
    for (int i = 0; nodes != nullptr && i < nodes->nodeNr; ++i) {
        const xmlNode* n = nodes->nodeTab[i];
        if (n->type == XML_NAMESPACE_DECL) {
            // XPath hands out copies of namespace nodes whose next field is their element.
            const xmlNs* ns = reinterpret_cast<const xmlNs*>(n);
            e.namespaces.emplace(static_cast<const void*>(ns->next), prefixOf(ns));
        } else {
            e.nodes.insert(n);
        }
    }
}

void NodeSet::addFilterStep(SetOp op, const xmlNodeSet* nodes) {
    if (m_sequences.empty()) beginFilterSequence();
    Step step{op, {}};
    for (int i = 0; nodes != nullptr && i < nodes->nodeNr; ++i)
        if (nodes->nodeTab[i]->type != XML_NAMESPACE_DECL) step.roots.insert(nodes->nodeTab[i]);
    m_sequences.back().push_back(std::move(step));
}

bool NodeSet::inSubtreeOf(const xmlNode* position, const xmlNode* top) const {
    if (top == nullptr || top->type == XML_DOCUMENT_NODE) return true;
    for (const xmlNode* p = position; p != nullptr; p = p->parent)
        if (p == top) return true;
    return false;
}

bool NodeSet::inSubtrees(const xmlNode* node, const xmlNode* position,
                         const std::unordered_set<const void*>& roots) {
    if (node->type != XML_NAMESPACE_DECL && roots.count(node) != 0) return true;
    for (const xmlNode* p = position; p != nullptr; p = p->parent)
        if (roots.count(p) != 0) return true;
    return false;
}

bool NodeSet::contains(const xmlNode* node, const xmlNode* parent) const {
    if (node == nullptr) return false;
    if (node->type == XML_COMMENT_NODE && !m_withComments) return false;
    const xmlNode* position = positionOf(node, parent);
    if (!inSubtreeOf(position, m_root)) return false;
    for (const xmlNode* removed : m_removed)
        if (inSubtreeOf(position, removed)) return false;
    for (const auto& sequence : m_sequences) {
        bool in = true;  // a sequence starts from every node of the document
        for (const Step& s : sequence) {
            const bool m = inSubtrees(node, position, s.roots);
            in = s.op == SetOp::Intersect  ? (in && m)
                 : s.op == SetOp::Subtract ? (in && !m)
                                           : (in || m);
        }
        if (!in) return false;
    }
    for (const auto& e : m_explicit) {
        if (node->type == XML_NAMESPACE_DECL) {
            const xmlNs* ns = reinterpret_cast<const xmlNs*>(node);
            if (e->namespaces.count({static_cast<const void*>(parent), prefixOf(ns)}) == 0)
                return false;
        } else if (e->nodes.count(node) == 0) {
            return false;
        }
    }
    return true;
}

}  // namespace xmldsig::w3c::detail
