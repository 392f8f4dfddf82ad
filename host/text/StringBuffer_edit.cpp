// StringBuffer: in-place edits, marker-delimited spans, splitting and tokenizing.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "host/text/ExtPtrArray.h"
#include "host/text/StringBuffer.h"
#include "host/text/detail/AsciiText.h"

namespace xmldsig {

using detail::foldAscii;
using detail::orEmpty;

void StringBuffer::toLowerCase() {
    for (char& c : m_s) c = foldAscii(c);
}

void StringBuffer::toUpperCase() {
    for (char& c : m_s)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
}

void StringBuffer::trim2() {
    std::size_t b = 0, e = m_s.size();
    while (b < e && detail::isXmlSpace(m_s[b])) ++b;
    while (e > b && detail::isXmlSpace(m_s[e - 1])) --e;
    m_s = m_s.substr(b, e - b);
}

void StringBuffer::trimInsideSpaces() {
    std::string out;
    out.reserve(m_s.size());
    for (std::size_t i = 0; i < m_s.size(); ++i)
        if (!(m_s[i] == ' ' && i > 0 && m_s[i - 1] == ' ')) out.push_back(m_s[i]);
    m_s.swap(out);
}

void StringBuffer::replaceCharUtf8(char from, char to) {
    std::replace(m_s.begin(), m_s.end(), from, to);
}

void StringBuffer::replaceChar5(const char* set, char to) {
    const std::string_view chars(orEmpty(set));
    for (char& c : m_s)
        if (chars.find(c) != std::string_view::npos) c = to;
}

void StringBuffer::removeCharOccurances(char c) {
    m_s.erase(std::remove(m_s.begin(), m_s.end(), c), m_s.end());
}

unsigned StringBuffer::replaceAllOccurances(const char* find, const char* replacement) {
    const std::string_view f(orEmpty(find)), r(orEmpty(replacement));
    if (f.empty() || m_s.find(f) == std::string::npos) return 0;
    std::string out;
    unsigned count = 0;
    std::size_t from = 0;
    for (std::size_t at; (at = m_s.find(f, from)) != std::string::npos; from = at + f.size()) {
        if (out.size() + (at - from) + r.size() > kMaxSize) break;  // stop short of the limit
        out.append(m_s, from, at - from).append(r);
        ++count;
    }
    out.append(m_s, from, std::string::npos);
    m_s.swap(out);
    return count;
}

bool StringBuffer::replaceFirstOccurance(const char* find, const char* replacement,
                                         bool caseInsensitive) {
    const std::string_view f(orEmpty(find)), r(orEmpty(replacement));
    if (f.empty()) return false;
    const std::size_t at = caseInsensitive ? detail::findNoCase(m_s, f, 0) : m_s.find(f);
    if (at == std::string::npos || m_s.size() - f.size() > kMaxSize - r.size()) return false;
    m_s.replace(at, f.size(), r);
    return true;
}

void StringBuffer::removeChunk(unsigned start, unsigned length) {
    if (start >= m_s.size()) return;
    m_s.erase(start, std::min<std::size_t>(length, m_s.size() - start));
}

void StringBuffer::shorten(unsigned count) {
    m_s.resize(m_s.size() - std::min<std::size_t>(count, m_s.size()));
}

bool StringBuffer::removeBefore(const char* marker, bool removeMarker) {
    const std::string_view m(orEmpty(marker));
    const std::size_t at = m_s.find(m);
    if (m.empty() || at == std::string::npos) return false;
    m_s.erase(0, removeMarker ? at + m.size() : at);
    return true;
}

void StringBuffer::chopAtSubstr(const char* marker, bool keepMarker) {
    const std::string_view m(orEmpty(marker));
    const std::size_t at = m_s.find(m);
    if (m.empty() || at == std::string::npos) return;
    m_s.resize(keepMarker ? at + m.size() : at);
}

namespace {

// The first span [begin marker .. end marker] whose begin lies at or after `from`.
struct Span {
    std::size_t begin = std::string::npos;  // start of the begin marker
    std::size_t end = 0;                    // start of the end marker
};

Span findSpan(const std::string& s, std::string_view b, std::string_view e, std::size_t from) {
    Span span;
    if (b.empty() || e.empty()) return span;
    const std::size_t at = s.find(b, from);
    if (at == std::string::npos) return span;
    const std::size_t endAt = s.find(e, at + b.size());
    if (endAt == std::string::npos) return span;
    span.begin = at;
    span.end = endAt;
    return span;
}

}  // namespace

bool StringBuffer::getDelimited(const char* begin, const char* end, bool includeMarkers,
                                StringBuffer& out) const {
    const std::string_view b(orEmpty(begin)), e(orEmpty(end));
    const Span span = findSpan(m_s, b, e, 0);
    if (span.begin == std::string::npos) return false;
    const std::size_t from = includeMarkers ? span.begin : span.begin + b.size();
    const std::size_t to = includeMarkers ? span.end + e.size() : span.end;
    return out.setString(std::string_view(m_s).substr(from, to - from));
}

bool StringBuffer::removeDelimited(const char* begin, const char* end, bool removeBegin,
                                   bool removeEnd) {
    return removeDelimitedIfContains(begin, end, "", removeBegin, removeEnd);
}

bool StringBuffer::removeDelimitedIfContains(const char* begin, const char* end,
                                             const char* required, bool removeBegin,
                                             bool removeEnd) {
    const std::string_view b(orEmpty(begin)), e(orEmpty(end)), req(orEmpty(required));
    for (std::size_t from = 0;;) {
        const Span span = findSpan(m_s, b, e, from);
        if (span.begin == std::string::npos) return false;
        const std::string_view whole =
            std::string_view(m_s).substr(span.begin, span.end + e.size() - span.begin);
        if (whole.find(req) != std::string_view::npos) {
            const std::size_t cutFrom = removeBegin ? span.begin : span.begin + b.size();
            const std::size_t cutTo = removeEnd ? span.end + e.size() : span.end;
            m_s.erase(cutFrom, cutTo - cutFrom);
            return true;
        }
        from = span.begin + b.size();
    }
}

void StringBuffer::toLF() {
    std::string out;
    out.reserve(m_s.size());
    for (std::size_t i = 0; i < m_s.size(); ++i)
        if (!(m_s[i] == '\r' && i + 1 < m_s.size() && m_s[i + 1] == '\n')) out.push_back(m_s[i]);
    m_s.swap(out);
}

void StringBuffer::toCRLF() {
    std::string out;
    for (std::size_t i = 0; i < m_s.size(); ++i) {
        if (m_s[i] == '\n' && (i == 0 || m_s[i - 1] != '\r')) out.push_back('\r');
        out.push_back(m_s[i]);
    }
    if (out.size() <= kMaxSize) m_s.swap(out);
}

bool StringBuffer::split(ExtPtrArraySb& out, char separator, bool skipEmpty,
                         bool honourQuotes) const {
    std::string piece;
    bool inQuotes = false;
    const auto flush = [&]() {
        const bool ok = (skipEmpty && piece.empty()) || out.appendString(piece.c_str());
        piece.clear();
        return ok;
    };
    for (std::size_t i = 0; i < m_s.size(); ++i) {
        const char c = m_s[i];
        if (honourQuotes && c == '\\' && i + 1 < m_s.size()) {
            piece.push_back(c);  // the escape and the escaped byte both stay
            piece.push_back(m_s[++i]);
            continue;
        }
        if (honourQuotes && c == '"') inQuotes = !inQuotes;
        if (c == separator && !inQuotes) {
            if (!flush()) return false;
            continue;
        }
        piece.push_back(c);
    }
    return flush();
}

bool StringBuffer::tokenize(ExtPtrArray& out, const char* separators) const {
    const std::string_view seps(orEmpty(separators));
    std::size_t start = 0;
    const auto emit = [&out](std::string_view text) {
        auto* sb = new (std::nothrow) StringBuffer(std::string(text));
        return sb != nullptr && out.appendObject(sb);
    };
    for (std::size_t i = 0; i <= m_s.size(); ++i) {
        const bool atSep = i < m_s.size() && seps.find(m_s[i]) != std::string_view::npos;
        if (i < m_s.size() && !atSep) continue;
        if (i > start && !emit(std::string_view(m_s).substr(start, i - start))) return false;
        if (atSep && !emit(std::string_view(m_s).substr(i, 1))) return false;
        start = i + 1;
    }
    return true;
}

}  // namespace xmldsig
