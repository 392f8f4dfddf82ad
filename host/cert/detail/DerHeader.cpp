#include "host/cert/detail/DerHeader.h"

namespace xmldsig::detail {
namespace {

// Lengths beyond this cannot describe input we accept; refusing them keeps sums from overflowing.
constexpr std::size_t kMaxDerLength = 0x7FFFFFFF;

}  // namespace

bool readDerHeader(const unsigned char* data, std::size_t pos, std::size_t limit, DerHeader& out,
                   std::string& error) {
    out = DerHeader();
    out.headerStart = pos;
    if (pos >= limit) {
        error = "truncated: no identifier octet";
        return false;
    }
    const unsigned char first = data[pos++];
    out.tagClass = static_cast<TagClass>(first >> 6);
    out.constructed = (first & 0x20) != 0;
    out.tagNumber = first & 0x1F;
    if (out.tagNumber == 0x1F) {
        // High tag number: base-128 digits, the first of which may not be 0x80 (non-minimal).
        out.tagNumber = 0;
        for (bool firstDigit = true;; firstDigit = false) {
            if (pos >= limit) {
                error = "truncated inside a high tag number";
                return false;
            }
            const unsigned char b = data[pos++];
            if (firstDigit && b == 0x80) {
                error = "high tag number with a leading zero digit";
                return false;
            }
            if (out.tagNumber > (kMaxTagNumber >> 7)) {
                error = "tag number too large";
                return false;
            }
            out.tagNumber = (out.tagNumber << 7) | (b & 0x7F);
            if ((b & 0x80) == 0) break;
        }
        if (out.tagNumber < 0x1F) {
            error = "high tag number form for a low tag number";
            return false;
        }
    }
    if (pos >= limit) {
        error = "truncated: no length octet";
        return false;
    }
    const std::size_t lengthStart = pos;
    const unsigned char l0 = data[pos++];
    std::size_t length = 0;
    if (l0 < 0x80) {
        length = l0;
    } else if (l0 == 0x80) {
        error = "indefinite length (BER, not DER)";
        return false;
    } else if (l0 == 0xFF) {
        error = "reserved length octet 0xFF";
        return false;
    } else {
        const std::size_t count = l0 & 0x7F;
        if (count > 4) {
            error = "length field too large";
            return false;
        }
        if (limit - pos < count) {
            error = "truncated inside the length octets";
            return false;
        }
        for (std::size_t i = 0; i < count; ++i) length = (length << 8) | data[pos++];
        if (length > kMaxDerLength) {
            error = "length too large";
            return false;
        }
        const bool leadingZero = data[lengthStart + 1] == 0;
        if (leadingZero || length < 0x80) {
            out.nonMinimalLength.assign(reinterpret_cast<const char*>(data + lengthStart),
                                        pos - lengthStart);
        }
    }
    if (limit - pos < length) {
        error = "length runs past the end of the enclosing value";
        return false;
    }
    out.contentStart = pos;
    out.contentLength = length;
    return true;
}

std::string encodeDerTag(TagClass tagClass, bool constructed, std::uint32_t tagNumber) {
    std::string out;
    const unsigned char lead = static_cast<unsigned char>((static_cast<unsigned>(tagClass) << 6) |
                                                          (constructed ? 0x20 : 0));
    if (tagNumber < 0x1F) {
        out.push_back(static_cast<char>(lead | tagNumber));
        return out;
    }
    out.push_back(static_cast<char>(lead | 0x1F));
    std::string digits;
    for (std::uint32_t v = tagNumber; v != 0; v >>= 7)
        digits.insert(digits.begin(), static_cast<char>((v & 0x7F) | (digits.empty() ? 0 : 0x80)));
    return out + digits;
}

std::string encodeDerLength(std::size_t length) {
    std::string out;
    if (length < 0x80) {
        out.push_back(static_cast<char>(length));
        return out;
    }
    std::string bytes;
    for (std::size_t v = length; v != 0; v >>= 8)
        bytes.insert(bytes.begin(), static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>(0x80 | bytes.size()));
    return out + bytes;
}

bool decodeDerLength(const std::string& octets, std::size_t& length) {
    if (octets.empty()) return false;
    const unsigned char l0 = static_cast<unsigned char>(octets[0]);
    if (l0 < 0x80) {
        length = l0;
        return octets.size() == 1;
    }
    const std::size_t count = l0 & 0x7F;
    if (l0 == 0x80 || l0 == 0xFF || count > 4 || octets.size() != 1 + count) return false;
    std::size_t v = 0;
    for (std::size_t i = 1; i <= count; ++i) v = (v << 8) | static_cast<unsigned char>(octets[i]);
    if (v > kMaxDerLength) return false;
    length = v;
    return true;
}

}  // namespace xmldsig::detail
