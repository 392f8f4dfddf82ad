// xmldsig refs: check each reference digest of every signature (or --signature N).
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "cli/Commands.h"
#include "cli/Explain.h"
#include "cli/Input.h"
#include "cli/JsonFields.h"
#include "cli/JsonOutput.h"
#include "cli/KeyOptions.h"
#include "cli/RefReasons.h"
#include "cli/Session.h"

namespace xmldsig::cli {

const Command kRefsCommand{
    "refs",
    "refs [options] FILE",
    "Recomputes the digest of each reference of every signature (or --signature N) and\n"
    "compares it with the stored DigestValue. Prints one line per reference; exits 0 only\n"
    "when every digest matches. External references are read from the files given with\n"
    "--ref-file, else looked up in the --ext-dir directories (by default the document's own\n"
    "directory). The key options of 'verify' are accepted, so that the same options serve both.",
    {kOptSignature, kOptExtDir, kOptRefFile, kOptIgnoreExternal, kOptMaxReferences,
     kOptMaxTransforms, kOptExplain, kOptSignedOut, kOptKey, kOptCert, kOptCertDir, kOptHmacKey,
     kOptHmacEncoding, kOptOption, kOptJson, kOptLog, kOptVerbose},
    1,
    1,
};

namespace {

void printReferences(const std::string& file, int sig, const std::vector<ReferenceResult>& refs,
                     bool ignoreExternal, Report& report) {
    for (const auto& r : refs) {
        const std::string result = referenceResult(r, ignoreExternal);
        const std::string second =
            r.reading.rfind("second", 0) == 0 ? " [" + r.reading + "]" : std::string();
        report.out("%s#%d ref %d URI=\"%s\" %s: %s (RefFailReason %d: %s)%s\n", file.c_str(), sig,
                   r.index, r.uri.c_str(), shortAlgorithmName(r.digestMethod).c_str(),
                   result == "match"  ? "ok"
                   : result == "fail" ? "FAILED"
                                      : "skipped",
                   r.reason, refFailReasonText(r.reason), second.c_str());
    }
    if (refs.empty()) report.out("%s#%d: the signature has no references\n", file.c_str(), sig);
}

// Checks every reference of one signature with a component of its own; false when none fails.
bool checkSignature(const std::string& file, const DataBuffer& bytes, int sig,
                    const ParsedArgs& args, KeyOptions& keys, Report& report, bool& usage) {
    Session session(args, report);
    ClsXmlDSig& dsig = session.dsig();
    if (!session.loadBytes(file, bytes)) return false;
    dsig.put_Selector(sig);
    if (!keys.applyTo(dsig) || !session.applyReferenceOptions(file)) {
        usage = true;
        reportFile(report, args, "refs", file, "error", "an option does not fit this document");
        return false;
    }
    const bool ignoreExternal = args.has("--ignore-external");
    const bool explain = args.has("--explain");
    const std::string signedOut = args.value("--signed-out");
    dsig.put_KeepHashedData(explain || !signedOut.empty());
    std::vector<ReferenceResult> refs;
    bool allOk = dsig.get_NumReferences() > 0;
    for (int i = 0; i < dsig.get_NumReferences(); ++i) {
        DSigReference ref;
        dsig.describeReference(i, ref);
        const bool ok = dsig.VerifyReferenceDigest(i);
        refs.push_back(
            {i, ref.m_uri.str(), ref.m_digestMethod.str(), ok, dsig.get_RefFailReason(), {}, {}});
        dsig.describeCoverage(i, refs.back().coverage);
        refs.back().reading = readingText(dsig, i);
        allOk = allOk && std::string(referenceResult(refs.back(), ignoreExternal)) != "fail";
        session.printLogIfAsked();
        if (!signedOut.empty())
            report.errText(writeHashedReference(dsig, signedOut, file, sig, i, true));
        if (explain && !ok && refs.back().reason == RefFail::kDigestMismatch)
            report.errText(explainReference(dsig, args.value("--explain"), file, sig, i));
    }
    if (!args.has("--json")) {
        printReferences(file, sig, refs, ignoreExternal, report);
        return allOk;
    }
    const char* why = allOk          ? ""
                      : refs.empty() ? "the signature has no references"
                                     : "a digest does not match";
    nlohmann::json j = verdictObject("refs", file, sig, allOk ? "valid" : "invalid", why);
    addReferences(j, refs, true, ignoreExternal);
    report.outText(jsonLine(j));
    return allOk;
}

}  // namespace

int runRefs(const ParsedArgs& args) {
    const std::string& file = args.files[0];
    ScopedReport report;
    KeyOptions keys;
    if (!keys.load(args)) return kExitUsage;
    std::error_code ec;
    DataBuffer bytes;
    std::string error;
    if (file != "-" && std::filesystem::is_directory(file, ec)) error = "a directory";
    if (error.empty() && !readInput(file, bytes, error))
        error = error.empty() ? "cannot read" : error;
    auto probe = std::make_unique<Session>(args, report);
    if (error.empty() && !probe->loadBytes(file, bytes)) error = "the document cannot be loaded";
    if (!error.empty()) {
        reportFile(report, args, "refs", file, "error", error);
        return kExitFailed;
    }
    const int count = probe->dsig().get_NumSignatures();
    if (count == 0) {
        reportFile(report, args, "refs", file, "unsigned", "no signature");
        return kExitFailed;
    }
    std::vector<int> which;
    if (!probe->selectedIndexes(count, which)) {
        reportFile(report, args, "refs", file, "error",
                   "no signature " + args.value("--signature") + ": the document has " +
                       std::to_string(count));
        return kExitUsage;
    }
    probe.reset();
    bool allOk = true, usage = false;
    for (int sig : which)
        allOk = checkSignature(file, bytes, sig, args, keys, report, usage) && allOk;
    return usage ? kExitUsage : allOk ? kExitOk : kExitFailed;
}

}  // namespace xmldsig::cli
