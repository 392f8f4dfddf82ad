// Character-set conversion through iconv, XML encoding detection and UTF-8 validation.
#include "host/text/CharsetConvert.h"

#include <errno.h>
#include <iconv.h>

#include <cstring>
#include <memory>
#include <string>

#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/text/detail/AsciiText.h"

namespace xmldsig {
namespace {

struct IconvCloser {
    void operator()(void* cd) const { iconv_close(static_cast<iconv_t>(cd)); }
};
using IconvPtr = std::unique_ptr<void, IconvCloser>;

IconvPtr openIconv(const char* to, const char* from) {
    // An empty name would mean "the locale's character set" to iconv: never wanted here.
    if (to == nullptr || from == nullptr || *to == '\0' || *from == '\0') return nullptr;
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return nullptr;
    return IconvPtr(cd);
}

bool equalsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (detail::foldAscii(a[i]) != detail::foldAscii(b[i])) return false;
    return true;
}

bool isUtf8Name(std::string_view name) {
    return equalsNoCase(name, "UTF-8") || equalsNoCase(name, "UTF8");
}

// The encoding pseudo-attribute of an XML declaration at the start of bytes, or "".
std::string declaredEncoding(std::string_view bytes) {
    if (bytes.substr(0, 5) != "<?xml") return "";
    const std::string_view decl = bytes.substr(0, bytes.find("?>"));
    const std::size_t at = decl.find("encoding");
    if (at == std::string_view::npos) return "";
    std::size_t i = at + 8;
    while (i < decl.size() && detail::isXmlSpace(decl[i])) ++i;
    if (i >= decl.size() || decl[i] != '=') return "";
    ++i;
    while (i < decl.size() && detail::isXmlSpace(decl[i])) ++i;
    if (i >= decl.size() || (decl[i] != '"' && decl[i] != '\'')) return "";
    const std::size_t close = decl.find(decl[i], i + 1);
    if (close == std::string_view::npos || close - i - 1 > 64) return "";
    return std::string(decl.substr(i + 1, close - i - 1));
}

bool namesWideEncoding(std::string_view name) {
    for (std::string_view prefix :
         {"UTF-16", "UTF16", "UTF-32", "UTF32", "UCS-2", "UCS-4", "UCS2", "UCS4"})
        if (name.size() >= prefix.size() && equalsNoCase(name.substr(0, prefix.size()), prefix))
            return true;
    return false;
}

}  // namespace

