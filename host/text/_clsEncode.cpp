#include "host/text/_clsEncode.h"

#include "host/text/CharsetConvert.h"
#include "host/text/detail/EncodingNames.h"

namespace xmldsig {

bool _clsEncode::put_EncodingMode(const char* name) {
    if (name == nullptr) return false;
    // Besides the binary encodings, a character-set name selects "the text in that charset".
    if (detail::classifyEncoding(name) == detail::EncodingKind::Other && !charsetIsKnown(name))
        return false;
    m_mode = name;
    return true;
}

}  // namespace xmldsig
