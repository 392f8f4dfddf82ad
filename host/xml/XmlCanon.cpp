#include "host/xml/XmlCanon.h"

#include <algorithm>
#include <exception>
#include <string>
#include <string_view>

#include "host/xml/detail/Canonicalizer.h"
#include "host/xml/detail/IdLookup.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig {

namespace {

// Canonical output may outgrow its input (exclusive mode repeats declarations, defaults add
// attributes), but never by this much for a real document.
std::size_t outputLimit(std::size_t inputSize, std::size_t alreadyInOut) {
    const std::size_t room =
        StringBuffer::kMaxSize - std::min(alreadyInOut, StringBuffer::kMaxSize);
    const std::size_t generous = (std::size_t(64) << 20) + 16 * inputSize;
    return std::min(room, generous);
}

// "xpointer(id('x'))" or "xpointer(id(\"x\"))" gives x; anything else gives false.
bool xpointerId(std::string_view ref, std::string_view& id) {
    const std::string_view head = "xpointer(id(";
    const std::string_view tail = "))";
    if (ref.size() < head.size() + tail.size() + 2 || ref.substr(0, head.size()) != head ||
        ref.substr(ref.size() - tail.size()) != tail) {
        return false;
    }
    const std::string_view quoted = ref.substr(head.size(), ref.size() - head.size() - tail.size());
    const char q = quoted.front();
    if ((q != '\'' && q != '"') || quoted.back() != q) return false;
    id = quoted.substr(1, quoted.size() - 2);
    return true;
}

const dom::Node* ebicsElement(const dom::Document& doc, int32_t index, int32_t& counted) {
    counted = 0;
    const dom::Node* top = doc.documentNode();
    for (const dom::Node* n = top; n != nullptr; n = dom::nextInDocumentOrder(n, top)) {
        if (!n->isElement()) continue;
        const std::string_view* value = n->attributeValue("authenticate");
        if (value == nullptr || *value != "true") continue;
        if (counted++ == index) return n;
    }
    return nullptr;
}

const dom::Node* elementById(const dom::Document& doc, std::string_view id, LogBase& log) {
    std::string error;
    const dom::Node* found = detail::findElementById(doc, id, error);
    if (found == nullptr) {
        log.LogError(error.c_str());
        log.LogDataStr("fragmentId", std::string(id).c_str());
    }
    return found;
}

// The elements a span covers: one element starting at its start, then the adjacent sibling
// elements up to its end. False when the span is not made of whole elements below the root.
bool spanElements(const dom::Document& doc, XmlCanon::Span span,
                  std::vector<const dom::Node*>& out) {
    const dom::Node* n = doc.elementStartingAt(span.start);
    if (n == nullptr || n->parent == nullptr || !n->parent->isElement()) return false;
    for (;;) {
        out.push_back(n);
        if (n->end == span.end) return true;
        const dom::Node* next = n->nextSibling;
        if (next == nullptr || !next->isElement() || next->fromEntity || next->start != n->end ||
            next->end > span.end) {
            return false;
        }
        n = next;
    }
}

bool excludedElements(const dom::Document& doc, const std::vector<XmlCanon::Span>& spans,
                      std::vector<const dom::Node*>& out) {
    for (const XmlCanon::Span& span : spans) {
        if (!spanElements(doc, span, out)) return false;
    }
    return true;
}

bool insideAny(const dom::Node* n, const std::vector<const dom::Node*>& excluded) {
    for (; n != nullptr; n = n->parent) {
        for (const dom::Node* e : excluded) {
            if (e == n) return true;
        }
    }
    return false;
}

}  // namespace

bool XmlCanon::excludedSpansApply(const char* fragmentId) const {
    // EBICS counts elements, and the reset option looks at what the subtree uses: both would see
    // the excluded elements.
    if (m_parsed == nullptr || m_ebicsMode || (m_resetOption && m_mode != kModeExclusive)) {
        return false;
    }
    std::vector<const dom::Node*> excluded;
    if (!excludedElements(*m_parsed, m_excludedSpans, excluded)) return false;
    const std::string_view ref = fragmentId != nullptr ? fragmentId : "";
    if (ref.empty() || ref == "xpointer(/)") return true;
    // A fragment: it must be found, once, outside the excluded elements, as in the cut text.
    std::string_view id;
    std::string error;
    const dom::Node* apex =
        detail::findElementById(*m_parsed, xpointerId(ref, id) ? id : ref, error);
    return apex != nullptr && !insideAny(apex, excluded);
}

