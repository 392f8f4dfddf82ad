// An interface list of strings (UTF-8), filled by the components it is handed to.
#pragma once

#include <string>
#include <vector>

#include "host/text/StringBuffer.h"

namespace xmldsig {

class ClsStringArray {
  public:
    bool appendUtf8(const char* s);
    bool appendSb(const StringBuffer& sb) { return appendUtf8(sb.getString()); }
    int count() const { return static_cast<int>(m_items.size()); }
    int get_Count() const { return count(); }
    // The string at index (from 0), or null outside the range.
    const char* getString(int index) const;
    void clear() { m_items.clear(); }

  private:
    std::vector<std::string> m_items;
};

}  // namespace xmldsig
