// Helpers for the transform tests: reading what a log recorded, and Transform elements built
// from text.
#pragma once

#include <memory>
#include <string>

#include "host/log/_tvLogger.h"
#include "host/xml/ClsXml.h"

namespace xmldsig::test {

// The first value recorded under key, or "(absent)".
inline std::string loggedValue(const _tvLogger& log, const char* key) {
    for (const auto& e : log.entries())
        if (e.kind == _tvLogger::EntryKind::Value && e.key == key) return e.text;
    return "(absent)";
}

inline bool loggedLine(const _tvLogger& log, _tvLogger::EntryKind kind, const std::string& text) {
    for (const auto& e : log.entries())
        if (e.kind == kind && e.text == text) return true;
    return false;
}

inline bool loggedInfo(const _tvLogger& log, const std::string& text) {
    return loggedLine(log, _tvLogger::EntryKind::Info, text);
}

inline bool loggedError(const _tvLogger& log, const std::string& text) {
    return loggedLine(log, _tvLogger::EntryKind::Error, text);
}

struct XmlRelease {
    void operator()(ClsXml* x) const {
        if (x != nullptr) x->decRefCount();
    }
};
using XmlPtr = std::unique_ptr<ClsXml, XmlRelease>;

// The root element of the text (a Transform element, typically); null when the text is empty
// or does not parse.
inline XmlPtr parseElement(const std::string& text) {
    if (text.empty()) return nullptr;
    XmlPtr xml(ClsXml::createNewCls());
    _tvLogger log;
    if (!xml || !xml->loadXml(StringBuffer(text), true, log)) return nullptr;
    return xml;
}

}  // namespace xmldsig::test
