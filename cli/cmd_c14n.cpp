// xmldsig c14n: canonical form of a document or of the element with a given Id.
#include <cstdio>

#include "cli/Commands.h"
#include "cli/Input.h"
#include "dsig/ClsXmlDSig.h"
#include "host/log/_clsOwner.h"

namespace xmldsig::cli {

const Command kC14nCommand{
    "c14n",
    "c14n [--exclusive] [--with-comments] [--id ID] [--prefixes \"a b\"] FILE",
    "Writes the canonical form of a document, or of the element whose Id is ID,\n"
    "to standard output: Canonical XML 1.0 by default, Exclusive XML Canonicalization 1.0\n"
    "with --exclusive.",
    {
        {"--exclusive", false, false, nullptr, "Exclusive XML Canonicalization 1.0"},
        {"--with-comments", false, false, nullptr, "keep comments"},
        {"--id", true, false, "ID",
         "canonicalize only the element with this Id (Id, ID, id, wsu:Id...)"},
        {"--prefixes", true, false, "\"a b\"",
         "InclusiveNamespaces prefixes for --exclusive (#default for the default namespace)"},
        kOptLog,
        kOptVerbose,
    },
    1,
    1,
};

int runC14n(const ParsedArgs& args) {
    const bool exclusive = args.has("--exclusive");
    if (args.has("--prefixes") && !exclusive) {
        std::fprintf(stderr, "xmldsig c14n: option '--prefixes' needs '--exclusive'\n");
        return kExitUsage;
    }
    const std::string& file = args.files[0];
    std::string utf8, error;
    if (!readXmlAsUtf8(file, utf8, error)) {
        std::fprintf(stderr, "xmldsig c14n: %s\n", error.c_str());
        return kExitFailed;
    }
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
