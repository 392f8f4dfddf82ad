// A data source over bytes held by the caller, who keeps them alive while the source is read.
#pragma once

#include "host/xml/_tvDataSource.h"

namespace xmldsig {

class DataBuffer;

class _tvMemoryDataSource : public _tvDataSource {
  public:
    _tvMemoryDataSource() = default;
    _tvMemoryDataSource(const void* data, std::size_t length) { initializeMemSource(data, length); }
    explicit _tvMemoryDataSource(const DataBuffer& bytes);

    // Points the source at new bytes and rewinds it. A null pointer reads as empty.
    void initializeMemSource(const void* data, std::size_t length);

    bool readChunk(unsigned char* buffer, std::size_t maxBytes, std::size_t& numRead,
                   LogBase& log) override;
    bool endOfStream() const override { return m_pos >= m_length; }
    std::int64_t getSize() const override { return static_cast<std::int64_t>(m_length); }

  private:
    const unsigned char* m_data = nullptr;
    std::size_t m_length = 0;
    std::size_t m_pos = 0;
};

}  // namespace xmldsig
