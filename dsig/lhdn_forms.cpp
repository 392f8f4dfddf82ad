// The document and SignedProperties forms that the MyInvois (LHDN) signer hashes. Both are built
// from canonical text, which our canonicalizer writes with double-quoted attribute values and
// with every '<' being markup, so a plain scan can tell tags from text.
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dsig/detail/LhdnForms.h"
#include "host/log/LogContextExitor.h"
#include "host/xml/XmlCanon.h"
#include "host/xml/XmlSigRemoval.h"
#include "host/xml/detail/XmlDom.h"
#include "host/xml/detail/XmlLocateUtil.h"

namespace xmldsig::detail {

namespace {

constexpr std::string_view kExtensionsNs =
    "urn:oasis:names:specification:ubl:schema:xsd:CommonExtensionComponents-2";
constexpr std::string_view kAggregateNs =
    "urn:oasis:names:specification:ubl:schema:xsd:CommonAggregateComponents-2";

bool isXmlBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool allBlank(const std::string& s, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
        if (!isXmlBlank(s[i])) return false;
    }
    return true;
}

// Index just past the '>' closing the start tag that begins at `from` ('>' may sit inside a
// quoted attribute value); the end of the text when it is not closed.
std::size_t startTagEnd(const std::string& s, std::size_t from) {
    bool quoted = false;
    for (std::size_t i = from + 1; i < s.size(); ++i) {
        if (s[i] == '"') quoted = !quoted;
        if (s[i] == '>' && !quoted) return i + 1;
    }
    return s.size();
}

// A start tag ("<name a="v" ...>") without its '>', the namespace declarations moved after the
// other attributes, in their order. A tag it cannot read is returned as it stands.
std::string namespacesLast(std::string_view tag, std::string& name) {
    if (!tag.empty() && tag.back() == '>') tag.remove_suffix(1);
    name.clear();
    if (tag.size() < 2 || tag[0] != '<') return std::string(tag);
    std::size_t i = 1;
    while (i < tag.size() && !isXmlBlank(tag[i]) && tag[i] != '>' && tag[i] != '/') ++i;
    name.assign(tag.substr(1, i - 1));
    std::string head(tag.substr(0, i)), attributes, declarations;
    while (i < tag.size()) {
        while (i < tag.size() && isXmlBlank(tag[i])) ++i;
        if (i >= tag.size()) break;
        const std::size_t eq = tag.find("=\"", i);
        const std::size_t close = eq == std::string_view::npos ? eq : tag.find('"', eq + 2);
        if (close == std::string_view::npos) return std::string(tag);
        const std::string_view attrName = tag.substr(i, eq - i);
        const bool isDecl = attrName == "xmlns" || attrName.substr(0, 6) == "xmlns:";
        std::string& dest = isDecl ? declarations : attributes;
        dest.push_back(' ');
        dest.append(tag.substr(i, close + 1 - i));
        i = close + 1;
    }
    return head + attributes + declarations;
}

// Position after the blank-only text that starts at `from`, when that text runs up to markup;
// `from` itself otherwise.
std::size_t skipDroppedText(const std::string& s, std::size_t from) {
    std::size_t i = from;
    while (i < s.size() && isXmlBlank(s[i])) ++i;
    return (i < s.size() && s[i] == '<') ? i : from;
}

std::string_view localPart(std::string_view qname) {
    const std::size_t colon = qname.find(':');
    return colon == std::string_view::npos ? qname : qname.substr(colon + 1);
}

// The namespace of a child of the root: declared on the element itself or on the root.
std::string_view namespaceOfRootChild(const dom::Node& element, const dom::Node& root) {
    const std::string_view prefix = element.prefix();
    const std::string decl = prefix.empty() ? "xmlns" : "xmlns:" + std::string(prefix);
    for (const dom::Node* n : {&element, &root}) {
        if (const std::string_view* uri = n->attributeValue(decl)) return *uri;
    }
    return {};
}

// The parts that the signer leaves out of the document digest: its signature container and the
// UBL signature reference, both direct children of the invoice element.
bool isLeftOutOfDigest(const dom::Node& child, const dom::Node& root) {
    const std::string_view local = child.localName();
    if (local == "UBLExtensions") return namespaceOfRootChild(child, root) == kExtensionsNs;
    if (local == "Signature") return namespaceOfRootChild(child, root) == kAggregateNs;
    return false;
}

bool withoutSignatureParts(const StringBuffer& xmlText, StringBuffer& out, LogBase& log) {
    dom::Document doc;
    if (!parseLogged(xmlText, doc, log)) return false;
    const dom::Node* root = doc.rootElement();
    if (root == nullptr) return false;
    std::vector<std::pair<uint32_t, uint32_t>> ranges;
    for (const dom::Node* c = root->firstChildElement(); c != nullptr;
         c = c->nextSiblingElement()) {
        if (!isLeftOutOfDigest(*c, *root)) continue;
        if (!offsetsUsable(c, log)) return false;
        ranges.emplace_back(c->start, c->end);
    }
    if (log.verbose()) log.LogDataLong("numElementsLeftOut", static_cast<long>(ranges.size()));
    return out.setString(XmlSigRemoval::textWithoutRanges(xmlText.str(), ranges));
}

}  // namespace

