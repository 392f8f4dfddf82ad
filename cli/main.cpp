// xmldsig: verify, inspect and canonicalize signed XML from the command line.
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/Commands.h"
#include "cli/Policy.h"

using namespace xmldsig::cli;

namespace {

const Subcommand kSubcommands[] = {
    {&kVerifyCommand, runVerify}, {&kInfoCommand, runInfo}, {&kRefsCommand, runRefs},
    {&kCertsCommand, runCerts},   {&kC14nCommand, runC14n}, {&kTimestampCommand, runTimestamp},
};

void printUsage(FILE* to) {
    std::fprintf(to,
                 "usage: xmldsig COMMAND [options] FILE...\n\n"
                 "Checks XML digital signatures (XML-DSig, XAdES, WS-Security) and explains why\n"
                 "one does not verify.\n\ncommands:\n");
    for (const auto& c : kSubcommands)
        std::fprintf(to, "  %-10s %s\n", c.spec->name, c.spec->description);
    std::fprintf(to,
                 "\n'xmldsig COMMAND --help' describes a command's options. A FILE of '-' reads\n"
                 "standard input. 'xmldsig --version' prints the version. Exit status: 0 success,\n"
                 "1 failure, 2 bad command line.\n");
}

bool wantsHelp(int argc, char** argv) {
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--") == 0) return false;
        if (std::strcmp(argv[i], "-h") == 0 || std::strcmp(argv[i], "--help") == 0) return true;
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        printUsage(stderr);
        return kExitUsage;
    }
    const std::string name = argv[1];
    if (name == "--version") {
        std::printf("xmldsig %s\n", XMLDSIG_VERSION);
        return kExitOk;
    }
    if (name == "help" && argc > 2) {  // "xmldsig help COMMAND" is "xmldsig COMMAND --help"
        for (const auto& c : kSubcommands) {
            if (argv[2] != std::string(c.spec->name)) continue;
            printCommandHelp(*c.spec);
            return kExitOk;
        }
        std::fprintf(stderr, "xmldsig: unknown command '%s'\n\n", argv[2]);
        printUsage(stderr);
        return kExitUsage;
    }
    if (name == "-h" || name == "--help" || name == "help") {
        printUsage(stdout);
        return kExitOk;
    }
    for (const auto& c : kSubcommands) {
        if (name != c.spec->name) continue;
        if (wantsHelp(argc - 2, argv + 2)) {
            printCommandHelp(*c.spec);
            return kExitOk;
        }
        ParsedArgs args;
        std::string error;
        if (!parseArgs(*c.spec, argc - 2, argv + 2, args, error)) {
            std::fprintf(stderr, "xmldsig %s: %s\n(see 'xmldsig %s --help')\n", c.spec->name,
                         error.c_str(), c.spec->name);
            return kExitUsage;
        }
        if (!checkOptionWords(args, error)) {
            std::fprintf(stderr, "xmldsig %s: %s\n", c.spec->name, error.c_str());
            return kExitUsage;
        }
        if (allowsDigestErrors(args))
            std::fprintf(stderr,
                         "xmldsig: warning: AllowXmlDigestError is in effect: reference digests "
                         "that do not match are reported as matching\n");
        return c.run(args);
    }
    std::fprintf(stderr, "xmldsig: unknown command '%s'\n\n", name.c_str());
    printUsage(stderr);
    return kExitUsage;
}
