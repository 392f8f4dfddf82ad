// An estimate, made before evaluation, of the work an XPath expression causes over a document.
// libxml2's operation limit counts operations, not the nodes a step visits, so an expression
// that nests document-wide steps (`//*[count(//*) > 0]`) costs N^k node visits while staying
// under it. The estimate reads the expression lexically (it is not an evaluator: libxml2 still
// evaluates) and multiplies the sizes of the node-sets whose nodes each nested predicate or
// argument is evaluated for; a name test bounds a node-set by the document's count of that name.
#pragma once

#include <libxml/tree.h>

#include <string>
#include <unordered_map>

namespace xmldsig::w3c::detail {

struct DocShape {
    double nodes = 1;           // elements, attributes and other children, with the document
    double depth = 1;           // the deepest element's number of ancestors, plus one
    double fanout = 1;          // the most children of one node
    double attributes = 1;      // the most attributes of one element
    double namespaceNodes = 0;  // in-scope namespace declarations summed over elements
    // Elements by local name, attributes by "@" and local name: a name test selects no more.
    std::unordered_map<std::string, double> named;
};

DocShape shapeOf(xmlDoc* doc);

// Node visits the expression may cause when evaluated once from one context node.
double estimatedWork(const std::string& expr, const DocShape& shape);

}  // namespace xmldsig::w3c::detail
