// What one Reference of a signature covers, as a reader of the document sees it: the whole
// document, one element (its path of local names and its Id), external data, or a node-set that
// XPath transforms select; and the bytes of the loaded text it spans.
#pragma once

#include <cstdint>
#include <string>

namespace xmldsig {

struct ReferenceCoverage {
    enum class Kind { WholeDocument, Element, External, Unresolved };
    Kind kind = Kind::Unresolved;
    std::string uri;
    std::string path;   // WholeDocument, Element: the element's path ("/Envelope/Body")
    std::string id;     // Element: the Id it was found by
    std::string xpath;  // the expressions of XPath transforms (a node-set); empty when none
    bool withoutSignature = false;  // the enveloped-signature transform takes this signature out
    bool hasRange = false;          // start and end are known
    uint32_t start = 0, end = 0;    // byte range [start, end) in the loaded (UTF-8) text
    std::string problem;            // Unresolved: why (no element, several elements)
};

inline const char* coverageKindName(ReferenceCoverage::Kind k) {
    switch (k) {
        case ReferenceCoverage::Kind::WholeDocument:
            return "document";
        case ReferenceCoverage::Kind::Element:
            return "element";
        case ReferenceCoverage::Kind::External:
            return "external";
        default:
            return "unresolved";
    }
}

}  // namespace xmldsig
