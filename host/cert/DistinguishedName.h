// Helpers on distinguished names written as text, as they appear in X509IssuerName and
// X509SubjectName elements and as TavolinX509::getDN writes them. RFC 4514 strings (escaped
// commas, "#hex" values), RFC 1779 quoted values and ';' separators, and blanks around '=' are
// all understood.
#pragma once

#include <string>

namespace xmldsig {

class LogBase;
class StringBuffer;
class XString;

class DistinguishedName {
  public:
    // The value of the first component whose attribute type is attrName ("CN"; spellings such
    // as "commonName" or "2.5.4.3" name the same type), escapes and quotes removed, replacing
    // out. False when the name has no such component, or (logged) when it cannot be read.
    static bool getDnPart(const char* dn, const char* attrName, StringBuffer& out, LogBase& log);

    // Replaces out with a key that does not depend on how the name is spelled: attribute types
    // mapped to short names (CN, O, OU, C, L, ST, STREET, DC, UID, E, SERIALNUMBER, else the
    // dotted OID), values unescaped, trimmed, inner white space collapsed and ASCII case folded,
    // the components sorted and joined. Two spellings of one name, in either order, give the
    // same key. A name that cannot be read is logged and keyed by its trimmed, folded text, so
    // it matches only itself.
    static void toTvCanonHashKey(const char* dn, StringBuffer& out, LogBase& log);

    // Replaces out with the name's values as written (escapes kept), without their attribute
    // types, joined by ", ": "CN=a, O=b\, c" gives "a, b\, c". A name that cannot be read is
    // copied unchanged.
    static void removeDnTags(const XString& dn, XString& out);

    // The key of a name without attribute types: each value of a removeDnTags text normalized
    // as in toTvCanonHashKey, sorted and joined. False when the text cannot be read.
    static bool taglessKey(const char* text, std::string& key);
};

}  // namespace xmldsig
