#include "host/text/TvStr.h"

#include <cstring>

namespace xmldsig {

std::size_t tvStrLen(const char* s) {
    return s == nullptr ? 0 : std::strlen(s);
}

const char* tvStrChr(const char* s, int c) {
    if (s == nullptr || c == 0) return nullptr;
    return std::strchr(s, static_cast<char>(c));
}

const char* tvStrStr(const char* haystack, const char* needle) {
    if (haystack == nullptr) return nullptr;
    if (needle == nullptr) return haystack;
    return std::strstr(haystack, needle);
}

int tvStrNCmp(const char* a, const char* b, std::size_t n) {
    return std::strncmp(a == nullptr ? "" : a, b == nullptr ? "" : b, n);
}

}  // namespace xmldsig
