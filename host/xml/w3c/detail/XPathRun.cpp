#include "host/xml/w3c/detail/XPathRun.h"

#include <libxml/xpathInternals.h>

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

XPathRun::XPathRun(xmlDoc* doc, xmlNode* here, xmlNode* nsContext) : m_here(here) {
    m_ctx = xmlXPathNewContext(doc);
    if (m_ctx == nullptr) return;
    m_ctx->opLimit = kXPathOpLimit;
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
