// xmldsig certs: the certificates a signature's KeyInfo carries or names, as PEM.
#include <cstdio>
#include <string>

#include "cli/Commands.h"
#include "cli/KeyOptions.h"
#include "cli/Session.h"
#include "host/xml/ClsStringArray.h"

namespace xmldsig::cli {

const Command kCertsCommand{
    "certs",
    "certs [options] FILE",
    "Writes the certificates of each signature's KeyInfo (or of --signature N) as PEM:\n"
    "embedded X509Certificate elements and WS-Security tokens, and the certificates that\n"
    "X509IssuerSerial, X509SubjectName or X509SKI name, looked up in --cert/--cert-dir.",
    {kOptSignature, kOptCert, kOptCertDir, kOptOption, kOptLog, kOptVerbose},
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

}  // namespace

int runCerts(const ParsedArgs& args) {
    KeyOptions keys;
    if (!keys.load(args)) return kExitUsage;
    const std::string& file = args.files[0];
    ScopedReport report;
    Session session(args, report);
    if (!session.load(file)) return kExitFailed;
    ClsXmlDSig& dsig = session.dsig();
    std::vector<int> which;
    if (!session.selectedIndexes(dsig.get_NumSignatures(), which)) return kExitUsage;
    if (!keys.applyTo(dsig)) return kExitFailed;
    int printed = 0;
    bool complete = true;
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
