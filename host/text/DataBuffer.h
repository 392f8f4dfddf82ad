// A growable byte array. Appends are checked against a size limit and report exhaustion with a
// false result instead of throwing.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "host/text/TavolinObject.h"

namespace xmldsig {

class LogBase;
class StringBuffer;

class DataBuffer : public TavolinObject {
  public:
    static constexpr std::size_t kMaxSize = 0x7FFFFFF0u;

    DataBuffer() = default;
    DataBuffer(const DataBuffer&) = default;
    DataBuffer(DataBuffer&&) noexcept = default;
    DataBuffer& operator=(const DataBuffer&) = default;
    DataBuffer& operator=(DataBuffer&&) noexcept = default;
    ~DataBuffer() override;

    std::size_t heapUsage() const override;

    const std::vector<unsigned char>& bytes() const { return m_data; }
    std::vector<unsigned char>& bytes() { return m_data; }

    bool append(const DataBuffer& other);
    bool append(const StringBuffer& text);  // the text's bytes, without a NUL
    bool append(const void* data, std::size_t length);
    bool appendStr(std::string_view text);
    // Decodes text in the named encoding and appends the bytes. Names (ASCII case ignored):
    // "base64", "base64url", "hex" (also "hex_lower"), "ascii", "utf-8"/"utf8", "ansi" (text
    // as bytes). False on malformed text or an unknown name; bytes decoded before a base64
    // error stay appended.
    bool appendEncoded(const char* text, const char* encoding);
    // Appends the bytes to out encoded as "base64" (no line breaks), "base64url" (no padding),
    // "hex" (upper case), "hex_lower", or "ascii"/"utf-8" (bytes as text). False for an
    // unknown name.
    bool encodeDB(const char* encoding, StringBuffer& out) const;

    bool equals(const DataBuffer& other) const;
    unsigned getSize() const { return static_cast<unsigned>(m_data.size()); }
    bool isEmpty() const { return m_data.empty(); }
    // Pointer to the first byte (null when empty).
    const unsigned char* getData2() const { return m_data.empty() ? nullptr : m_data.data(); }
    unsigned char* getData2() { return m_data.empty() ? nullptr : m_data.data(); }

    void clear();
    void secureClear();  // zeros the bytes (also spare capacity), then empties

    // Treats the bytes as an XML document: detects a UTF-8/UTF-16 byte-order mark or the
    // encoding its declaration names, and re-encodes the whole buffer to UTF-8 (a UTF-8 BOM is
    // dropped). Implemented in host/log (it logs); the log-free core is convertXmlToUtf8() in
    // host/text/CharsetConvert.h.
    bool convertXmlToUtf8(LogBase& log);

  private:
    std::vector<unsigned char> m_data;
};

}  // namespace xmldsig
