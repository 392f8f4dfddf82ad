// Places in a signed document where changing one character must break the signature: a
// character of the content its first reference covers, a base64 character of that reference's
// DigestValue (inside SignedInfo), and one of the SignatureValue.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace xmldsig::test {

struct TamperSites {
    static constexpr std::size_t npos = std::string::npos;
    std::string firstUri;  // URI of the first reference
    // Letters or digits of the content it covers, changed alike: one character of text or of
    // an attribute value, or the same letter of an element name in its start and end tags.
    std::vector<std::size_t> content;
    std::size_t digestValue = npos;     // a base64 character of its DigestValue
    std::size_t signatureValue = npos;  // a base64 character of the SignatureValue
    std::string why;                    // what could not be found, when a site is npos
};

// The sites of signature `index` of a document given as UTF-8 text. The content site lies in
// the element the first reference names (the root element for a whole-document reference),
// outside every signature that does not enclose that element: the last letter or digit of its
// character data, else of an attribute value that is neither an Id nor a namespace, else of an
// element name. An external first reference leaves it empty.
TamperSites tamperSites(const std::string& utf8, int index);

// The text with the character at `at` replaced by another letter or digit (another base64
// character for a base64 character); with several positions, each gets the same replacement.
std::string withCharacterChanged(std::string text, std::size_t at);
std::string withCharactersChanged(std::string text, const std::vector<std::size_t>& at);

// The bytes with one letter or digit near the middle changed; unchanged when there is none.
std::string withMiddleCharacterChanged(std::string bytes);

}  // namespace xmldsig::test
