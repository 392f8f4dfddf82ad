#include "host/xml/XmlIdCheck.h"

#include <string>

#include "host/log/LogBase.h"
#include "host/xml/ClsXml.h"
#include "host/xml/detail/IdLookup.h"

namespace xmldsig {

bool checkIdNotDuplicated(const ClsXml& doc, const char* id, LogBase& log) {
    const auto& document = doc.document();
    if (!document || id == nullptr || *id == '\0') return true;
    const dom::Node* root = document->documentNode();
    int carriers = 0;
    for (const dom::Node* n = root; n != nullptr; n = dom::nextInDocumentOrder(n, root)) {
        if (n->isElement() && detail::elementHasId(*n, id)) ++carriers;
    }
    if (carriers <= 1) return true;
    log.LogError("The Id is carried by more than one element; refusing an ambiguous reference.");
    log.LogDataStr("duplicatedId", id);
    log.LogDataLong("numElementsWithId", carriers);
    return false;
}

}  // namespace xmldsig
