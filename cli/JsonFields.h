// JSON objects that more than one command prints: what a reference covers, who signed.
#pragma once

#include <nlohmann/json.hpp>

#include "cli/SignerInfo.h"
#include "dsig/ReferenceCoverage.h"

namespace xmldsig::cli {

nlohmann::json coverageJson(const ReferenceCoverage& c);
nlohmann::json signerJson(const SignerInfo& s);

}  // namespace xmldsig::cli
