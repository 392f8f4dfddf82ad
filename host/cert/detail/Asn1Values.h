// How each ASN.1 value is written in the XML rendering of DER, in both directions. Each kind's
// render and encode are exact inverses; a value whose bytes have no faithful text form (a
// string that is not UTF-8, a BOOLEAN other than 00/FF, an OID with padded digits) is not
// rendered by its kind at all and goes out as a generic element with base64 content.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/cert/detail/DerHeader.h"

namespace xmldsig::detail {

enum class Asn1Kind {
    Constructed,    // children are the elements inside
    Bool,           // "true" / "false"
    HexInteger,     // the content octets in upper-case hex (INTEGER, ENUMERATED)
    Bits,           // base64 of the bits, the unused-bit count in the "unused" attribute
    Base64,         // base64 of the content octets
    Null,           // empty
    Oid,            // dotted decimal
    Text,           // the octets as UTF-8 text
    BmpText,        // UTF-16BE octets as UTF-8 text
    UniversalText,  // UCS-4BE octets as UTF-8 text
};

struct Asn1Type {
    std::uint32_t tag;  // universal tag number
    const char* name;   // element name
    Asn1Kind kind;
};

// The named universal type for a tag; null for tags rendered generically.
const Asn1Type* asn1TypeForTag(std::uint32_t tag);
// The named universal type for an element name; null when the name is not one of them.
const Asn1Type* asn1TypeForName(std::string_view name);

// Element names of the generic form, one per tag class; each carries a "tag" attribute.
const char* genericElementName(TagClass tagClass);
// The class a generic element name stands for; false when the name is not one of the four.
bool tagClassForGenericName(std::string_view name, TagClass& out);

// Renders content octets as the kind's text (not yet XML-escaped). For Bits, unusedBits
// receives the count. False when the octets have no faithful text form of this kind.
bool renderAsn1Value(Asn1Kind kind, const unsigned char* p, std::size_t n, std::string& text,
                     int& unusedBits);

// Encodes text of a kind back to content octets. False, with the reason, on text the kind does
// not accept.
bool encodeAsn1Value(Asn1Kind kind, std::string_view text, int unusedBits, std::string& out,
                     std::string& error);

}  // namespace xmldsig::detail
