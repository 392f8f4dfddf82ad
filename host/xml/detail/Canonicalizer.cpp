#include "host/xml/detail/Canonicalizer.h"

#include <algorithm>
#include <string_view>

#include "host/xml/XmlEscape.h"
#include "host/xml/detail/CanonContext.h"
#include "host/xml/detail/NamespaceScope.h"

namespace xmldsig::detail {

namespace {

struct OutputAttribute {
    std::string_view qname;
    std::string_view namespaceUri;
    std::string_view local;
    std::string_view value;
};

bool w3cAttributeOrder(const OutputAttribute& a, const OutputAttribute& b) {
    if (a.namespaceUri != b.namespaceUri) return a.namespaceUri < b.namespaceUri;
    return a.local < b.local;
}

bool writtenNameOrder(const OutputAttribute& a, const OutputAttribute& b) {
    return a.qname < b.qname;
}

class CanonWriter {
  public:
    CanonWriter(const CanonOptions& options, std::string& out, std::string& error)
        : m_options(options),
          m_out(out),
          m_error(error),
          m_outStart(out.size()),
          m_exclusive(options.mode == CanonMode::Exclusive) {
        for (const std::string& p : options.inclusivePrefixes) {
            m_inclusivePrefixes.push_back(p == "#default" ? std::string() : p);
        }
    }

    bool writeDocument(const dom::Node& documentNode);
    bool writeFragment(const dom::Node& apex);

  private:
    bool writeSubtree(const dom::Node& top);
    bool isExcluded(const dom::Node& element) const;
    bool enter(const dom::Node& element);
    bool leave(const dom::Node& element);
    bool writeLeaf(const dom::Node& node);
    void writeNamespaces(const dom::Node& element);
    std::vector<std::string> namespaceCandidates(const dom::Node& element) const;
    void writeAttributes(const dom::Node& element);
    bool withinLimit();

    const CanonOptions& m_options;
    std::string& m_out;
    std::string& m_error;
    const std::size_t m_outStart;
    const bool m_exclusive;
    std::vector<std::string> m_inclusivePrefixes;  // "#default" mapped to ""

