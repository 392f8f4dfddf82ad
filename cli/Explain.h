// --explain: when a reference digest does not match, the exact bytes that were hashed for it
// are written to a file, so that they can be compared with what the signer hashed.
#pragma once

#include <string>

#include "cli/CommandLine.h"
#include "dsig/ClsXmlDSig.h"

namespace xmldsig::cli {

extern const OptionSpec kOptExplain;

// Writes what the last reference check of dsig hashed to DIR/<file name>.sig<N>.ref<M>.hashed
// and returns a line saying where (or that the data was an external file, or why nothing was
// written).
std::string explainReference(ClsXmlDSig& dsig, const std::string& dir, const std::string& file,
                             int signature, int reference);

}  // namespace xmldsig::cli
