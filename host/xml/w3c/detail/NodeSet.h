// A node-set of a libxml2 document, as the canonicalizer's visibility test sees it: a subtree
// (the whole document or an element's), narrowed by XPath results, by removed subtrees
// (enveloped signature) and by XPath Filter 2.0 sequences. Nothing is copied per node unless an
// XPath result must be remembered.
#pragma once

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <memory>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace xmldsig::w3c::detail {

enum class SetOp { Intersect, Subtract, Union };

class NodeSet {
  public:
    // Every node of the subtree of root (the document node: the whole document), comments only
    // when withComments.
    NodeSet(xmlDoc* doc, xmlNode* root, bool withComments)
        : m_doc(doc), m_root(root), m_withComments(withComments) {}

    xmlDoc* doc() const { return m_doc; }
    // Keeps only the nodes of the union of XPath results (namespace nodes included).
    void intersectWith(const std::vector<const xmlNodeSet*>& parts);
    // Drops the subtree of root (the enveloped signature).
    void removeSubtree(xmlNode* root) { m_removed.push_back(root); }
    // One XPath Filter 2.0 step: the subtrees of the nodes combined with what the earlier steps
    // of the same sequence left (the sequence starts from the whole document).
    void beginFilterSequence() { m_sequences.emplace_back(); }
    void addFilterStep(SetOp op, const xmlNodeSet* nodes);

    // The canonicalizer's question; parent is the element a namespace node is rendered on.
    bool contains(const xmlNode* node, const xmlNode* parent) const;

  private:
    struct Explicit {
        std::unordered_set<const void*> nodes;
        std::set<std::pair<const void*, std::string>> namespaces;  // (element, prefix)
    };
    struct Step {
        SetOp op;
        std::unordered_set<const void*> roots;
    };
    static void add(Explicit& e, const xmlNodeSet* nodes);
    bool inSubtreeOf(const xmlNode* position, const xmlNode* top) const;
    static bool inSubtrees(const xmlNode* node, const xmlNode* position,
                           const std::unordered_set<const void*>& roots);

    xmlDoc* m_doc;
    xmlNode* m_root;
    bool m_withComments;
    std::vector<std::shared_ptr<Explicit>> m_explicit;
    std::vector<xmlNode*> m_removed;
    std::vector<std::vector<Step>> m_sequences;
};

}  // namespace xmldsig::w3c::detail
