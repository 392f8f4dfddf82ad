// The host canonicalizer: parses XML text and appends the canonical form of the whole document,
// of the element with a given Id, of the element starting at a byte offset, or of the n-th EBICS
// authenticated element. Configured through its settings before each call.
#pragma once

#include <cstdint>
#include <vector>

#include "host/log/LogBase.h"
#include "host/text/ExtPtrArray.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {

namespace dom {
class Document;
}

class XmlCanon {
  public:
    static constexpr int32_t kModeInclusive = 1;  // Canonical XML 1.0
    static constexpr int32_t kModeExclusive = 2;  // Exclusive XML Canonicalization 1.0

    XmlCanon() = default;
    XmlCanon(const XmlCanon&) = delete;
    XmlCanon& operator=(const XmlCanon&) = delete;

    // Canonicalizes input and appends the result to out; false, with the reason in the log, on
    // unparseable input or when the element asked for cannot be found unambiguously.
    //  - EBICS mode: the m_ebicsElementIndex-th element (from 0, document order) carrying
    //    authenticate="true";
    //  - otherwise, with a non-empty fragmentId: the one element whose Id attribute has that
    //    value ("xpointer(/)" is the whole document, "xpointer(id('x'))" the element x);
    //  - otherwise the element starting at byte startOffset, 0 meaning the whole document.
    // A chosen element is canonicalized with the namespace context it inherits.
    bool xmlCanonicalize(const StringBuffer& input, const char* fragmentId, uint32_t startOffset,
                         StringBuffer& out, LogBase& log);

    // A tree already parsed from exactly the input the next calls are given, so that they need
    // not parse it again (null: parse the input). The caller keeps it alive.
    void useParsedDocument(const dom::Document* doc) { m_parsed = doc; }

    // A byte span [start, end) of the parsed text.
    struct Span {
        uint32_t start = 0;
        uint32_t end = 0;
    };
    // Spans of the parsed document, each covering whole adjacent sibling elements, that the
    // canonical form leaves out: the result is that of the text with the spans cut out, without
    // cutting or parsing anything. Only with useParsedDocument, and only when
    // excludedSpansApply says the result is the same.
    std::vector<Span> m_excludedSpans;
    // True when xmlCanonicalize(input, fragmentId, 0, ...) over the parsed document, leaving
    // out m_excludedSpans, gives exactly what canonicalizing the text with the spans cut out
    // would give (and the same log). Logs nothing.
    bool excludedSpansApply(const char* fragmentId) const;

    int32_t m_mode = kModeInclusive;
    bool m_withComments = false;
    bool m_ebicsMode = false;
    int32_t m_ebicsElementIndex = 0;
    int32_t m_ebicsSecondCounter = 0;  // authenticated elements counted by the last EBICS search
    bool m_duplicateSortingBug = false;
    ExtPtrArraySb m_inclusivePrefixes;  // exclusive mode: InclusiveNamespaces prefixes
    bool m_resetOption = false;         // inclusive fragment: only the inherited namespaces used
    bool m_secondCompatSwitch = true;   // inclusive fragment: inherit ancestors' xml:* attributes

  private:
    const dom::Document* m_parsed = nullptr;
};

}  // namespace xmldsig
