// xmldsig certs: the certificates a signature's KeyInfo carries or names, as PEM.
#include <cstdio>
#include <string>

#include "cli/Commands.h"
#include "cli/Input.h"
#include "cli/KeyOptions.h"
#include "cli/Session.h"
#include "cli/VerifyOne.h"
#include "host/xml/ClsStringArray.h"

namespace xmldsig::cli {

const Command kCertsCommand{
    "certs",
    "certs [options] FILE",
    "Writes the certificates of each signature's KeyInfo (or of --signature N) as PEM:\n"
    "embedded X509Certificate elements and WS-Security tokens, and the certificates that\n"
    "X509IssuerSerial, X509SubjectName or X509SKI name, looked up in --cert/--cert-dir.\n"
    "With --signer, verifies each signature and writes only the certificate of the key that\n"
    "verified it.",
    {kOptSignature,
     {"--signer", false, false, nullptr,
      "only the certificate that verified the signature (exit 1 when it is invalid or the "
      "verifying key had no certificate)"},
     kOptKey,
     kOptCert,
     kOptCertDir,
     kOptExtDir,
     kOptIgnoreExternal,
     kOptOption,
     kOptLog,
     kOptVerbose},
    1,
    1,
};

namespace {

void printPem(const std::string& base64) {
    std::string clean;
    for (char c : base64)
        if (c != '\r' && c != '\n' && c != ' ' && c != '\t') clean += c;
    std::printf("-----BEGIN CERTIFICATE-----\n");
    for (std::size_t i = 0; i < clean.size(); i += 64)
        std::printf("%s\n", clean.substr(i, 64).c_str());
    std::printf("-----END CERTIFICATE-----\n");
}

// The certificate that verified the selected signature; false (after saying why) when none.
bool printSigner(ClsXmlDSig& dsig, const KeyOptions& keys, const ParsedArgs& args,
                 const std::string& file, int index) {
    const SignatureVerdict v =
        verifySelected(dsig, keys, true, args.has("--ignore-external"), {"", "", file, index});
    if (!v.valid) {
        std::fprintf(stderr, "%s#%d: invalid (%s)\n", file.c_str(), index, v.why.c_str());
        return false;
    }
    if (v.signerCert.empty()) {
        std::fprintf(stderr, "%s#%d: the key that verified (%s) has no certificate\n", file.c_str(),
                     index, v.keySource.c_str());
        return false;
    }
    std::printf("# %s#%d signer (%s)\n", file.c_str(), index, v.keySource.c_str());
    printPem(v.signerCert);
    return true;
}

}  // namespace

int runCerts(const ParsedArgs& args) {
    KeyOptions keys;
    if (!keys.load(args)) return kExitUsage;
    const std::string& file = args.files[0];
    ScopedReport report;
    Session session(args, report);
    DataBuffer bytes;
    std::string error;
    if (!readInput(file, bytes, error)) {
        report.err("xmldsig: %s\n", error.c_str());
        return kExitFailed;
    }
    if (!session.loadBytes(file, bytes)) return kExitFailed;
    ClsXmlDSig& dsig = session.dsig();
    std::vector<int> which;
    if (!session.selectedIndexes(dsig.get_NumSignatures(), which)) return kExitUsage;
    if (!keys.applyTo(dsig)) return kExitFailed;
    int printed = 0;
    bool complete = true;
    if (args.has("--signer")) {
        bool all = true;
        for (int index : which) {
            Session one(args, report);  // a fresh component per signature
            if (!one.loadBytes(file, bytes) || !keys.applyTo(one.dsig())) return kExitFailed;
            one.dsig().put_Selector(index);
            if (!one.applyReferenceOptions(file)) return kExitUsage;
            all = printSigner(one.dsig(), keys, args, file, index) && all;
            if (args.has("--log")) std::fprintf(stderr, "%s", one.dsig().lastErrorText().c_str());
        }
        return all ? kExitOk : kExitFailed;
    }
    for (int index : which) {
        dsig.put_Selector(index);
        ClsStringArray certs;
        complete = dsig.GetCerts(certs) && complete;
        for (int i = 0; i < certs.count(); ++i, ++printed) {
            std::printf("# %s#%d certificate %d\n", file.c_str(), index, i);
            printPem(certs.getString(i));
        }
        if (args.has("--log")) std::fprintf(stderr, "%s", dsig.lastErrorText().c_str());
    }
    if (printed == 0) std::fprintf(stderr, "%s: no certificate in KeyInfo\n", file.c_str());
    if (!complete)
        std::fprintf(stderr, "%s: some certificates could not be resolved (see --log)\n",
                     file.c_str());
    return printed > 0 && complete ? kExitOk : kExitFailed;
}

}  // namespace xmldsig::cli
