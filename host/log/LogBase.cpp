#include "host/log/LogBase.h"

#include <string>

#include "host/text/ContentCoding.h"

namespace xmldsig {

LogBase::~LogBase() = default;

void LogBase::logBracketedText(const char* key, const char* text) {
    std::string v = "[";
    v += text == nullptr ? "" : text;
    v += "]";
    LogDataStr(key, v.c_str());
}

void LogBase::LogDataSb(const char* key, const StringBuffer& value) {
    LogDataStr(key, value.getString());
}

void LogBase::LogDataX(const char* key, const XString& value) {
    LogDataStr(key, value.getUtf8());
}

void LogBase::LogDataLong(const char* key, long value) {
    LogDataStr(key, std::to_string(value).c_str());
}

void LogBase::LogDataUint32(const char* key, unsigned value) {
    LogDataStr(key, std::to_string(value).c_str());
}

void LogBase::LogDataBool(const char* key, bool value) {
    LogDataStr(key, value ? "true" : "false");
}

void LogBase::LogDataHexDb(const char* key, const DataBuffer& value) {
    StringBuffer hex;
    ContentCoding::encodeHex(value.getData2(), value.getSize(), true, hex);
    LogDataStr(key, hex.getString());
}

void LogBase::LogBracketed(const char* key, const char* text) {
    logBracketedText(key, text);
}

void LogBase::LogBracketed(const char* key, const StringBuffer& text) {
    logBracketedText(key, text.getString());
}

void LogBase::LogInfo_n(const char* text, int /*level*/) {
    LogInfo(text);
}

void LogBase::updateLastJsonData(const char* key, const char* value) {
    const std::string k = key == nullptr ? "" : key;
    const std::string v = value == nullptr ? "" : value;
    for (auto& kv : m_lastJsonData) {
        if (kv.first == k) {
            kv.second = v;
            return;
        }
    }
    if (m_lastJsonData.size() < 1000) m_lastJsonData.emplace_back(k, v);
}

bool LogBase::hasOption(const char* word, bool caseSensitive) const {
    if (word == nullptr || *word == '\0') return false;
    return caseSensitive ? m_uncommonOptions.containsSubstring(word)
                         : m_uncommonOptions.containsSubstringNoCase(word);
}

}  // namespace xmldsig
