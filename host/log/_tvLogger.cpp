// _tvLogger: the recorded tree and its text and JSON renderings.
//
// JSON shape (stable; every array keeps the order in which entries were written):
//   {"log": [ENTRY...], "truncated": true (only when entries were dropped),
//    "lastData": {"key": "value", ...} (only when the last operation recorded any)}
//   ENTRY is one of
//     {"context": "name", "entries": [ENTRY...]}
//     {"error": "text"}
//     {"info": "text"}
//     {"key": "name", "value": "text"}
//     {"key": "name", "bracketed": "text"}
// Bytes that are not UTF-8 are replaced by U+FFFD in the JSON text.
#include "host/log/_tvLogger.h"

#include <cstring>
#include <exception>
#include <nlohmann/json.hpp>

namespace xmldsig {
namespace {

constexpr const char kTruncatedNote[] = "(log truncated)";
constexpr const char kCutMarker[] = "...(truncated)";

std::string boundedCopy(const char* text, std::size_t maxBytes) {
    const char* t = text == nullptr ? "" : text;
    const std::size_t n = std::strlen(t);
    if (n <= maxBytes) return std::string(t, n);
    return std::string(t, maxBytes) + kCutMarker;
}

}  // namespace

bool _tvLogger::admit(std::size_t bytes) {
    if (m_truncated) return false;
    if (m_entries.size() + 1 < kMaxEntries && m_totalBytes + bytes < kMaxTotalBytes) return true;
    m_truncated = true;
    try {
        m_entries.push_back({EntryKind::Info, m_depth, std::string(), kTruncatedNote});
    } catch (const std::exception&) {
    }
    return false;
}

void _tvLogger::add(EntryKind kind, const char* key, const char* text, std::size_t maxText) {
    const std::size_t keyLen = key == nullptr ? 0 : std::strlen(key);
    const std::size_t textLen = text == nullptr ? 0 : std::min(std::strlen(text), maxText);
    if (!admit(keyLen + textLen)) return;
    try {
        m_entries.push_back(
            {kind, m_depth, boundedCopy(key, kMaxValueBytes), boundedCopy(text, maxText)});
        m_totalBytes += keyLen + textLen;
    } catch (const std::exception&) {
        m_truncated = true;  // out of memory: stop recording rather than fail the caller
    }
}

void _tvLogger::LogError(const char* text) {
    add(EntryKind::Error, nullptr, text, kMaxValueBytes);
}

void _tvLogger::LogInfo(const char* text) {
    add(EntryKind::Info, nullptr, text, kMaxValueBytes);
}

void _tvLogger::LogDataStr(const char* key, const char* value) {
    add(EntryKind::Value, key, value, kMaxValueBytes);
}

void _tvLogger::logBracketedText(const char* key, const char* text) {
    add(EntryKind::Bracketed, key, text, kMaxBracketedBytes);
}

void _tvLogger::enterContext(const char* name) {
    add(EntryKind::Context, name, nullptr, 0);
    ++m_depth;  // tracked even when the entry was dropped, so leaveContext stays balanced
}

void _tvLogger::leaveContext() {
    if (m_depth > 0) --m_depth;
}

void _tvLogger::resetTree() {
    m_entries.clear();
    m_depth = 0;
    m_totalBytes = 0;
    m_truncated = false;
}

bool _tvLogger::hasErrorContaining(const char* text) const {
    const char* t = text == nullptr ? "" : text;
    for (const Entry& e : m_entries)
        if (e.kind == EntryKind::Error && e.text.find(t) != std::string::npos) return true;
    return false;
}

void _tvLogger::renderText(StringBuffer& out) const {
    std::string s;
    for (const Entry& e : m_entries) {
        s.assign(2 * static_cast<std::size_t>(e.depth), ' ');
        switch (e.kind) {
            case EntryKind::Context:
                s += e.key + ":";
                break;
            case EntryKind::Error:
            case EntryKind::Info:
                s += e.text;
                break;
            case EntryKind::Value:
                s += e.key + ": " + e.text;
                break;
            case EntryKind::Bracketed:
                s += e.key + ": [" + e.text + "]";
                break;
        }
        s += '\n';
        if (!out.append(std::string_view(s))) return;
    }
}

std::string _tvLogger::renderText() const {
    StringBuffer sb;
    renderText(sb);
    return std::move(sb.str());
}

std::string _tvLogger::renderJson() const {
    using nlohmann::json;
    try {
        json root = json::object();
        root["log"] = json::array();
        // open[d] is the entries array of the context open at depth d (open[0]: the top level).
        std::vector<json*> open{&root["log"]};
        for (const Entry& e : m_entries) {
            open.resize(std::min<std::size_t>(open.size(), e.depth + 1));
            json& target = *open.back();
            switch (e.kind) {
                case EntryKind::Context:
                    target.push_back({{"context", e.key}, {"entries", json::array()}});
                    open.push_back(&target.back()["entries"]);
                    break;
                case EntryKind::Error:
                    target.push_back({{"error", e.text}});
                    break;
                case EntryKind::Info:
                    target.push_back({{"info", e.text}});
                    break;
                case EntryKind::Value:
                    target.push_back({{"key", e.key}, {"value", e.text}});
                    break;
                case EntryKind::Bracketed:
                    target.push_back({{"key", e.key}, {"bracketed", e.text}});
                    break;
            }
        }
        if (m_truncated) root["truncated"] = true;
        if (!lastJsonData().empty()) {
            json& data = root["lastData"] = json::object();
            for (const auto& kv : lastJsonData()) data[kv.first] = kv.second;
        }
        return root.dump(-1, ' ', false, json::error_handler_t::replace);
    } catch (const std::exception&) {
        return "{\"log\":[],\"truncated\":true}";
    }
}

}  // namespace xmldsig
