// xmldsig c14n: canonical form of a document, of the element with a given Id, or of the node-set
// an XPath expression selects.
#include <cstdio>
#include <sstream>

#include "cli/Commands.h"
#include "cli/Input.h"
#include "dsig/ClsXmlDSig.h"
#include "host/log/_clsOwner.h"
#include "host/log/_tvLogger.h"
#include "host/xml/w3c/W3cEngine.h"

namespace xmldsig::cli {

const Command kC14nCommand{
    "c14n",
    "c14n [--exclusive | --c14n11] [--with-comments] [--id ID | --xpath EXPR] [--prefixes \"a "
    "b\"] FILE",
    "Writes the canonical form of a document, of the element whose Id is ID, or of the\n"
    "node-set EXPR selects, to standard output: Canonical XML 1.0 by default, Exclusive XML\n"
    "Canonicalization 1.0 with --exclusive, Canonical XML 1.1 with --c14n11.",
    {
        {"--exclusive", false, false, nullptr, "Exclusive XML Canonicalization 1.0"},
        {"--c14n11", false, false, nullptr, "Canonical XML 1.1"},
        {"--with-comments", false, false, nullptr, "keep comments"},
        {"--id", true, false, "ID",
         "canonicalize only the element with this Id (Id, ID, id, wsu:Id...)"},
        {"--xpath", true, false, "EXPR",
         "canonicalize the node-set EXPR selects, e.g. \"(//. | //@* | //namespace::*)[...]\" "
         "(prefixes as declared on the document element)"},
        {"--prefixes", true, false, "\"a b\"",
         "InclusiveNamespaces prefixes for --exclusive (#default for the default namespace)"},
        kOptLog,
        kOptVerbose,
    },
    1,
    1,
};

namespace {

int usage(const char* message) {
    std::fprintf(stderr, "xmldsig c14n: %s\n", message);
    return kExitUsage;
}

// Canonical XML 1.1, XPath node-sets and a whole document with inclusive prefixes go through
// the general engine.
int runGeneral(const ParsedArgs& args, const std::string& utf8) {
    w3c::CanonRequest request;
    request.text = utf8.data();
    request.length = utf8.size();
    request.method = args.has("--c14n11")      ? w3c::CanonMethod::Inclusive11
                     : args.has("--exclusive") ? w3c::CanonMethod::Exclusive10
                                               : w3c::CanonMethod::Inclusive10;
    request.withComments = args.has("--with-comments");
    if (args.has("--id")) request.id = args.value("--id");
    if (args.has("--xpath")) request.xpath = args.value("--xpath");
    std::istringstream prefixes(args.value("--prefixes"));
    for (std::string p; prefixes >> p;) request.inclusivePrefixes.push_back(p);
    _tvLogger log;
    std::string out;
    const bool ok = w3c::canonicalize(request, out, log);
    if (ok) std::fwrite(out.data(), 1, out.size(), stdout);
    if (!ok || args.has("--log")) {
        StringBuffer text;
        log.renderText(text);
        std::fprintf(stderr, "%s%s", ok ? "" : "xmldsig c14n: canonicalization failed\n",
                     text.getString());
    }
    return ok ? kExitOk : kExitFailed;
}

}  // namespace

int runC14n(const ParsedArgs& args) {
    const bool exclusive = args.has("--exclusive");
    if (args.has("--prefixes") && !exclusive)
        return usage("option '--prefixes' needs '--exclusive'");
    if (exclusive && args.has("--c14n11"))
        return usage("options '--exclusive' and '--c14n11' exclude each other");
    if (args.has("--id") && args.has("--xpath"))
        return usage("options '--id' and '--xpath' exclude each other");
    const std::string& file = args.files[0];
    std::string utf8, error;
    if (!readXmlAsUtf8(file, utf8, error)) {
        std::fprintf(stderr, "xmldsig c14n: %s\n", error.c_str());
        return kExitFailed;
    }
    if (args.has("--c14n11") || args.has("--xpath") ||
        (args.has("--prefixes") && !args.has("--id")))
        return runGeneral(args, utf8);

    ClsXmlDSig* dsig = ClsXmlDSig::createNewCls();
    if (dsig == nullptr) return kExitFailed;
    _clsOwner owner(dsig);
    dsig->put_VerboseLogging(args.has("--verbose"));

    XString xml(utf8.c_str()), version(exclusive ? "excl_c14n" : "c14n"), out;
    bool ok;
    if (args.has("--id")) {
        XString id(args.value("--id").c_str()), prefixes(args.value("--prefixes").c_str());
        ok = dsig->CanonicalizeFragment(xml, id, version, prefixes, args.has("--with-comments"),
                                        out);
    } else {
        ok = dsig->CanonicalizeXml(xml, version, args.has("--with-comments"), out);
    }
    if (ok) std::fwrite(out.getUtf8(), 1, out.getSizeUtf8(), stdout);
    if (!ok || args.has("--log")) {
        std::fprintf(stderr, "%s%s", ok ? "" : "xmldsig c14n: canonicalization failed\n",
                     dsig->lastErrorText().c_str());
    }
    return ok ? kExitOk : kExitFailed;
}

}  // namespace xmldsig::cli
