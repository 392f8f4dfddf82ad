// Writing OpenSSL X509_NAME values as RFC 4514 text.
#pragma once

#include <openssl/x509.h>

#include <string>

namespace xmldsig::detail {

// The attribute type as text: the short name names are compared by (CN, O, E...), else
// OpenSSL's short name, else the dotted OID.
std::string dnTypeName(const ASN1_OBJECT* type);

// The entry's value as UTF-8; false when it is not a string type (or not valid in its type).
bool dnEntryUtf8(const X509_NAME_ENTRY* entry, std::string& out);

// The whole name, components separated by ", " and the members of a multi-valued RDN by "+".
// Values are escaped as RFC 4514 asks; a value that is not a string is "#" and its DER in hex.
bool x509NameToText(const X509_NAME* name, bool mostSpecificFirst, std::string& out);

// The value of the last CN entry in encoding order, trimmed; empty when there is none.
std::string lastCommonName(const X509_NAME* name);

}  // namespace xmldsig::detail
