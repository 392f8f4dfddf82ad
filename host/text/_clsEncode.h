// Text-to-binary decoder with a selectable encoding mode (the names DataBuffer::appendEncoded
// accepts: base64, base64url, hex, ascii/utf-8/ansi).
#pragma once

#include <string>

namespace xmldsig {

class DataBuffer;
class LogBase;

class _clsEncode {
  public:
    _clsEncode() = default;
    // Selects the mode by name (ASCII case ignored); false (mode unchanged) for an unknown name.
    bool put_EncodingMode(const char* name);
    const char* get_EncodingMode() const { return m_mode.c_str(); }

    // Decodes text in the selected mode into out. With append false, out is cleared first.
    // False with a log line on malformed text. Implemented in host/log.
    bool decodeBinary(const char* text, DataBuffer& out, bool append, LogBase& log) const;

  private:
    std::string m_mode = "base64";
};

}  // namespace xmldsig
