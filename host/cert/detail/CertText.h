// Recognizing and unpacking the text and binary forms certificates come in: PEM blocks, bare
// DER, base64 text. Also the hex form of serial numbers.
#pragma once

#include <openssl/asn1.h>

#include <cstddef>
#include <string>
#include <vector>

#include "host/text/DataBuffer.h"

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

// Largest certificate text or file the certificate services read (a CA bundle is ~250 KB).
constexpr std::size_t kMaxCertFileBytes = 16u << 20;

enum class CertEncoding { Pem, Der, Base64 };

// PEM when the bytes contain "-----BEGIN", DER when they start with a SEQUENCE tag, else base64.
CertEncoding detectCertEncoding(const DataBuffer& data);

// Appends the DER of every certificate block of PEM text ("CERTIFICATE", "X509 CERTIFICATE",
// "TRUSTED CERTIFICATE"; other blocks such as keys are skipped), at most maxCerts of them (0 for
// no limit). False, logged, when a block is damaged or the text is too large; certificates
// before the damage stay appended.
bool readPemCertificates(const char* text, std::size_t length, std::size_t maxCerts,
                         std::vector<DataBuffer>& out, LogBase& log);

// Appends the DER of every certificate that data holds in any of the three encodings. False,
// logged, when nothing usable was found.
bool readCertificates(const DataBuffer& data, std::vector<DataBuffer>& out, LogBase& log);

// Upper-case hex, two digits per byte, no leading zero byte; "00" for zero; "-" before the
// magnitude of a negative number.
bool serialToHex(const ASN1_INTEGER* serial, std::string& out);

// A hex serial as callers write it ("0x00ff", "ff", "00FF", "-1A") in the form serialToHex
// gives; false when it is not hex.
bool normalizeHexSerial(const char* text, std::string& out);

}  // namespace xmldsig::detail
