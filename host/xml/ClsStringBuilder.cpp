#include "host/xml/ClsStringBuilder.h"

#include <string>
#include <string_view>

#include "host/log/LogNull.h"
#include "host/text/CharsetConvert.h"
#include "host/text/DataBuffer.h"
#include "host/xml/FileSys.h"

namespace xmldsig {

bool ClsStringBuilder::LoadFile(const char* path, const char* charset) {
    DataBuffer bytes;
    LogNull quiet;
    if (!FileSys::readFileToDb(path, bytes, quiet)) return false;
    const std::string_view raw(reinterpret_cast<const char*>(bytes.getData2()), bytes.getSize());
    std::string utf8;
    std::string error;
    if (charset == nullptr || *charset == '\0') charset = "utf-8";
    if (!convertCharset(raw, charset, "UTF-8", utf8, error)) return false;
    StringBuffer sb(std::move(utf8));
    return m_str.setFromSbUtf8(sb);
}

}  // namespace xmldsig
