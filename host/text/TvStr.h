// Null-safe helpers on NUL-terminated texts. A null pointer reads as the empty text.
#pragma once

#include <cstddef>

namespace xmldsig {

std::size_t tvStrLen(const char* s);
// First occurrence of c (a byte value), or null. Searching for '\0' gives null.
const char* tvStrChr(const char* s, int c);
// First occurrence of needle, or null; an empty needle gives haystack.
const char* tvStrStr(const char* haystack, const char* needle);
// Compares at most n bytes as unsigned chars: <0, 0 or >0.
int tvStrNCmp(const char* a, const char* b, std::size_t n);

}  // namespace xmldsig
