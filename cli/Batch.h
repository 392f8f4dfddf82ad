// Running a command over many files on several threads, reporting each file whole and in the
// order given, with a progress line on a terminal and a summary at the end.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/Report.h"

namespace xmldsig::cli {

struct FileOutcome {
    int valid = 0;
    int invalid = 0;
    bool error = false;         // the file could not be read, loaded or handled
    bool unsignedFile = false;  // the file holds no signature
};

using FileTask = std::function<FileOutcome(const std::string& file, Report& report)>;

struct BatchTotals {
    int files = 0;
    int valid = 0;
    int invalid = 0;
    int errors = 0;
    int unsignedFiles = 0;
    double seconds = 0;
};

// Runs task for every file on `jobs` threads (each call on one thread, with its own state).
BatchTotals runBatch(const std::vector<std::string>& files, int jobs, bool progress,
                     const FileTask& task);

}  // namespace xmldsig::cli
