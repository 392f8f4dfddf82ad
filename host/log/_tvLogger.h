// The log each component owns: a tree of named contexts holding errors, infos, named values and
// bracketed text blocks, in the order written. Held flat (each entry records its depth), so
// rendering walks a vector and never recurses.
//
// Memory is bounded: past kMaxEntries entries, or kMaxTotalBytes of text, further entries are
// dropped and a single "(log truncated)" note is recorded; a value longer than kMaxValueBytes or
// a bracketed text longer than kMaxBracketedBytes is cut and marked "...(truncated)".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/log/LogBase.h"

namespace xmldsig {

class _tvLogger : public LogBase {
  public:
    static constexpr std::size_t kMaxEntries = 200000;
    static constexpr std::size_t kMaxTotalBytes = 32u * 1024u * 1024u;
    static constexpr std::size_t kMaxValueBytes = 64u * 1024u;
    static constexpr std::size_t kMaxBracketedBytes = 1024u * 1024u;

    enum class EntryKind : std::uint8_t { Context, Error, Info, Value, Bracketed };
    struct Entry {
        EntryKind kind;
        unsigned depth;    // 0 for entries outside every context
        std::string key;   // context name or value key; empty for errors and infos
        std::string text;  // message, value or bracketed text
    };

    _tvLogger() = default;

    void LogError(const char* text) override;
    void LogInfo(const char* text) override;
    void LogDataStr(const char* key, const char* value) override;
    void enterContext(const char* name) override;
    void leaveContext() override;
    void logBracketedText(const char* key, const char* text) override;

    // Drops the recorded tree (open contexts included); settings and last JSON data stay.
    void resetTree();
    const std::vector<Entry>& entries() const { return m_entries; }
    unsigned openDepth() const { return m_depth; }
    bool truncated() const { return m_truncated; }
    // True when an error entry contains the text (for callers and tests).
    bool hasErrorContaining(const char* text) const;

    // "name:" per context, two spaces of indent per level, errors and infos verbatim, values
    // "key: value", bracketed texts "key: [text]"; every line ends with LF.
    void renderText(StringBuffer& out) const;
    std::string renderText() const;

    // JSON rendering (documented in _tvLogger.cpp).
    std::string renderJson() const;

  private:
    bool admit(std::size_t bytes);
    void add(EntryKind kind, const char* key, const char* text, std::size_t maxText);

    std::vector<Entry> m_entries;
    unsigned m_depth = 0;
    std::size_t m_totalBytes = 0;
    bool m_truncated = false;
};

}  // namespace xmldsig
