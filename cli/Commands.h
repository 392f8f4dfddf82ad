// The subcommands of the xmldsig tool.
#pragma once

#include "cli/CommandLine.h"

namespace xmldsig::cli {

struct Subcommand {
    const Command* spec;
    int (*run)(const ParsedArgs& args);
};

extern const Command kInfoCommand;
int runInfo(const ParsedArgs& args);

extern const Command kVerifyCommand;
int runVerify(const ParsedArgs& args);

extern const Command kCertsCommand;
int runCerts(const ParsedArgs& args);

extern const Command kRefsCommand;
int runRefs(const ParsedArgs& args);

extern const Command kC14nCommand;
int runC14n(const ParsedArgs& args);

extern const Command kTimestampCommand;
int runTimestamp(const ParsedArgs& args);

}  // namespace xmldsig::cli
