#include "host/xml/XmlEscape.h"

namespace xmldsig {

void appendXmlEscapedText(std::string_view text, std::string& out) {
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '\r':
                out += "&#13;";
                break;
            default:
                out += c;
        }
    }
}

}  // namespace xmldsig
