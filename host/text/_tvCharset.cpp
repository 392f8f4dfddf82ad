#include "host/text/_tvCharset.h"

#include <string>

#include "host/text/CharsetConvert.h"
#include "host/text/detail/AsciiText.h"

namespace xmldsig {

bool _tvCharset::setByName(const char* name) {
    std::string n(detail::orEmpty(name));
    std::string folded = n;
    for (char& c : folded) c = detail::foldAscii(c);
    if (folded == "ansi") n = "WINDOWS-1252";  // the usual meaning of "ANSI" text
    if (folded == "utf8") n = "UTF-8";
    if (!charsetIsKnown(n.c_str())) return false;
    m_name = n;
    return true;
}

bool _tvCharset::isUtf8() const {
    std::string folded = m_name;
    for (char& c : folded) c = detail::foldAscii(c);
    return folded == "utf-8";
}

}  // namespace xmldsig
