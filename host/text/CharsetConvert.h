// Character-set conversion through iconv, and the XML encoding detection built on it. Log-free:
// callers in higher layers put `error` into their log.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace xmldsig {

class DataBuffer;

// True when the bytes are well-formed UTF-8 (no overlongs, surrogates or values past U+10FFFF).
bool isValidUtf8(std::string_view bytes);

// True when iconv can convert from the named character set to UTF-8.
bool charsetIsKnown(const char* name);

// Converts bytes from one character set to another (iconv names). Appends to out; false with a
// reason in error on an unknown name or an invalid sequence.
bool convertCharset(std::string_view bytes, const char* fromCharset, const char* toCharset,
                    std::string& out, std::string& error);

// The encoding an XML document is written in: from a byte-order mark (UTF-8, UTF-16LE/BE,
// UTF-32LE/BE), else from "<?" written in two-byte units, else the declaration's encoding
// pseudo-attribute as written, else "UTF-8". A declaration naming a UTF-16/32 or UCS encoding
// that could be read byte by byte gives "UTF-8". bomLength receives the size of the byte-order
// mark (0 without one).
std::string detectXmlEncoding(std::string_view bytes, std::size_t& bomLength);

// Re-encodes an XML document held in db to UTF-8, dropping any byte-order mark. The encoding
// pseudo-attribute of the declaration is left as written. On failure db is unchanged and error
// says why.
bool convertXmlToUtf8(DataBuffer& db, std::string& error);

// When text is not valid UTF-8, reads it as Windows-1252 and converts it to UTF-8; returns true
// when it changed the text.
bool fixUtf8FromWindows1252(std::string& text);

}  // namespace xmldsig
