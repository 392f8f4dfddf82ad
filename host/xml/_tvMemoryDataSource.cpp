#include "host/xml/_tvMemoryDataSource.h"

#include <algorithm>
#include <cstring>

#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"

namespace xmldsig {

_tvMemoryDataSource::_tvMemoryDataSource(const DataBuffer& bytes) {
    initializeMemSource(bytes.getData2(), bytes.getSize());
}

void _tvMemoryDataSource::initializeMemSource(const void* data, std::size_t length) {
    m_data = static_cast<const unsigned char*>(data);
    m_length = (data == nullptr) ? 0 : length;
    m_pos = 0;
}

bool _tvMemoryDataSource::readChunk(unsigned char* buffer, std::size_t maxBytes,
                                    std::size_t& numRead, LogBase& log) {
    numRead = 0;
    if (buffer == nullptr && maxBytes > 0) {
        log.LogError("No buffer to read the data source into.");
        return false;
    }
    numRead = std::min(maxBytes, m_length - m_pos);
    if (numRead > 0) std::memcpy(buffer, m_data + m_pos, numRead);
    m_pos += numRead;
    return true;
}

}  // namespace xmldsig
