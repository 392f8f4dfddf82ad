// A document parsed by libxml2 under this library's rules, with its Id attributes registered.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <memory>
#include <set>
#include <string>

namespace xmldsig {
class LogBase;
}

namespace xmldsig::w3c::detail {

struct DocFree {
    void operator()(xmlDoc* d) const { xmlFreeDoc(d); }
};
using DocPtr = std::unique_ptr<xmlDoc, DocFree>;

class W3cDoc {
  public:
    // Network off, external entities and DTD subsets refused (a loader that always fails),
    // internal-subset entities and default attributes applied, libxml2's size limits kept.
    // Every Id value carried by exactly one element is registered for id() and "#id".
    bool parse(const char* text, std::size_t length, LogBase& log);

    xmlDoc* doc() const { return m_doc.get(); }
    std::size_t size() const { return m_size; }  // bytes of the parsed text
    // The element whose Id is id; null, logged, when none or several carry it.
    xmlNode* elementById(const std::string& id, LogBase& log) const;
    // The n-th Signature (or AuthSignature) element in document order; null when none.
    xmlNode* signature(int n) const;

  private:
    void registerIds();
    DocPtr m_doc;
    std::set<std::string> m_duplicated;
    std::size_t m_size = 0;
};

// Element children by local name (any namespace): the n-th one, or null.
xmlNode* childElement(const xmlNode* parent, const char* localName, int n = 0);
// The attribute's value ("" when absent).
std::string attribute(const xmlNode* element, const char* name);
// The text content of a node.
std::string textOf(const xmlNode* node);
// Depth-first successor of n within the subtree of top (elements and every other child node).
xmlNode* nextInTree(xmlNode* n, const xmlNode* top);

}  // namespace xmldsig::w3c::detail
