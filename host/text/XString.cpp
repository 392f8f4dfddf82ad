// XString: UTF-8 text with secure wiping, textual re-encoding and character-set output.
#include "host/text/XString.h"

#include <openssl/bn.h>
#include <openssl/crypto.h>

#include <memory>
#include <string>

#include "host/text/CharsetConvert.h"
#include "host/text/DataBuffer.h"
#include "host/text/_tvCharset.h"
#include "host/text/detail/AsciiText.h"
#include "host/text/detail/EncodingNames.h"

namespace xmldsig {
namespace {

// Longest decimal or hex number reencode accepts (the conversions are quadratic).
constexpr std::size_t kMaxNumberDigits = 20000;

struct BnFree {
    void operator()(BIGNUM* bn) const { BN_free(bn); }
};
struct OpenSslFree {
    void operator()(char* p) const { OPENSSL_free(p); }
};
using BnPtr = std::unique_ptr<BIGNUM, BnFree>;
using OpenSslString = std::unique_ptr<char, OpenSslFree>;

bool allOf(const std::string& s, int (*isDigit)(int)) {
    if (s.empty() || s.size() > kMaxNumberDigits) return false;
    for (char c : s)
        if (!isDigit(static_cast<unsigned char>(c))) return false;
    return true;
}

int isDecimalDigit(int c) {
    return c >= '0' && c <= '9';
}
int isHexDigit(int c) {
    return detail::hexValue(static_cast<char>(c)) >= 0;
}

// Decimal text to upper-case hex, two digits per byte, no leading zero byte (0 gives "00").
bool decimalToHex(const std::string& decimal, std::string& hex) {
    if (!allOf(decimal, isDecimalDigit)) return false;
    BIGNUM* raw = nullptr;
    if (BN_dec2bn(&raw, decimal.c_str()) == 0) return false;
    const BnPtr bn(raw);
    if (BN_is_zero(bn.get())) {
        hex = "00";
        return true;
    }
    const OpenSslString text(BN_bn2hex(bn.get()));  // upper case, whole bytes
    if (!text) return false;
    hex = text.get();
    if (hex.size() % 2 != 0) hex.insert(hex.begin(), '0');
    return true;
}

bool hexToDecimal(const std::string& hex, std::string& decimal) {
    if (!allOf(hex, isHexDigit)) return false;
    BIGNUM* raw = nullptr;
    if (BN_hex2bn(&raw, hex.c_str()) == 0) return false;
    const BnPtr bn(raw);
    const OpenSslString text(BN_bn2dec(bn.get()));
    if (!text) return false;
    decimal = text.get();
    return true;
}

bool isDecimalName(const char* name) {
    std::string n(detail::orEmpty(name));
    for (char& c : n) c = detail::foldAscii(c);
    return n == "decimal";
}

}  // namespace

XString::XString(const char* utf8) {
    m_sb.append(utf8);
}

XString::XString(const XString& other)
    : TavolinObject(other), m_sb(other.m_sb), m_secure(other.m_secure) {}

XString& XString::operator=(const XString& other) {
    if (this != &other) copyFromX(other);
    return *this;
}

XString::~XString() {
    if (m_secure) m_sb.secureClear();
}

std::size_t XString::heapUsage() const {
    return m_sb.heapUsage();
}

bool XString::appendUtf8(const char* s) {
    return m_sb.append(s);
}
bool XString::appendSbUtf8(const StringBuffer& sb) {
    return m_sb.append(sb);
}
bool XString::setFromUtf8(const char* s) {
    if (m_secure) m_sb.secureClear();
    return m_sb.setString(s);
}
bool XString::setFromSbUtf8(const StringBuffer& sb) {
    if (&sb == &m_sb) return true;
    if (m_secure) m_sb.secureClear();
    return m_sb.setString(sb);
}
bool XString::copyFromX(const XString& other) {
    if (&other == this) return true;
    m_secure = m_secure || other.m_secure;  // secret content stays secret in the copy
    return setFromSbUtf8(other.m_sb);
}

void XString::clear() {
    if (m_secure)
        m_sb.secureClear();
    else
        m_sb.clear();
}

bool XString::reencode(const char* fromEncoding, const char* toEncoding) {
    std::string text = m_sb.str();
    const bool fromDecimal = isDecimalName(fromEncoding), toDecimal = isDecimalName(toEncoding);
    std::string result;
    if (fromDecimal || toDecimal) {
        StringBuffer trimmed(text);
        trimmed.trim2();
        std::string hex;
        if (fromDecimal && toDecimal) {
            if (!allOf(trimmed.str(), isDecimalDigit)) return false;
            result = trimmed.str();
        } else if (fromDecimal) {
            // decimal -> hex, then on to whatever binary encoding was asked for.
            if (!decimalToHex(trimmed.str(), hex)) return false;
            DataBuffer bytes;
            StringBuffer out;
            if (!bytes.appendEncoded(hex.c_str(), "hex") || !bytes.encodeDB(toEncoding, out))
                return false;
            result = out.str();
        } else {
            DataBuffer bytes;
            StringBuffer hexSb;
            if (!bytes.appendEncoded(trimmed.getString(), fromEncoding) ||
                !bytes.encodeDB("hex", hexSb) || !hexToDecimal(hexSb.str(), result))
                return false;
        }
    } else {
        DataBuffer bytes;
        StringBuffer out;
        if (!bytes.appendEncoded(text.c_str(), fromEncoding) || !bytes.encodeDB(toEncoding, out))
            return false;
        result = out.str();
    }
    if (m_secure) m_sb.secureClear();
    return m_sb.setString(result);
}

bool XString::getConverted(const _tvCharset& charset, DataBuffer& out) const {
    if (charset.isUtf8()) return out.append(m_sb);
    std::string bytes, error;
    return convertCharset(m_sb.str(), "UTF-8", charset.getName(), bytes, error) &&
           out.appendStr(bytes);
}

bool XString::checkFixUtf8Windows1252() {
    return fixUtf8FromWindows1252(m_sb.str());
}

}  // namespace xmldsig
