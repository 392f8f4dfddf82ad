#include "host/xml/detail/CanonEscape.h"

namespace xmldsig::detail {

namespace {

// Copies runs of characters that need no escaping in one append each.
template <class Replacement>
void appendEscaped(std::string& out, std::string_view text, Replacement replacementFor) {
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char* replacement = replacementFor(text[i]);
        if (replacement == nullptr) continue;
        out.append(text.data() + runStart, i - runStart);
        out.append(replacement);
        runStart = i + 1;
    }
    out.append(text.data() + runStart, text.size() - runStart);
}

const char* textReplacement(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '\r':
            return "&#xD;";
        default:
            return nullptr;
    }
}

const char* attributeReplacement(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '"':
            return "&quot;";
        case '\t':
            return "&#x9;";
        case '\n':
            return "&#xA;";
        case '\r':
            return "&#xD;";
        default:
            return nullptr;
    }
}

}  // namespace

void appendEscapedText(std::string& out, std::string_view text) {
    appendEscaped(out, text, textReplacement);
}

void appendEscapedAttribute(std::string& out, std::string_view value) {
    appendEscaped(out, value, attributeReplacement);
}

}  // namespace xmldsig::detail
