#include "host/xml/ClsBinData.h"

#include "host/log/LogNull.h"
#include "host/xml/FileSys.h"

namespace xmldsig {

bool ClsBinData::LoadFile(const char* path) {
    DataBuffer bytes;
    LogNull quiet;
    if (!FileSys::readFileToDb(path, bytes, quiet)) return false;
    m_data = std::move(bytes);
    return true;
}

bool ClsBinData::AppendEncoded(const char* text, const char* encoding) {
    return text != nullptr && encoding != nullptr && m_data.appendEncoded(text, encoding);
}

bool ClsBinData::GetEncoded(const char* encoding, XString& out) const {
    if (encoding == nullptr) return false;
    StringBuffer sb;
    if (!m_data.encodeDB(encoding, sb)) return false;
    return out.setFromSbUtf8(sb);
}

}  // namespace xmldsig
