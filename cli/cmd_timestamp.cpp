// xmldsig timestamp: adds a XAdES signature timestamp, obtained from a timestamp authority
// over the signature's SignatureValue, to one signature of a document.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli/Commands.h"
#include "cli/Session.h"
#include "host/cms/ClsHttp.h"
#include "host/cms/ClsJsonObject.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/log/_clsOwner.h"
#include "host/xml/ClsStringBuilder.h"
#include "host/xml/ClsXml.h"

namespace xmldsig::cli {

const Command kTimestampCommand{
    "timestamp",
    "timestamp --tsa URL [-o OUT] FILE",
    "Asks the RFC 3161 timestamp authority at URL for a token over the SignatureValue\n"
    "of a signature (the first, or --signature N) and writes the document with the token\n"
    "added as a XAdES SignatureTimeStamp in the signature's unsigned properties (a new\n"
    "QualifyingProperties or Object is made when there is none). What is signed does not\n"
    "change. The result goes to OUT, or to standard output, as UTF-8. Fails (exit 1) when\n"
    "the signature already has a timestamp, the authority gave no token, or the signature\n"
    "offers no place for one. 'xmldsig verify --option VerifyEncapsulatedTimeStamp' checks it.",
    {
        {"--tsa", true, false, "URL", "the timestamp authority (http or https; required)"},
        {"-o", true, false, "OUT", "write the timestamped document to OUT"},
        {"--hash", true, false, "ALG", "hash algorithm of the request (default sha256)"},
        {"--policy", true, false, "OID", "ask the authority for this policy"},
        {"--no-tsa-cert", false, false, nullptr,
         "do not ask the authority to include its certificate in the token"},
        {"--timeout", true, false, "SECONDS", "give up on the authority after this long (30)"},
        kOptSignature,
        kOptOption,
        kOptLog,
        kOptVerbose,
    },
    1,
    1,
};

namespace {

bool buildTsaOptions(const ParsedArgs& args, ClsJsonObject& json) {
    bool ok =
        json.UpdateString(XString("timestampToken.tsaUrl"), XString(args.value("--tsa").c_str()));
    if (args.has("--hash"))
        ok = ok && json.UpdateString(XString("timestampToken.hashAlg"),
                                     XString(args.value("--hash").c_str()));
    if (args.has("--policy"))
        ok = ok && json.UpdateString(XString("timestampToken.policyOid"),
                                     XString(args.value("--policy").c_str()));
    return ok &&
           json.UpdateBool(XString("timestampToken.requestTsaCert"), !args.has("--no-tsa-cert"));
}

// The --timeout value, or 30; -1 when it is not a whole number of seconds from 1 to 3600.
int timeoutSeconds(const ParsedArgs& args) {
    if (!args.has("--timeout")) return 30;
    const std::string v = args.value("--timeout");
    char* end = nullptr;
    const long n = std::strtol(v.c_str(), &end, 10);
    return v.empty() || *end != '\0' || n < 1 || n > 3600 ? -1 : static_cast<int>(n);
}

// The content of the EncapsulatedTimeStamp of signature `index` in the output text. False
// when that signature holds none (nothing was inserted).
bool insertedToken(const StringBuffer& text, int index, std::string& token) {
    LogNull quiet;
    ClsXml* doc = ClsXml::createNewCls();
    RefCountedObjectOwner docOwner(doc);
    ExtPtrArrayRc sigs;
    if (doc == nullptr || !doc->loadXml(text, true, quiet) || !doc->findSignatures(sigs, quiet))
        return false;
    auto* sig = static_cast<ClsXml*>(sigs.elementAt(index));
    ClsXml* stamp =
        sig != nullptr ? sig->searchForTag(nullptr, "*:EncapsulatedTimeStamp") : nullptr;
    RefCountedObjectOwner stampOwner(stamp);
    if (stamp == nullptr) return false;
    StringBuffer content;
    stamp->getContentSb(content);
    token = content.str();
    return true;
}

bool writeOutput(const std::string& path, const StringBuffer& text) {
    FILE* f = path.empty() ? stdout : std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool wrote = std::fwrite(text.getString(), 1, text.getSize(), f) == text.getSize();
    const bool closed = path.empty() ? std::fflush(f) == 0 : std::fclose(f) == 0;
    return wrote && closed;
}

}  // namespace

int runTimestamp(const ParsedArgs& args) {
    const int timeout = timeoutSeconds(args);
    if (!args.has("--tsa") || timeout < 0) {
        std::fprintf(stderr, "xmldsig timestamp: %s\n",
                     timeout < 0 ? "--timeout takes a number of seconds from 1 to 3600"
                                 : "option '--tsa URL' is required");
        return kExitUsage;
    }
    const std::string& file = args.files[0];
    ScopedReport report;
    Session session(args, report);
    if (!session.load(file)) return kExitFailed;
    ClsXmlDSig& dsig = session.dsig();
    std::vector<int> which;
    if (!session.selectedIndexes(dsig.get_NumSignatures(), which)) return kExitUsage;
    if (which.empty()) {
        report.err("%s: no signature to timestamp\n", file.c_str());
        return kExitFailed;
    }
    const int index = which[0];
    dsig.put_Selector(index);

    ClsJsonObject json;
    ClsHttp* http = ClsHttp::createNewCls();
    _clsOwner httpOwner(http);
    if (http == nullptr || !buildTsaOptions(args, json)) {
        report.err("xmldsig: out of memory\n");
        return kExitFailed;
    }
    http->put_ReadTimeout(timeout);
    http->put_ConnectTimeout(timeout < 10 ? timeout : 10);
    dsig.SetHttpObj(*http);

    ClsStringBuilder out;
    const bool added = dsig.AddEncapsulatedTimeStamp(json, out);
    session.printLogIfAsked();
    std::string token;
    const bool inserted = added && insertedToken(out.m_str.getUtf8Sb(), index, token);
    if (!added || !inserted || token.empty()) {
        const char* why = !added      ? "cannot add a timestamp"
                          : !inserted ? "the signature offers no place for a timestamp"
                                      : "the timestamp authority returned no token";
        report.err("%s#%d: %s\n", file.c_str(), index, why);
        if (!args.has("--log")) report.errText(dsig.lastErrorText());
        return kExitFailed;
    }
    const std::string outPath = args.value("-o");
    if (!writeOutput(outPath, out.m_str.getUtf8Sb())) {
        report.err("xmldsig: cannot write '%s'\n", outPath.c_str());
        return kExitFailed;
    }
    report.err("%s#%d: timestamp added\n", file.c_str(), index);
    return kExitOk;
}

}  // namespace xmldsig::cli
