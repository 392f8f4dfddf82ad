#include "support/Tamper.h"

#include <cctype>
#include <memory>
#include <utility>
#include <vector>

#include "host/log/ExtPtrArrayRc.h"
#include "host/log/LogNull.h"
#include "host/xml/ClsXml.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig::test {

namespace {

using dom::Node;
using Range = std::pair<uint32_t, uint32_t>;

struct XmlRelease {
    void operator()(ClsXml* x) const { x->decRefCount(); }
};
using XmlPtr = std::unique_ptr<ClsXml, XmlRelease>;

bool isAlnum(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

bool isBase64(char c) {
    return isAlnum(c) || c == '+' || c == '/';
}

std::string attrValue(const Node& n, const char* name) {
    const std::string_view* v = n.attributeValue(name);
    return v != nullptr ? std::string(*v) : "";
}

const Node* childNamed(const Node* parent, std::string_view local) {
    if (parent == nullptr) return nullptr;
    for (const Node* c = parent->firstChildElement(); c != nullptr; c = c->nextSiblingElement())
        if (c->localName() == local) return c;
    return nullptr;
}

bool hasIdValue(const Node& n, const std::string& id) {
    for (const auto& a : n.attributes) {
        const auto colon = a.name.find(':');
        const std::string_view local =
            colon == std::string_view::npos ? a.name : a.name.substr(colon + 1);
        if ((local == "Id" || local == "ID" || local == "id") && a.value == id) return true;
    }
    return false;
}

// The Id a same-document URI names ("#x", "#xpointer(id('x'))"); "" for the whole document.
std::string idOf(const std::string& uri) {
    std::string id = uri.empty() ? uri : uri.substr(1);
    const std::string xp = "xpointer(id(";
    if (id.rfind(xp, 0) == 0 && id.size() > xp.size() + 4)
        id = id.substr(xp.size() + 1, id.size() - xp.size() - 4);
    return id == "xpointer(/)" ? "" : id;
}

const Node* elementWithId(const Node* root, const std::string& id) {
    for (const Node* n = root; n != nullptr; n = dom::nextInDocumentOrder(n, root))
        if (n->isElement() && hasIdValue(*n, id)) return n;
    return nullptr;
}

bool isAncestorOrSelf(const Node* a, const Node* n) {
    for (; n != nullptr; n = n->parent)
        if (n == a) return true;
    return false;
}

bool inside(const std::vector<Range>& ranges, uint32_t at) {
    for (const auto& r : ranges)
        if (at >= r.first && at < r.second) return true;
    return false;
}

// The last letter or digit of character data in [from, to): comments, processing
// instructions, CDATA markers and entity references are skipped.
std::size_t lastLetterIn(const std::string& text, uint32_t from, uint32_t to) {
    std::size_t found = std::string::npos;
    for (std::size_t i = from; i < to && i < text.size();) {
        if (text.compare(i, 4, "<!--") == 0) {
            const auto end = text.find("-->", i);
            i = end == std::string::npos ? to : end + 3;
        } else if (text.compare(i, 2, "<?") == 0) {
            const auto end = text.find("?>", i);
            i = end == std::string::npos ? to : end + 2;
        } else if (text.compare(i, 9, "<![CDATA[") == 0) {
            i += 9;
        } else if (text[i] == '&') {
            const auto end = text.find(';', i);
            i = end == std::string::npos ? to : end + 1;
        } else {
            if (isAlnum(text[i])) found = i;
            ++i;
        }
    }
    return found;
}

// Elements of the target's subtree outside the excluded ranges, in document order.
std::vector<const Node*> elementsOf(const Node* target, const std::vector<Range>& excluded) {
    std::vector<const Node*> out;
    for (const Node* n = target; n != nullptr; n = dom::nextInDocumentOrder(n, target))
        if (n->isElement() && !n->fromEntity && !inside(excluded, n->start)) out.push_back(n);
    return out;
}

// The last letter or digit of the elements' character data.
std::size_t lastTextLetter(const std::string& text, const std::vector<const Node*>& elements) {
    std::size_t found = std::string::npos;
    for (const Node* n : elements) {
        uint32_t gap = n->startTagEnd;
        for (const Node* c = n->firstChildElement(); c != nullptr; c = c->nextSiblingElement()) {
            const std::size_t at = lastLetterIn(text, gap, c->start);
            if (at != std::string::npos) found = at;
            gap = c->end;
        }
        const std::size_t at = lastLetterIn(text, gap, n->endTagStart);
        if (at != std::string::npos) found = at;
    }
    return found;
}

bool isIdOrNamespace(const std::string& name) {
    const auto colon = name.find(':');
    const std::string local = colon == std::string::npos ? name : name.substr(colon + 1);
    return name == "xmlns" || name.rfind("xmlns:", 0) == 0 || local == "Id" || local == "ID" ||
           local == "id";
}

// The last letter or digit of an attribute value in the start tag [from, to) whose attribute
// is neither an Id nor a namespace declaration.
std::size_t lastAttributeLetter(const std::string& text, uint32_t from, uint32_t to) {
    std::size_t found = std::string::npos;
    std::size_t i = text.find_first_of(" \t\r\n", from);  // past the element name
    while (i != std::string::npos && i < to) {
        const std::size_t eq = text.find('=', i);
        if (eq == std::string::npos || eq >= to) break;
        const std::size_t nameStart = text.find_first_not_of(" \t\r\n", i);
        const std::string name =
            text.substr(nameStart, text.find_last_not_of(" \t\r\n", eq - 1) + 1 - nameStart);
        const std::size_t open = text.find_first_of("\"'", eq);
        const std::size_t close =
            open == std::string::npos ? open : text.find(text[open], open + 1);
        if (close == std::string::npos || close >= to) break;
        if (!isIdOrNamespace(name)) {
            const std::size_t at = lastLetterIn(text, open + 1, close);
            if (at != std::string::npos) found = at;
        }
        i = close + 1;
    }
    return found;
}

// The last letter or digit of an element's local name, in its start tag and (when it has one)
// its end tag.
std::vector<std::size_t> nameLetter(const Node& n) {
    const std::string_view name = n.name;
    const std::size_t colon = name.find(':');
    for (std::size_t k = name.size(); k-- > (colon == std::string::npos ? 0 : colon + 1);) {
        if (!isAlnum(name[k])) continue;
        std::vector<std::size_t> at{n.start + 1 + k};
        if (n.endTagStart != n.end) at.push_back(n.endTagStart + 2 + k);
        return at;
    }
    return {};
}

std::vector<std::size_t> contentSite(const std::string& text, const Node* target,
                                     const std::vector<Range>& excluded) {
    const std::vector<const Node*> elements = elementsOf(target, excluded);
    const std::size_t letter = lastTextLetter(text, elements);
    if (letter != std::string::npos) return {letter};
    for (auto it = elements.rbegin(); it != elements.rend(); ++it) {
        const std::size_t at = lastAttributeLetter(text, (*it)->start, (*it)->startTagEnd);
        if (at != std::string::npos) return {at};
    }
    for (auto it = elements.rbegin(); it != elements.rend(); ++it) {
        std::vector<std::size_t> at = nameLetter(**it);
        if (!at.empty()) return at;
    }
    return {};
}

// A base64 character near the middle of an element's text: away from the last group, whose
// final character may carry unused bits.
std::size_t middleBase64(const std::string& text, const Node* n) {
    if (n == nullptr) return std::string::npos;
    std::vector<std::size_t> positions;
    for (std::size_t i = n->startTagEnd; i < n->endTagStart; ++i)
        if (isBase64(text[i])) positions.push_back(i);
    return positions.size() < 8 ? std::string::npos : positions[positions.size() / 2];
}

}  // namespace

TamperSites tamperSites(const std::string& utf8, int index) {
    TamperSites s;
    LogNull quiet;
    XmlPtr doc{ClsXml::createNewCls()};
    if (!doc || !doc->loadXml(StringBuffer(utf8.c_str()), false, quiet)) {
        s.why = "the text does not parse";
        return s;
    }
    ExtPtrArrayRc sigs;
    doc->findSignatures(sigs, quiet);
    const auto* sigXml = static_cast<ClsXml*>(sigs.elementAt(index));
    const Node* sig = sigXml != nullptr ? sigXml->node() : nullptr;
    if (sig == nullptr) {
        s.why = "no such signature";
        return s;
    }
    const Node* ref = childNamed(childNamed(sig, "SignedInfo"), "Reference");
    s.digestValue = middleBase64(utf8, childNamed(ref, "DigestValue"));
    s.signatureValue = middleBase64(utf8, childNamed(sig, "SignatureValue"));
    s.firstUri = ref != nullptr ? attrValue(*ref, "URI") : "";
    if (!s.firstUri.empty() && s.firstUri[0] != '#') return s;  // external data

    const Node* root = doc->document()->rootElement();
    const std::string id = idOf(s.firstUri);
    const Node* target = id.empty() ? root : elementWithId(root, id);
    if (target == nullptr) {
        s.why = "no element has the Id of " + s.firstUri;
        return s;
    }
    std::vector<Range> excluded;
    for (int i = 0; i < sigs.getSize(); ++i) {
        const Node* other = static_cast<ClsXml*>(sigs.elementAt(i))->node();
        if (other != nullptr && !isAncestorOrSelf(other, target))
            excluded.emplace_back(other->start, other->end);
    }
    s.content = contentSite(utf8, target, excluded);
    if (s.content.empty()) s.why = "no letter in the content of " + s.firstUri;
    return s;
}

std::string withCharacterChanged(std::string text, std::size_t at) {
    if (at < text.size()) text[at] = text[at] == 'A' ? 'B' : 'A';
    return text;
}

std::string withCharactersChanged(std::string text, const std::vector<std::size_t>& at) {
    if (at.empty() || at[0] >= text.size()) return text;
    const char replacement = text[at[0]] == 'A' ? 'B' : 'A';
    for (std::size_t i : at)
        if (i < text.size()) text[i] = replacement;
    return text;
}

std::string withMiddleCharacterChanged(std::string bytes) {
    for (std::size_t i = bytes.size() / 2; i < bytes.size(); ++i)
        if (isAlnum(bytes[i])) return withCharacterChanged(std::move(bytes), i);
    return bytes;
}

}  // namespace xmldsig::test
