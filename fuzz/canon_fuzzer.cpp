// Canonicalization of a document, a fragment by Id or the element at an offset: inclusive,
// exclusive (with a prefix list), 1.1 by name, with or without comments, and the compatibility
// switches. Property: canonicalizing a whole document's canonical form again changes nothing.
#include <memory>

#include "FuzzInput.h"
#include "dsig/ClsXmlDSig.h"
#include "host/log/LogNull.h"
#include "host/xml/XmlCanon.h"

using namespace xmldsig;

namespace {

void checkIdempotent(const StringBuffer& first, bool withComments) {
    XmlCanon canon;
    canon.m_withComments = withComments;
    LogNull log;
    StringBuffer second;
    if (!canon.xmlCanonicalize(first, nullptr, 0, second, log))
        fuzz::propertyBroken("the canonical form does not canonicalize");
    if (!second.equals(first)) fuzz::propertyBroken("canonicalization is not idempotent");
}

}  // namespace

XMLDSIG_FUZZ_TARGET(canon_fuzzer) {
    fuzz::FuzzInput in(data, size);
    const uint8_t mode = in.byte();
    const uint8_t switches = in.byte();
    const uint32_t offset = in.byte() | (in.byte() << 8);
    const std::string id = in.shortText(16);
    const std::string prefixes = in.shortText(24);
    const StringBuffer doc = in.restSb();

    if (mode & 0x80) {  // through the component, by name
        std::unique_ptr<ClsXmlDSig> dsig(ClsXmlDSig::createNewCls());
        if (!dsig) return 0;
        const char* const versions[] = {"C14N", "EXCL_C14N", "C14N_11", "unknown"};
        XString xml, out;
        xml.setFromSbUtf8(doc);
        const XString version(versions[mode & 3]);
        if (mode & 4)
            dsig->CanonicalizeFragment(xml, XString(id.c_str()), version, XString(prefixes.c_str()),
                                       (mode & 8) != 0, out);
        else
            dsig->CanonicalizeXml(xml, version, (mode & 8) != 0, out);
        return 0;
    }

    XmlCanon canon;
    canon.m_mode = (mode & 1) ? XmlCanon::kModeExclusive : XmlCanon::kModeInclusive;
    canon.m_withComments = (mode & 2) != 0;
    canon.m_duplicateSortingBug = (switches & 1) != 0;
    canon.m_ebicsMode = (switches & 2) != 0;
    canon.m_resetOption = (switches & 4) != 0;
    canon.m_secondCompatSwitch = (switches & 8) == 0;
    if (!prefixes.empty())
        StringBuffer(prefixes).split(canon.m_inclusivePrefixes, ' ', true, false);
    LogNull log;
    StringBuffer out;
    const int target = (mode >> 2) & 3;  // 0 whole document, 1 by Id, 2 at an offset
    const bool ok = canon.xmlCanonicalize(doc, target == 1 ? id.c_str() : nullptr,
                                          target == 2 ? offset : 0, out, log);
    if (ok && target == 0 && (mode & 1) == 0 && switches == 0)
        checkIdempotent(out, canon.m_withComments);
    return 0;
}
