// Compact serialization of a subtree: tags and attributes as written (specified attributes in
// source order, defaults from the DTD left out), text and attribute values re-escaped, comments
// and processing instructions kept, no XML declaration and no namespace declarations beyond
// those the subtree itself carries. An element without children is written as "<a/>".
#pragma once

#include <string>

#include "host/xml/detail/XmlDom.h"

namespace xmldsig::detail {

// Appends top and everything under it; for the document node, all of its children.
void appendXml(const dom::Node& top, std::string& out);

}  // namespace xmldsig::detail
