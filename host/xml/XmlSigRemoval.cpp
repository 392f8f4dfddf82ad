#include "host/xml/XmlSigRemoval.h"

#include <string>
#include <utility>
#include <vector>

#include "host/xml/detail/SignatureElements.h"
#include "host/xml/detail/XmlDom.h"
#include "host/xml/detail/XmlLocateUtil.h"

namespace xmldsig {

namespace {

// The next node in document order after n's whole subtree, within top.
const dom::Node* nextAfterSubtree(const dom::Node* n, const dom::Node* top) {
    for (; n != nullptr && n != top; n = n->parent) {
        if (n->nextSibling) return n->nextSibling;
    }
    return nullptr;
}

// Byte ranges of the outermost signatures, in document order (so ascending and disjoint).
bool outermostSignatureRanges(const dom::Document& doc,
                              std::vector<std::pair<uint32_t, uint32_t>>& ranges, LogBase& log) {
    const dom::Node* top = doc.documentNode();
    for (const dom::Node* n = top; n != nullptr;) {
        if (n->isElement() && detail::isXmlDsigSignature(*n)) {
            if (!detail::offsetsUsable(n, log)) return false;
            ranges.emplace_back(n->start, n->end);
            n = nextAfterSubtree(n, top);
        } else {
            n = dom::nextInDocumentOrder(n, top);
        }
    }
    return true;
}

}  // namespace

bool XmlSigRemoval::removeSignatures(const StringBuffer& text, _tvXmlDtd&, StringBuffer& out,
                                     LogBase& log) {
    LogContextExitor ctx(log, "removeSignatures");
    out.clear();
    dom::Document doc;
    if (!detail::parseLogged(text, doc, log)) return false;
    std::vector<std::pair<uint32_t, uint32_t>> ranges;
    if (!outermostSignatureRanges(doc, ranges, log)) return false;
    if (log.verbose()) log.LogDataLong("numSignaturesRemoved", static_cast<long>(ranges.size()));
    return out.setString(textWithoutRanges(text.str(), ranges));
}

std::string XmlSigRemoval::textWithoutRanges(
    const std::string& src, const std::vector<std::pair<uint32_t, uint32_t>>& ranges) {
    std::string result;
    result.reserve(src.size());
    std::size_t pos = 0;
    for (const auto& [begin, end] : ranges) {
        result.append(src, pos, begin - pos);
        pos = end;
    }
    result.append(src, pos, std::string::npos);
    return result;
}

}  // namespace xmldsig
