// Small ASCII helpers shared by the text services.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace xmldsig::detail {

inline const char* orEmpty(const char* s) {
    return s == nullptr ? "" : s;
}

inline char foldAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

inline bool isXmlSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Position of the first ASCII-case-insensitive occurrence of needle at or after from, or npos.
inline std::size_t findNoCase(std::string_view hay, std::string_view needle, std::size_t from) {
    if (needle.size() > hay.size()) return std::string::npos;
    for (std::size_t i = from; i + needle.size() <= hay.size(); ++i) {
        std::size_t k = 0;
        while (k < needle.size() && foldAscii(hay[i + k]) == foldAscii(needle[k])) ++k;
        if (k == needle.size()) return i;
    }
    return std::string::npos;
}

// The value of a hex digit, or -1.
inline int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace xmldsig::detail
