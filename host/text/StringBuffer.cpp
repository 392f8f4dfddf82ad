// StringBuffer: construction, appending, reading and searching.
#include "host/text/StringBuffer.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "host/text/DataBuffer.h"
#include "host/text/detail/AsciiText.h"

namespace xmldsig {

using detail::foldAscii;
using detail::orEmpty;

StringBuffer::StringBuffer(const char* s) {
    appendChecked(orEmpty(s), std::strlen(orEmpty(s)));
}

StringBuffer::StringBuffer(std::string s) : m_s(std::move(s)) {}

StringBuffer::~StringBuffer() = default;

std::size_t StringBuffer::heapUsage() const {
    return m_s.capacity();
}

bool StringBuffer::appendChecked(const char* p, std::size_t n) {
    if (n == 0) return true;
    if (p == nullptr || n > kMaxSize - m_s.size()) return false;
    try {
        m_s.append(p, n);
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
    return true;
}

bool StringBuffer::append(const char* s) {
    return appendChecked(orEmpty(s), std::strlen(orEmpty(s)));
}
bool StringBuffer::append(const StringBuffer& sb) {
    if (&sb == this) {
        const std::string copy = m_s;
        return appendChecked(copy.data(), copy.size());
    }
    return appendChecked(sb.m_s.data(), sb.m_s.size());
}
bool StringBuffer::append(std::string_view sv) {
    if (sv.empty()) return true;
    // The view may point into this buffer; copy before growing.
    if (sv.data() >= m_s.data() && sv.data() < m_s.data() + m_s.size()) {
        const std::string copy(sv);
        return appendChecked(copy.data(), copy.size());
    }
    return appendChecked(sv.data(), sv.size());
}
bool StringBuffer::append(int n) {
    return append(std::string_view(std::to_string(n)));
}
bool StringBuffer::append(unsigned int n) {
    return append(std::string_view(std::to_string(n)));
}
bool StringBuffer::append(long n) {
    return append(std::string_view(std::to_string(n)));
}
bool StringBuffer::append(unsigned long n) {
    return append(std::string_view(std::to_string(n)));
}
bool StringBuffer::append(long long n) {
    return append(std::string_view(std::to_string(n)));
}
bool StringBuffer::append(unsigned long long n) {
    return append(std::string_view(std::to_string(n)));
}
bool StringBuffer::append2(const char* a, const char* b) {
    return append(a) && append(b);
}
bool StringBuffer::append3(const char* a, const char* b, const char* c) {
    return append(a) && append(b) && append(c);
}
bool StringBuffer::appendN(const char* p, unsigned n) {
    return append(std::string_view(p == nullptr ? "" : p, p == nullptr ? 0 : n));
}
void StringBuffer::appendChar(char c) {
    appendChecked(&c, 1);
}

bool StringBuffer::prepend(const char* s) {
    return insertAt(s, 0);
}

bool StringBuffer::insertAt(const StringBuffer& sb, unsigned pos) {
    if (pos > m_s.size() || sb.m_s.size() > kMaxSize - m_s.size()) return false;
    const std::string copy = sb.m_s;  // sb may be this buffer
    try {
        m_s.insert(pos, copy);
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

bool StringBuffer::insertAt(const char* s, unsigned pos) {
    const std::size_t n = std::strlen(orEmpty(s));
    if (pos > m_s.size() || n > kMaxSize - m_s.size()) return false;
    try {
        m_s.insert(pos, orEmpty(s), n);
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

bool StringBuffer::setString(const char* s) {
    return setString(std::string_view(orEmpty(s)));
}
bool StringBuffer::setString(const StringBuffer& sb) {
    if (&sb == this) return true;
    return setString(std::string_view(sb.m_s));
}
bool StringBuffer::setString(std::string_view sv) {
    const std::string copy(sv);  // sv may point into this buffer
    m_s.clear();
    return appendChecked(copy.data(), copy.size());
}

void StringBuffer::takeSb(StringBuffer& other) {
    if (&other == this) return;
    m_s = std::move(other.m_s);
    other.m_s.clear();
}

void StringBuffer::takeFromDb(DataBuffer& db) {
    const auto& bytes = db.bytes();
    m_s.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    db.clear();
}

void StringBuffer::clear() {
    m_s.clear();
}

void StringBuffer::secureClear() {
    m_s.resize(m_s.capacity());  // spare capacity may hold bytes of earlier, longer content
    OPENSSL_cleanse(m_s.data(), m_s.size());  // a wipe the compiler may not drop
    m_s.clear();
}

const char* StringBuffer::pCharAt(unsigned index) const {
    return index < m_s.size() ? m_s.c_str() + index : nullptr;
}

char StringBuffer::lastChar() const {
    return m_s.empty() ? '\0' : m_s.back();
}

bool StringBuffer::equals(const char* s) const {
    return m_s == orEmpty(s);
}
bool StringBuffer::equals(const StringBuffer& sb) const {
    return m_s == sb.m_s;
}
bool StringBuffer::equalsIgnoreCase(const char* s) const {
    const std::string_view other(orEmpty(s));
    return other.size() == m_s.size() &&
           std::equal(m_s.begin(), m_s.end(), other.begin(),
                      [](char a, char b) { return foldAscii(a) == foldAscii(b); });
}
bool StringBuffer::beginsWith(const char* s) const {
    const std::string_view p(orEmpty(s));
    return m_s.size() >= p.size() && m_s.compare(0, p.size(), p) == 0;
}
bool StringBuffer::endsWith(const char* s) const {
    const std::string_view p(orEmpty(s));
    return m_s.size() >= p.size() && m_s.compare(m_s.size() - p.size(), p.size(), p) == 0;
}
bool StringBuffer::containsSubstring(const char* s) const {
    return indexOf(s) >= 0;
}
bool StringBuffer::containsSubstringNoCase(const char* s) const {
    return detail::findNoCase(m_s, orEmpty(s), 0) != std::string::npos;
}
bool StringBuffer::containsChar(char c) const {
    return m_s.find(c) != std::string::npos;
}

const char* StringBuffer::findSubstr(const char* s) const {
    const int i = indexOf(s);
    return i < 0 ? nullptr : m_s.c_str() + i;
}

int StringBuffer::indexOf(const char* s) const {
    const std::size_t i = m_s.find(orEmpty(s));
    return i == std::string::npos ? -1 : static_cast<int>(i);
}

// Iterative glob match with one backtrack point (the last '*'), so the worst case is
// length(text) * length(pattern) steps and nothing recurses.
bool StringBuffer::matches(const char* pattern, bool caseSensitive) const {
    const std::string_view p(orEmpty(pattern));
    const auto same = [caseSensitive](char a, char b) {
        return caseSensitive ? a == b : foldAscii(a) == foldAscii(b);
    };
    std::size_t t = 0, i = 0;
    std::size_t starP = std::string_view::npos, starT = 0;
    while (t < m_s.size()) {
        if (i < p.size() && p[i] == '*') {
            starP = i++;
            starT = t;
        } else if (i < p.size() && same(p[i], m_s[t])) {
            ++i;
            ++t;
        } else if (starP != std::string_view::npos) {
            i = starP + 1;
            t = ++starT;
        } else {
            return false;
        }
    }
    while (i < p.size() && p[i] == '*') ++i;
    return i == p.size();
}

bool StringBuffer::isHexidecimal() const {
    return !m_s.empty() && std::all_of(m_s.begin(), m_s.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    });
}

}  // namespace xmldsig
