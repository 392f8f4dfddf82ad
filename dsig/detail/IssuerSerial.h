// The X509IssuerSerial of an X509Data element in the form certificate lookups use.
#pragma once

namespace xmldsig {
class ClsXml;
class LogBase;
class StringBuffer;
}  // namespace xmldsig

namespace xmldsig::detail {

// Reads the issuer name and the decimal serial (logged as "sbSerialNumber_dec" and, re-expressed
// in hexadecimal, as "sbSerialNumber_hex"); gives the issuer's trimmed CN, the hex serial and the
// seen-set key "CN:serial". False when the element is incomplete or the issuer has no CN.
bool readIssuerSerial(ClsXml& x509Data, StringBuffer& cn, StringBuffer& serialHex,
                      StringBuffer& key, LogBase& log);

}  // namespace xmldsig::detail
