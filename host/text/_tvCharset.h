// A character set selected by name (any name iconv knows); UTF-8 until set.
#pragma once

#include <string>

namespace xmldsig {

class _tvCharset {
  public:
    _tvCharset() = default;
    // Selects the named character set; false (selection unchanged) when iconv does not know it.
    bool setByName(const char* name);
    const char* getName() const { return m_name.c_str(); }
    bool isUtf8() const;

  private:
    std::string m_name = "UTF-8";
};

}  // namespace xmldsig
