// The files a command line names: plain files, "-" for standard input, and with -r the signed
// documents found in directories.
#pragma once

#include <string>
#include <vector>

#include "cli/Report.h"

namespace xmldsig::cli {

// Appends the inputs in the order given; with recursive, a directory's files sorted by path in
// its place (without, the directory itself). False, with the problem in report, for a directory
// that cannot be read.
bool expandInputs(const std::vector<std::string>& args, bool recursive,
                  std::vector<std::string>& out, Report& report);

}  // namespace xmldsig::cli
