#include "host/xml/detail/XmlSerialize.h"

#include "host/xml/XmlEscape.h"

namespace xmldsig::detail {

namespace {

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
                appendXmlEscaped(out, a.value, XmlEscape::Attribute);
                out += '"';
            }
            out += n.firstChild ? ">" : "/>";
            break;
        case dom::NodeType::Text:
            appendXmlEscaped(out, n.value, XmlEscape::Text);
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
