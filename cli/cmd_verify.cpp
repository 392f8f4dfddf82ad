// xmldsig verify: every signature of every file, one line each, files on several threads.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/Batch.h"
#include "cli/Commands.h"
#include "cli/Explain.h"
#include "cli/FamilyHint.h"
#include "cli/FileList.h"
#include "cli/Input.h"
#include "cli/JsonFields.h"
#include "cli/JsonOutput.h"
#include "cli/KeyOptions.h"
#include "cli/RefReasons.h"
#include "cli/Session.h"
#include "cli/SignerChecks.h"
#include "cli/SignerInfo.h"
#include "cli/TrustOptions.h"
#include "cli/VerifyOne.h"

namespace xmldsig::cli {

const Command kVerifyCommand{
    "verify",
    "verify [options] FILE|DIR...",
    "Verifies every signature of every file (or --signature N): each reference digest,\n"
    "then the SignatureValue under the key KeyInfo yields (key values, certificates,\n"
    "certificate-store lookups, WS-Security tokens) or the key given. Prints\n"
    "\"FILE#N: valid\" or \"FILE#N: invalid (why)\" and a summary on standard error; exits 0\n"
    "only when all are valid.",
    {kOptSignature,
     {"--no-refs", false, false, nullptr, "do not check reference digests"},
     {"-r", false, false, nullptr, "verify the .xml and .ddoc files of directories, recursively"},
     {"-j", true, false, "N", "verify N files at a time (default 1)"},
     {"--no-progress", false, false, nullptr, "no progress line, even on a terminal"},
     kOptExtDir,
     kOptRefFile,
     kOptIgnoreExternal,
     kOptMaxReferences,
     kOptMaxTransforms,
     kOptExplain,
     kOptSignedOut,
     kOptKey,
     kOptCert,
     kOptCertDir,
     kOptHmacKey,
     kOptHmacEncoding,
     kOptOption,
     kOptPolicy,
     kOptTrust,
     kOptSystemTrust,
     kOptUntrusted,
     kOptCrl,
     kOptAt,
     kOptTsaTrust,
     kOptJson,
     kOptLog,
     kOptVerbose},
    1,
    -1,
};

namespace {

nlohmann::json verdictJson(const std::string& file, int index, const SignatureVerdict& v,
                           const SignerInfo& signer, const char* family, const ParsedArgs& args) {
    nlohmann::json j = verdictObject("verify", file, index, v.valid ? "valid" : "invalid", v.why);
    j.update({{"signatureMethod", v.signatureMethod},
              {"canonicalizationMethod", v.canonicalizationMethod},
              {"keySource", v.keySource},
              {"keyInfo", signer.keyForm},
              {"signedInfoSigned", v.signedInfoSigned},
              {"family", family}});
    addReferences(j, v.references, !args.has("--no-refs"), args.has("--ignore-external"));
    j["pinnedKeys"] = v.pinned;
    nlohmann::json warnings = nlohmann::json::array();
    for (const auto& w : v.warnings.all()) warnings.push_back({{"code", w.code}, {"text", w.text}});
    j["warnings"] = warnings;
    if (!v.manifestReferences.empty()) {
        nlohmann::json m = nlohmann::json::array();
        for (const auto& r : v.manifestReferences)
            m.push_back({{"reference", r.signatureReference},
                         {"index", r.index},
                         {"uri", r.uri},
                         {"result", r.ok ? "match" : "fail"},
                         {"refFailReason", r.reason},
                         {"reason", r.detail.empty() ? refFailReasonText(r.reason) : r.detail}});
        j["manifestReferences"] = m;
    }
    if (v.valid) j["signer"] = signerJson(signer);
    if (signer.hasCert) {
        j["signerSubject"] = signer.subject;
        j["signerSerial"] = signer.serial;
    }
    return j;
}

// After "valid": who signed, how far that was checked, and what qualifies the verdict.
std::string validNote(const SignatureVerdict& v, const SignerInfo& signer,
                      const SignerReport& checks) {
    std::string note = signerSummary(signer);
    if (!v.signedInfoSigned) note += "; SignedInfo itself is not signed (e-invoice rules)";
    note += "; " + trustSummary(checks.trust);
    if (!v.warnings.empty()) note += "; warnings: " + v.warnings.summary();
    return note;
}

// Findings qualify a valid verdict; under --policy strict they refuse it.
void applyPolicy(ClsXmlDSig& dsig, const ParsedArgs& args, SignatureVerdict& v) {
    if (!v.valid) return;
    collectFindings(dsig, args, v.warnings);
    if (!strictPolicy(args) || v.warnings.empty()) return;
    v.valid = false;
    v.why = "policy strict: " + v.warnings.summary();
}

FileOutcome fileError(const std::string& file, const std::string& why, const ParsedArgs& args,
                      Report& report) {
    reportFile(report, args, "verify", file, "error", why);
    FileOutcome o;
    o.error = true;
    return o;
}

// Verifies one signature of a file with a component of its own: a verification leaves state
// behind (the SII extract, the saved MyInvois digest, the sorting-emulation retry) that must
// not reach another signature. True when the signature was verified (valid or not).
// The session given is fresh (just loaded, nothing verified yet).
bool verifySignatureOfFile(const std::string& file, Session& session, int index,
                           const ParsedArgs& args, KeyOptions& keys, const TrustSettings& trust,
                           Report& report, FileOutcome& outcome, const std::string& hint) {
    if (!keys.applyTo(session.dsig())) return false;
    ClsXmlDSig& dsig = session.dsig();
    dsig.put_Selector(index);
    if (!session.applyReferenceOptions(file)) return false;
    const ExplainTarget explain{args.value("--explain"), args.value("--signed-out"), file, index};
    SignatureVerdict v =
        verifySelected(dsig, keys, !args.has("--no-refs"), args.has("--ignore-external"), explain);
    SignerReport checks;
    if (v.valid) applySignerChecks(dsig, trust, v, checks);
    applyPolicy(dsig, args, v);
    const bool digestMismatch =
        std::any_of(v.references.begin(), v.references.end(),
                    [](const ReferenceResult& r) { return r.reason == RefFail::kDigestMismatch; });
    if (!v.valid && digestMismatch && !hint.empty()) v.why += "; " + hint;
    report.errText(v.explanation);
    (v.valid ? outcome.valid : outcome.invalid)++;
    const SignerInfo signer = describeSigner(dsig, v.signerCert, v.keySource);
    if (args.has("--json")) {
        nlohmann::json j = verdictJson(file, index, v, signer, dsig.detectedFamily(), args);
        j["policy"] = strictPolicy(args) ? "strict" : "default";
        addSignerChecksJson(checks, j);
        if (allowsDigestErrors(args)) j["allowXmlDigestError"] = true;
        report.outText(jsonLine(j));
    } else if (v.valid)
        report.out("%s#%d: valid (%s)\n", file.c_str(), index,
                   validNote(v, signer, checks).c_str());
    else
        report.out("%s#%d: invalid (%s)\n", file.c_str(), index, v.why.c_str());
    if (args.has("--log")) report.errText(v.log);
    return true;
}

// Verifies the selected signatures of one file, with keys of its own.
FileOutcome verifyFile(const std::string& file, const ParsedArgs& args, const TrustSettings& trust,
                       Report& report) {
    KeyOptions keys;
    FileOutcome outcome;
    int count = 0;
    std::vector<int> which;
    DataBuffer bytes;
    std::string error;
    std::error_code ec;
    if (file != "-" && std::filesystem::is_directory(file, ec))
        return fileError(file, "a directory: -r verifies the files in it", args, report);
    if (!readInput(file, bytes, error)) return fileError(file, error, args, report);
    // The first signature uses the component that counted them; every further one a fresh one.
    auto session = std::make_unique<Session>(args, report);
    if (!keys.load(args)) return fileError(file, "the keys given cannot be read", args, report);
    if (!session->loadBytes(file, bytes))
        return fileError(file, "the document cannot be loaded", args, report);
    count = session->dsig().get_NumSignatures();
    if (count == 0) {
        reportFile(report, args, "verify", file, "unsigned", "no signature");
        outcome.unsignedFile = true;
        return outcome;
    }
    if (!session->selectedIndexes(count, which))
        return fileError(file,
                         "no signature " + args.value("--signature") + ": the document has " +
                             std::to_string(count),
                         args, report);
    const std::string hint = familyHint(bytes, args);
    for (std::size_t k = 0; k < which.size(); ++k) {
        if (k > 0) {
            session = std::make_unique<Session>(args, report);
            if (!session->loadBytes(file, bytes))
                return fileError(file, "the document cannot be loaded", args, report);
        }
        if (!verifySignatureOfFile(file, *session, which[k], args, keys, trust, report, outcome,
                                   hint))
            return fileError(file, "an option does not fit this document (see standard error)",
                             args, report);
    }
    return outcome;
}

bool parseJobs(const ParsedArgs& args, int& jobs) {
    jobs = 1;
    if (!args.has("-j")) return true;
    const std::string v = args.value("-j");
    char* end = nullptr;
    const long n = std::strtol(v.c_str(), &end, 10);
    if (v.empty() || *end != '\0' || n < 1 || n > 256) {
        std::fprintf(stderr, "xmldsig verify: -j %s: expected a number of threads from 1 to 256\n",
                     v.c_str());
        return false;
    }
    jobs = static_cast<int>(n);
    return true;
}

}  // namespace

int runVerify(const ParsedArgs& args) {
    int jobs = 1;
    if (!parseJobs(args, jobs)) return kExitUsage;
    {
        KeyOptions keys;  // reports unreadable key files once, before any work
        if (!keys.load(args)) return kExitUsage;
    }
    TrustSettings trust;
    if (!loadTrustOptions(args, trust)) return kExitUsage;
    ScopedReport listing;
    std::vector<std::string> files;
    const bool listed = expandInputs(args.files, args.has("-r"), files, listing);
    listing.flush();

    const bool progress = !args.has("--no-progress") && !args.has("--log") && files.size() > 1 &&
                          isatty(STDERR_FILENO);
    const BatchTotals t = runBatch(files, jobs, progress, [&](const std::string& f, Report& r) {
        return verifyFile(f, args, trust, r);
    });
    std::fprintf(stderr, "%d file%s, %d signature%s: %d valid, %d invalid, %d error%s", t.files,
                 t.files == 1 ? "" : "s", t.valid + t.invalid, t.valid + t.invalid == 1 ? "" : "s",
                 t.valid, t.invalid, t.errors, t.errors == 1 ? "" : "s");
    if (t.unsignedFiles != 0) std::fprintf(stderr, ", %d without signature", t.unsignedFiles);
    std::fprintf(stderr, " (%.2fs)\n", t.seconds);
    const bool allValid = t.invalid == 0 && t.errors == 0 && t.unsignedFiles == 0;
    return listed && allValid && t.files > 0 ? kExitOk : kExitFailed;
}

}  // namespace xmldsig::cli
