// Caps on the work an untrusted document can ask for before any key is checked: references per
// SignedInfo and transforms per Reference. Each reference re-reads the document, so an
// attacker-chosen count would make the cost grow with its square; the caps keep it a small
// multiple of the document's size. The VerifyOptions members raise them for callers who trust
// their documents.
#include <string>

#include "dsig/ClsXmlDSig.h"
#include "host/log/LogBase.h"

namespace xmldsig {

namespace {

bool withinCap(int count, int cap, const char* perWhat, const char* option, LogBase& log) {
    if (count <= cap) return true;
    const std::string line = "More than " + std::to_string(cap) + " " + perWhat + ": the cap is " +
                             std::to_string(cap) + " (the VerifyOptions member \"" + option +
                             "\" raises it).";
    log.LogError(line.c_str());
    log.LogDataLong("count", count);
    return false;
}

}  // namespace

bool ClsXmlDSig::referenceCountWithinCap(LogBase& log) {
    const int cap = cmsOptionInt("MaxReferences", kMaxReferences, log);
    return withinCap(get_NumReferences(), cap, "references in SignedInfo", "MaxReferences", log);
}

bool ClsXmlDSig::transformCountWithinCap(int count, LogBase& log) {
    const int cap = cmsOptionInt("MaxTransforms", kMaxTransforms, log);
    return withinCap(count, cap, "transforms in a Reference", "MaxTransforms", log);
}

}  // namespace xmldsig