void rewriteCanonicalText(const StringBuffer& in, const CanonRewrite& how, StringBuffer& out) {
    const std::string& s = in.str();
    std::string r;
    r.reserve(s.size());
    std::size_t i = 0;
    while (i < s.size()) {
        if (s[i] != '<') {
            std::size_t next = s.find('<', i);
            if (next == std::string::npos) next = s.size();
            if (!how.dropWhitespaceText || !allBlank(s, i, next)) r.append(s, i, next - i);
            i = next;
            continue;
        }
        const bool pi = s.compare(i, 2, "<?") == 0;
        const bool endTag = s.compare(i, 2, "</") == 0;
        if (pi || endTag) {
            std::size_t close = s.find(pi ? "?>" : ">", i);
            close = close == std::string::npos ? s.size() : close + (pi ? 2 : 1);
            r.append(s, i, close - i);
            i = close;
            continue;
        }
        const std::size_t tagEnd = startTagEnd(s, i);
        if (!how.dotNetTags) {
            r.append(s, i, tagEnd - i);
            i = tagEnd;
            continue;
        }
        std::string name;
        r += namespacesLast(std::string_view(s).substr(i, tagEnd - i), name);
        const std::size_t after = how.dropWhitespaceText ? skipDroppedText(s, tagEnd) : tagEnd;
        const std::string closing = "</" + name + ">";
        if (s.compare(after, closing.size(), closing) == 0) {
            r += " />";
            i = after + closing.size();
        } else {
            r += '>';
            i = tagEnd;
        }
    }
    out.setString(r);
}

bool lhdnDocumentForm(const StringBuffer& xmlText, StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "lhdnDocumentForm");
    StringBuffer stripped;
    if (!withoutSignatureParts(xmlText, stripped, log)) return false;
    XmlCanon canon;
    canon.m_mode = XmlCanon::kModeInclusive;
    StringBuffer canonical;
    if (!canon.xmlCanonicalize(stripped, "", 0, canonical, log)) return false;
    rewriteCanonicalText(canonical, CanonRewrite{true, false}, out);
    return true;
}

bool lhdnSignedPropertiesForm(const StringBuffer& xmlText, const StringBuffer& id,
                              StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "lhdnSignedPropertiesForm");
    if (id.isEmpty()) return false;
    XmlCanon canon;
    canon.m_mode = XmlCanon::kModeExclusive;
    StringBuffer canonical;
    if (!canon.xmlCanonicalize(xmlText, id.getString(), 0, canonical, log)) return false;
    if (!canonical.beginsWith("<")) return false;
    std::string name;
    namespacesLast(std::string_view(canonical.str()).substr(0, startTagEnd(canonical.str(), 0)),
                   name);
    if (localPart(name) != "SignedProperties") {
        log.LogError("The referenced element is not SignedProperties.");
        return false;
    }
    rewriteCanonicalText(canonical, CanonRewrite{true, true}, out);
    return true;
}

}  // namespace xmldsig::detail
