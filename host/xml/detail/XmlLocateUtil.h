// Shared steps of the signature locator and remover.
#pragma once

#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig::detail {

// Parses text into doc; on malformed XML logs the parser's message, byte offset, line and
// column and returns false.
bool parseLogged(const StringBuffer& text, dom::Document& doc, LogBase& log);

// False, with a log line, for an element that came from an entity's replacement text: its
// offsets are those of the entity reference, not of the element. A null element is usable
// (it reports as absent).
bool offsetsUsable(const dom::Node* element, LogBase& log);

}  // namespace xmldsig::detail
