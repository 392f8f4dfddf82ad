// XPath 1.0 evaluation over a libxml2 document with the XML Signature here() function, the
// namespace context of the element that carries the expression, and bounds on the work an
// expression may cause (operation count and recursion depth).
#pragma once

#include <libxml/xpath.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "host/xml/w3c/detail/NodeSet.h"
#include "host/xml/w3c/detail/XPathCost.h"

namespace xmldsig {
class LogBase;
}

namespace xmldsig::w3c::detail {

struct XPathObjectFree {
    void operator()(xmlXPathObject* o) const { xmlXPathFreeObject(o); }
};
using XPathResult = std::unique_ptr<xmlXPathObject, XPathObjectFree>;

// XPath operations allowed per expression: in proportion to the document's size (a real
// transform visits each node a few times), with a fixed floor and ceiling, so that an
// expression an attacker writes (nested predicates, namespace axes over many declarations)
// ends with a refusal in bounded time and memory.
unsigned long xpathOpLimit(std::size_t documentBytes);

// Node visits an expression may be estimated to cause before it is refused unevaluated (see
// XPathCost.h): a transform over a document of tens of thousands of nodes may walk it a few
// times per node along short axes (ancestor, attributes), not once per node along long ones.
constexpr double kXPathWorkBudget = 50e6;

class XPathRun {
  public:
    // here: the node here() returns (may be null); nsContext: the element whose in-scope
    // namespace declarations the expression's prefixes resolve against (may be null).
    XPathRun(xmlDoc* doc, xmlNode* here, xmlNode* nsContext, std::size_t documentBytes);
    ~XPathRun();
    XPathRun(const XPathRun&) = delete;
    XPathRun& operator=(const XPathRun&) = delete;

    // The node-set expr selects, evaluated from the document node; null, logged, when the
    // expression is malformed, exceeds the bounds, reads outside the document or is not a
    // node-set.
    XPathResult nodes(const std::string& expr, LogBase& log);
    // Keeps in set the nodes of the document (attributes and namespace nodes included) for
    // which the XPath transform expression expr is true; false, logged, as nodes() fails.
    // Evaluated as three location paths because libxml2 merges the union
    // "(//. | //@* | //namespace::*)" in quadratic time.
    bool narrowByTransform(const std::string& expr, NodeSet& set, LogBase& log);
    void addNamespace(const std::string& prefix, const std::string& uri);

  private:
    bool withinWorkBudget(const std::string& expr, LogBase& log);
    xmlXPathContext* m_ctx = nullptr;
    xmlNode* m_here = nullptr;
    std::optional<DocShape> m_shape;
};

}  // namespace xmldsig::w3c::detail
