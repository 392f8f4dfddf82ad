#include "host/xml/w3c/detail/W3cDoc.h"

#include <libxml/parser.h>
#include <libxml/valid.h>

#include <cstring>
#include <map>
#include <mutex>

#include "host/log/LogBase.h"
#include "host/xml/detail/IdLookup.h"

namespace xmldsig::w3c::detail {

namespace {

// No file or URL is ever reached for a document: every external entity or subset fails.
xmlParserInputPtr refuseExternal(const char*, const char*, xmlParserCtxtPtr) {
    return nullptr;
}

void quietErrors(void*, xmlErrorPtr) {}

void initOnce() {
    static std::once_flag once;
    std::call_once(once, [] {
        xmlInitParser();
        xmlSetExternalEntityLoader(refuseExternal);
        xmlSetStructuredErrorFunc(nullptr, quietErrors);
    });
}

const char kDsigNs[] = "http://www.w3.org/2000/09/xmldsig#";

bool isLocal(const xmlNode* n, const char* localName) {
    return n != nullptr && n->type == XML_ELEMENT_NODE &&
           std::strcmp(reinterpret_cast<const char*>(n->name), localName) == 0;
}

std::string qualifiedName(const xmlAttr* a) {
    std::string name;
    if (a->ns != nullptr && a->ns->prefix != nullptr)
        name.append(reinterpret_cast<const char*>(a->ns->prefix)).append(":");
    return name.append(reinterpret_cast<const char*>(a->name));
}

}  // namespace

bool W3cDoc::parse(const char* text, std::size_t length, LogBase& log) {
    initOnce();
    xmlSetStructuredErrorFunc(nullptr, quietErrors);
    m_doc.reset();
    if (text == nullptr || length > static_cast<std::size_t>(INT32_MAX)) {
        log.LogError("The document is too large for the general engine.");
        return false;
    }
    xmlParserCtxtPtr ctxt = xmlNewParserCtxt();
    if (ctxt == nullptr) return false;
    const int options = XML_PARSE_NONET | XML_PARSE_NOENT | XML_PARSE_DTDATTR | XML_PARSE_NOERROR |
                        XML_PARSE_NOWARNING;
    xmlDoc* doc =
        xmlCtxtReadMemory(ctxt, text, static_cast<int>(length), "document.xml", "UTF-8", options);
    const bool wellFormed = ctxt->wellFormed != 0;
    std::string why = ctxt->lastError.message != nullptr ? ctxt->lastError.message : "";
    xmlFreeParserCtxt(ctxt);
    m_doc.reset(doc);
    if (doc == nullptr || !wellFormed) {
        log.LogError("The general engine could not parse the document.");
        if (!why.empty()) log.LogDataStr("parseError", why.c_str());
        m_doc.reset();
        return false;
    }
    m_size = length;
    registerIds();
    return true;
}

void W3cDoc::registerIds() {
    std::map<std::string, xmlAttr*> seen;
    xmlNode* top = xmlDocGetRootElement(m_doc.get());
    for (xmlNode* n = top; n != nullptr; n = nextInTree(n, top)) {
        if (n->type != XML_ELEMENT_NODE) continue;
        std::set<std::string> onThisElement;
        for (xmlAttr* a = n->properties; a != nullptr; a = a->next) {
            if (!xmldsig::detail::isIdAttributeName(qualifiedName(a))) continue;
            const std::string value = textOf(reinterpret_cast<xmlNode*>(a));
            if (!onThisElement.insert(value).second) continue;
            if (!seen.emplace(value, a).second) m_duplicated.insert(value);
        }
    }
    for (const auto& [value, attr] : seen) {
        const xmlChar* v = reinterpret_cast<const xmlChar*>(value.c_str());
        if (m_duplicated.count(value) != 0) {
            // An ambiguous Id resolves to nothing, also for id() in expressions.
            if (xmlAttr* a = xmlGetID(m_doc.get(), v)) xmlRemoveID(m_doc.get(), a);
            continue;
        }
        if (xmlGetID(m_doc.get(), v) == nullptr) xmlAddID(nullptr, m_doc.get(), v, attr);
    }
}

xmlNode* W3cDoc::elementById(const std::string& id, LogBase& log) const {
    if (m_duplicated.count(id) != 0) {
        log.LogError(
            "The Id is carried by more than one element; refusing an ambiguous reference.");
        log.LogDataStr("duplicatedId", id.c_str());
        return nullptr;
    }
    xmlAttr* attr = xmlGetID(m_doc.get(), reinterpret_cast<const xmlChar*>(id.c_str()));
    if (attr == nullptr || attr->parent == nullptr) {
        log.LogError("No element has the Id.");
        log.LogDataStr("id", id.c_str());
        return nullptr;
    }
    return attr->parent;
}

xmlNode* W3cDoc::signature(int n) const {
    xmlNode* top = xmlDocGetRootElement(m_doc.get());
    int seen = 0;
    for (xmlNode* e = top; e != nullptr; e = nextInTree(e, top)) {
        const bool dsig = isLocal(e, "Signature") && e->ns != nullptr &&
                          std::strcmp(reinterpret_cast<const char*>(e->ns->href), kDsigNs) == 0;
        if ((dsig || isLocal(e, "AuthSignature")) && seen++ == n) return e;
    }
    return nullptr;
}

xmlNode* childElement(const xmlNode* parent, const char* localName, int n) {
    if (parent == nullptr) return nullptr;
    for (xmlNode* c = parent->children; c != nullptr; c = c->next)
        if (isLocal(c, localName) && n-- == 0) return c;
    return nullptr;
}

std::string attribute(const xmlNode* element, const char* name) {
    xmlChar* v = xmlGetNoNsProp(element, reinterpret_cast<const xmlChar*>(name));
    std::string s = v != nullptr ? reinterpret_cast<const char*>(v) : "";
    xmlFree(v);
    return s;
}

std::string textOf(const xmlNode* node) {
    xmlChar* v = xmlNodeGetContent(node);
    std::string s = v != nullptr ? reinterpret_cast<const char*>(v) : "";
    xmlFree(v);
    return s;
}

xmlNode* nextInTree(xmlNode* n, const xmlNode* top) {
    if (n->type == XML_ELEMENT_NODE && n->children != nullptr) return n->children;
    while (n != nullptr && n != top) {
        if (n->next != nullptr) return n->next;
        n = n->parent;
    }
    return nullptr;
}

}  // namespace xmldsig::w3c::detail
