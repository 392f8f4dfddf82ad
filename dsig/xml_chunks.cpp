// Marker-delimited span removal, for the XPath expressions that are carried out as text edits.
#include <string>
#include <string_view>

#include "dsig/_clsXmlDSigBase.h"
#include "dsig/detail/XmlChunks.h"

namespace xmldsig {

namespace detail {

bool removeChunk(StringBuffer& xml, const char* startMarker, const char* endMarker) {
    return xml.removeDelimited(startMarker, endMarker, true, true);
}

// One pass over the text: the next end marker and the next mustContain occurrence are found
// once and reused while the span starts pass below them, so a text full of start markers
// costs linear time, not one scan per marker.
bool removeChunkContaining(StringBuffer& xml, const char* startMarker, const char* endMarker,
                           const char* mustContain) {
    const std::string_view b(startMarker != nullptr ? startMarker : "");
    const std::string_view e(endMarker != nullptr ? endMarker : "");
    const std::string_view m(mustContain != nullptr ? mustContain : "");
    if (b.empty() || e.empty()) return false;
    std::string& s = xml.str();
    constexpr std::size_t npos = std::string::npos;
    std::size_t endAt = npos, mustAt = npos;
    bool endKnown = false, mustKnown = false;
    for (std::size_t at = s.find(b); at != npos; at = s.find(b, at + b.size())) {
        if (!endKnown || endAt < at + b.size()) {
            endAt = s.find(e, at + b.size());
            endKnown = true;
        }
        if (endAt == npos) return false;  // no later span can close either
        if (!mustKnown || mustAt < at) {
            mustAt = s.find(m, at);
            mustKnown = true;
        }
        if (mustAt == npos) return false;  // no later span can contain it
        const std::size_t spanEnd = endAt + e.size();
        if (mustAt + m.size() <= spanEnd) {
            s.erase(at, spanEnd - at);
            return true;
        }
    }
    return false;
}

int removeChunks(StringBuffer& xml, const char* startMarker, const char* endMarker,
                 int maxRemovals) {
    int removed = 0;
    while (removed < maxRemovals && removeChunk(xml, startMarker, endMarker)) ++removed;
    return removed;
}

int removeChunksContaining(StringBuffer& xml, const char* startMarker, const char* endMarker,
                           const char* mustContain, int maxRemovals) {
    int removed = 0;
    while (removed < maxRemovals &&
           removeChunkContaining(xml, startMarker, endMarker, mustContain)) {
        ++removed;
    }
    return removed;
}

}  // namespace detail

bool _clsXmlDSigBase::removeXmlChunk(const char* startMarker, const char* endMarker,
                                     StringBuffer& xml, LogBase& log) {
    const bool removed = detail::removeChunk(xml, startMarker, endMarker);
    if (log.verbose()) log.LogDataBool("xmlChunkRemoved", removed);
    return removed;
}

bool _clsXmlDSigBase::removeXmlChunkContaining(const char* startMarker, const char* endMarker,
                                               const char* mustContain, StringBuffer& xml,
                                               LogBase& log) {
    const bool removed = detail::removeChunkContaining(xml, startMarker, endMarker, mustContain);
    if (log.verbose()) log.LogDataBool("xmlChunkRemoved", removed);
    return removed;
}

}  // namespace xmldsig
