// Child lookups by local name, the way signature parts are addressed ("*:SignedInfo"): any
// prefix, any namespace.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/xml/detail/XmlDom.h"

namespace xmldsig::detail {

std::vector<const dom::Node*> childrenByLocalName(const dom::Node& parent,
                                                  std::string_view localName);
const dom::Node* firstChildByLocalName(const dom::Node& parent, std::string_view localName);
const dom::Node* lastChildElement(const dom::Node& parent);

// The element's own text (its Text children, CDATA included), entities decoded.
std::string ownText(const dom::Node& element);

}  // namespace xmldsig::detail
