// File-system services: existence tests and bounded whole-file reads. Paths are UTF-8.
#pragma once

#include <cstddef>

#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {

class FileSys {
  public:
    // Largest file readFileToDb accepts: 256 MiB. Signed documents, keys and certificates are
    // far smaller; a larger file is refused before anything is allocated.
    static constexpr std::size_t kMaxReadBytes = 256u << 20;

    // True when a regular file (or a link to one) exists at path. checkFailed is set when the
    // answer is "no" for a reason other than absence (permission, a path component that is not
    // a directory...); the reason is logged.
    static bool fileExistsX(const char* path, bool& checkFailed, LogBase& log);
    static bool fileExistsX(const XString& path, bool& checkFailed, LogBase& log);

    // Replaces out with the file's bytes; false (out emptied) when the file cannot be opened or
    // read, is not a regular file, or is larger than maxBytes.
    static bool readFileToDb(const char* path, DataBuffer& out, LogBase& log,
                             std::size_t maxBytes = kMaxReadBytes);
    static bool readFileToDb(const XString& path, DataBuffer& out, LogBase& log);
};

}  // namespace xmldsig
