// The two XML forms of an elliptic-curve public key: XML Signature 1.1's ECKeyValue (curve by
// URI, point as base64 octets) and RFC 4050's ECDSAKeyValue (curve by URN, X and Y as decimal
// attribute values).
#include <openssl/ec.h>
#include <openssl/objects.h>
#include <strings.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/crypto/detail/KeyBuild.h"
#include "host/crypto/detail/KeyValueXml.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/xml/ClsXml.h"

namespace xmldsig::detail {
namespace {

constexpr std::size_t kMaxPointBytes = 1 + 2 * 72;  // uncompressed point of a 571-bit curve
// The decimal form of a coordinate of the largest curve has 172 digits; longer text is
// refused before the (quadratic) decimal conversion.
constexpr std::size_t kMaxDecimalDigits = 200;

struct Curve {
    int nid = NID_undef;
    std::size_t fieldBytes = 0;
};

bool isDottedOid(const char* s) {
    if (*s < '0' || *s > '9') return false;
    for (; *s != '\0'; ++s) {
        if ((*s < '0' || *s > '9') && *s != '.') return false;
    }
    return true;
}

// "urn:oid:1.2.840.10045.3.1.7" or the bare dotted OID, naming a curve OpenSSL knows.
bool curveFromUri(const StringBuffer& uri, Curve& curve, LogBase& log) {
    const char* oid = uri.getString();
    if (strncasecmp(oid, "urn:oid:", 8) == 0) oid += 8;
    curve.nid = (isDottedOid(oid) && std::strlen(oid) < 100) ? OBJ_txt2nid(oid) : NID_undef;
    EcGroupPtr group(curve.nid != NID_undef ? EC_GROUP_new_by_curve_name(curve.nid) : nullptr);
    clearOpenSslErrors();
    if (!group) {
        log.LogError("The named curve is not an elliptic curve this library knows.");
        log.LogDataSb("curve", uri);
        return false;
    }
    curve.fieldBytes = static_cast<std::size_t>((EC_GROUP_get_degree(group.get()) + 7) / 8);
    return true;
}

bool curveFromChildAttr(const ClsXml& el, const char* path, const char* attr, Curve& curve,
                        LogBase& log) {
    StringBuffer uri;
    if (!el.getChildAttrValue(path, attr, uri) || uri.isEmpty()) {
        log.LogError("The EC key value names no curve (explicit parameters are not supported).");
        log.LogDataStr("expected", path);
        return false;
    }
    uri.trim2();
    return curveFromUri(uri, curve, log);
}

// A non-negative decimal attribute value, left-padded to width bytes into out.
bool appendDecimalCoordinate(const ClsXml& el, const char* path, std::size_t width,
                             std::vector<unsigned char>& out, LogBase& log) {
    StringBuffer text;
    el.getChildAttrValue(path, "Value", text);
    text.trim2();
    const std::string& s = text.str();
    const bool digitsOnly = !s.empty() && s.find_first_not_of("0123456789") == std::string::npos;
    BIGNUM* raw = nullptr;
    if (!digitsOnly || s.size() > kMaxDecimalDigits || BN_dec2bn(&raw, s.c_str()) == 0) {
        log.LogError("An EC coordinate is missing or not a decimal number of acceptable size.");
        log.LogDataStr("element", path);
        return false;
    }
    BignumPtr bn(raw);
    const std::size_t at = out.size();
    out.resize(at + width);
    if (BN_bn2binpad(bn.get(), out.data() + at, static_cast<int>(width)) < 0) {
        log.LogError("An EC coordinate is larger than the curve's field.");
        log.LogDataStr("element", path);
        return false;
    }
    return true;
}

}  // namespace

EvpPkeyPtr ecKeyFromXmlDsig11(const ClsXml& el, LogBase& log) {
    Curve curve;
    if (!curveFromChildAttr(el, "*:NamedCurve", "URI", curve, log)) return nullptr;
    DataBuffer point;
    if (!readBase64Child(el, "*:PublicKey", kMaxPointBytes, point, log)) return nullptr;
    return buildEcKey(OBJ_nid2sn(curve.nid), point.getData2(), point.getSize(), log);
}

EvpPkeyPtr ecKeyFromRfc4050(const ClsXml& el, LogBase& log) {
    Curve curve;
    if (!curveFromChildAttr(el, "*:DomainParameters|*:NamedCurve", "URN", curve, log)) {
        return nullptr;
    }
    std::vector<unsigned char> point(1, 0x04);  // uncompressed: 04 || X || Y
    if (!appendDecimalCoordinate(el, "*:PublicKey|*:X", curve.fieldBytes, point, log) ||
        !appendDecimalCoordinate(el, "*:PublicKey|*:Y", curve.fieldBytes, point, log)) {
        return nullptr;
    }
    return buildEcKey(OBJ_nid2sn(curve.nid), point.data(), point.size(), log);
}

}  // namespace xmldsig::detail