bool XmlCanon::xmlCanonicalize(const StringBuffer& input, const char* fragmentId,
                               uint32_t startOffset, StringBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "xmlCanonicalize");
    const std::size_t outBefore = out.getSize();
    try {
        dom::Document local;
        // Only a whole document's canonical form includes what follows the root element; a
        // fragment does not care whether that text is well-formed (an SII extract keeps the
        // character after </DTE>, which may be the "<" of the next tag).
        dom::ParseLimits limits;
        const std::string_view whole = fragmentId != nullptr ? fragmentId : "";
        limits.allowTrailingAfterRoot =
            m_ebicsMode || (!whole.empty() && whole != "xpointer(/)") || startOffset != 0;
        const dom::ParseResult parsed = m_parsed != nullptr ? dom::ParseResult{true, 0, 0, 0, {}}
                                                            : local.parse(input.str(), limits);
        const dom::Document& doc = m_parsed != nullptr ? *m_parsed : local;
        if (!parsed.ok) {
            log.LogError("Failed to parse the XML to be canonicalized.");
            log.LogDataStr("parseError", parsed.message.c_str());
            log.LogDataLong("byteOffset", static_cast<long>(parsed.byteOffset));
            log.LogDataLong("line", static_cast<long>(parsed.line));
            log.LogDataLong("column", static_cast<long>(parsed.column));
            return false;
        }

        const dom::Node* apex = nullptr;
        const std::string_view ref = fragmentId != nullptr ? fragmentId : "";
        std::string_view id;
        if (m_ebicsMode) {
            apex = ebicsElement(doc, m_ebicsElementIndex, m_ebicsSecondCounter);
            if (apex == nullptr) {
                log.LogError("No element with authenticate=\"true\" at the EBICS element index.");
                log.LogDataLong("ebicsElementIndex", m_ebicsElementIndex);
                log.LogDataLong("numAuthenticated", m_ebicsSecondCounter);
                return false;
            }
        } else if (ref == "xpointer(/)") {
            apex = doc.documentNode();
        } else if (!ref.empty()) {
            apex = elementById(doc, xpointerId(ref, id) ? id : ref, log);
            if (apex == nullptr) return false;
        } else if (startOffset == 0) {
            apex = doc.documentNode();
        } else {
            apex = doc.elementStartingAt(startOffset);
            if (apex == nullptr) {
                log.LogError("No element starts at the byte offset to canonicalize from.");
                log.LogDataUint32("startOffset", startOffset);
                return false;
            }
        }

        detail::CanonOptions options;
        options.mode =
            m_mode == kModeExclusive ? detail::CanonMode::Exclusive : detail::CanonMode::Inclusive;
        options.withComments = m_withComments;
        for (int i = 0; i < m_inclusivePrefixes.getSize(); ++i) {
            options.inclusivePrefixes.emplace_back(m_inclusivePrefixes.strAt(i));
        }
        options.emulateSortBug = m_duplicateSortingBug;
        options.inheritXmlAttributes = m_secondCompatSwitch;
        options.resetOption = m_resetOption;
        options.maxOutputBytes = outputLimit(input.getSize(), out.getSize());
        if (!m_excludedSpans.empty() &&
            (m_parsed == nullptr || !excludedElements(doc, m_excludedSpans, options.excluded))) {
            log.LogError("The spans to leave out are not whole elements of the parsed document.");
            return false;
        }

        // Written straight into out (its limit is part of maxOutputBytes); a failure leaves out
        // as it was.
        std::string error;
        if (!detail::canonicalize(doc, apex, options, out.str(), error)) {
            out.str().resize(outBefore);
            log.LogError(error.c_str());
            return false;
        }
        return true;
    } catch (const std::exception& e) {
        out.str().resize(outBefore);
        log.LogError("Canonicalization ran out of resources.");
        log.LogDataStr("exception", e.what());
        return false;
    }
}

}  // namespace xmldsig
