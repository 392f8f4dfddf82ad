// An interface text holder: the text is the public XString member, read and written directly by
// the components it is handed to.
#pragma once

#include "host/text/XString.h"

namespace xmldsig {

class ClsStringBuilder {
  public:
    void GetAsString(XString& out) const { out.copyFromX(m_str); }
    const char* getAsString() const { return m_str.getUtf8(); }
    bool Append(const char* utf8) { return utf8 != nullptr && m_str.appendUtf8(utf8); }
    bool Append(const XString& s) { return m_str.appendSbUtf8(s.getUtf8Sb()); }
    bool SetString(const char* utf8) { return utf8 != nullptr && m_str.setFromUtf8(utf8); }
    bool SetString(const XString& s) { return m_str.copyFromX(s); }
    void Clear() { m_str.clear(); }
    // Replaces the text with the file's content, converted from charset ("utf-8" when null or
    // empty) to UTF-8. False, text unchanged, when the file cannot be read or converted.
    bool LoadFile(const char* path, const char* charset);

    XString m_str;
};

}  // namespace xmldsig
