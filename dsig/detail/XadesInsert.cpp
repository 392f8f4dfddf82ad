#include "dsig/detail/XadesInsert.h"

#include <atomic>
#include <cstdint>

#include "host/cms/Psdk.h"

namespace xmldsig::detail {

const char kTokenPlaceholder[] = "ENCAP_TIMESTAMP_BASE64";

namespace {

const char kExcC14n[] = "http://www.w3.org/2001/10/xml-exc-c14n#";
const char kXadesDerEncoding[] = "http://uri.etsi.org/01903/v1.2.2#DER";
const char kXadesNamespace[] = "http://uri.etsi.org/01903/v1.3.2#";

// Shared by every component of the process. Relaxed loads and stores: two threads may draw the
// same value, which only costs uniqueness between documents made at the same instant.
std::atomic<uint32_t> g_idState{0};

// The end of the start tag that begins at offset: the index of its '>' (quoted attribute
// values skipped), with the tag's qualified name and whether it is an empty-element tag.
// -1 when the text ends first.
long startTagEnd(const StringBuffer& text, unsigned offset, StringBuffer& qname, bool& empty) {
    const char* s = text.getString();
    const unsigned n = text.getSize();
    qname.clear();
    empty = false;
    if (offset >= n || s[offset] != '<') return -1;
    unsigned i = offset + 1;
    while (i < n && s[i] != ' ' && s[i] != '\t' && s[i] != '\r' && s[i] != '\n' && s[i] != '/' &&
           s[i] != '>')
        ++i;
    qname.appendN(s + offset + 1, i - offset - 1);
    for (char quote = 0; i < n; ++i) {
        if (quote != 0) {
            if (s[i] == quote) quote = 0;
        } else if (s[i] == '"' || s[i] == '\'') {
            quote = s[i];
        } else if (s[i] == '>') {
            empty = s[i - 1] == '/';
            return static_cast<long>(i);
        }
    }
    return -1;
}

// Puts fragment inside the element whose start tag begins at offset, as its first content.
// An empty-element tag is opened up to take it.
void insertIntoElement(const StringBuffer& text, unsigned offset, const StringBuffer& fragment,
                       TimestampInsertion& out) {
    StringBuffer qname;
    bool empty = false;
    const long gt = startTagEnd(text, offset, qname, empty);
    out.offset = 0;
    out.fragment.clear();
    if (gt < 0) return;
    if (!empty) {
        out.offset = static_cast<unsigned>(gt) + 1;
        out.fragment.setString(fragment);
        return;
    }
    out.offset = static_cast<unsigned>(gt) - 1;
    out.removeLen = 2;
    out.fragment.append(">");
    out.fragment.append(fragment);
    out.fragment.append3("</", qname.getString(), ">");
}

void appendTimestamp(StringBuffer& sb, LogBase& log) {
    sb.append("<xades:SignatureTimeStamp Id=\"signature-timestamp-");
    appendXmlAttrId(sb, log);
    sb.append3("\"><ds:CanonicalizationMethod Algorithm=\"", kExcC14n, "\"/>");
    sb.append3("<xades:EncapsulatedTimeStamp Encoding=\"", kXadesDerEncoding, "\">");
    sb.append(kTokenPlaceholder);
    sb.append("</xades:EncapsulatedTimeStamp></xades:SignatureTimeStamp>");
}

void appendUnsignedProperties(StringBuffer& sb, LogBase& log) {
    sb.append("<xades:UnsignedProperties><xades:UnsignedSignatureProperties>");
    appendTimestamp(sb, log);
    sb.append("</xades:UnsignedSignatureProperties></xades:UnsignedProperties>");
}

void appendQualifyingProperties(StringBuffer& sb, bool sigHasXadesNs, const StringBuffer& sigId,
                                LogBase& log) {
    sb.append("<xades:QualifyingProperties");
    if (!sigHasXadesNs) sb.append3(" xmlns:xades=\"", kXadesNamespace, "\"");
    if (!sigId.isEmpty()) sb.append3(" Target=\"#", sigId.getString(), "\"");
    sb.append(">");
    appendUnsignedProperties(sb, log);
    sb.append("</xades:QualifyingProperties>");
}

void appendObject(StringBuffer& sb, const StringBuffer& prefix, bool sigHasXadesNs,
                  const StringBuffer& sigId, LogBase& log) {
    StringBuffer qualified(prefix);
    if (!qualified.isEmpty()) qualified.append(":");
    sb.append3("<", qualified.getString(), "Object Id=\"signature-object-");
    appendXmlAttrId(sb, log);  // drawn before the timestamp's Id
    sb.append("\">");
    appendQualifyingProperties(sb, sigHasXadesNs, sigId, log);
    sb.append3("</", qualified.getString(), "Object>");
}

}  // namespace

int _idPart() {
    uint32_t x = g_idState.load(std::memory_order_relaxed);
    if (x == 0) x = Psdk::getTickCount();
    x = (x * Psdk::n1()) % Psdk::n2();  // 32-bit product, wrapping on purpose
    if (x == 0) x = Psdk::getTickCount();
    g_idState.store(x, std::memory_order_relaxed);
    return Psdk::toIntRange(x, 1000, 9998);
}

void appendXmlAttrId(StringBuffer& sb, LogBase&) {
    for (int i = 0; i < 4; ++i) {
        if (i != 0) sb.append("-");
        sb.append(_idPart());
    }
}

void planTimestampInsertion(const XmlSigLocate& loc, const StringBuffer& text,
                            const StringBuffer& sigPrefix, bool sigHasXadesNs,
                            const StringBuffer& sigId, TimestampInsertion& out, LogBase& log) {
    out = TimestampInsertion();
    StringBuffer frag;
    if (loc.m_unsignedSignaturePropertiesLoc != 0) {
        log.LogInfo("Adding the timestamp to the existing UnsignedSignatureProperties.");
        appendTimestamp(frag, log);
        insertIntoElement(text, loc.m_unsignedSignaturePropertiesLoc, frag, out);
    } else if (loc.m_unsignedPropertiesLoc != 0) {
        log.LogInfo("Adding UnsignedSignatureProperties to the existing UnsignedProperties.");
        frag.append("<xades:UnsignedSignatureProperties>");
        appendTimestamp(frag, log);
        frag.append("</xades:UnsignedSignatureProperties>");
        insertIntoElement(text, loc.m_unsignedPropertiesLoc, frag, out);
    } else if (loc.m_signedPropertiesLoc != 0) {
        log.LogInfo("Adding UnsignedProperties after the SignedProperties.");
        appendUnsignedProperties(out.fragment, log);
        out.offset = loc.m_signedPropertiesLoc + loc.m_signedPropertiesLen;
    } else if (loc.m_qualifyingPropertiesLoc != 0) {
        log.LogInfo("Adding UnsignedProperties to the existing QualifyingProperties.");
        appendUnsignedProperties(frag, log);
        insertIntoElement(text, loc.m_qualifyingPropertiesLoc, frag, out);
    } else if (loc.m_containerLoc != 0) {
        log.LogInfo("Adding QualifyingProperties to an unsigned Object.");
        appendQualifyingProperties(frag, sigHasXadesNs, sigId, log);
        insertIntoElement(text, loc.m_containerLoc, frag, out);
    } else if (loc.m_objectAnchorLoc != 0) {
        log.LogInfo("Adding a new Object to the signature.");
        appendObject(out.fragment, sigPrefix, sigHasXadesNs, sigId, log);
        out.offset = loc.m_objectAnchorLoc + loc.m_objectAnchorLen;
    }
    if (out.offset == 0) log.LogInfo("No place to insert the timestamp.");
    log.LogDataLong("insertAt", static_cast<long>(out.offset));
}

}  // namespace xmldsig::detail