    const dom::Node* m_top = nullptr;
    NamespaceScope m_inScope;   // bindings in effect at the current element
    NamespaceScope m_rendered;  // declarations the output has put in effect
    std::vector<const dom::Attribute*> m_inheritedXmlAttributes;  // for m_top only
};

bool CanonWriter::writeDocument(const dom::Node& documentNode) {
    bool afterRoot = false;
    for (const dom::Node* n = documentNode.firstChild; n != nullptr; n = n->nextSibling) {
        if (n->isElement()) {
            if (isExcluded(*n)) continue;
            if (!writeSubtree(*n)) return false;
            afterRoot = true;
            continue;
        }
        const bool shown = n->type == dom::NodeType::ProcessingInstruction ||
                           (n->type == dom::NodeType::Comment && m_options.withComments);
        if (!shown) continue;
        // Nodes outside the document element are separated from it by one line feed.
        if (afterRoot) m_out += '\n';
        if (!writeLeaf(*n)) return false;
        if (!afterRoot) m_out += '\n';
    }
    return true;
}

bool CanonWriter::writeFragment(const dom::Node& apex) {
    std::map<std::string, std::string> inherited = inheritedNamespaces(apex);
    if (!m_exclusive && m_options.resetOption) {
        const std::set<std::string> used = prefixesUsedFromOutside(apex);
        for (auto it = inherited.begin(); it != inherited.end();) {
            it = used.count(it->first) != 0 ? std::next(it) : inherited.erase(it);
        }
    }
    m_inScope.openLevel();
    for (const auto& [prefix, uri] : inherited) m_inScope.bind(prefix, uri);
    if (!m_exclusive && m_options.inheritXmlAttributes) {
        m_inheritedXmlAttributes = inheritedXmlAttributes(apex);
    }
    return writeSubtree(apex);
}

bool CanonWriter::writeSubtree(const dom::Node& top) {
    m_top = &top;
    return walkSubtree(
        top, [this](const dom::Node& n) { return enter(n); },
        [this](const dom::Node& n) { return leave(n); },
        [this](const dom::Node& n) { return writeLeaf(n); },
        [this](const dom::Node& n) { return isExcluded(n); });
}

bool CanonWriter::isExcluded(const dom::Node& element) const {
    for (const dom::Node* e : m_options.excluded) {
        if (e == &element) return true;
    }
    return false;
}

bool CanonWriter::enter(const dom::Node& element) {
    m_inScope.openLevel();
    m_rendered.openLevel();
    for (const dom::Attribute& attr : element.attributes) {
        std::string_view prefix;
        if (isNamespaceDeclaration(attr, prefix)) m_inScope.bind(prefix, attr.value);
    }
    m_out += '<';
    m_out += element.name;
    writeNamespaces(element);
    writeAttributes(element);
    m_out += '>';
    return withinLimit();
}

bool CanonWriter::leave(const dom::Node& element) {
    m_out += "</";
    m_out += element.name;
    m_out += '>';
    m_inScope.closeLevel();
    m_rendered.closeLevel();
    return withinLimit();
}

bool CanonWriter::writeLeaf(const dom::Node& node) {
    switch (node.type) {
        case dom::NodeType::Text:
            appendXmlEscaped(m_out, node.value, XmlEscape::CanonicalText);
            break;
        case dom::NodeType::Comment:
            if (!m_options.withComments) break;
            m_out += "<!--";
            m_out += node.value;
            m_out += "-->";
            break;
        case dom::NodeType::ProcessingInstruction:
            m_out += "<?";
            m_out += node.name;
            if (!node.value.empty()) {
                m_out += ' ';
                m_out += node.value;
            }
            m_out += "?>";
            break;
        default:
            break;
    }
    return withinLimit();
}

// The prefixes whose declarations the element may have to render. Inclusive: everything in scope
// at the top element, the element's own declarations below it. Exclusive: the prefixes that the
// element and its attributes visibly use, plus the InclusiveNamespaces prefixes.
std::vector<std::string> CanonWriter::namespaceCandidates(const dom::Node& element) const {
    std::vector<std::string> candidates;
    if (!m_exclusive) {
        if (&element == m_top) {
            for (const auto& binding : m_inScope.bindings()) candidates.push_back(binding.first);
        }
        for (const dom::Attribute& attr : element.attributes) {
            std::string_view prefix;
            if (isNamespaceDeclaration(attr, prefix)) candidates.emplace_back(prefix);
        }
    } else {
        candidates.emplace_back(splitQName(element.name).prefix);
        for (const dom::Attribute& attr : element.attributes) {
            std::string_view prefix;
            if (isNamespaceDeclaration(attr, prefix)) continue;
            prefix = splitQName(attr.name).prefix;
            if (!prefix.empty()) candidates.emplace_back(prefix);
        }
        candidates.insert(candidates.end(), m_inclusivePrefixes.begin(), m_inclusivePrefixes.end());
    }
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    return candidates;
}

// Renders a declaration only where it changes what the output already has in effect; an
// undeclared default namespace is rendered as xmlns="" only when the output has a default.
void CanonWriter::writeNamespaces(const dom::Node& element) {
    for (const std::string& prefix : namespaceCandidates(element)) {
        if (prefix == "xml" || prefix == "xmlns") continue;
        const std::string* bound = m_inScope.lookup(prefix);
        const std::string_view uri = bound != nullptr ? std::string_view(*bound) : "";
        const std::string* rendered = m_rendered.lookup(prefix);
        if (uri.empty()) {
            if (!prefix.empty() || rendered == nullptr || rendered->empty()) continue;
        } else if (rendered != nullptr && *rendered == uri) {
            continue;
        }
        m_out += prefix.empty() ? " xmlns" : " xmlns:";
        m_out += prefix;
        m_out += "=\"";
        appendXmlEscaped(m_out, uri, XmlEscape::CanonicalAttribute);
        m_out += '"';
        m_rendered.bind(prefix, uri);
    }
}

void CanonWriter::writeAttributes(const dom::Node& element) {
    std::vector<OutputAttribute> attributes;
    auto add = [&](const dom::Attribute& attr) {
        const QNameParts parts = splitQName(attr.name);
        OutputAttribute out{attr.name, std::string_view(), parts.local, attr.value};
        if (parts.prefix == "xml") {
            out.namespaceUri = kXmlNamespaceUri;
        } else if (!parts.prefix.empty()) {
            const std::string* uri = m_inScope.lookup(parts.prefix);
            if (uri != nullptr && !uri->empty()) {
                out.namespaceUri = *uri;
            } else {
                out.local = attr.name;  // undeclared prefix: kept as part of a plain name
            }
        }
        attributes.push_back(out);
    };
    for (const dom::Attribute& attr : element.attributes) {
        std::string_view prefix;
        if (!isNamespaceDeclaration(attr, prefix)) add(attr);
    }
    if (&element == m_top) {
        for (const dom::Attribute* attr : m_inheritedXmlAttributes) add(*attr);
    }
    std::stable_sort(attributes.begin(), attributes.end(),
                     m_options.emulateSortBug ? writtenNameOrder : w3cAttributeOrder);
    for (const OutputAttribute& attr : attributes) {
        m_out += ' ';
        m_out += attr.qname;
        m_out += "=\"";
        appendXmlEscaped(m_out, attr.value, XmlEscape::CanonicalAttribute);
        m_out += '"';
    }
}

bool CanonWriter::withinLimit() {
    if (m_out.size() - m_outStart <= m_options.maxOutputBytes) return true;
    m_error = "Canonical output exceeds the limit of " + std::to_string(m_options.maxOutputBytes) +
              " bytes";
    return false;
}

}  // namespace

bool canonicalize(const dom::Document& doc, const dom::Node* apex, const CanonOptions& options,
                  std::string& out, std::string& error) {
    if (apex == nullptr) {
        error = "No node to canonicalize";
        return false;
    }
    CanonWriter writer(options, out, error);
    if (apex == doc.documentNode()) return writer.writeDocument(*apex);
    if (!apex->isElement()) {
        error = "Only a whole document or an element can be canonicalized";
        return false;
    }
    return writer.writeFragment(*apex);
}

}  // namespace xmldsig::detail
