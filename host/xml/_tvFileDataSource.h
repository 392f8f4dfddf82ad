// A data source that streams a regular file. Anything else (a directory, a pipe, a device) is
// refused when opened: reading it could block forever or never end.
#pragma once

#include "host/xml/_tvDataSource.h"

namespace xmldsig {

class StringBuffer;

class _tvFileDataSource : public _tvDataSource {
  public:
    _tvFileDataSource() = default;
    ~_tvFileDataSource() override;

    // Opens the file at path (UTF-8) for reading, closing any file opened before. False, with
    // the path and the reason logged, when the file cannot be opened or is not a regular file.
    bool openDataSourceFile(const char* path, LogBase& log);
    bool openDataSourceFile(const StringBuffer& path, LogBase& log);
    void closeDataSourceFile();
    bool isOpen() const { return m_fd >= 0; }

    bool readChunk(unsigned char* buffer, std::size_t maxBytes, std::size_t& numRead,
                   LogBase& log) override;
    bool endOfStream() const override { return m_eof; }
    std::int64_t getSize() const override { return m_size; }

  private:
    int m_fd = -1;
    bool m_eof = false;
    std::int64_t m_size = -1;
};

}  // namespace xmldsig
