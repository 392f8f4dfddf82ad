#include "host/cert/detail/Asn1Values.h"

#include <cstring>

#include "host/text/ContentCoding.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"

namespace xmldsig::detail {
namespace {

constexpr Asn1Type kTypes[] = {
    {1, "bool", Asn1Kind::Bool},
    {2, "int", Asn1Kind::HexInteger},
    {3, "bits", Asn1Kind::Bits},
    {4, "octets", Asn1Kind::Base64},
    {5, "null", Asn1Kind::Null},
    {6, "oid", Asn1Kind::Oid},
    {10, "enumerated", Asn1Kind::HexInteger},
    {12, "utf8String", Asn1Kind::Text},
    {16, "sequence", Asn1Kind::Constructed},
    {17, "set", Asn1Kind::Constructed},
    {18, "numericString", Asn1Kind::Text},
    {19, "printableString", Asn1Kind::Text},
    {20, "t61String", Asn1Kind::Text},
    {21, "videotexString", Asn1Kind::Text},
    {22, "ia5String", Asn1Kind::Text},
    {23, "utcTime", Asn1Kind::Text},
    {24, "generalizedTime", Asn1Kind::Text},
    {25, "graphicString", Asn1Kind::Text},
    {26, "visibleString", Asn1Kind::Text},
    {27, "generalString", Asn1Kind::Text},
    {28, "universalString", Asn1Kind::UniversalText},
    {30, "bmpString", Asn1Kind::BmpText},
};

const char* const kGenericNames[] = {"universal", "application", "contextSpecific", "private"};

const char kHex[] = "0123456789ABCDEF";

// Code points XML 1.0 lets a document carry (section 2.2).
bool isXmlChar(std::uint32_t c) {
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
           (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// Decodes one UTF-8 sequence at p (strict: no overlong forms, no surrogates); 0 when invalid.
std::size_t decodeUtf8(const unsigned char* p, std::size_t n, std::uint32_t& c) {
    if (n == 0) return 0;
    const unsigned char b = p[0];
    std::size_t len = 0;
    std::uint32_t min = 0;
    if (b < 0x80) {
        c = b;
        return 1;
    } else if ((b & 0xE0) == 0xC0) {
        len = 2, c = b & 0x1F, min = 0x80;
    } else if ((b & 0xF0) == 0xE0) {
        len = 3, c = b & 0x0F, min = 0x800;
    } else if ((b & 0xF8) == 0xF0) {
        len = 4, c = b & 0x07, min = 0x10000;
    } else {
        return 0;
    }
    if (n < len) return 0;
    for (std::size_t i = 1; i < len; ++i) {
        if ((p[i] & 0xC0) != 0x80) return 0;
        c = (c << 6) | (p[i] & 0x3F);
    }
    if (c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return 0;
    return len;
}

void appendUtf8(std::uint32_t c, std::string& out) {
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (c >> 12)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (c >> 18)));
        out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

// Every code point of UTF-8 text, in order; false on invalid UTF-8 or a character XML cannot
// carry.
template <class Visit>
bool forEachXmlChar(std::string_view text, Visit visit) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    for (std::size_t i = 0; i < text.size();) {
        std::uint32_t c = 0;
        const std::size_t len = decodeUtf8(p + i, text.size() - i, c);
        if (len == 0 || !isXmlChar(c)) return false;
        visit(c);
        i += len;
    }
    return true;
}

bool renderWideText(const unsigned char* p, std::size_t n, std::size_t unit, std::string& text) {
    if (n % unit != 0) return false;
    for (std::size_t i = 0; i < n; i += unit) {
        std::uint32_t c = 0;
        for (std::size_t k = 0; k < unit; ++k) c = (c << 8) | p[i + k];
        if (!isXmlChar(c) || (c >= 0xD800 && c <= 0xDFFF)) return false;
        appendUtf8(c, text);
    }
    return true;
}

bool encodeWideText(std::string_view text, std::size_t unit, std::string& out, std::string& error) {
    bool tooWide = false;
    const bool ok = forEachXmlChar(text, [&](std::uint32_t c) {
        if (unit == 2 && c > 0xFFFF) tooWide = true;  // a BMPString has no surrogate pairs
        for (std::size_t k = unit; k-- > 0;)
            out.push_back(static_cast<char>((c >> (8 * k)) & 0xFF));
    });
    if (!ok) {
        error = "text is not valid UTF-8";
        return false;
    }
    if (tooWide) {
        error = "character outside the Basic Multilingual Plane";
        return false;
    }
    return true;
}

bool renderOid(const unsigned char* p, std::size_t n, std::string& text) {
    if (n == 0) return false;
    std::uint64_t arc = 0;
    bool first = true;
    for (std::size_t i = 0; i < n; ++i) {
        if (arc == 0 && p[i] == 0x80) return false;  // padded digit
        if (arc > (UINT64_MAX >> 7)) return false;   // arc too large for this rendering
        arc = (arc << 7) | (p[i] & 0x7F);
        if (p[i] & 0x80) continue;
        if (first) {
            const std::uint64_t x = arc < 40 ? 0 : (arc < 80 ? 1 : 2);
            text += std::to_string(x) + "." + std::to_string(arc - 40 * x);
            first = false;
        } else {
            text += "." + std::to_string(arc);
        }
        arc = 0;
    }
    return (p[n - 1] & 0x80) == 0;
}

void appendBase128(std::uint64_t v, std::string& out) {
    char digits[10];
    std::size_t count = 0;
    do {
        digits[count++] = static_cast<char>(v & 0x7F);
        v >>= 7;
    } while (v != 0);
    while (count-- > 0) out.push_back(static_cast<char>(digits[count] | (count != 0 ? 0x80 : 0)));
}

bool encodeOid(std::string_view text, std::string& out, std::string& error) {
    std::uint64_t arcs[2] = {0, 0};
    std::size_t index = 0;
    std::size_t pos = 0;
    while (pos <= text.size()) {
        std::size_t end = text.find('.', pos);
        if (end == std::string_view::npos) end = text.size();
        const std::string_view digits = text.substr(pos, end - pos);
        if (digits.empty() || (digits.size() > 1 && digits[0] == '0')) {
            error = "bad OID arc";
            return false;
        }
        std::uint64_t v = 0;
        for (char c : digits) {
            const std::uint64_t d = static_cast<std::uint64_t>(c - '0');
            if (c < '0' || c > '9' || v > (UINT64_MAX - d) / 10) {
                error = "bad OID arc";
                return false;
            }
            v = v * 10 + d;
        }
        if (index < 2) {
            arcs[index] = v;
            if (index == 1) {
                if (arcs[0] > 2 || (arcs[0] < 2 && arcs[1] >= 40) || arcs[1] > UINT64_MAX - 80) {
                    error = "bad first OID arcs";
                    return false;
                }
                appendBase128(arcs[0] * 40 + arcs[1], out);
            }
        } else {
            appendBase128(v, out);
        }
        ++index;
        pos = end + 1;
    }
    if (index < 2) {
        error = "OID with fewer than two arcs";
        return false;
    }
    return true;
}

std::string trimmedAscii(std::string_view s) {
    while (!s.empty() &&
           (s.front() == ' ' || s.front() == '\t' || s.front() == '\r' || s.front() == '\n'))
        s.remove_prefix(1);
    while (!s.empty() &&
           (s.back() == ' ' || s.back() == '\t' || s.back() == '\r' || s.back() == '\n'))
        s.remove_suffix(1);
    return std::string(s);
}

bool decodeBase64(std::string_view text, std::string& out, std::string& error) {
    DataBuffer bytes;
    if (!ContentCoding::decodeBase64ToDb(text.data(), text.size(), bytes)) {
        error = "content is not base64";
        return false;
    }
    out.assign(reinterpret_cast<const char*>(bytes.getData2()), bytes.getSize());
    return true;
}

void appendBase64(const unsigned char* p, std::size_t n, std::string& text) {
    StringBuffer sb;
    ContentCoding::encodeBase64(p, n, sb);
    text += sb.str();
}

}  // namespace

const Asn1Type* asn1TypeForTag(std::uint32_t tag) {
    for (const Asn1Type& t : kTypes)
        if (t.tag == tag) return &t;
    return nullptr;
}

const Asn1Type* asn1TypeForName(std::string_view name) {
    for (const Asn1Type& t : kTypes)
        if (name == t.name) return &t;
    return nullptr;
}

const char* genericElementName(TagClass tagClass) {
    return kGenericNames[static_cast<unsigned>(tagClass) & 3];
}

bool tagClassForGenericName(std::string_view name, TagClass& out) {
    for (unsigned i = 0; i < 4; ++i) {
        if (name == kGenericNames[i]) {
            out = static_cast<TagClass>(i);
            return true;
        }
    }
    return false;
}

bool renderAsn1Value(Asn1Kind kind, const unsigned char* p, std::size_t n, std::string& text,
                     int& unusedBits) {
    text.clear();
    unusedBits = 0;
    switch (kind) {
        case Asn1Kind::Constructed:
            return false;
        case Asn1Kind::Bool:
            if (n != 1 || (p[0] != 0x00 && p[0] != 0xFF)) return false;
            text = p[0] != 0 ? "true" : "false";
            return true;
        case Asn1Kind::HexInteger:
            if (n == 0) return false;
            for (std::size_t i = 0; i < n; ++i) {
                text.push_back(kHex[p[i] >> 4]);
                text.push_back(kHex[p[i] & 0x0F]);
            }
            return true;
        case Asn1Kind::Bits:
            if (n == 0 || p[0] > 7 || (n == 1 && p[0] != 0)) return false;
            unusedBits = p[0];
            appendBase64(p + 1, n - 1, text);
            return true;
        case Asn1Kind::Base64:
            appendBase64(p, n, text);
            return true;
        case Asn1Kind::Null:
            return n == 0;
        case Asn1Kind::Oid:
            return renderOid(p, n, text);
        case Asn1Kind::Text: {
            const std::string_view s(reinterpret_cast<const char*>(p), n);
            if (!forEachXmlChar(s, [](std::uint32_t) {})) return false;
            text.assign(s);
            return true;
        }
        case Asn1Kind::BmpText:
            return renderWideText(p, n, 2, text);
        case Asn1Kind::UniversalText:
            return renderWideText(p, n, 4, text);
    }
    return false;
}

bool encodeAsn1Value(Asn1Kind kind, std::string_view text, int unusedBits, std::string& out,
                     std::string& error) {
    out.clear();
    switch (kind) {
        case Asn1Kind::Constructed:
            error = "constructed value given as text";
            return false;
        case Asn1Kind::Bool: {
            const std::string t = trimmedAscii(text);
            if (t != "true" && t != "false") {
                error = "BOOLEAN must be true or false";
                return false;
            }
            out.push_back(t == "true" ? '\xFF' : '\x00');
            return true;
        }
        case Asn1Kind::HexInteger: {
            DataBuffer bytes;
            if (!ContentCoding::decodeHexToDb(text.data(), text.size(), bytes) || bytes.isEmpty()) {
                error = "integer must be non-empty hex";
                return false;
            }
            out.assign(reinterpret_cast<const char*>(bytes.getData2()), bytes.getSize());
            return true;
        }
        case Asn1Kind::Bits:
            if (unusedBits < 0 || unusedBits > 7) {
                error = "unused bit count must be 0 to 7";
                return false;
            }
            if (!decodeBase64(text, out, error)) return false;
            if (out.empty() && unusedBits != 0) {
                error = "unused bits in an empty BIT STRING";
                return false;
            }
            out.insert(out.begin(), static_cast<char>(unusedBits));
            return true;
        case Asn1Kind::Base64:
            return decodeBase64(text, out, error);
        case Asn1Kind::Null:
            if (!trimmedAscii(text).empty()) {
                error = "NULL with content";
                return false;
            }
            return true;
        case Asn1Kind::Oid:
            return encodeOid(trimmedAscii(text), out, error);
        case Asn1Kind::Text:
            if (!forEachXmlChar(text, [](std::uint32_t) {})) {
                error = "text is not valid UTF-8";
                return false;
            }
            out.assign(text);
            return true;
        case Asn1Kind::BmpText:
            return encodeWideText(text, 2, out, error);
        case Asn1Kind::UniversalText:
            return encodeWideText(text, 4, out, error);
    }
    return false;
}

}  // namespace xmldsig::detail
