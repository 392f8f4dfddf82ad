// xmldsig refs: check each reference digest of a signature.
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/Commands.h"
#include "cli/Explain.h"
#include "cli/Input.h"
#include "cli/JsonFields.h"
#include "cli/RefReasons.h"
#include "cli/Session.h"

namespace xmldsig::cli {

const Command kRefsCommand{
    "refs",
    "refs [options] FILE",
    "Recomputes the digest of each reference of one signature (the first, or --signature N)\n"
    "and compares it with the stored DigestValue. Prints one line per reference; exits 0\n"
    "only when every digest matches. External references are read from the files given\n"
    "with --ref-file, else looked up in the --ext-dir directories (by default the\n"
    "document's own directory).",
    {kOptSignature, kOptExtDir, kOptRefFile, kOptIgnoreExternal, kOptMaxReferences,
     kOptMaxTransforms, kOptExplain, kOptSignedOut, kOptOption, kOptJson, kOptLog, kOptVerbose},
    1,
    1,
};

namespace {

struct RefOutcome {
    int index;
    std::string uri, digestMethod;
    bool ok;
    int reason;
    bool skipped;
    ReferenceCoverage coverage;
};

}  // namespace

int runRefs(const ParsedArgs& args) {
    const std::string& file = args.files[0];
    ScopedReport report;
    Session session(args, report);
    if (!session.load(file)) return kExitFailed;
    ClsXmlDSig& dsig = session.dsig();
    std::vector<int> which;
    if (dsig.get_NumSignatures() == 0) {
        std::fprintf(stderr, "%s: no signature\n", file.c_str());
        return kExitFailed;
    }
    if (!session.selectedIndexes(dsig.get_NumSignatures(), which)) return kExitUsage;
    const int sig = args.has("--signature") ? which[0] : 0;
    dsig.put_Selector(sig);
    if (!session.applyReferenceOptions(file)) return kExitUsage;

    bool allOk = true;
    std::vector<RefOutcome> outcomes;
    const bool explain = args.has("--explain");
    const std::string signedOut = args.value("--signed-out");
    dsig.put_KeepHashedData(explain || !signedOut.empty());
    for (int i = 0; i < dsig.get_NumReferences(); ++i) {
        DSigReference ref;
        dsig.describeReference(i, ref);
        RefOutcome o{i,
                     ref.m_uri.str(),
                     ref.m_digestMethod.str(),
                     dsig.VerifyReferenceDigest(i),
                     dsig.get_RefFailReason(),
                     false,
                     {}};
        dsig.describeCoverage(i, o.coverage);
        o.skipped = !o.ok && o.reason == RefFail::kExternalMissing && args.has("--ignore-external");
        allOk = allOk && (o.ok || o.skipped);
        outcomes.push_back(o);
        if (args.has("--log")) std::fprintf(stderr, "%s", dsig.lastErrorText().c_str());
        if (!signedOut.empty())
            report.errText(writeHashedReference(dsig, signedOut, file, sig, i, true));
        if (explain && !o.ok && o.reason == RefFail::kDigestMismatch)
            report.errText(explainReference(dsig, args.value("--explain"), file, sig, i));
    }

    if (args.has("--json")) {
        nlohmann::json j = {{"file", file},
                            {"index", sig},
                            {"valid", allOk},
                            {"references", nlohmann::json::array()}};
        for (const auto& o : outcomes)
            j["references"].push_back({{"index", o.index},
                                       {"uri", o.uri},
                                       {"digestMethod", o.digestMethod},
                                       {"result", o.ok        ? "match"
                                                  : o.skipped ? "skipped"
                                                              : "fail"},
                                       {"refFailReason", o.reason},
                                       {"reason", refFailReasonText(o.reason)},
                                       {"covers", coverageJson(o.coverage)}});
        std::printf("%s\n",
                    j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    } else {
        for (const auto& o : outcomes)
            std::printf("%s#%d ref %d URI=\"%s\" %s: %s (RefFailReason %d: %s)\n", file.c_str(),
                        sig, o.index, o.uri.c_str(), shortAlgorithmName(o.digestMethod).c_str(),
                        o.ok        ? "ok"
                        : o.skipped ? "skipped"
                                    : "FAILED",
                        o.reason, refFailReasonText(o.reason));
        if (outcomes.empty())
            std::printf("%s#%d: the signature has no references\n", file.c_str(), sig);
    }
    return allOk && !outcomes.empty() ? kExitOk : kExitFailed;
}

}  // namespace xmldsig::cli
