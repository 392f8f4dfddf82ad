#include "cli/CommandLine.h"

#include <cstdio>
#include <cstring>

namespace xmldsig::cli {

const OptionSpec kOptLog{"--log", false, false, nullptr, "print the diagnostic log"};
const OptionSpec kOptVerbose{"--verbose", false, false, nullptr,
                             "more detail in the diagnostic log"};
const OptionSpec kOptOption{"--option", true, true, "WORD",
                            "an uncommon option word, e.g. ZATCA or MYINVOIS (repeatable)"};
const OptionSpec kOptSignature{"--signature", true, false, "N",
                               "select signature N (from 0) instead of all"};
const OptionSpec kOptJson{"--json", false, false, nullptr, "one JSON object per signature"};
const OptionSpec kOptExtDir{"--ext-dir", true, true, "DIR",
                            "a directory holding externally referenced files (repeatable)"};
const OptionSpec kOptRefFile{"--ref-file", true, true, "N=FILE",
                             "digest FILE for reference N instead of looking it up (repeatable)"};
const OptionSpec kOptMaxReferences{"--max-references", true, false, "N",
                                   "allow up to N references per signature (default 100)"};
const OptionSpec kOptMaxTransforms{"--max-transforms", true, false, "N",
                                   "allow up to N transforms per reference (default 10)"};
const OptionSpec kOptIgnoreExternal{"--ignore-external", false, false, nullptr,
                                    "do not count external references whose data is missing"};

std::string ParsedArgs::value(const std::string& name, const std::string& fallback) const {
    auto it = values.find(name);
    return it == values.end() || it->second.empty() ? fallback : it->second.back();
}

const std::vector<std::string>& ParsedArgs::all(const std::string& name) const {
    static const std::vector<std::string> none;
    auto it = values.find(name);
    return it == values.end() ? none : it->second;
}

namespace {

const OptionSpec* findOption(const Command& cmd, const std::string& name) {
    for (const auto& o : cmd.options)
        if (name == o.name) return &o;
    return nullptr;
}

bool allOf(const std::string& s, const char* chars) {
    return !s.empty() && s.find_first_not_of(chars) == std::string::npos;
}

// The values the tool can judge before it reads a document; error names the bad argument.
bool checkValues(const ParsedArgs& args, std::string& error) {
    const std::string sig = args.value("--signature", "0");
    if (!allOf(sig, "0123456789") || sig.size() > 9) {
        error = "--signature " + sig + ": expected a signature number (0 is the first)";
        return false;
    }
    for (const auto& spec : args.all("--ref-file")) {
        const auto eq = spec.find('=');
        const std::string n = spec.substr(0, eq);
        if (eq == std::string::npos || !allOf(n, "0123456789") || n.size() > 3 ||
            std::stoi(n) > 100 || eq + 1 == spec.size()) {
            error = "--ref-file " + spec + ": expected N=FILE with N from 0 to 100";
            return false;
        }
    }
    if (!args.has("--hmac-key")) return true;
    const std::string key = args.value("--hmac-key"), enc = args.value("--hmac-encoding", "ascii");
    const char* alphabet =
        enc == "hex"         ? "0123456789abcdefABCDEF"
        : enc == "base64"    ? "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="
        : enc == "base64url" ? "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_="
                             : nullptr;
    if (alphabet != nullptr && (!allOf(key, alphabet) || (enc == "hex" && key.size() % 2 != 0))) {
        error = "--hmac-key: not valid " + enc + " text";
        return false;
    }
    return true;
}

}  // namespace

bool parseArgs(const Command& cmd, int argc, char** argv, ParsedArgs& out, std::string& error) {
    bool optionsEnded = false;
    for (int i = 0; i < argc; ++i) {
        std::string arg = argv[i];
        if (optionsEnded || arg == "-" || arg.size() < 2 || arg[0] != '-') {
            out.files.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        std::string inlineValue;
        bool hasInline = false;
        if (auto eq = arg.find('='); eq != std::string::npos && arg.rfind("--", 0) == 0) {
            inlineValue = arg.substr(eq + 1);
            arg = arg.substr(0, eq);
            hasInline = true;
        }
        const OptionSpec* spec = findOption(cmd, arg);
        if (spec == nullptr) {
            error = "unknown option '" + arg + "' for '" + cmd.name + "'";
            return false;
        }
        if (!spec->repeatable && out.has(arg)) {
            error = "option '" + arg + "' given more than once";
            return false;
        }
        if (!spec->takesValue) {
            if (hasInline) {
                error = "option '" + arg + "' takes no value";
                return false;
            }
            out.values[arg].push_back("");
            continue;
        }
        if (!hasInline) {
            if (i + 1 >= argc) {
                error = "option '" + arg + "' needs a value (" + spec->valueName + ")";
                return false;
            }
            inlineValue = argv[++i];
        }
        out.values[arg].push_back(inlineValue);
    }
    const int n = static_cast<int>(out.files.size());
    if (n < cmd.minFiles) {
        error = std::string("'") + cmd.name + "' needs " +
                (cmd.minFiles == 1 && cmd.maxFiles == 1 ? "a FILE" : "at least one FILE");
        return false;
    }
    if (cmd.maxFiles >= 0 && n > cmd.maxFiles) {
        error = "unexpected argument '" + out.files[cmd.maxFiles] + "' for '" + cmd.name + "'";
        return false;
    }
    return checkValues(out, error);
}

void printCommandHelp(const Command& cmd) {
    std::printf("usage: xmldsig %s\n\n%s\n", cmd.synopsis, cmd.description);
    if (cmd.options.empty()) return;
    std::printf("\noptions:\n");
    for (const auto& o : cmd.options) {
        std::string left = o.name;
        if (o.takesValue) left += std::string(" ") + o.valueName;
        std::printf("  %-24s %s\n", left.c_str(), o.help);
    }
    std::printf("  %-24s %s\n", "-h, --help", "show this help");
}

}  // namespace xmldsig::cli
