#include "host/xml/XmlIdCheck.h"

#include <string>

#include "host/log/LogBase.h"
#include "host/xml/ClsXml.h"
#include "host/xml/detail/IdLookup.h"

namespace xmldsig {

int countElementsWithId(const ClsXml& doc, const char* id) {
    const auto& document = doc.document();
    if (!document || id == nullptr || *id == '\0') return 0;
    const dom::Node* root = document->documentNode();
    int carriers = 0;
    for (const dom::Node* n = root; n != nullptr; n = dom::nextInDocumentOrder(n, root)) {
        if (n->isElement() && detail::elementHasId(*n, id)) ++carriers;
    }
    return carriers;
}

bool checkIdNotDuplicated(const ClsXml& doc, const char* id, LogBase& log) {
    const int carriers = countElementsWithId(doc, id);
    if (carriers <= 1) return true;
    log.LogError("The Id is carried by more than one element; refusing an ambiguous reference.");
    log.LogDataStr("duplicatedId", id);
    log.LogDataLong("numElementsWithId", carriers);
    return false;
}

bool placeOfElementWithId(const ClsXml& doc, const char* id, ElementPlace& out) {
    const auto& document = doc.document();
    if (!document) return false;
    std::string error;
    const dom::Node* e = id == nullptr || *id == '\0'
                             ? document->rootElement()
                             : detail::findElementById(*document, id, error);
    if (e == nullptr) return false;
    out.start = e->start;
    out.end = e->end;
    out.path.clear();
    for (const dom::Node* n = e; n != nullptr && n->isElement(); n = n->parent)
        out.path.insert(0, "/" + std::string(n->localName()));
    return true;
}

}  // namespace xmldsig
