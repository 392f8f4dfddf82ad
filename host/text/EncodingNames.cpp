#include "host/text/detail/EncodingNames.h"

#include <string>

#include "host/text/detail/AsciiText.h"

namespace xmldsig::detail {

EncodingKind classifyEncoding(const char* name) {
    std::string n(orEmpty(name));
    for (char& c : n) c = foldAscii(c);
    if (n == "base64" || n == "base64_mime") return EncodingKind::Base64;
    if (n == "base64url" || n == "base64_url") return EncodingKind::Base64Url;
    if (n == "hex" || n == "hexidecimal" || n == "hexadecimal") return EncodingKind::Hex;
    if (n == "hex_lower") return EncodingKind::HexLower;
    if (n == "ascii" || n == "us-ascii" || n == "utf-8" || n == "utf8" || n == "ansi")
        return EncodingKind::TextBytes;
    return EncodingKind::Other;
}

}  // namespace xmldsig::detail
