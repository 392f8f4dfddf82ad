// The files a command line names: plain files, "-" for standard input, and with -r the signed
// documents found in directories.
#pragma once

#include <string>
#include <vector>

#include "cli/Report.h"

namespace xmldsig::cli {

// Appends the inputs in the order given (a directory's files sorted by path). False, with the
// problem in report, for a directory without recursive, or one that cannot be read.
bool expandInputs(const std::vector<std::string>& args, bool recursive,
                  std::vector<std::string>& out, Report& report);

}  // namespace xmldsig::cli
