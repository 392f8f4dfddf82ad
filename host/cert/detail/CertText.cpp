#include "host/cert/detail/CertText.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cctype>
#include <cstring>

#include "host/cert/detail/CertHandles.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/text/ContentCoding.h"

namespace xmldsig::detail {
namespace {

const char kHexDigits[] = "0123456789ABCDEF";

bool isCertificateBlock(const char* name) {
    return std::strcmp(name, PEM_STRING_X509) == 0 || std::strcmp(name, PEM_STRING_X509_OLD) == 0 ||
           std::strcmp(name, PEM_STRING_X509_TRUSTED) == 0;
}

// A "TRUSTED CERTIFICATE" block carries the certificate followed by OpenSSL's trust settings;
// only the certificate's own bytes are kept.
std::size_t certificatePrefixLength(const unsigned char* data, long length) {
    const unsigned char* p = data;
    const X509Ptr cert(d2i_X509(nullptr, &p, length));
    return cert ? static_cast<std::size_t>(p - data) : static_cast<std::size_t>(length);
}

bool endOfPemText() {
    const unsigned long err = ERR_peek_last_error();
    return ERR_GET_LIB(err) == ERR_LIB_PEM && ERR_GET_REASON(err) == PEM_R_NO_START_LINE;
}

}  // namespace

CertEncoding detectCertEncoding(const DataBuffer& data) {
    const std::vector<unsigned char>& b = data.bytes();
    static const char kBegin[] = "-----BEGIN";
    const std::size_t beginLength = sizeof kBegin - 1;
    for (std::size_t i = 0; i + beginLength <= b.size(); ++i) {
        if (std::memcmp(b.data() + i, kBegin, beginLength) == 0) return CertEncoding::Pem;
    }
    return !b.empty() && b[0] == 0x30 ? CertEncoding::Der : CertEncoding::Base64;
}

bool readPemCertificates(const char* text, std::size_t length, std::size_t maxCerts,
                         std::vector<DataBuffer>& out, LogBase& log) {
    clearOpenSslErrors();
    if (text == nullptr || length == 0) {
        log.LogError("No PEM text.");
        return false;
    }
    if (length > kMaxCertFileBytes) {
        log.LogError("PEM text is too large.");
        log.LogDataLong("numBytes", static_cast<long>(length));
        return false;
    }
    const BioPtr bio(BIO_new_mem_buf(text, static_cast<int>(length)));
    if (!bio) return false;
    for (std::size_t found = 0; maxCerts == 0 || found < maxCerts;) {
        char* name = nullptr;
        char* header = nullptr;
        unsigned char* data = nullptr;
        long dataLength = 0;
        if (PEM_read_bio(bio.get(), &name, &header, &data, &dataLength) != 1) {
            if (endOfPemText()) {
                clearOpenSslErrors();
                return true;
            }
            log.LogError("Damaged PEM block.");
            logOpenSslErrors(log);
            return false;
        }
        bool ok = true;
        if (isCertificateBlock(name)) {
            const bool trusted = std::strcmp(name, PEM_STRING_X509_TRUSTED) == 0;
            const std::size_t n = trusted ? certificatePrefixLength(data, dataLength)
                                          : static_cast<std::size_t>(dataLength);
            out.emplace_back();
            ok = out.back().append(data, n);
            ++found;
        }
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_free(data);
        if (!ok) return false;
    }
    return true;
}

bool readCertificates(const DataBuffer& data, std::vector<DataBuffer>& out, LogBase& log) {
    if (data.getSize() > kMaxCertFileBytes) {
        log.LogError("Certificate data is too large.");
        log.LogDataLong("numBytes", static_cast<long>(data.getSize()));
        return false;
    }
    const std::size_t before = out.size();
    const char* text = reinterpret_cast<const char*>(data.getData2());
    switch (detectCertEncoding(data)) {
        case CertEncoding::Pem:
            readPemCertificates(text, data.getSize(), 0, out, log);
            break;
        case CertEncoding::Der:
            out.push_back(data);
            break;
        case CertEncoding::Base64: {
            DataBuffer der;
            if (ContentCoding::decodeBase64ToDb(text, data.getSize(), der) && !der.isEmpty()) {
                out.push_back(std::move(der));
            } else {
                log.LogError("Data is neither PEM, DER nor base64.");
            }
            break;
        }
    }
    if (out.size() == before) {
        log.LogError("No certificate found in the data.");
        return false;
    }
    return true;
}

bool serialToHex(const ASN1_INTEGER* serial, std::string& out) {
    out.clear();
    if (serial == nullptr) return false;
    const unsigned char* p = ASN1_STRING_get0_data(serial);
    int n = ASN1_STRING_length(serial);
    if (n < 0 || (n > 0 && p == nullptr)) return false;
    while (n > 0 && *p == 0) {  // a magnitude never needs a leading zero byte
        ++p;
        --n;
    }
    if (n == 0) {
        out = "00";
        return true;
    }
    if (ASN1_STRING_type(serial) == V_ASN1_NEG_INTEGER) out.push_back('-');
    for (int i = 0; i < n; ++i) {
        out.push_back(kHexDigits[p[i] >> 4]);
        out.push_back(kHexDigits[p[i] & 0x0F]);
    }
    return true;
}

bool normalizeHexSerial(const char* text, std::string& out) {
    out.clear();
    if (text == nullptr) return false;
    std::string digits;
    bool negative = false;
    const char* p = text;
    while (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n') ++p;
    if (*p == '-') {
        negative = true;
        ++p;
    }
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) p += 2;
    for (; *p != '\0'; ++p) {
        const char c = *p;
        if (c == ' ' || c == ':' || c == '\t' || c == '\r' || c == '\n') continue;
        if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
        digits.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
    }
    if (digits.empty()) return false;
    const std::size_t firstNonZero = digits.find_first_not_of('0');
    if (firstNonZero == std::string::npos) {
        out = "00";
        return true;
    }
    digits.erase(0, firstNonZero);
    if (digits.size() % 2 != 0) digits.insert(digits.begin(), '0');
    out = negative ? "-" + digits : digits;
    return true;
}

}  // namespace xmldsig::detail
