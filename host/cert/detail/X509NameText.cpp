#include "host/cert/detail/X509NameText.h"

#include <openssl/asn1.h>
#include <openssl/objects.h>

#include <vector>

#include "host/cert/detail/CertHandles.h"
#include "host/cert/detail/DnParser.h"

namespace xmldsig::detail {
namespace {

const char kHexDigits[] = "0123456789ABCDEF";

void appendHexByte(unsigned char b, std::string& out) {
    out.push_back(kHexDigits[b >> 4]);
    out.push_back(kHexDigits[b & 0x0F]);
}

// RFC 4514, 2.4: escape the specials, a leading '#' or blank, a trailing blank, and (our
// choice) every control character as a hex pair, so the text stays on one line.
std::string escapeValue(const std::string& v) {
    std::string out;
    for (std::size_t i = 0; i < v.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(v[i]);
        const bool special = c == ',' || c == '+' || c == '"' || c == '\\' || c == '<' ||
                             c == '>' || c == ';' || c == '=';
        const bool edge = (i == 0 && (c == '#' || c == ' ')) || (i + 1 == v.size() && c == ' ');
        if (c < 0x20 || c == 0x7F) {
            out.push_back('\\');
            appendHexByte(c, out);
        } else if (special || edge) {
            out.push_back('\\');
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back(static_cast<char>(c));
        }
    }
    return out;
}

// "#" and the hex of the value's DER (RFC 4514, 2.4, for values that are not strings).
std::string hexValue(const X509_NAME_ENTRY* entry) {
    const ASN1_STRING* data = X509_NAME_ENTRY_get_data(entry);
    ASN1_TYPE* any = ASN1_TYPE_new();
    std::string out = "#";
    if (any == nullptr) return out;
    unsigned char* der = nullptr;
    int n = -1;
    if (ASN1_TYPE_set1(any, ASN1_STRING_type(data), data) == 1) n = i2d_ASN1_TYPE(any, &der);
    for (int i = 0; i < n; ++i) appendHexByte(der[i], out);
    OPENSSL_free(der);
    ASN1_TYPE_free(any);
    return out;
}

}  // namespace

std::string dnTypeName(const ASN1_OBJECT* type) {
    char dotted[128];
    const int n = OBJ_obj2txt(dotted, sizeof dotted, type, 1);
    if (n <= 0 || static_cast<std::size_t>(n) >= sizeof dotted) return "?";
    if (const char* shortName = shortDnTypeForOid(dotted)) return shortName;
    const int nid = OBJ_obj2nid(type);
    if (nid != NID_undef) {
        if (const char* sn = OBJ_nid2sn(nid)) return sn;
    }
    return dotted;
}

bool dnEntryUtf8(const X509_NAME_ENTRY* entry, std::string& out) {
    out.clear();
    const ASN1_STRING* data = X509_NAME_ENTRY_get_data(entry);
    if (data == nullptr) return false;
    switch (ASN1_STRING_type(data)) {
        case V_ASN1_UTF8STRING:
        case V_ASN1_PRINTABLESTRING:
        case V_ASN1_T61STRING:
        case V_ASN1_IA5STRING:
        case V_ASN1_BMPSTRING:
        case V_ASN1_UNIVERSALSTRING:
        case V_ASN1_VISIBLESTRING:
        case V_ASN1_NUMERICSTRING:
            break;
        default:
            return false;
    }
    const OpenSslErrorMark notUtf8IsNoError;  // the caller writes such values in hex
    unsigned char* utf8 = nullptr;
    const int n = ASN1_STRING_to_UTF8(&utf8, data);
    if (n < 0 || utf8 == nullptr) return false;
    out.assign(reinterpret_cast<const char*>(utf8), static_cast<std::size_t>(n));
    OPENSSL_free(utf8);
    return true;
}

bool x509NameToText(const X509_NAME* name, bool mostSpecificFirst, std::string& out) {
    out.clear();
    if (name == nullptr) return false;
    const int count = X509_NAME_entry_count(name);
    // Group the entries into RDNs first, so that reversing keeps each RDN's members together.
    std::vector<std::vector<std::string>> rdns;
    int lastSet = -1;
    for (int i = 0; i < count; ++i) {
        const X509_NAME_ENTRY* e = X509_NAME_get_entry(name, i);
        std::string value;
        std::string text = dnTypeName(X509_NAME_ENTRY_get_object(e));
        text.push_back('=');
        text += dnEntryUtf8(e, value) ? escapeValue(value) : hexValue(e);
        const int set = X509_NAME_ENTRY_set(e);
        if (rdns.empty() || set != lastSet) rdns.emplace_back();
        rdns.back().push_back(std::move(text));
        lastSet = set;
    }
    for (std::size_t k = 0; k < rdns.size(); ++k) {
        const std::vector<std::string>& rdn = rdns[mostSpecificFirst ? rdns.size() - 1 - k : k];
        if (k != 0) out += ", ";
        for (std::size_t m = 0; m < rdn.size(); ++m) {
            if (m != 0) out.push_back('+');
            out += rdn[m];
        }
    }
    return true;
}

std::string lastCommonName(const X509_NAME* name) {
    if (name == nullptr) return {};
    int last = -1;
    for (int i = X509_NAME_get_index_by_NID(name, NID_commonName, -1); i >= 0;
         i = X509_NAME_get_index_by_NID(name, NID_commonName, i))
        last = i;
    std::string value;
    if (last < 0 || !dnEntryUtf8(X509_NAME_get_entry(name, last), value)) return {};
    const std::size_t first = value.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return {};
    const std::size_t end = value.find_last_not_of(" \t\r\n");
    return value.substr(first, end - first + 1);
}

}  // namespace xmldsig::detail
