// Base64 and hex codecs. The base64 decoder is our own because its tolerances are part of the
// library's behaviour: white space anywhere is skipped, padding may be missing, and anything
// else that is not in the alphabet fails the decode with the bytes decoded so far kept.
#include "host/text/ContentCoding.h"

#include <array>
#include <cstdint>

#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/text/detail/AsciiText.h"

namespace xmldsig {
namespace {

constexpr char kStd[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kUrl[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

constexpr int kSkip = -2;     // white space
constexpr int kPad = -3;      // '='
constexpr int kInvalid = -1;  // anything else

std::array<int, 256> makeTable(bool urlSafe) {
    std::array<int, 256> t{};
    t.fill(kInvalid);
    for (int i = 0; i < 64; ++i) t[static_cast<unsigned char>(kStd[i])] = i;
    if (urlSafe)
        for (int i = 62; i < 64; ++i) t[static_cast<unsigned char>(kUrl[i])] = i;
    for (unsigned char c : {' ', '\t', '\r', '\n', '\f', '\v'}) t[c] = kSkip;
    t['='] = kPad;
    return t;
}

bool decodeBase64(const char* text, std::size_t length, DataBuffer& out, bool urlSafe) {
    static const std::array<int, 256> kStdTable = makeTable(false);
    static const std::array<int, 256> kUrlTable = makeTable(true);
    const std::array<int, 256>& table = urlSafe ? kUrlTable : kStdTable;
    if (text == nullptr) return length == 0;

    unsigned char chunk[3 * 256];
    std::size_t used = 0;
    std::uint32_t acc = 0;
    int sextets = 0;
    bool padded = false;
    bool ok = true;
    for (std::size_t i = 0; i < length && ok; ++i) {
        const int v = table[static_cast<unsigned char>(text[i])];
        if (v == kSkip) continue;
        if (v == kPad) {
            // Padding may only complete a quantum holding two or three sextets.
            ok = padded || sextets >= 2;
            padded = true;
            continue;
        }
        if (v == kInvalid || padded) {
            ok = false;
            break;
        }
        acc = (acc << 6) | static_cast<std::uint32_t>(v);
        if (++sextets == 4) {
            chunk[used++] = static_cast<unsigned char>(acc >> 16);
            chunk[used++] = static_cast<unsigned char>(acc >> 8);
            chunk[used++] = static_cast<unsigned char>(acc);
            acc = 0;
            sextets = 0;
            if (used == sizeof(chunk)) {
                if (!out.append(chunk, used)) return false;
                used = 0;
            }
        }
    }
    // A final quantum of two or three sextets is a short group (its padding may be missing);
    // a single sextet cannot hold a byte.
    if (ok && sextets == 1) ok = false;
    if (ok && sextets >= 2) {
        acc <<= 6 * (4 - sextets);
        chunk[used++] = static_cast<unsigned char>(acc >> 16);
        if (sextets == 3) chunk[used++] = static_cast<unsigned char>(acc >> 8);
    }
    return out.append(chunk, used) && ok;
}

bool encodeBase64With(const void* data, std::size_t length, const char* alphabet, bool pad,
                      StringBuffer& out) {
    if (length > (StringBuffer::kMaxSize / 4) * 3 - 3) return false;
    const auto* p = static_cast<const unsigned char*>(data);
    std::string s;
    s.reserve((length + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= length; i += 3) {
        const std::uint32_t v = (p[i] << 16) | (p[i + 1] << 8) | p[i + 2];
        for (int shift = 18; shift >= 0; shift -= 6) s.push_back(alphabet[(v >> shift) & 63]);
    }
    if (i < length) {
        const std::size_t rest = length - i;
        std::uint32_t v = p[i] << 16;
        if (rest == 2) v |= p[i + 1] << 8;
        s.push_back(alphabet[(v >> 18) & 63]);
        s.push_back(alphabet[(v >> 12) & 63]);
        if (rest == 2) s.push_back(alphabet[(v >> 6) & 63]);
        if (pad) s.append(rest == 2 ? "=" : "==");
    }
    return out.append(std::string_view(s));
}

}  // namespace

bool ContentCoding::decodeBase64ToDb(const char* text, std::size_t length, DataBuffer& out) {
    return decodeBase64(text, length, out, false);
}

bool ContentCoding::decodeBase64UrlToDb(const char* text, std::size_t length, DataBuffer& out) {
    return decodeBase64(text, length, out, true);
}

bool ContentCoding::encodeBase64(const void* data, std::size_t length, StringBuffer& out) {
    return encodeBase64With(data, length, kStd, true, out);
}

bool ContentCoding::encodeBase64Url(const void* data, std::size_t length, StringBuffer& out) {
    return encodeBase64With(data, length, kUrl, false, out);
}

bool ContentCoding::decodeHexToDb(const char* text, std::size_t length, DataBuffer& out) {
    if (text == nullptr) return length == 0;
    std::string bytes;
    int high = -1;
    bool ok = true;
    for (std::size_t i = 0; i < length; ++i) {
        if (detail::isXmlSpace(text[i])) continue;
        const int v = detail::hexValue(text[i]);
        if (v < 0) {
            ok = false;
            break;
        }
        if (high < 0) {
            high = v;
        } else {
            bytes.push_back(static_cast<char>((high << 4) | v));
            high = -1;
        }
    }
    if (high >= 0) ok = false;  // odd number of digits
    return out.append(bytes.data(), bytes.size()) && ok;
}

bool ContentCoding::encodeHex(const void* data, std::size_t length, bool upperCase,
                              StringBuffer& out) {
    if (length > StringBuffer::kMaxSize / 2) return false;
    const char* digits = upperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    const auto* p = static_cast<const unsigned char*>(data);
    std::string s;
    s.reserve(length * 2);
    for (std::size_t i = 0; i < length; ++i) {
        s.push_back(digits[p[i] >> 4]);
        s.push_back(digits[p[i] & 15]);
    }
    return out.append(std::string_view(s));
}

}  // namespace xmldsig
