#include "host/xml/detail/XmlSerialize.h"

#include "host/xml/XmlEscape.h"

namespace xmldsig::detail {

namespace {

// White space characters are written as references so that a re-parse does not normalize them.
void appendEscapedAttr(std::string_view s, std::string& out) {
    for (char c : s) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\t':
                out += "&#9;";
                break;
            case '\n':
                out += "&#10;";
                break;
            case '\r':
                out += "&#13;";
                break;
            default:
                out += c;
        }
    }
}

void enter(const dom::Node& n, std::string& out) {
    switch (n.type) {
        case dom::NodeType::Element:
            out += '<';
            out += n.name;
            for (const dom::Attribute& a : n.attributes) {
                if (!a.specified) continue;
                out += ' ';
                out += a.name;
                out += "=\"";
                appendEscapedAttr(a.value, out);
                out += '"';
            }
            out += n.firstChild ? ">" : "/>";
            break;
        case dom::NodeType::Text:
            appendXmlEscapedText(n.value, out);
            break;
        case dom::NodeType::Comment:
            out += "<!--";
            out += n.value;
            out += "-->";
            break;
        case dom::NodeType::ProcessingInstruction:
            out += "<?";
            out += n.name;
            if (!n.value.empty()) {
                out += ' ';
                out += n.value;
            }
            out += "?>";
            break;
        case dom::NodeType::Document:
            break;
    }
}

void leave(const dom::Node& n, std::string& out) {
    if (n.type != dom::NodeType::Element || n.firstChild == nullptr) return;
    out += "</";
    out += n.name;
    out += '>';
}

}  // namespace

void appendXml(const dom::Node& top, std::string& out) {
    for (const dom::Node* n = &top; n != nullptr;) {
        enter(*n, out);
        if (n->firstChild) {
            n = n->firstChild;
            continue;
        }
        for (;;) {
            leave(*n, out);
            if (n == &top) {
                n = nullptr;
                break;
            }
            if (n->nextSibling) {
                n = n->nextSibling;
                break;
            }
            n = n->parent;
        }
    }
}

}  // namespace xmldsig::detail
