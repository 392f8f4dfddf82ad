// Converts DER to an XML rendering of its ASN.1 values and back, byte for byte.
//
// Each value is one element; the outermost value is the root. SEQUENCE and SET are
// <sequence> and <set> with their elements as children in order. Primitive values: <int> and
// <enumerated> (content octets in upper-case hex), <oid> (dotted decimal), <octets> (base64),
// <bits unused="n"> (base64 of the bits), <null/>, <bool> (true/false), strings and times by
// their ASN.1 names (<utf8String>, <printableString>, <ia5String>, <bmpString>, <utcTime>,
// <generalizedTime>...) as text. Tagged values are <contextSpecific tag="n">, <application
// tag="n"> and <private tag="n">, with constructed="true" and children when constructed,
// base64 content otherwise. A value that has no faithful form of its type (a string that is not
// UTF-8, a BOOLEAN other than 00/FF, a constructed OCTET STRING) is written as <universal
// tag="n"> in the same generic way. A length written longer than DER allows keeps its octets
// in a lengthOctets="hex" attribute. So xmlToDer(derToXml(der)) == der for every input that
// derToXml accepts.
#pragma once

#include <cstddef>

namespace xmldsig {

class ClsXml;
class DataBuffer;
class ExtPtrArray;
class LogBase;
class StringBuffer;

class Asn1XmlConverter {
  public:
    // Deepest nesting accepted (certificates need about ten levels).
    static constexpr std::size_t kMaxDepth = 128;
    // Largest DER accepted, and largest XML written.
    static constexpr std::size_t kMaxDerBytes = 16u << 20;
    static constexpr std::size_t kMaxXmlBytes = 128u << 20;

    // Replaces xml with the rendering of der. indent puts each element on a line of its own,
    // two blanks per level; withDeclaration starts the text with an XML declaration. When
    // parts is not null, the DER of each element directly inside the outermost value is
    // appended to it as a DataBuffer, in order (on failure, those before the fault stay).
    // False (xml left empty, the reason and byte offset logged) on malformed DER: truncation,
    // an indefinite length, bytes after the outermost value, nesting past kMaxDepth, and the
    // like.
    static bool derToXml(const DataBuffer& der, bool indent, bool withDeclaration,
                         StringBuffer& xml, ExtPtrArray* parts, LogBase& log);

    // Replaces der with the encoding of node and its subtree. False (der left empty, the
    // reason and element logged) on an unknown element name, a missing or bad attribute, or
    // content the element's type does not accept.
    static bool xmlToDer(const ClsXml& node, DataBuffer& der, LogBase& log);
};

}  // namespace xmldsig
