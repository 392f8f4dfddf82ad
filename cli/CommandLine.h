// Command-line parsing shared by the subcommands: each subcommand declares the options it
// accepts; anything else is named in an error and the tool exits with status 2.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace xmldsig::cli {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

struct OptionSpec {
    const char* name;  // "--exclusive"
    bool takesValue;   // "--id ID"
    bool repeatable;
    const char* valueName;
    const char* help;
};

struct ParsedArgs {
    std::map<std::string, std::vector<std::string>> values;  // option -> values ("" for flags)
    std::vector<std::string> files;
    bool has(const std::string& name) const { return values.count(name) != 0; }
    std::string value(const std::string& name, const std::string& fallback = "") const;
    const std::vector<std::string>& all(const std::string& name) const;
};

struct Command {
    const char* name;
    const char* synopsis;     // "c14n [options] FILE"
    const char* description;  // one paragraph
    std::vector<OptionSpec> options;
    int minFiles;
    int maxFiles;  // -1: any number
};

// Parses argv (after the subcommand). On error prints the problem to stderr and returns false.
bool parseArgs(const Command& cmd, int argc, char** argv, ParsedArgs& out, std::string& error);
void printCommandHelp(const Command& cmd);

// Options common to the commands that load a signed document.
extern const OptionSpec kOptLog;
extern const OptionSpec kOptVerbose;
extern const OptionSpec kOptOption;
extern const OptionSpec kOptSignature;
extern const OptionSpec kOptJson;
extern const OptionSpec kOptExtDir;
extern const OptionSpec kOptRefFile;
extern const OptionSpec kOptIgnoreExternal;
extern const OptionSpec kOptMaxReferences;
extern const OptionSpec kOptMaxTransforms;

}  // namespace xmldsig::cli
