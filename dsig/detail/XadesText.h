// Reading a signature's raw text the way the XAdES timestamp check does: by plain substring
// search rather than through the tree, so what is read is exactly what was written.
#pragma once

#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"

namespace xmldsig::detail {

// The content of the first element whose start tag contains name (a case-sensitive substring
// search, so "EncapsulatedTimeStamp" also finds a prefixed tag): the text between the start
// tag's '>' and the next '<', white space trimmed, entities left as written. The first
// occurrence wins. False when name, the '>' or the '<' is missing; white-space-only content
// gives an empty capture and true.
bool captureUniqueTagContent(const char* name, const StringBuffer& text, StringBuffer& out,
                             LogBase& log);

// The double-quoted value of attribute attr in the first start tag that contains tag. White
// space inside the tag counts as one blank, and one blank before the '=' is tolerated; a
// single-quoted value is refused. False, with the reason logged, when not found.
bool captureUniqueAttrContent(const char* tag, const char* attr, const StringBuffer& text,
                              StringBuffer& out, LogBase& log);

}  // namespace xmldsig::detail
