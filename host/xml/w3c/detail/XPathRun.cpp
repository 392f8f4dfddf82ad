#include "host/xml/w3c/detail/XPathRun.h"

#include <libxml/xpathInternals.h>

#include <algorithm>
#include <vector>

#include "host/log/LogBase.h"

namespace xmldsig::w3c::detail {

namespace {

// here(): the element that carries the expression.
void hereFunction(xmlXPathParserContext* ctxt, int nargs) {
    if (nargs != 0) {
        xmlXPathSetArityError(ctxt);
        return;
    }
    auto* here = static_cast<xmlNode*>(ctxt->context->userData);
    if (here == nullptr) {
        xmlXPathSetError(ctxt, XPATH_INVALID_OPERAND);
        return;
    }
    valuePush(ctxt, xmlXPathNewNodeSet(here));
}

// Functions that could read outside the document are not offered: XPath 1.0 core has none, and
// libxml2's extensions (document() belongs to XSLT) are never registered here.
bool mentionsOutsideReader(const std::string& expr) {
    return expr.find("document(") != std::string::npos;
}

}  // namespace

unsigned long xpathOpLimit(std::size_t documentBytes) {
    constexpr unsigned long kFloor = 1000000UL, kCeiling = 20000000UL, kPerByte = 16UL;
    const unsigned long scaled = kFloor + kPerByte * static_cast<unsigned long>(documentBytes);
    return scaled < kCeiling ? scaled : kCeiling;
}

XPathRun::XPathRun(xmlDoc* doc, xmlNode* here, xmlNode* nsContext, std::size_t documentBytes)
    : m_here(here) {
    m_ctx = xmlXPathNewContext(doc);
    if (m_ctx == nullptr) return;
    m_ctx->opLimit = xpathOpLimit(documentBytes);
    m_ctx->userData = here;
    xmlXPathRegisterFunc(m_ctx, reinterpret_cast<const xmlChar*>("here"), hereFunction);
    if (nsContext == nullptr) return;
    xmlNs** list = xmlGetNsList(doc, nsContext);
    for (int i = 0; list != nullptr && list[i] != nullptr; ++i)
        if (list[i]->prefix != nullptr) xmlXPathRegisterNs(m_ctx, list[i]->prefix, list[i]->href);
    xmlFree(list);
}

void XPathRun::addNamespace(const std::string& prefix, const std::string& uri) {
    if (m_ctx != nullptr)
        xmlXPathRegisterNs(m_ctx, reinterpret_cast<const xmlChar*>(prefix.c_str()),
                           reinterpret_cast<const xmlChar*>(uri.c_str()));
}

XPathRun::~XPathRun() {
    if (m_ctx != nullptr) xmlXPathFreeContext(m_ctx);
}

// Refusals made before evaluation. The namespace axis hands out a copy of every in-scope
// declaration of every element, so a few hundred declarations on the root of a large document
// make it quadratic. Nested document-wide steps cost N^k node visits that libxml2's operation
// count does not see (it counts operations, not the nodes a step visits).
bool XPathRun::withinWorkBudget(const std::string& expr, LogBase& log) {
    if (!m_shape) m_shape = shapeOf(m_ctx->doc);
    const DocShape& shape = *m_shape;
    const char* refusal = nullptr;
    if (expr.find("namespace") != std::string::npos &&
        shape.namespaceNodes > static_cast<double>(m_ctx->opLimit))
        refusal = "The XPath expression would visit more namespace nodes than allowed.";
    const double work = estimatedWork(expr, shape);
    if (refusal == nullptr && work > kXPathWorkBudget)
        refusal = "The XPath expression nests document-wide steps too deeply for this document.";
    if (refusal == nullptr) return true;
    log.LogError(refusal);
    log.LogDataStr("xpath", expr.c_str());
    log.LogDataLong("documentNodes", static_cast<long>(shape.nodes));
    log.LogDataLong("estimatedNodeVisits", static_cast<long>(std::min(work, 1e18)));
    return false;
}

XPathResult XPathRun::nodes(const std::string& expr, LogBase& log) {
    if (m_ctx == nullptr) return nullptr;
    if (mentionsOutsideReader(expr)) {
        log.LogError("XPath functions that read outside the document are refused.");
        log.LogDataStr("xpath", expr.c_str());
        return nullptr;
    }
    if (!withinWorkBudget(expr, log)) return nullptr;
    m_ctx->opCount = 0;
    m_ctx->depth = 0;
    m_ctx->node = reinterpret_cast<xmlNode*>(m_ctx->doc);
    XPathResult r(xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(expr.c_str()), m_ctx));
    if (!r || r->type != XPATH_NODESET) {
        const bool tooMuch = m_ctx->opCount >= m_ctx->opLimit;
        log.LogError(tooMuch ? "The XPath expression exceeds the work allowed for one expression."
                             : "The XPath expression could not be evaluated to a node-set.");
        log.LogDataStr("xpath", expr.c_str());
        return nullptr;
    }
    return r;
}

bool XPathRun::narrowByTransform(const std::string& expr, NodeSet& set, LogBase& log) {
    std::vector<XPathResult> parts;
    std::vector<const xmlNodeSet*> sets;
    const std::string test = "[boolean(" + expr + ")]";
    for (const char* path : {"/descendant-or-self::node()", "//@*", "//namespace::*"}) {
        parts.push_back(nodes(path + test, log));
        if (!parts.back()) return false;
        sets.push_back(parts.back()->nodesetval);
    }
    set.intersectWith(sets);
    return true;
}

}  // namespace xmldsig::w3c::detail
