#include "host/xml/XmlEscape.h"

namespace xmldsig {

namespace {

const char* replacementFor(char c, XmlEscape mode) {
    const bool attribute = mode == XmlEscape::Attribute || mode == XmlEscape::CanonicalAttribute;
    const bool canonical =
        mode == XmlEscape::CanonicalText || mode == XmlEscape::CanonicalAttribute;
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return attribute ? nullptr : "&gt;";
        case '"':
            return attribute ? "&quot;" : nullptr;
        case '\t':
            return !attribute ? nullptr : canonical ? "&#x9;" : "&#9;";
        case '\n':
            return !attribute ? nullptr : canonical ? "&#xA;" : "&#10;";
        case '\r':
            return canonical ? "&#xD;" : "&#13;";
        default:
            return nullptr;
    }
}

}  // namespace

void appendXmlEscaped(std::string& out, std::string_view text, XmlEscape mode) {
    // Runs of characters that need no reference are copied with one append each.
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char* replacement = replacementFor(text[i], mode);
        if (replacement == nullptr) continue;
        out.append(text.data() + runStart, i - runStart);
        out.append(replacement);
        runStart = i + 1;
    }
    out.append(text.data() + runStart, text.size() - runStart);
}

}  // namespace xmldsig
