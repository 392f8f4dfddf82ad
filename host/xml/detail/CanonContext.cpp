#include "host/xml/detail/CanonContext.h"

#include "host/xml/detail/NamespaceScope.h"

namespace xmldsig::detail {

QNameParts splitQName(std::string_view qname) {
    const std::size_t colon = qname.find(':');
    if (colon == std::string_view::npos) return {std::string_view(), qname};
    return {qname.substr(0, colon), qname.substr(colon + 1)};
}

bool isNamespaceDeclaration(const dom::Attribute& attr, std::string_view& prefix) {
    const std::string_view name = attr.name;
    if (name == "xmlns") {
        prefix = std::string_view();
        return true;
    }
    if (name.size() > 6 && name.compare(0, 6, "xmlns:") == 0) {
        prefix = name.substr(6);
        return true;
    }
    return false;
}

std::map<std::string, std::string> inheritedNamespaces(const dom::Node& apex) {
    std::vector<const dom::Node*> ancestors;
    for (const dom::Node* p = apex.parent; p != nullptr && p->isElement(); p = p->parent) {
        ancestors.push_back(p);
    }
    std::map<std::string, std::string> bindings;
    // Outermost first, so that nearer declarations overwrite farther ones.
    for (auto it = ancestors.rbegin(); it != ancestors.rend(); ++it) {
        for (const dom::Attribute& attr : (*it)->attributes) {
            std::string_view prefix;
            if (isNamespaceDeclaration(attr, prefix)) bindings[std::string(prefix)] = attr.value;
        }
    }
    return bindings;
}

std::set<std::string> prefixesUsedFromOutside(const dom::Node& apex) {
    std::set<std::string> used;
    NamespaceScope declaredInside;
    auto noteUse = [&](std::string_view prefix) {
        if (prefix != "xml" && declaredInside.lookup(prefix) == nullptr) used.emplace(prefix);
    };
    auto enter = [&](const dom::Node& element) {
        declaredInside.openLevel();
        for (const dom::Attribute& attr : element.attributes) {
            std::string_view prefix;
            if (isNamespaceDeclaration(attr, prefix)) declaredInside.bind(prefix, attr.value);
        }
        noteUse(splitQName(element.name).prefix);
        for (const dom::Attribute& attr : element.attributes) {
            std::string_view prefix;
            if (isNamespaceDeclaration(attr, prefix)) continue;
            prefix = splitQName(attr.name).prefix;
            if (!prefix.empty()) noteUse(prefix);
        }
        return true;
    };
    auto leave = [&](const dom::Node&) {
        declaredInside.closeLevel();
        return true;
    };
    walkSubtree(apex, enter, leave, [](const dom::Node&) { return true; });
    return used;
}

std::vector<const dom::Attribute*> inheritedXmlAttributes(const dom::Node& apex) {
    std::vector<const dom::Attribute*> found;
    auto alreadyHave = [&](std::string_view name) {
        if (apex.findAttribute(name) != nullptr) return true;
        for (const dom::Attribute* a : found) {
            if (a->name == name) return true;
        }
        return false;
    };
    for (const dom::Node* p = apex.parent; p != nullptr && p->isElement(); p = p->parent) {
        for (const dom::Attribute& attr : p->attributes) {
            if (splitQName(attr.name).prefix == "xml" && !alreadyHave(attr.name)) {
                found.push_back(&attr);
            }
        }
    }
    return found;
}

}  // namespace xmldsig::detail
