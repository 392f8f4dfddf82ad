// The text-service operations that write to a log. Their classes live in host/text, which sits
// below the log layer, so the logging forms are defined here over the log-free cores.
#include <string>

#include "host/log/LogBase.h"
#include "host/text/CharsetConvert.h"
#include "host/text/DataBuffer.h"
#include "host/text/XString.h"
#include "host/text/_clsEncode.h"

namespace xmldsig {

bool DataBuffer::convertXmlToUtf8(LogBase& log) {
    std::size_t bom = 0;
    const std::string encoding = detectXmlEncoding(
        std::string_view(reinterpret_cast<const char*>(getData2()), getSize()), bom);
    if (log.verbose()) log.LogDataStr("xmlCharset", encoding.c_str());
    std::string error;
    if (xmldsig::convertXmlToUtf8(*this, error)) return true;
    log.LogError("Failed to convert XML to utf-8.");
    log.LogDataStr("charset", encoding.c_str());
    log.LogError(error.c_str());
    return false;
}

void XString::checkFixUtf8Windows1252(LogBase& log) {
    if (checkFixUtf8Windows1252()) log.LogInfo("Converted invalid utf-8 from Windows-1252.");
}

bool _clsEncode::decodeBinary(const char* text, DataBuffer& out, bool append, LogBase& log) const {
    if (!append) out.clear();
    if (out.appendEncoded(text, m_mode.c_str())) return true;
    log.LogError("Failed to decode the text.");
    log.LogDataStr("encoding", m_mode.c_str());
    return false;
}

}  // namespace xmldsig
