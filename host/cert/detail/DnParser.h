// Reading distinguished names written as text: RFC 4514 and RFC 2253 strings, the older RFC 1779
// form with quoted values and ';' separators, and the "CN = a, O = b" form that Windows tools
// write. Also the normalization that makes two spellings of one name compare equal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace xmldsig::detail {

struct DnComponent {
    std::string type;           // as written, trimmed ("CN", "OID.2.5.4.97", "2.5.4.3")
    std::string rawValue;       // as written, trimmed, escapes and quotes kept
    std::string value;          // escapes and quotes removed; "#hex" values decoded to text
    bool continuesRdn = false;  // joined to the previous component by '+'
};

// Longest name text accepted; longer input is refused before any work.
constexpr std::size_t kMaxDnTextBytes = 1u << 20;

// Splits dn into its components in the order written. An empty (or all-blank) dn gives none.
// False, with the reason in error, on a component without '=', an empty attribute type, an
// unterminated quote, a dangling escape or a bad hex escape.
bool parseDn(std::string_view dn, std::vector<DnComponent>& out, std::string& error);

// Splits a name whose attribute types were removed ("a, b\, c, d") into its values,
// unescaped. False on a dangling escape or an unterminated quote.
bool parseDnValues(std::string_view text, std::vector<std::string>& out, std::string& error);

// The attribute type's short name for the types names are compared by (CN, O, OU, C, L, ST,
// STREET, DC, UID, E, SERIALNUMBER); otherwise its dotted OID, or the upper-cased name when
// OpenSSL does not know it either.
std::string canonicalDnType(std::string_view type);

// The short name a dotted OID is compared by ("2.5.4.3" -> "CN"); null for other OIDs.
const char* shortDnTypeForOid(std::string_view dottedOid);

// A value trimmed, with inner runs of white space collapsed to one blank and ASCII letters
// folded to lower case.
std::string canonicalDnValue(std::string_view value);

// "TYPE=value" for every component, sorted and joined by ','; ',' and '\' inside values are
// escaped with '\' so that the key cannot be read two ways.
std::string canonicalDnKey(const std::vector<DnComponent>& components);

}  // namespace xmldsig::detail