bool isValidUtf8(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size()) {
        const auto c = static_cast<unsigned char>(s[i]);
        if (c < 0x80) {
            ++i;
            continue;
        }
        int extra;
        unsigned cp;
        if (c >= 0xC2 && c <= 0xDF) {
            extra = 1, cp = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2, cp = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3, cp = c & 0x07;
        } else {
            return false;
        }
        if (i + extra >= s.size()) return false;  // truncated sequence
        for (int k = 1; k <= extra; ++k) {
            const auto cc = static_cast<unsigned char>(s[i + k]);
            if ((cc & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (cc & 0x3F);
        }
        const unsigned minimum = extra == 1 ? 0x80 : extra == 2 ? 0x800 : 0x10000;
        if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        i += extra + 1;
    }
    return true;
}

bool charsetIsKnown(const char* name) {
    return openIconv("UTF-8", name) != nullptr;
}

bool convertCharset(std::string_view bytes, const char* fromCharset, const char* toCharset,
                    std::string& out, std::string& error) {
    IconvPtr cd = openIconv(toCharset, fromCharset);
    if (!cd) {
        error = std::string("Unsupported character set conversion: ") +
                detail::orEmpty(fromCharset) + " to " + detail::orEmpty(toCharset);
        return false;
    }
    std::string result;
    char* in = const_cast<char*>(bytes.data());
    std::size_t inLeft = bytes.size();
    char buf[8192];
    while (inLeft > 0) {
        char* o = buf;
        std::size_t outLeft = sizeof(buf);
        const std::size_t rc = iconv(static_cast<iconv_t>(cd.get()), &in, &inLeft, &o, &outLeft);
        const int err = errno;
        if (result.size() + (o - buf) > StringBuffer::kMaxSize) {
            error = "Converted text is too large.";
            return false;
        }
        result.append(buf, o - buf);
        if (rc == static_cast<std::size_t>(-1) && err != E2BIG) {
            error = std::string(err == EILSEQ ? "Invalid or unconvertible byte sequence"
                                              : "Incomplete byte sequence") +
                    " at byte offset " + std::to_string(bytes.size() - inLeft) +
                    " converting from " + fromCharset + " to " + toCharset;
            return false;
        }
    }
    char* o = buf;
    std::size_t outLeft = sizeof(buf);
    iconv(static_cast<iconv_t>(cd.get()), nullptr, nullptr, &o, &outLeft);  // flush any shift state
    result.append(buf, o - buf);
    out.append(result);
    return true;
}

std::string detectXmlEncoding(std::string_view b, std::size_t& bomLength) {
    using namespace std::string_view_literals;
    struct Mark {
        std::string_view bytes;
        const char* encoding;
        std::size_t bomLength;  // 0: not a byte-order mark, only the first bytes of "<?"
    };
    // Longer marks first: FF FE 00 00 is UTF-32LE, not UTF-16LE.
    static const Mark kMarks[] = {
        {"\xEF\xBB\xBF"sv, "UTF-8", 3},        {"\xFF\xFE\x00\x00"sv, "UTF-32LE", 4},
        {"\x00\x00\xFE\xFF"sv, "UTF-32BE", 4}, {"\xFF\xFE"sv, "UTF-16LE", 2},
        {"\xFE\xFF"sv, "UTF-16BE", 2},         {"<\x00?\x00"sv, "UTF-16LE", 0},
        {"\x00<\x00?"sv, "UTF-16BE", 0},
    };
    bomLength = 0;
    for (const Mark& m : kMarks) {
        if (b.substr(0, m.bytes.size()) != m.bytes) continue;
        bomLength = m.bomLength;
        return m.encoding;
    }
    const std::string declared = declaredEncoding(b);
    // A declaration we could read byte by byte was not written in two- or four-byte units,
    // whatever it says (such mislabelled files are met in practice): read it as UTF-8.
    if (declared.empty() || namesWideEncoding(declared)) return "UTF-8";
    return declared;
}

bool convertXmlToUtf8(DataBuffer& db, std::string& error) {
    const std::string_view bytes(reinterpret_cast<const char*>(db.getData2()), db.getSize());
    std::size_t bom = 0;
    std::string encoding = detectXmlEncoding(bytes, bom);
    // A two-byte document may still name "UTF-16" in its declaration; the byte order found
    // above is what counts.
    if (isUtf8Name(encoding)) {
        // Some signers prepend the mark more than once; drop every copy so the text parses.
        if (bom == 3)
            while (bom + 3 <= bytes.size() && bytes.substr(bom, 3) == "\xEF\xBB\xBF") bom += 3;
        if (bom > 0) db.bytes().erase(db.bytes().begin(), db.bytes().begin() + bom);
        return true;
    }
    std::string utf8;
    if (!convertCharset(bytes.substr(bom), encoding.c_str(), "UTF-8", utf8, error)) return false;
    DataBuffer converted;
    if (!converted.appendStr(utf8)) {
        error = "Out of memory converting the document to UTF-8";
        return false;
    }
    db = std::move(converted);
    return true;
}

bool fixUtf8FromWindows1252(std::string& text) {
    if (isValidUtf8(text)) return false;
    std::string converted, error;
    if (!convertCharset(text, "WINDOWS-1252", "UTF-8", converted, error)) return false;
    text.swap(converted);
    return true;
}

}  // namespace xmldsig
