#include "cli/JsonFields.h"

namespace xmldsig::cli {

nlohmann::json coverageJson(const ReferenceCoverage& c) {
    nlohmann::json j = {{"kind", coverageKindName(c.kind)}};
    if (!c.path.empty()) j["path"] = c.path;
    if (!c.id.empty()) j["id"] = c.id;
    if (c.kind == ReferenceCoverage::Kind::External) j["external"] = c.uri;
    if (!c.xpath.empty()) j["nodeSet"] = c.xpath;
    if (c.withoutSignature) j["withoutSignature"] = true;
    if (c.hasRange) j["byteRange"] = {c.start, c.end};
    if (!c.problem.empty()) j["problem"] = c.problem;
    return j;
}

nlohmann::json signerJson(const SignerInfo& s) {
    nlohmann::json j = {{"source", s.source}, {"certificate", s.hasCert}};
    if (!s.hasCert) return j;
    j["subject"] = s.subject;
    j["issuer"] = s.issuer;
    j["serial"] = s.serial;
    j["sha256"] = s.sha256;
    j["notBefore"] = s.notBefore;
    j["notAfter"] = s.notAfter;
    return j;
}

}  // namespace xmldsig::cli
