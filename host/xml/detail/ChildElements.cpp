#include "host/xml/detail/ChildElements.h"

namespace xmldsig::detail {

std::vector<const dom::Node*> childrenByLocalName(const dom::Node& parent,
                                                  std::string_view localName) {
    std::vector<const dom::Node*> out;
    for (const dom::Node* c = parent.firstChildElement(); c; c = c->nextSiblingElement()) {
        if (c->localName() == localName) out.push_back(c);
    }
    return out;
}

const dom::Node* firstChildByLocalName(const dom::Node& parent, std::string_view localName) {
    for (const dom::Node* c = parent.firstChildElement(); c; c = c->nextSiblingElement()) {
        if (c->localName() == localName) return c;
    }
    return nullptr;
}

const dom::Node* lastChildElement(const dom::Node& parent) {
    return parent.lastChildElement();
}

std::string ownText(const dom::Node& element) {
    std::string text;
    for (const dom::Node* c = element.firstChild; c; c = c->nextSibling) {
        if (c->type == dom::NodeType::Text) text += c->value;
    }
    return text;
}

}  // namespace xmldsig::detail
