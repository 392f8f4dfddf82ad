// Base64 and hex codecs. Every base64 decode in the library goes through decodeBase64ToDb:
// white space anywhere is skipped, missing padding is tolerated, and any other stray character
// fails the decode (the bytes decoded before it stay in the output).
#pragma once

#include <cstddef>

namespace xmldsig {

class DataBuffer;
class StringBuffer;

class ContentCoding {
  public:
    // Decodes `length` bytes of base64 text (standard alphabet) and appends to out.
    static bool decodeBase64ToDb(const char* text, std::size_t length, DataBuffer& out);
    // The same for the URL-safe alphabet ('-' and '_'); '+' and '/' are accepted too.
    static bool decodeBase64UrlToDb(const char* text, std::size_t length, DataBuffer& out);
    // Appends base64 of the bytes to out, padded, without line breaks.
    static bool encodeBase64(const void* data, std::size_t length, StringBuffer& out);
    // Appends URL-safe base64 without padding.
    static bool encodeBase64Url(const void* data, std::size_t length, StringBuffer& out);
    // Decodes hex digits (either case; white space skipped); false on an odd digit count or a
    // stray character (bytes decoded before it stay).
    static bool decodeHexToDb(const char* text, std::size_t length, DataBuffer& out);
    static bool encodeHex(const void* data, std::size_t length, bool upperCase, StringBuffer& out);
};

}  // namespace xmldsig
