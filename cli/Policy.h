// What qualifies a "valid": findings such as a weak digest, a short key, an algorithm URI taken
// for a default, or an option that loosens the check. Without --policy strict they are warnings
// (in --json and as a note on the verdict line); with it, any finding makes the verdict invalid.
// Other checks add their own findings with Findings::add.
#pragma once

#include <string>

#include "cli/CommandLine.h"
#include "dsig/ClsXmlDSig.h"
#include "dsig/VerdictFindings.h"

namespace xmldsig::cli {

extern const OptionSpec kOptPolicy;

using xmldsig::Finding;
using xmldsig::Findings;

// The findings of the last verification of the selected signature (dsig has verified it).
void collectFindings(ClsXmlDSig& dsig, const ParsedArgs& args, Findings& out);

// True when --policy strict is given.
bool strictPolicy(const ParsedArgs& args);

// Checks --option words and --policy; false with the problem in error (a command-line error).
bool checkOptionWords(const ParsedArgs& args, std::string& error);

// True when the option "AllowXmlDigestError" is in effect (the component reads it, with case).
bool allowsDigestErrors(const ParsedArgs& args);

}  // namespace xmldsig::cli
