// Reading certificates from files and directories.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/text/DataBuffer.h"

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

// Most directory entries looked at in one directory.
constexpr std::size_t kMaxDirEntries = 20000;

// Replaces paths with the regular files (and links to them) directly inside dir, sorted by
// name. False, logged, when dir cannot be listed or holds too many entries.
bool listRegularFiles(const std::string& dir, std::vector<std::string>& paths, LogBase& log);

// Appends the DER of every certificate in the file (PEM, DER or base64). False, logged, when
// the file cannot be read or holds no certificate.
bool readCertificateFile(const std::string& path, std::vector<DataBuffer>& out, LogBase& log);

}  // namespace xmldsig::detail
