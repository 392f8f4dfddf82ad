#include "host/xml/detail/IdLookup.h"

namespace xmldsig::detail {

namespace {

std::string_view localPart(std::string_view qname) {
    const std::size_t colon = qname.find(':');
    return colon == std::string_view::npos ? qname : qname.substr(colon + 1);
}

bool isNamespaceDeclaration(std::string_view qname) {
    return qname == "xmlns" || qname.substr(0, 6) == "xmlns:";
}

}  // namespace

bool isIdAttributeName(std::string_view qname) {
    if (isNamespaceDeclaration(qname)) return false;
    const std::string_view local = localPart(qname);
    return local == "Id" || local == "ID" || local == "id" || local == "AssertionID" ||
           local == "ResponseID" || local == "RequestID";
}

bool elementHasId(const dom::Node& element, std::string_view id) {
    for (const dom::Attribute& attr : element.attributes) {
        if (attr.value == id && isIdAttributeName(attr.name)) return true;
    }
    return false;
}

const dom::Node* findElementById(const dom::Document& doc, std::string_view id,
                                 std::string& error) {
    const dom::Node* found = nullptr;
    const dom::Node* top = doc.documentNode();
    for (const dom::Node* n = top; n != nullptr; n = dom::nextInDocumentOrder(n, top)) {
        if (!n->isElement() || !elementHasId(*n, id)) continue;
        if (found != nullptr) {
            error = "More than one element has the Id \"" + std::string(id) + "\"";
            return nullptr;
        }
        found = n;
    }
    if (found == nullptr) error = "No element has the Id \"" + std::string(id) + "\"";
    return found;
}

}  // namespace xmldsig::detail
