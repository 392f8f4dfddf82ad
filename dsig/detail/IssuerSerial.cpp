#include "dsig/detail/IssuerSerial.h"

#include "host/cert/DistinguishedName.h"
#include "host/log/LogBase.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/XString.h"
#include "host/xml/ClsXml.h"

namespace xmldsig::detail {

bool readIssuerSerial(ClsXml& x509Data, StringBuffer& cn, StringBuffer& serialHex,
                      StringBuffer& key, LogBase& log) {
    ClsXml* is = x509Data.getChildWithTagUtf8("*:X509IssuerSerial");
    if (is == nullptr) return false;
    RefCountedObjectOwner owner(is);
    StringBuffer issuer, serial;
    if (!is->getChildContentUtf8("*:X509IssuerName", issuer, false) ||
        !is->getChildContentUtf8("*:X509SerialNumber", serial, false) || issuer.getSize() == 0 ||
        serial.getSize() == 0)
        return false;
    log.LogDataSb("sbSerialNumber_dec", serial);
    XString hex;
    hex.setFromSbUtf8(serial);
    hex.reencode("decimal", "hex");
    serialHex.setString(hex.getUtf8Sb());
    log.LogDataSb("sbSerialNumber_hex", serialHex);
    if (!DistinguishedName::getDnPart(issuer.getString(), "CN", cn, log)) return false;
    cn.trim2();
    key.setString(cn);
    key.append2(":", serialHex.getString());
    return true;
}

}  // namespace xmldsig::detail
