// A growable, NUL-terminated byte string (UTF-8 by convention) with the editing operations the
// verifier uses. All positions and lengths are in bytes. Nothing throws: operations that may
// allocate return false when the size limit is passed or memory runs out.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/text/TavolinObject.h"

namespace xmldsig {

class DataBuffer;
class ExtPtrArray;
class ExtPtrArraySb;

class StringBuffer : public TavolinObject {
  public:
    // Largest content a buffer accepts; appends past it fail.
    static constexpr std::size_t kMaxSize = 0x7FFFFFF0u;

    StringBuffer() = default;
    StringBuffer(const char* s);  // NOLINT: implicit on purpose, like a string literal
    explicit StringBuffer(std::string s);
    StringBuffer(const StringBuffer&) = default;
    StringBuffer(StringBuffer&&) noexcept = default;
    StringBuffer& operator=(const StringBuffer&) = default;
    StringBuffer& operator=(StringBuffer&&) noexcept = default;
    ~StringBuffer() override;

    std::size_t heapUsage() const override;

    // Direct access for our own code.
    const std::string& str() const { return m_s; }
    std::string& str() { return m_s; }

    // --- appending and setting ---
    bool append(const char* s);
    bool append(const StringBuffer& sb);
    bool append(std::string_view sv);
    bool append(int n);            // decimal digits
    bool append(char c) = delete;  // would append digits; use appendChar
    bool append(unsigned int n);
    bool append(long n);
    bool append(unsigned long n);
    bool append(long long n);
    bool append(unsigned long long n);
    bool append2(const char* a, const char* b);
    bool append3(const char* a, const char* b, const char* c);
    bool appendN(const char* p, unsigned n);  // exactly n bytes (NULs included)
    void appendChar(char c);
    bool prepend(const char* s);
    // Inserts the other buffer's text before the byte at pos; false when pos > getSize().
    bool insertAt(const StringBuffer& sb, unsigned pos);
    bool insertAt(const char* s, unsigned pos);
    bool setString(const char* s);
    bool setString(const StringBuffer& sb);
    bool setString(std::string_view sv);
    void takeSb(StringBuffer& other);  // moves other's content in, other left empty
    void takeFromDb(DataBuffer& db);   // moves db's bytes in as text, db left empty
    void clear();
    void secureClear();  // overwrites with zeros, then empties

    // --- reading ---
    const char* getString() const { return m_s.c_str(); }
    unsigned getSize() const { return static_cast<unsigned>(m_s.size()); }
    bool isEmpty() const { return m_s.empty(); }
    // Pointer to the byte at index; null when index >= getSize().
    const char* pCharAt(unsigned index) const;
    char lastChar() const;  // '\0' when empty

    // --- comparisons and searches (case-sensitive unless named NoCase) ---
    bool equals(const char* s) const;
    bool equals(const StringBuffer& sb) const;
    bool equalsIgnoreCase(const char* s) const;
    bool beginsWith(const char* s) const;
    bool endsWith(const char* s) const;
    bool containsSubstring(const char* s) const;
    bool containsSubstringNoCase(const char* s) const;  // ASCII case folding
    bool containsChar(char c) const;
    const char* findSubstr(const char* s) const;  // first occurrence or null
    int indexOf(const char* s) const;             // byte index or -1
    // Whole-string match; '*' in the pattern stands for any run of bytes (possibly empty).
    // caseSensitive false folds ASCII letters.
    bool matches(const char* pattern, bool caseSensitive) const;
    bool isHexidecimal() const;  // non-empty and hex digits only

    // --- in-place edits ---
    void toLowerCase();
    void toUpperCase();
    void trim2();             // drops leading and trailing blanks, TAB, CR, LF
    void trimInsideSpaces();  // each run of blanks inside the text becomes one blank
    void replaceCharUtf8(char from, char to);
    void replaceChar5(const char* set, char to);  // every byte found in set becomes `to`
    void removeCharOccurances(char c);
    // Replaces every non-overlapping occurrence, left to right; returns the count.
    unsigned replaceAllOccurances(const char* find, const char* replacement);
    // Replaces the first occurrence; false when there is none. caseInsensitive folds ASCII.
    bool replaceFirstOccurance(const char* find, const char* replacement, bool caseInsensitive);
    void removeChunk(unsigned start, unsigned length);  // clamped to the content
    void shorten(unsigned count);                       // drops count bytes from the end
    // Deletes everything before the first marker (and the marker too when removeMarker);
    // false when the marker does not occur.
    bool removeBefore(const char* marker, bool removeMarker);
    // Truncates at the first marker; keepMarker keeps the marker itself. No-op without marker.
    void chopAtSubstr(const char* marker, bool keepMarker);
    // Puts the span from the first begin marker to the first end marker after it into out
    // (replacing out); includeMarkers keeps both markers in the span. False when not found.
    bool getDelimited(const char* begin, const char* end, bool includeMarkers,
                      StringBuffer& out) const;
    // Deletes the first span from a begin marker through the following end marker. The flags
    // say whether the begin and the end marker go with it. False when no span was found.
    bool removeDelimited(const char* begin, const char* end, bool removeBegin, bool removeEnd);
    // As removeDelimited, for the first span whose inside contains `required`.
    bool removeDelimitedIfContains(const char* begin, const char* end, const char* required,
                                   bool removeBegin, bool removeEnd);
    void toLF();    // CR LF -> LF
    void toCRLF();  // bare LF -> CR LF

    // Appends one new StringBuffer per piece, in order. skipEmpty drops empty pieces;
    // honourQuotes keeps a separator that is backslash-escaped or inside double quotes (the
    // quotes and backslashes stay in the piece). Pieces are never trimmed.
    bool split(ExtPtrArraySb& out, char separator, bool skipEmpty, bool honourQuotes) const;
    // Splits at every byte of separators; each separator is a one-byte piece of its own and no
    // empty piece is produced: "a::b[c]" with ":[=]" gives a, :, :, b, [, c, ]. Pieces are
    // StringBuffer objects appended to out.
    bool tokenize(ExtPtrArray& out, const char* separators) const;

  private:
    bool appendChecked(const char* p, std::size_t n);

    std::string m_s;
};

}  // namespace xmldsig
