// A hint for e-invoices verified without the option their rules need: their signers hash the
// invoice in ways plain XML Signature does not, so a digest mismatch is expected without it.
#pragma once

#include <string>

#include "cli/CommandLine.h"
#include "host/text/DataBuffer.h"

namespace xmldsig::cli {

// "" when the command line already names the family's option or the document looks like
// neither family; else the sentence to add to a digest mismatch.
std::string familyHint(const DataBuffer& document, const ParsedArgs& args);

}  // namespace xmldsig::cli
