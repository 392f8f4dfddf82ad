// The binary-to-text encoding names shared by DataBuffer, _clsEncode and XString.
#pragma once

namespace xmldsig::detail {

enum class EncodingKind { Base64, Base64Url, Hex, HexLower, TextBytes, Other };

// "base64", "base64url"/"base64_url", "hex"/"hexidecimal"/"hexadecimal", "hex_lower",
// "ascii"/"us-ascii"/"utf-8"/"utf8"/"ansi" (text taken as bytes); anything else is Other
// (a character-set name). ASCII case is ignored; null reads as "".
EncodingKind classifyEncoding(const char* name);

}  // namespace xmldsig::detail
