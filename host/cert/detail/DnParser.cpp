#include "host/cert/detail/DnParser.h"

#include <openssl/asn1.h>
#include <openssl/objects.h>

#include <algorithm>
#include <cstring>

#include "host/cert/detail/CertHandles.h"

namespace xmldsig::detail {
namespace {

// Names compared by short name. Every spelling on the left maps to the name on the right; the
// dotted OIDs are included so that "2.5.4.3=..." and "CN=..." meet.
struct TypeAlias {
    const char* spelling;
    const char* canonical;
};
constexpr TypeAlias kTypeAliases[] = {
    {"cn", "CN"},
    {"commonname", "CN"},
    {"2.5.4.3", "CN"},
    {"o", "O"},
    {"organizationname", "O"},
    {"2.5.4.10", "O"},
    {"ou", "OU"},
    {"organizationalunitname", "OU"},
    {"2.5.4.11", "OU"},
    {"c", "C"},
    {"countryname", "C"},
    {"2.5.4.6", "C"},
    {"l", "L"},
    {"localityname", "L"},
    {"2.5.4.7", "L"},
    {"st", "ST"},
    {"s", "ST"},
    {"stateorprovincename", "ST"},
    {"2.5.4.8", "ST"},
    {"street", "STREET"},
    {"streetaddress", "STREET"},
    {"2.5.4.9", "STREET"},
    {"dc", "DC"},
    {"domaincomponent", "DC"},
    {"0.9.2342.19200300.100.1.25", "DC"},
    {"uid", "UID"},
    {"userid", "UID"},
    {"0.9.2342.19200300.100.1.1", "UID"},
    {"e", "E"},
    {"email", "E"},
    {"emailaddress", "E"},
    {"1.2.840.113549.1.9.1", "E"},
    {"serialnumber", "SERIALNUMBER"},
    {"2.5.4.5", "SERIALNUMBER"},
    // Windows spellings OpenSSL does not know.
    {"t", "2.5.4.12"},
    {"g", "2.5.4.42"},
    {"i", "2.5.4.43"},
};

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
    return s;
}

std::string lowerAscii(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isDottedOid(std::string_view s) {
    if (s.empty() || s.front() == '.' || s.back() == '.') return false;
    for (char c : s)
        if (!(c == '.' || (c >= '0' && c <= '9'))) return false;
    return s.find("..") == std::string_view::npos;
}

const char* aliasFor(const std::string& lowered) {
    for (const TypeAlias& a : kTypeAliases)
        if (lowered == a.spelling) return a.canonical;
    return nullptr;
}

// The dotted form of a name OpenSSL knows ("givenName" -> "2.5.4.42"); empty when unknown.
std::string dottedFromOpenSsl(const std::string& name) {
    const OpenSslErrorMark unknownNameIsNoError;
    const Asn1ObjectPtr obj(OBJ_txt2obj(name.c_str(), 0));
    if (!obj) return {};
    char buf[128];
    const int n = OBJ_obj2txt(buf, sizeof buf, obj.get(), 1);
    if (n <= 0 || static_cast<std::size_t>(n) >= sizeof buf) return {};
    return std::string(buf, static_cast<std::size_t>(n));
}

// "#0C03616263" -> the string's text when the BER value is a string type; otherwise the hex
// text itself, lower-cased, so that the same bytes still compare equal.
std::string decodeHexValue(std::string_view hex) {
    std::string bytes;
    if (hex.size() % 2 != 0) return lowerAscii(hex);
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const int hi = hexDigit(hex[i]);
        const int lo = hexDigit(hex[i + 1]);
        if (hi < 0 || lo < 0) return lowerAscii(hex);
        bytes.push_back(static_cast<char>(hi * 16 + lo));
    }
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const OpenSslErrorMark undecodableIsNoError;  // such bytes are compared as hex
    ASN1_TYPE* raw = d2i_ASN1_TYPE(nullptr, &p, static_cast<long>(bytes.size()));
    if (raw == nullptr) return lowerAscii(hex);
    std::string text;
    if (p == reinterpret_cast<const unsigned char*>(bytes.data()) + bytes.size() &&
        raw->type != V_ASN1_BOOLEAN && raw->type != V_ASN1_NULL && raw->type != V_ASN1_OBJECT &&
        raw->type != V_ASN1_SEQUENCE && raw->type != V_ASN1_SET) {
        unsigned char* utf8 = nullptr;
        const int n = ASN1_STRING_to_UTF8(&utf8, raw->value.asn1_string);
        if (n >= 0 && utf8 != nullptr) text.assign(reinterpret_cast<char*>(utf8), n);
        OPENSSL_free(utf8);
        if (n < 0) text = lowerAscii(hex);
    } else {
        text = lowerAscii(hex);
    }
    ASN1_TYPE_free(raw);
    return text;
}

// Reads one value starting at pos (blanks before it already skipped) up to an unescaped,
// unquoted separator. On return pos is at the separator or the end.
class ValueScanner {
  public:
    explicit ValueScanner(std::string_view text) : m_text(text) {}

