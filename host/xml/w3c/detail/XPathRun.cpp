#include "host/xml/w3c/detail/XPathRun.h"

#include <libxml/xpathInternals.h>

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

// The namespace axis hands out a copy of every in-scope declaration of every element: a few
// hundred declarations on the root of a large document make that quadratic. Counted before
// evaluating, stopping as soon as the count passes limit.
unsigned long namespaceNodes(xmlDoc* doc, unsigned long limit) {
    xmlNode* top = xmlDocGetRootElement(doc);
    unsigned long total = 0;
    std::vector<unsigned long> inScope{1};  // the xml namespace
    xmlNode* n = top;
    while (n != nullptr && total <= limit) {
        unsigned long here = inScope.back();
        for (xmlNs* ns = n->nsDef; ns != nullptr; ns = ns->next) ++here;
        total += here;
        if (n->children != nullptr) {
            xmlNode* c = n->children;
            while (c != nullptr && c->type != XML_ELEMENT_NODE) c = c->next;
            if (c != nullptr) {
                inScope.push_back(here);
                n = c;
                continue;
            }
        }
        // Next element: a following sibling, else one of an ancestor's.
        while (n != nullptr && n != top) {
            xmlNode* s = n->next;
            while (s != nullptr && s->type != XML_ELEMENT_NODE) s = s->next;
            if (s != nullptr) {
                n = s;
                break;
            }
            n = n->parent;
            inScope.pop_back();
        }
        if (n == top) break;
    }
    return total;
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

XPathResult XPathRun::nodes(const std::string& expr, LogBase& log) {
    if (m_ctx == nullptr) return nullptr;
    if (mentionsOutsideReader(expr)) {
        log.LogError("XPath functions that read outside the document are refused.");
        log.LogDataStr("xpath", expr.c_str());
        return nullptr;
    }
    if (expr.find("namespace") != std::string::npos &&
        namespaceNodes(m_ctx->doc, m_ctx->opLimit) > m_ctx->opLimit) {
        log.LogError("The XPath expression would visit more namespace nodes than allowed.");
        log.LogDataStr("xpath", expr.c_str());
        return nullptr;
    }
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

}  // namespace xmldsig::w3c::detail
