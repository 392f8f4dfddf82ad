// The log sink every internal operation writes to. Concrete logs (_tvLogger, LogNull) implement
// the five virtual operations; the typed helpers below all reduce to them. The log also carries
// the two settings operations read: the verbose flag and the uncommon-options string.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {

class LogBase {
  public:
    LogBase() = default;
    LogBase(const LogBase&) = delete;
    LogBase& operator=(const LogBase&) = delete;
    virtual ~LogBase();

    virtual void LogError(const char* text) = 0;
    virtual void LogInfo(const char* text) = 0;
    // A named text value ("key: value" in the text rendering).
    virtual void LogDataStr(const char* key, const char* value) = 0;
    virtual void enterContext(const char* name) = 0;
    virtual void leaveContext() = 0;
    // A long text block under a key ("key: [text]"). The default records it as a value.
    virtual void logBracketedText(const char* key, const char* text);

    // Typed helpers.
    void LogDataSb(const char* key, const StringBuffer& value);
    void LogDataX(const char* key, const XString& value);
    void LogDataLong(const char* key, long value);
    void LogDataUint32(const char* key, unsigned value);
    void LogDataBool(const char* key, bool value);                // "1" or "0"
    void LogDataHexDb(const char* key, const DataBuffer& value);  // upper-case hex
    void LogBracketed(const char* key, const char* text);
    void LogBracketed(const char* key, const StringBuffer& text);
    // An informational line with a detail level; every level is recorded.
    void LogInfo_n(const char* text, int level);

    // Structured results of the last operation, rendered beside the tree in JSON form.
    void clearLastJsonData() { m_lastJsonData.clear(); }
    void updateLastJsonData(const char* key, const char* value);
    const std::vector<std::pair<std::string, std::string>>& lastJsonData() const {
        return m_lastJsonData;
    }

    // Settings.
    bool verbose() const { return m_verboseLogging; }
    const StringBuffer& uncommonOptions() const { return m_uncommonOptions; }
    // True when the uncommon options contain word (a substring test; caseSensitive false folds
    // ASCII letters).
    bool hasOption(const char* word, bool caseSensitive) const;

    bool m_verboseLogging = false;
    StringBuffer m_uncommonOptions;

  private:
    std::vector<std::pair<std::string, std::string>> m_lastJsonData;
};

}  // namespace xmldsig

#include "host/log/LogContextExitor.h"