    bool scan(std::size_t& pos, const char* separators, std::string& raw, std::string& value,
              bool& hexForm, std::string& error) {
        const std::size_t start = pos;
        value.clear();
        hexForm = false;
        std::size_t lastSignificant = 0;  // value length that ends with a non-blank or escape
        if (pos < m_text.size() && m_text[pos] == '"') {
            if (!scanQuoted(pos, value, error)) return false;
            lastSignificant = value.size();
            while (pos < m_text.size() && isBlank(m_text[pos])) ++pos;
            if (pos < m_text.size() && std::strchr(separators, m_text[pos]) == nullptr) {
                error = "text after a quoted value";
                return false;
            }
        } else {
            hexForm = pos < m_text.size() && m_text[pos] == '#';
            while (pos < m_text.size() && std::strchr(separators, m_text[pos]) == nullptr) {
                const char c = m_text[pos];
                if (c == '\\') {
                    if (!scanEscape(pos, value, error)) return false;
                    lastSignificant = value.size();
                    continue;
                }
                value.push_back(c);
                if (!isBlank(c)) lastSignificant = value.size();
                ++pos;
            }
            value.resize(lastSignificant);
        }
        raw.assign(trimmed(m_text.substr(start, pos - start)));
        if (hexForm) value = decodeHexValue(std::string_view(raw).substr(1));
        return true;
    }

  private:
    bool scanEscape(std::size_t& pos, std::string& value, std::string& error) {
        if (pos + 1 >= m_text.size()) {
            error = "escape character at the end of the name";
            return false;
        }
        const int hi = hexDigit(m_text[pos + 1]);
        if (hi >= 0 && pos + 2 < m_text.size() && hexDigit(m_text[pos + 2]) >= 0) {
            value.push_back(static_cast<char>(hi * 16 + hexDigit(m_text[pos + 2])));
            pos += 3;
            return true;
        }
        if (hi >= 0) {
            // A lone hex digit after '\' is neither a pair nor a special character.
            error = "incomplete hex escape";
            return false;
        }
        value.push_back(m_text[pos + 1]);
        pos += 2;
        return true;
    }

    bool scanQuoted(std::size_t& pos, std::string& value, std::string& error) {
        ++pos;  // opening quote
        while (pos < m_text.size()) {
            const char c = m_text[pos];
            if (c == '"') {
                ++pos;
                return true;
            }
            if (c == '\\') {
                if (!scanEscape(pos, value, error)) return false;
                continue;
            }
            value.push_back(c);
            ++pos;
        }
        error = "unterminated quoted value";
        return false;
    }

    std::string_view m_text;
};

void skipBlanks(std::string_view text, std::size_t& pos) {
    while (pos < text.size() && isBlank(text[pos])) ++pos;
}

}  // namespace

