// Removal of marker-delimited spans from a working text. The markers are literal text (usually
// a start tag written without attributes and its end tag); a span runs from a start marker to
// the first end marker after it, both markers included.
#pragma once

#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"

namespace xmldsig::detail {

// Removes the first span; false when there is none.
bool removeChunk(StringBuffer& xml, const char* startMarker, const char* endMarker);

// Removes the first span, walking from the start of the text, whose text contains mustContain;
// false when no span qualifies. Same result as StringBuffer::removeDelimitedIfContains with both
// markers removed, in linear time however many start markers the text holds.
bool removeChunkContaining(StringBuffer& xml, const char* startMarker, const char* endMarker,
                           const char* mustContain);

// Removes spans one after another until none is left or maxRemovals were taken out; returns
// how many went.
int removeChunks(StringBuffer& xml, const char* startMarker, const char* endMarker,
                 int maxRemovals);
int removeChunksContaining(StringBuffer& xml, const char* startMarker, const char* endMarker,
                           const char* mustContain, int maxRemovals);

}  // namespace xmldsig::detail
