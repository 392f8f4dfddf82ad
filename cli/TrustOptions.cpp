#include "cli/TrustOptions.h"

#include <cstdio>
#include <utility>

namespace xmldsig::cli {

const OptionSpec kOptTrust{"--trust", true, true, "FILE|DIR",
                           "trust anchors (PEM or DER, single certificates or bundles; need not "
                           "be self-signed): \"valid\" then requires a certificate path to one "
                           "(repeatable)"};
const OptionSpec kOptSystemTrust{"--system-trust", false, false, nullptr,
                                 "the system's trust store as anchors"};
const OptionSpec kOptUntrusted{"--untrusted", true, true, "FILE|DIR",
                               "more intermediate certificates for the path (repeatable)"};
const OptionSpec kOptCrl{"--crl", true, true, "FILE",
                         "CRLs (PEM or DER): the signer's issuer must have one, and no "
                         "certificate of the path may be revoked (repeatable)"};
const OptionSpec kOptAt{"--at", true, false, "TIME",
                        "validate the path at TIME: RFC 3339 UTC (2024-06-01T00:00:00Z), now, "
                        "or signing-time (the XAdES SigningTime); default: the time of a "
                        "verified signature timestamp, else now"};
const OptionSpec kOptTsaTrust{"--tsa-trust", true, true, "FILE|DIR",
                              "trust anchors for timestamp authorities (default: those of "
                              "--trust)"};

bool loadTrustOptions(const ParsedArgs& args, TrustSettings& out) {
    out.anchors = args.all("--trust");
    out.untrusted = args.all("--untrusted");
    out.crls = args.all("--crl");
    out.tsaAnchors = args.all("--tsa-trust");
    out.systemTrust = args.has("--system-trust");
    out.at = args.value("--at");
    std::string member, error;
    if (out.usable(member, error)) return true;
    static const std::pair<const char*, const char*> kOptionOf[] = {
        {"TrustAnchors", "--trust"},
        {"Untrusted", "--untrusted"},
        {"Crls", "--crl"},
        {"TsaTrustAnchors", "--tsa-trust"},
        {"ValidationTime", "--at"}};
    if (member == "TrustAnchors" && !out.active()) {
        std::fprintf(stderr,
                     "xmldsig: --untrusted, --crl and --at need --trust or --system-trust\n");
        return false;
    }
    const char* option = member.c_str();
    for (const auto& m : kOptionOf)
        if (member == m.first) option = m.second;
    std::fprintf(stderr, "xmldsig: %s %s\n", option, error.c_str());
    return false;
}

}  // namespace xmldsig::cli
