#include "cli/JsonOutput.h"

#include "cli/JsonFields.h"
#include "cli/RefReasons.h"
#include "dsig/VerifyFailure.h"

namespace xmldsig::cli {

const char* referenceResult(const ReferenceResult& r, bool ignoreExternal) {
    if (r.ok) return "match";
    return ignoreExternal && r.reason == RefFail::kExternalMissing ? "skipped" : "fail";
}

nlohmann::json verdictObject(const char* command, const std::string& file, int index,
                             const std::string& verdict, const std::string& reason) {
    nlohmann::json j = {
        {"command", command}, {"file", file}, {"verdict", verdict}, {"reason", reason}};
    if (index >= 0) j["index"] = index;
    return j;
}

void addReferences(nlohmann::json& j, const std::vector<ReferenceResult>& refs, bool checked,
                   bool ignoreExternal) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& r : refs)
        list.push_back({{"index", r.index},
                        {"uri", r.uri},
                        {"digestMethod", r.digestMethod},
                        {"result", referenceResult(r, ignoreExternal)},
                        {"refFailReason", r.reason},
                        {"reason", r.detail.empty() ? refFailReasonText(r.reason) : r.detail},
                        {"covers", coverageJson(r.coverage)},
                        {"reading", r.reading}});
    j["references"] = list;
    j["referencesChecked"] = checked;
}

std::string jsonLine(const nlohmann::json& j) {
    return j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

void reportFile(Report& report, const ParsedArgs& args, const char* command,
                const std::string& file, const char* verdict, const std::string& reason) {
    if (args.has("--json"))
        report.outText(jsonLine(verdictObject(command, file, -1, verdict, reason)));
    else
        report.out("%s: %s (%s)\n", file.c_str(), verdict, reason.c_str());
}

}  // namespace xmldsig::cli
