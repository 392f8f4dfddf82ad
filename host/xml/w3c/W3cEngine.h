// The general W3C engine: a second reading of a reference's data for what the established
// recognition does not cover (XPath 1.0 and XPointer node-sets, XPath Filter 2.0, Canonical XML
// 1.1, canonicalization of node-sets, external XML data under transforms). It parses the text
// with libxml2 (network off, external entities and DTD subsets refused, internal subset
// applied), registers the same Id attributes as the rest of the library and refuses an Id that
// several elements carry. No libxml2 type appears in this header.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace xmldsig {

class DataBuffer;
class LogBase;

namespace w3c {

// What a Transform's Algorithm URI asks for; the caller's algorithm table decides.
enum class TransformKind {
    Enveloped,
    XPath,
    Filter2,
    C14n10,
    Exclusive10,
    C14n11,
    Base64,
    Refused,
    Unknown
};
struct TransformInfo {
    TransformKind kind = TransformKind::Unknown;
    bool withComments = false;
};
using TransformClassifier = TransformInfo (*)(const char* algorithmUri);

// One reference of one signature of a loaded document.
struct ReferenceInput {
    TransformClassifier classify = nullptr;
    const char* text = nullptr;  // the document, UTF-8
    std::size_t length = 0;
    int signatureIndex = 0;  // among Signature (and AuthSignature) elements, document order
    int referenceIndex = 0;  // among the Reference children of its SignedInfo
    // For an external reference: its octets (the caller found them under its own file rules).
    const DataBuffer* externalOctets = nullptr;
    // The DigestValue the caller read for this reference (white space removed): the engine
    // refuses to go on when its own reading of the document finds another one there.
    std::string expectedDigestValue;
};

// The octets the reference's URI and transforms produce, ready to be hashed. False, with the
// reason in the log, when the reference cannot be processed.
bool referenceOctets(const ReferenceInput& in, DataBuffer& out, LogBase& log);

enum class CanonMethod { Inclusive10, Exclusive10, Inclusive11 };

// Canonicalization for the tool: the whole document, the element with an Id, or the node-set an
// XPath expression selects (as the W3C test vectors state them:
// "(//. | //@* | //namespace::*)[...]").
struct CanonRequest {
    const char* text = nullptr;
    std::size_t length = 0;
    CanonMethod method = CanonMethod::Inclusive10;
    bool withComments = false;
    std::string id;                              // empty: not by Id
    std::string xpath;                           // empty: not by XPath
    std::vector<std::string> inclusivePrefixes;  // exclusive method only
    // Prefixes the expression uses, besides those declared on the document element.
    std::vector<std::pair<std::string, std::string>> namespaces;
};
bool canonicalize(const CanonRequest& request, std::string& out, LogBase& log);

// What an XPath-like expression is evaluated as, for fuzzing the evaluators alone.
enum class ExpressionKind { XPathTransform, XPointer, Filter2Intersect };
// Parses doc, evaluates expr as kind over it and canonicalizes the result; false and a log line
// on any refusal. Bounded in time and memory whatever the input.
bool evaluateExpression(const char* doc, std::size_t length, const char* expr, ExpressionKind kind,
                        LogBase& log);

}  // namespace w3c
}  // namespace xmldsig
