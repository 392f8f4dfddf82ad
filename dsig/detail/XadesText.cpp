#include "dsig/detail/XadesText.h"

#include <cstring>

namespace xmldsig::detail {

namespace {

bool isXmlSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Index of the first c at or after from; -1 when there is none.
long findChar(const StringBuffer& text, char c, unsigned from) {
    const char* s = text.getString();
    const void* hit =
        from < text.getSize() ? std::memchr(s + from, c, text.getSize() - from) : nullptr;
    return hit == nullptr ? -1 : static_cast<const char*>(hit) - s;
}

}  // namespace

bool captureUniqueTagContent(const char* name, const StringBuffer& text, StringBuffer& out,
                             LogBase&) {
    out.clear();
    if (name == nullptr || *name == '\0') return false;
    const int at = text.indexOf(name);
    if (at < 0) return false;
    const long gt = findChar(text, '>', static_cast<unsigned>(at) + std::strlen(name));
    if (gt < 0) return false;
    const char* s = text.getString();
    unsigned first = static_cast<unsigned>(gt) + 1;
    while (first < text.getSize() && isXmlSpace(s[first])) ++first;
    const long lt = findChar(text, '<', first);
    if (lt < 0) return false;
    // Step back over trailing white space, never past the first content byte.
    unsigned last = static_cast<unsigned>(lt);
    while (last > first && isXmlSpace(s[last - 1])) --last;
    return out.appendN(s + first, last - first);
}

bool captureUniqueAttrContent(const char* tag, const char* attr, const StringBuffer& text,
                              StringBuffer& out, LogBase& log) {
    out.clear();
    if (tag == nullptr || attr == nullptr || *tag == '\0' || *attr == '\0') return false;
    const int at = text.indexOf(tag);
    if (at < 0) return false;
    const long gt = findChar(text, '>', static_cast<unsigned>(at));
    if (gt < 0) return false;
    StringBuffer sb;
    sb.appendN(text.getString() + at, static_cast<unsigned>(gt - at));
    sb.replaceChar5("\t\r\n", ' ');
    sb.trimInsideSpaces();
    StringBuffer spaced(attr), joined(attr);
    spaced.append(" =");
    joined.append("=");
    sb.replaceFirstOccurance(spaced.getString(), joined.getString(), false);
    const int eq = sb.indexOf(joined.getString());
    if (eq < 0) {
        log.LogError("Failed to find SignatureValue Id");
        log.LogDataSb("sb", sb);
        return false;
    }
    unsigned p = static_cast<unsigned>(eq) + joined.getSize();
    while (p < sb.getSize() && sb.getString()[p] == ' ') ++p;
    if (p >= sb.getSize() || sb.getString()[p] != '"') {
        log.LogError("Expected open double quote");
        log.LogDataSb("sb", sb);
        return false;
    }
    const long close = findChar(sb, '"', p + 1);
    if (close < 0) {
        log.LogError("Expected end double quote");
        log.LogDataSb("sb", sb);
        return false;
    }
    return out.appendN(sb.getString() + p + 1, static_cast<unsigned>(close) - p - 1);
}

}  // namespace xmldsig::detail
