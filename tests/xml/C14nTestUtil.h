// Shared helpers of the canonicalizer tests: file reading, the C14N_VECTORS.tsv manifest, and the
// reading of the XPath node-set files that accompany some vectors.
#pragma once

#include <fstream>
#include <optional>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "host/log/_tvLogger.h"
#include "host/xml/XmlCanon.h"
#include "host/xml/detail/CanonContext.h"
#include "host/xml/detail/XmlDom.h"
#include "support/DataTable.h"

namespace xmldsig::testing {

inline std::optional<std::string> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

struct C14nVector {
    std::string kind;
    std::string algorithm;
    std::string input;  // relative to the corpus folder
    std::string nodeSet;
    std::string inclusivePrefixes;
    std::string expectedOutput;
};

// Names a row in test failure messages.
inline void PrintTo(const C14nVector& row, std::ostream* os) {
    *os << row.input;
}

// The rows of one kind of the manifest.
inline std::vector<C14nVector> loadC14nVectors(const std::string& manifestPath,
                                               const std::string& kind) {
    std::vector<C14nVector> rows;
    for (const test::DataRow& r : test::loadTable(manifestPath)) {
        if (r["kind"] != kind) continue;
        rows.push_back({r["kind"], r["algorithm"], r["input"], r["node_set"],
                        r["inclusive_prefixes"], r["expected_output"]});
    }
    return rows;
}

// An expanded element name: namespace URI and local name.
struct ExpandedName {
    std::string uri;
    std::string local;
};

// The namespace URI of an element's qualified name, resolved through the declarations on it and
// its ancestors; empty when unbound.
inline std::string elementNamespace(const dom::Node& element) {
    const std::string_view prefix = element.prefix();
    for (const dom::Node* n = &element; n != nullptr && n->isElement(); n = n->parent) {
        for (const dom::Attribute& attr : n->attributes) {
            std::string_view declared;
            if (detail::isNamespaceDeclaration(attr, declared) && declared == prefix) {
                return std::string(attr.value);
            }
        }
    }
    return std::string();
}

// For an XPath node-set file of the form (//. | //@* | //namespace::*)[ancestor-or-self::QNAME],
// the expanded name QNAME stands for; nullopt for any other expression.
inline std::optional<ExpandedName> subtreeSelection(const std::string& xpathFileText) {
    dom::Document doc;
    if (!doc.parse(xpathFileText)) return std::nullopt;
    const dom::Node* root = doc.rootElement();
    if (root == nullptr) return std::nullopt;
    std::string expression;
    for (const dom::Node* c = root->firstChild; c != nullptr; c = c->nextSibling) {
        if (c->type == dom::NodeType::Text) expression += c->value;
    }
    std::string compact;
    for (char ch : expression) {
        if (ch != ' ' && ch != '\t' && ch != '\n' && ch != '\r') compact += ch;
    }
    static const std::regex form(
        R"(^\(//\.\|//@\*\|//namespace::\*\)\[ancestor-or-self::(?:([A-Za-z_][\w.\-]*):)?([A-Za-z_][\w.\-]*)\]$)");
    std::smatch m;
    if (!std::regex_match(compact, m, form)) return std::nullopt;
    ExpandedName name{std::string(), m[2].str()};
    if (m[1].matched) {
        const std::string_view* uri = root->attributeValue("xmlns:" + m[1].str());
        if (uri == nullptr) return std::nullopt;
        name.uri = *uri;
    }
    return name;
}

// The elements with that expanded name that are not inside another one, in document order.
inline std::vector<const dom::Node*> outermostElementsNamed(const dom::Document& doc,
                                                            const ExpandedName& name) {
    std::vector<const dom::Node*> found;
    const dom::Node* top = doc.documentNode();
    for (const dom::Node* n = top; n != nullptr; n = dom::nextInDocumentOrder(n, top)) {
        if (!n->isElement() || n->localName() != name.local || elementNamespace(*n) != name.uri) {
            continue;
        }
        bool nested = false;
        for (const dom::Node* f : found) {
            nested = nested || (n->start > f->start && n->end <= f->end);
        }
        if (!nested) found.push_back(n);
    }
    return found;
}

// True when the document declares an external parsed general entity, whose replacement text
// would have to be read from another file.
inline bool declaresExternalParsedEntity(const std::string& text) {
    static const std::regex decl(R"(<!ENTITY\s+[^%\s][^\s]*\s+(SYSTEM|PUBLIC)[^>]*>)");
    for (std::sregex_iterator it(text.begin(), text.end(), decl), end; it != end; ++it) {
        if (it->str().find("NDATA") == std::string::npos) return true;
    }
    return false;
}

struct CanonRun {
    bool ok = false;
    std::string out;
    std::string log;  // the rendered log text
};

// One xmlCanonicalize call; out starts with prefill so that tests can see what was appended.
inline CanonRun runCanon(XmlCanon& canon, const std::string& input, const char* fragmentId,
                         uint32_t startOffset, const std::string& prefill = std::string()) {
    StringBuffer out(prefill);
    _tvLogger log;
    CanonRun run;
    run.ok = canon.xmlCanonicalize(StringBuffer(input), fragmentId, startOffset, out, log);
    run.out = out.str();
    run.log = log.renderText();
    return run;
}

}  // namespace xmldsig::testing
