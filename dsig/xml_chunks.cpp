// Marker-delimited span removal, for the XPath expressions that are carried out as text edits.
#include "dsig/_clsXmlDSigBase.h"
#include "dsig/detail/XmlChunks.h"

namespace xmldsig {

namespace detail {

bool removeChunk(StringBuffer& xml, const char* startMarker, const char* endMarker) {
    return xml.removeDelimited(startMarker, endMarker, true, true);
}

bool removeChunkContaining(StringBuffer& xml, const char* startMarker, const char* endMarker,
                           const char* mustContain) {
    return xml.removeDelimitedIfContains(startMarker, endMarker, mustContain, true, true);
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
