// xmldsig info: the signatures of a document, their methods and references.
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/Commands.h"
#include "cli/Input.h"
#include "cli/Session.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"

namespace xmldsig::cli {

const Command kInfoCommand{
    "info",
    "info [options] FILE...",
    "Lists the signatures of each document: Id, canonicalization and signature\n"
    "methods, and every reference with its URI, digest method and transforms; also the\n"
    "document family whose signing conventions the verifier recognised.",
    {kOptSignature, kOptJson, kOptOption, kOptLog, kOptVerbose},
    1,
    -1,
};

namespace {

struct ReferenceInfo {
    DSigReference ref;
    std::vector<std::string> transforms;  // algorithm URIs in order
};

std::vector<std::string> transformAlgorithms(const StringBuffer& transformsXml) {
    std::vector<std::string> out;
    if (transformsXml.getSize() == 0) return out;
    ClsXml* doc = ClsXml::createNewCls();
    if (doc == nullptr) return out;
    RefCountedObjectOwner owner(doc);
    LogNull quiet;
    if (!doc->loadXml(transformsXml, false, quiet)) return out;
    const int n = doc->numChildrenHavingTagUtf8("*:Transform", quiet);
    for (int i = 0; i < n; ++i) {
        ClsXml* t = doc->getNthChildWithTagUtf8("*:Transform", i, quiet);
        if (t == nullptr) continue;
        RefCountedObjectOwner tOwner(t);
        StringBuffer alg;
        t->getAttrValue("Algorithm", alg);
        out.push_back(alg.str());
    }
    return out;
}

std::string joinShortNames(const std::vector<std::string>& uris) {
    std::string s;
    for (const auto& u : uris) s += (s.empty() ? "" : ",") + shortAlgorithmName(u);
    return s.empty() ? "(none)" : s;
}

nlohmann::json referenceJson(int index, const ReferenceInfo& r) {
    return {{"index", index},
            {"uri", r.ref.m_uri.str()},
            {"uriOmitted", r.ref.m_uriOmitted},
            {"id", r.ref.m_id.str()},
            {"digestMethod", r.ref.m_digestMethod.str()},
            {"digestValue", r.ref.m_digestValue.str()},
            {"transforms", r.transforms}};
}

void printSignature(const std::string& file, int index, ClsXmlDSig& dsig, bool json) {
    dsig.put_Selector(index);
    StringBuffer canon, prefixes, method, id;
    dsig.describeSignedInfo(canon, prefixes, method, id);
    std::vector<ReferenceInfo> refs(static_cast<std::size_t>(dsig.get_NumReferences()));
    for (std::size_t i = 0; i < refs.size(); ++i) {
        dsig.describeReference(static_cast<int>(i), refs[i].ref);
        refs[i].transforms = transformAlgorithms(refs[i].ref.m_transforms);
    }
    if (json) {
        nlohmann::json j = {{"file", file},
                            {"index", index},
                            {"id", id.str()},
                            {"canonicalizationMethod", canon.str()},
                            {"inclusivePrefixes", prefixes.str()},
                            {"signatureMethod", method.str()},
                            {"family", dsig.detectedFamily()},
                            {"references", nlohmann::json::array()}};
        for (std::size_t i = 0; i < refs.size(); ++i)
            j["references"].push_back(referenceJson(static_cast<int>(i), refs[i]));
        std::printf("%s\n",
                    j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
        return;
    }
    std::printf("signature #%d%s\n", index,
                id.getSize() ? (" Id=\"" + id.str() + "\"").c_str() : "");
    std::printf("  canonicalization: %s%s\n", shortAlgorithmName(canon.str()).c_str(),
                prefixes.getSize() ? (" (prefixes \"" + prefixes.str() + "\")").c_str() : "");
    std::printf("  signature method: %s\n", shortAlgorithmName(method.str()).c_str());
    std::printf("  references: %zu\n", refs.size());
    for (std::size_t i = 0; i < refs.size(); ++i) {
        const auto& r = refs[i].ref;
        std::printf("    #%zu URI=%s digest=%s transforms=%s\n", i,
                    r.m_uriOmitted ? "(none)" : ("\"" + r.m_uri.str() + "\"").c_str(),
                    shortAlgorithmName(r.m_digestMethod.str()).c_str(),
                    joinShortNames(refs[i].transforms).c_str());
    }
}

}  // namespace

int runInfo(const ParsedArgs& args) {
    int status = kExitOk;
    for (const auto& file : args.files) {
        ScopedReport report;
        Session session(args, report);
        if (!session.load(file)) {
            status = kExitFailed;
            continue;
        }
        ClsXmlDSig& dsig = session.dsig();
        const bool json = args.has("--json");
        const int count = dsig.get_NumSignatures();
        if (!json) {
            const char* family = dsig.detectedFamily();
            std::printf("%s: %d signature%s%s%s\n", file.c_str(), count, count == 1 ? "" : "s",
                        *family ? "; document family: " : "", family);
        }
        std::vector<int> which;
        if (!session.selectedIndexes(count, which)) return kExitUsage;
        for (int i : which) printSignature(file, i, dsig, json);
        session.printLogIfAsked();
    }
    return status;
}

}  // namespace xmldsig::cli
