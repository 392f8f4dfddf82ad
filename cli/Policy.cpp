#include "cli/Policy.h"

#include <strings.h>

namespace xmldsig::cli {

const OptionSpec kOptPolicy{"--policy", true, false, "default|strict",
                            "strict: weak digests (MD2, MD5, SHA-1), RSA/DSA keys under 2048 "
                            "bits, EC keys under 256 bits, unknown algorithm URIs taken for a "
                            "default, AllowXmlDigestError and --no-refs make the verdict invalid; "
                            "default: they are warnings"};

namespace {

// The option words the component reads; all but the last are matched without regard to case.
const char* const kOptionWords[] = {"ZATCA", "MYINVOIS", "VerifyEncapsulatedTimeStamp"};
const char* const kDigestErrorWord = "AllowXmlDigestError";

}  // namespace

bool strictPolicy(const ParsedArgs& args) {
    return args.value("--policy", "default") == "strict";
}

bool allowsDigestErrors(const ParsedArgs& args) {
    for (const auto& w : args.all("--option"))
        if (w == kDigestErrorWord) return true;
    return false;
}

bool checkOptionWords(const ParsedArgs& args, std::string& error) {
    const std::string policy = args.value("--policy", "default");
    if (policy != "default" && policy != "strict") {
        error = "--policy " + policy + ": expected default or strict";
        return false;
    }
    for (const auto& w : args.all("--option")) {
        bool known = w == kDigestErrorWord;
        for (const char* k : kOptionWords) known = known || strcasecmp(w.c_str(), k) == 0;
        if (known) continue;
        error = "--option " + w +
                ": unknown option word (known: ZATCA, MYINVOIS, VerifyEncapsulatedTimeStamp, "
                "AllowXmlDigestError)";
        return false;
    }
    return true;
}

void collectFindings(ClsXmlDSig& dsig, const ParsedArgs& args, Findings& out) {
    xmldsig::collectFindings(dsig, allowsDigestErrors(args), !args.has("--no-refs"), out);
}

}  // namespace xmldsig::cli
