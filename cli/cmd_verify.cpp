// xmldsig verify: every signature of every file, one line each.
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/Commands.h"
#include "cli/Input.h"
#include "cli/KeyOptions.h"
#include "cli/RefReasons.h"
#include "cli/Session.h"
#include "cli/VerifyOne.h"

namespace xmldsig::cli {

const Command kVerifyCommand{
    "verify",
    "verify [options] FILE...",
    "Verifies every signature of every file (or --signature N): each reference digest,\n"
    "then the SignatureValue under the key KeyInfo yields (key values, certificates,\n"
    "certificate-store lookups, WS-Security tokens) or the key given. Prints\n"
    "\"FILE#N: valid\" or \"FILE#N: invalid (why)\"; exits 0 only when all are valid.",
    {kOptSignature,
     {"--no-refs", false, false, nullptr, "do not check reference digests"},
     kOptExtDir,
     kOptRefFile,
     kOptIgnoreExternal,
     kOptKey,
     kOptCert,
     kOptCertDir,
     kOptHmacKey,
     kOptHmacEncoding,
     kOptOption,
     kOptJson,
     kOptLog,
     kOptVerbose},
    1,
    -1,
};

namespace {

nlohmann::json verdictJson(const std::string& file, int index, const SignatureVerdict& v,
                           const char* family) {
    nlohmann::json refs = nlohmann::json::array();
    for (const auto& r : v.references)
        refs.push_back({{"index", r.index},
                        {"uri", r.uri},
                        {"digestMethod", r.digestMethod},
                        {"result", r.ok ? "match" : "fail"},
                        {"refFailReason", r.reason},
                        {"reason", refFailReasonText(r.reason)}});
    return {{"file", file},
            {"index", index},
            {"verdict", v.valid ? "valid" : "invalid"},
            {"reason", v.why},
            {"signatureMethod", v.signatureMethod},
            {"canonicalizationMethod", v.canonicalizationMethod},
            {"keySource", v.keySource},
            {"signedInfoSigned", v.signedInfoSigned},
            {"family", family},
            {"references", refs}};
}

// Verifies one file; true when every selected signature is valid.
bool verifyFile(const std::string& file, const ParsedArgs& args, KeyOptions& keys) {
    Session session(args);
    if (!session.load(file)) {
        if (args.has("--json"))
            std::printf("%s\n", nlohmann::json({{"file", file},
                                                {"verdict", "error"},
                                                {"reason", "the document cannot be loaded"}})
                                    .dump()
                                    .c_str());
        return false;
    }
    ClsXmlDSig& dsig = session.dsig();
    if (dsig.get_NumSignatures() == 0) {
        std::printf("%s: invalid (no signature)\n", file.c_str());
        return false;
    }
    std::vector<int> which;
    if (!session.selectedIndexes(dsig.get_NumSignatures(), which)) return false;
    if (!keys.applyTo(dsig)) return false;
    bool allValid = true;
    for (int index : which) {
        dsig.put_Selector(index);
        if (!session.applyReferenceOptions(file)) return false;
        const SignatureVerdict v =
            verifySelected(dsig, keys, !args.has("--no-refs"), args.has("--ignore-external"));
        allValid = allValid && v.valid;
        if (args.has("--json")) {
            std::printf("%s\n", verdictJson(file, index, v, dsig.detectedFamily())
                                    .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)
                                    .c_str());
        } else if (v.valid) {
            std::printf("%s#%d: valid\n", file.c_str(), index);
        } else {
            std::printf("%s#%d: invalid (%s)\n", file.c_str(), index, v.why.c_str());
        }
        if (args.has("--log")) std::fprintf(stderr, "%s", v.log.c_str());
    }
    return allValid;
}

}  // namespace

int runVerify(const ParsedArgs& args) {
    KeyOptions keys;
    if (!keys.load(args)) return kExitUsage;
    bool allValid = true;
    for (const auto& file : args.files) allValid = verifyFile(file, args, keys) && allValid;
    return allValid ? kExitOk : kExitFailed;
}

}  // namespace xmldsig::cli
