// Removes signatures from document text by byte ranges, leaving every other byte as it was.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"
#include "host/xml/_tvXmlDtd.h"

namespace xmldsig {

class XmlSigRemoval {
  public:
    // Replaces out with text minus every element named Signature in the XML Signature
    // namespace (any prefix), each with its whole content; a signature inside another goes
    // with the outer one. False, out emptied, when the text is not well-formed XML or a
    // signature has no location in the text (it came from an entity expansion).
    static bool removeSignatures(const StringBuffer& text, _tvXmlDtd& dtd, StringBuffer& out,
                                 LogBase& log);

    // src without the byte ranges [begin, end), which must be sorted and not overlap.
    static std::string textWithoutRanges(const std::string& src,
                                         const std::vector<std::pair<uint32_t, uint32_t>>& ranges);
};

}  // namespace xmldsig
