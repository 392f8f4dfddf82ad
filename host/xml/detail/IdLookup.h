// Finding an element by the value of its Id attribute. Signed documents name their Id attribute
// in several ways (Id, ID, id, wsu:Id, xml:id, SAML 1.x's AssertionID...), and an Id value that
// more than one element carries is treated as an attack (signature wrapping), never resolved.
#pragma once

#include <string>
#include <string_view>

#include "host/xml/detail/XmlDom.h"

namespace xmldsig::detail {

// True for attribute names that hold an element's Id: the local names Id, ID and id with any
// prefix (so wsu:Id and xml:id), and AssertionID, ResponseID and RequestID. Namespace
// declarations (xmlns:Id) are never Id attributes.
bool isIdAttributeName(std::string_view qname);

// True when one of the element's Id attributes has the value id.
bool elementHasId(const dom::Node& element, std::string_view id);

// The one element of the document whose Id attribute has the value id. Null, with a reason in
// error, when no element or more than one element carries it.
const dom::Node* findElementById(const dom::Document& doc, std::string_view id, std::string& error);

}  // namespace xmldsig::detail
