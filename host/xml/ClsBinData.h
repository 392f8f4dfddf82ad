// An interface byte holder: the bytes are the public DataBuffer member, read directly by the
// components it is handed to.
#pragma once

#include "host/text/DataBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {

class ClsBinData {
  public:
    // Replaces the bytes with the file's content; false, bytes unchanged, on a read failure.
    bool LoadFile(const char* path);
    bool AppendBinary(const DataBuffer& bytes) { return m_data.append(bytes); }
    // Decodes text in encoding ("base64", "hex", ...; see DataBuffer::appendEncoded) and
    // appends the bytes.
    bool AppendEncoded(const char* text, const char* encoding);
    // The bytes encoded as "base64", "base64url", "hex" or "hex_lower", replacing out.
    bool GetEncoded(const char* encoding, XString& out) const;
    unsigned get_NumBytes() const { return m_data.getSize(); }
    void Clear() { m_data.clear(); }

    DataBuffer m_data;
};

}  // namespace xmldsig
