#include "dsig/detail/RefDigestWork.h"

#include <algorithm>

namespace xmldsig::detail {

void RefDigestWork::cutExcluded() {
    // From the end, so that the earlier spans' offsets stay valid.
    std::sort(excluded.begin(), excluded.end(),
              [](const XmlCanon::Span& a, const XmlCanon::Span& b) { return a.start > b.start; });
    for (const XmlCanon::Span& s : excluded) text.removeChunk(s.start, s.end - s.start);
    excluded.clear();
}

}  // namespace xmldsig::detail
