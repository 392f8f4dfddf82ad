// A source of bytes read in pieces, so that a large file can be hashed in bounded memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xmldsig {

class LogBase;

class _tvDataSource {
  public:
    _tvDataSource() = default;
    _tvDataSource(const _tvDataSource&) = delete;
    _tvDataSource& operator=(const _tvDataSource&) = delete;
    virtual ~_tvDataSource() = default;

    // Reads up to maxBytes into buffer and sets numRead. numRead is 0 only at the end of the
    // data. False, with the reason logged, on a read error or when the source is not ready.
    virtual bool readChunk(unsigned char* buffer, std::size_t maxBytes, std::size_t& numRead,
                           LogBase& log) = 0;
    // True when no more bytes will come. A file source learns this from the read that finds
    // the end, so callers read until numRead is 0 rather than trusting this alone.
    virtual bool endOfStream() const = 0;
    // Size of the whole source in bytes as known when it was opened; -1 when unknown.
    virtual std::int64_t getSize() const = 0;
};

}  // namespace xmldsig
