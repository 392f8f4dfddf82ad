// Owning pointer for an expat parser, so that no code path calls XML_ParserFree by hand.
#pragma once

// The amplification-limit setters are declared only under XML_DTD; the system library is built
// with DTD support (the symbols link), the header just needs to be told.
#ifndef XML_DTD
#define XML_DTD 1
#endif
#include <expat.h>

#include <memory>

#include "host/text/detail/FreeWith.h"

namespace xmldsig::detail {

using ExpatPtr = std::unique_ptr<XML_ParserStruct, FreeWith<&XML_ParserFree>>;

}  // namespace xmldsig::detail
