// The lines `verify` and `refs` print for every input: with --json one object per signature
// checked, or one for a file that has nothing to check, all under one schema
// (docs/verify-output.schema.json); without it the same facts as a line of text.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "cli/Report.h"
#include "cli/VerifyOne.h"

namespace xmldsig::cli {

// "match", "fail", or "skipped" for external data left out with --ignore-external.
const char* referenceResult(const ReferenceResult& r, bool ignoreExternal);

// The fields every object has: the command, the file, the index (when a signature is meant;
// -1 for a file as a whole), the verdict and its reason.
nlohmann::json verdictObject(const char* command, const std::string& file, int index,
                             const std::string& verdict, const std::string& reason);

// The references array, and "referencesChecked" (false when the digests were not checked).
void addReferences(nlohmann::json& j, const std::vector<ReferenceResult>& refs, bool checked,
                   bool ignoreExternal);

// One object as a line of text.
std::string jsonLine(const nlohmann::json& j);

// A file with nothing to check ("error": it cannot be read, loaded or handled; "unsigned": it
// holds no signature): one object with --json, else "FILE: VERDICT (REASON)", on standard output.
void reportFile(Report& report, const ParsedArgs& args, const char* command,
                const std::string& file, const char* verdict, const std::string& reason);

}  // namespace xmldsig::cli
