// The identifier and length octets of one DER value (X.690, 8.1.2 and 8.1.3), read with every
// length checked against the bytes that remain before anything is trusted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace xmldsig::detail {

enum class TagClass : std::uint8_t {
    Universal = 0,
    Application = 1,
    ContextSpecific = 2,
    Private = 3
};

// Largest tag number accepted (a 4-byte high tag number).
constexpr std::uint32_t kMaxTagNumber = (1u << 28) - 1;

struct DerHeader {
    TagClass tagClass = TagClass::Universal;
    bool constructed = false;
    std::uint32_t tagNumber = 0;
    std::size_t headerStart = 0;   // offset of the identifier octets
    std::size_t contentStart = 0;  // offset of the first content octet
    std::size_t contentLength = 0;
    // The length octets as written when they are not the shortest form (BER that DER forbids,
    // kept so that the value can be written back byte for byte); empty when minimal.
    std::string nonMinimalLength;

    std::size_t contentEnd() const { return contentStart + contentLength; }
};

// Reads the header at pos; the value must end at or before limit. False, with the reason in
// error, on truncation, an indefinite length, a reserved length octet, a tag or length that does
// not fit, or a non-minimal high tag number.
bool readDerHeader(const unsigned char* data, std::size_t pos, std::size_t limit, DerHeader& out,
                   std::string& error);

// The identifier octets for a tag.
std::string encodeDerTag(TagClass tagClass, bool constructed, std::uint32_t tagNumber);
// The shortest length octets for a length.
std::string encodeDerLength(std::size_t length);
// The length a run of length octets stands for; false when they are not a definite length or
// are followed by other bytes.
bool decodeDerLength(const std::string& octets, std::size_t& length);

}  // namespace xmldsig::detail
