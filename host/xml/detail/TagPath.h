// Tag patterns and tag paths used to address elements from a node.
//
// A pattern matches an element's qualified name exactly ("ds:Signature" only with the ds
// prefix, "Signature" only unprefixed), except that "*:Local" matches the local name under any
// prefix or none, and "*" matches any element. A path is steps separated by '|', each step one
// level down: "*:X509Data|*:X509SubjectName". A step may end in "[i]" (the child with that tag
// whose position among like-tagged children is the caller's I value) or "[n]" for a literal n.
#pragma once

#include <string_view>
#include <vector>

#include "host/xml/detail/XmlDom.h"

namespace xmldsig::detail {

bool tagMatches(std::string_view pattern, std::string_view qname);

struct PathStep {
    std::string_view tag;
    int index = 0;  // among children matching tag; 0 is the first
};

// Splits a path into steps, resolving "[i]" with iValue. False for an empty path, an empty
// step or a malformed or negative index.
bool parseTagPath(std::string_view path, int iValue, std::vector<PathStep>& steps);

// The index-th child element of parent matching tag, or null.
const dom::Node* nthChildWithTag(const dom::Node& parent, std::string_view tag, int index);

// How many child elements of parent match tag.
int countChildrenWithTag(const dom::Node& parent, std::string_view tag);

// The element reached from start by the path, or null.
const dom::Node* followTagPath(const dom::Node& start, std::string_view path, int iValue);

// The attribute of element whose name matches pattern (same rules as tags), or null.
const dom::Attribute* findAttributeMatching(const dom::Node& element, std::string_view pattern);

}  // namespace xmldsig::detail
