// The general engine's entry points besides references: canonicalization for the tool, and the
// expression evaluators alone (for fuzzing).
#include "host/log/LogBase.h"
#include "host/xml/w3c/W3cEngine.h"
#include "host/xml/w3c/detail/Canon.h"
#include "host/xml/w3c/detail/W3cDoc.h"
#include "host/xml/w3c/detail/XPathRun.h"

namespace xmldsig::w3c {

bool canonicalize(const CanonRequest& request, std::string& out, LogBase& log) {
    detail::W3cDoc doc;
    if (!doc.parse(request.text, request.length, log)) return false;
    xmlNode* root = reinterpret_cast<xmlNode*>(doc.doc());
    if (!request.id.empty() && (root = doc.elementById(request.id, log)) == nullptr) return false;
    detail::NodeSet set(doc.doc(), root, true);
    if (!request.xpath.empty()) {
        detail::XPathRun xpath(doc.doc(), nullptr, xmlDocGetRootElement(doc.doc()), doc.size());
        for (const auto& [prefix, uri] : request.namespaces) xpath.addNamespace(prefix, uri);
        detail::XPathResult r = xpath.nodes(request.xpath, log);
        if (!r) return false;
        set.intersectWith({r->nodesetval});
    }
    return detail::canonicalizeNodeSet(set, request.method, request.withComments,
                                       request.inclusivePrefixes, out, log);
}

bool evaluateExpression(const char* text, std::size_t length, const char* expr, ExpressionKind kind,
                        LogBase& log) {
    detail::W3cDoc doc;
    if (expr == nullptr || !doc.parse(text, length, log)) return false;
    xmlNode* top = xmlDocGetRootElement(doc.doc());
    detail::XPathRun xpath(doc.doc(), top, top, doc.size());
    detail::NodeSet set(doc.doc(), reinterpret_cast<xmlNode*>(doc.doc()), true);
    if (kind == ExpressionKind::XPathTransform) {
        if (!xpath.narrowByTransform(expr, set, log)) return false;
    } else {
        detail::XPathResult r = xpath.nodes(expr, log);
        if (!r) return false;
        set.beginFilterSequence();
        set.addFilterStep(detail::SetOp::Intersect, r->nodesetval);
    }
    std::string out;
    return detail::canonicalizeNodeSet(set, CanonMethod::Inclusive10, false, {}, out, log);
}

}  // namespace xmldsig::w3c
