// What a canonicalized subtree takes from the ancestors of its apex element: the namespace
// bindings in scope and the xml:* attributes, plus the helpers both the context and the
// canonicalizer need to read qualified names.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/xml/detail/XmlDom.h"

namespace xmldsig::detail {

inline constexpr std::string_view kXmlNamespaceUri = "http://www.w3.org/XML/1998/namespace";

struct QNameParts {
    std::string_view prefix;  // "" when unprefixed
    std::string_view local;
};

QNameParts splitQName(std::string_view qname);

// True when attr is a namespace declaration; prefix receives the declared prefix ("" for the
// default namespace).
bool isNamespaceDeclaration(const dom::Attribute& attr, std::string_view& prefix);

// Walks top's subtree in document order without recursion: enter and leave for elements
// (start and end), leaf for text, comments and processing instructions. Any callback returning
// false stops the walk, and the walk then returns false.
// An element for which skip returns true is passed over with its subtree: neither entered nor
// left.
template <class Enter, class Leave, class Leaf, class Skip>
bool walkSubtree(const dom::Node& top, Enter&& enter, Leave&& leave, Leaf&& leaf, Skip&& skip) {
    for (const dom::Node* n = &top; n != nullptr;) {
        bool skipped = false;
        if (n->isElement()) {
            skipped = skip(*n);
            if (!skipped && !enter(*n)) return false;
            if (!skipped && n->firstChild != nullptr) {
                n = n->firstChild;
                continue;
            }
        } else if (!leaf(*n)) {
            return false;
        }
        for (;;) {
            if (n->isElement() && !skipped && !leave(*n)) return false;
            skipped = false;
            if (n == &top) {
                n = nullptr;
                break;
            }
            if (n->nextSibling != nullptr) {
                n = n->nextSibling;
                break;
            }
            n = n->parent;
        }
    }
    return true;
}

template <class Enter, class Leave, class Leaf>
bool walkSubtree(const dom::Node& top, Enter&& enter, Leave&& leave, Leaf&& leaf) {
    return walkSubtree(top, enter, leave, leaf, [](const dom::Node&) { return false; });
}

// The namespace bindings that apex inherits from its ancestors, nearest declaration winning
// (an empty value is an undeclared default namespace). Apex's own declarations are not included.
std::map<std::string, std::string> inheritedNamespaces(const dom::Node& apex);

// The prefixes ("" for the default namespace) that elements and attributes of apex's subtree use
// without a declaration inside the subtree, that is, bindings taken from outside it.
std::set<std::string> prefixesUsedFromOutside(const dom::Node& apex);

// The xml:* attributes of apex's ancestors that apex does not carry itself, the nearest ancestor's
// value winning, in the order found.
std::vector<const dom::Attribute*> inheritedXmlAttributes(const dom::Node& apex);

}  // namespace xmldsig::detail
