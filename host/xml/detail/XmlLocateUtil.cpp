#include "host/xml/detail/XmlLocateUtil.h"

namespace xmldsig::detail {

bool parseLogged(const StringBuffer& text, dom::Document& doc, LogBase& log) {
    const dom::ParseResult r = doc.parse(text.str());
    if (r) return true;
    log.LogError("Failed to parse XML.");
    log.LogDataStr("parseError", r.message.c_str());
    log.LogDataLong("byteOffset", static_cast<long>(r.byteOffset));
    log.LogDataLong("line", static_cast<long>(r.line));
    log.LogDataLong("column", static_cast<long>(r.column));
    return false;
}

bool offsetsUsable(const dom::Node* element, LogBase& log) {
    if (element == nullptr || !element->fromEntity) return true;
    log.LogError("Element comes from an entity expansion; it has no location in the text.");
    log.LogDataStr("element", std::string(element->name).c_str());
    return false;
}

}  // namespace xmldsig::detail
