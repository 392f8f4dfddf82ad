// Whom the user trusts: --trust, --system-trust, --untrusted, --crl, --at, --tsa-trust.
#pragma once

#include "cli/CommandLine.h"
#include "dsig/SignerTrust.h"

namespace xmldsig::cli {

// The settings the trust options name, checked: false (after printing which option and why)
// when a file cannot be used or the --at value cannot be read.
bool loadTrustOptions(const ParsedArgs& args, TrustSettings& out);

extern const OptionSpec kOptTrust;
extern const OptionSpec kOptSystemTrust;
extern const OptionSpec kOptUntrusted;
extern const OptionSpec kOptCrl;
extern const OptionSpec kOptAt;
extern const OptionSpec kOptTsaTrust;

}  // namespace xmldsig::cli
