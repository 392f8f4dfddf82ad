// Runs the xmldsig tool as a user would and captures what it prints.
#pragma once

#include <string>
#include <vector>

#include "support/Manifest.h"

namespace xmldsig::test {

struct CliResult {
    int status = -1;  // exit status
    std::string out;  // standard output
    std::string err;  // standard error
};

CliResult runCli(const std::vector<std::string>& args, const std::string& stdinText = "");

}  // namespace xmldsig::test
