// Canonical XML 1.0 (inclusive) and Exclusive XML Canonicalization 1.0 of a whole parsed
// document or of one element's subtree, with the compatibility switches that signers met in
// practice require. Works on the parsed tree without recursion and appends to a string.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/xml/detail/XmlDom.h"

namespace xmldsig::detail {

enum class CanonMode { Inclusive, Exclusive };

struct CanonOptions {
    CanonMode mode = CanonMode::Inclusive;
    bool withComments = false;

    // Exclusive mode only: prefixes handled by the inclusive rules (an InclusiveNamespaces
    // PrefixList); "#default" names the default namespace.
    std::vector<std::string> inclusivePrefixes;

    // Order all attributes by their qualified names as written, in plain byte order, instead of
    // by namespace URI and local name: some signing software sorts this way.
    bool emulateSortBug = false;

    // Inclusive mode, subtree apex: render the xml:* attributes inherited from ancestors.
    bool inheritXmlAttributes = true;

    // Inclusive mode, subtree apex: render only the inherited namespace declarations that the
    // subtree uses.
    bool resetOption = false;

    // Elements left out with their subtrees, as if they were not in the document.
    std::vector<const dom::Node*> excluded;

    // The canonicalization fails rather than append more than this.
    std::size_t maxOutputBytes = std::size_t(1) << 30;
};

// Canonicalizes apex's subtree, or the whole document when apex is doc's document node, and
// appends the result to out. On failure returns false with the reason in error; out may then
// hold part of the output.
bool canonicalize(const dom::Document& doc, const dom::Node* apex, const CanonOptions& options,
                  std::string& out, std::string& error);

}  // namespace xmldsig::detail
