#include "host/cert/DistinguishedName.h"

#include <algorithm>
#include <string>
#include <vector>

#include "host/cert/detail/DnParser.h"
#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {
namespace {

const char* orEmpty(const char* s) {
    return s == nullptr ? "" : s;
}

void logUnreadable(const char* dn, const std::string& reason, LogBase& log) {
    log.LogError("Cannot read the distinguished name.");
    log.LogDataStr("reason", reason.c_str());
    log.LogDataStr("dn", dn);
}

}  // namespace

bool DistinguishedName::getDnPart(const char* dn, const char* attrName, StringBuffer& out,
                                  LogBase& log) {
    out.clear();
    std::vector<detail::DnComponent> components;
    std::string error;
    if (!detail::parseDn(orEmpty(dn), components, error)) {
        logUnreadable(orEmpty(dn), error, log);
        return false;
    }
    const std::string wanted = detail::canonicalDnType(orEmpty(attrName));
    for (const detail::DnComponent& c : components) {
        if (detail::canonicalDnType(c.type) == wanted) return out.append(c.value);
    }
    return false;
}

void DistinguishedName::toTvCanonHashKey(const char* dn, StringBuffer& out, LogBase& log) {
    out.clear();
    std::vector<detail::DnComponent> components;
    std::string error;
    if (!detail::parseDn(orEmpty(dn), components, error)) {
        logUnreadable(orEmpty(dn), error, log);
        // Keyed by its own text, so an unreadable name can still match an identical one.
        out.append("?");
        out.append(detail::canonicalDnValue(orEmpty(dn)));
        return;
    }
    out.append(detail::canonicalDnKey(components));
}

void DistinguishedName::removeDnTags(const XString& dn, XString& out) {
    std::vector<detail::DnComponent> components;
    std::string error;
    if (!detail::parseDn(dn.getUtf8(), components, error)) {
        out.setFromUtf8(dn.getUtf8());
        return;
    }
    std::string text;
    for (std::size_t i = 0; i < components.size(); ++i) {
        if (i != 0) text += ", ";
        text += components[i].rawValue;
    }
    out.setFromUtf8(text.c_str());
}

bool DistinguishedName::taglessKey(const char* text, std::string& key) {
    key.clear();
    std::vector<std::string> values;
    std::string error;
    if (!detail::parseDnValues(orEmpty(text), values, error)) return false;
    for (std::string& v : values) v = detail::canonicalDnValue(v);
    std::sort(values.begin(), values.end());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i != 0) key.push_back(',');
        for (char c : values[i]) {
            if (c == ',' || c == '\\') key.push_back('\\');
            key.push_back(c);
        }
    }
    return true;
}

}  // namespace xmldsig
