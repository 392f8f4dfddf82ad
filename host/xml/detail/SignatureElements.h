// Recognising signature elements in the tree. A Signature counts only in the XML Signature
// namespace (UBL's cac:Signature is an ordinary business element); EBICS's AuthSignature is a
// signature whatever its namespace.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/xml/detail/XmlDom.h"

namespace xmldsig::detail {

inline constexpr std::string_view kXmlDsigNamespace = "http://www.w3.org/2000/09/xmldsig#";

// The namespace URI bound to prefix ("" for the default namespace) at element, from the xmlns
// declarations in scope; null when the prefix is not bound (or the default was undeclared).
const std::string_view* namespaceOfPrefix(const dom::Node& element, std::string_view prefix);

// The element's own namespace URI, or null.
const std::string_view* elementNamespace(const dom::Node& element);

// An element named Signature in the XML Signature namespace.
bool isXmlDsigSignature(const dom::Node& element);

// isXmlDsigSignature, or an element whose local name is AuthSignature.
bool isSignatureElement(const dom::Node& element);

// The child elements of parent with the given local name in the XML Signature namespace, in
// document order.
std::vector<const dom::Node*> dsigChildren(const dom::Node& parent, std::string_view localName);

// Every signature element (isSignatureElement) under top, in document order.
std::vector<const dom::Node*> collectSignatures(const dom::Node& top);

}  // namespace xmldsig::detail