bool parseDn(std::string_view dn, std::vector<DnComponent>& out, std::string& error) {
    out.clear();
    if (dn.size() > kMaxDnTextBytes) {
        error = "name text too long";
        return false;
    }
    ValueScanner scanner(dn);
    std::size_t pos = 0;
    skipBlanks(dn, pos);
    if (pos == dn.size()) return true;
    bool continues = false;
    for (;;) {
        const std::size_t eq = dn.find('=', pos);
        const std::size_t sep = dn.find_first_of(",;+", pos);
        if (eq == std::string_view::npos || (sep != std::string_view::npos && sep < eq)) {
            error = "component without '='";
            return false;
        }
        DnComponent c;
        c.type.assign(trimmed(dn.substr(pos, eq - pos)));
        if (c.type.empty()) {
            error = "empty attribute type";
            return false;
        }
        c.continuesRdn = continues;
        pos = eq + 1;
        skipBlanks(dn, pos);
        bool hexForm = false;
        if (!scanner.scan(pos, ",;+", c.rawValue, c.value, hexForm, error)) return false;
        out.push_back(std::move(c));
        if (pos >= dn.size()) return true;
        continues = dn[pos] == '+';
        ++pos;
        skipBlanks(dn, pos);
        if (pos >= dn.size()) {
            error = "separator at the end of the name";
            return false;
        }
    }
}

bool parseDnValues(std::string_view text, std::vector<std::string>& out, std::string& error) {
    out.clear();
    if (text.size() > kMaxDnTextBytes) {
        error = "name text too long";
        return false;
    }
    ValueScanner scanner(text);
    std::size_t pos = 0;
    skipBlanks(text, pos);
    if (pos == text.size()) return true;
    for (;;) {
        std::string raw, value;
        bool hexForm = false;
        if (!scanner.scan(pos, ",;+", raw, value, hexForm, error)) return false;
        out.push_back(std::move(value));
        if (pos >= text.size()) return true;
        ++pos;
        skipBlanks(text, pos);
    }
}

std::string canonicalDnType(std::string_view type) {
    std::string lowered = lowerAscii(trimmed(type));
    if (lowered.compare(0, 4, "oid.") == 0) lowered.erase(0, 4);
    if (const char* alias = aliasFor(lowered)) return alias;
    if (isDottedOid(lowered)) return lowered;
    const std::string dotted = dottedFromOpenSsl(std::string(trimmed(type)));
    if (!dotted.empty()) {
        if (const char* alias = aliasFor(dotted)) return alias;
        return dotted;
    }
    std::string upper(trimmed(type));
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

const char* shortDnTypeForOid(std::string_view dottedOid) {
    if (!isDottedOid(dottedOid)) return nullptr;
    return aliasFor(std::string(dottedOid));
}

std::string canonicalDnValue(std::string_view value) {
    std::string out;
    out.reserve(value.size());
    bool pendingBlank = false;
    for (char c : trimmed(value)) {
        if (isBlank(c)) {
            pendingBlank = true;
            continue;
        }
        if (pendingBlank) out.push_back(' ');
        pendingBlank = false;
        out.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
    }
    return out;
}

std::string canonicalDnKey(const std::vector<DnComponent>& components) {
    std::vector<std::string> parts;
    parts.reserve(components.size());
    for (const DnComponent& c : components) {
        std::string part = canonicalDnType(c.type);
        part.push_back('=');
        for (char ch : canonicalDnValue(c.value)) {
            if (ch == ',' || ch == '\\') part.push_back('\\');
            part.push_back(ch);
        }
        parts.push_back(std::move(part));
    }
    std::sort(parts.begin(), parts.end());
    std::string key;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i != 0) key.push_back(',');
        key += parts[i];
    }
    return key;
}

}  // namespace xmldsig::detail
