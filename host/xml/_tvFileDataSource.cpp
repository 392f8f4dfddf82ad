#include "host/xml/_tvFileDataSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {
namespace {

// strerror is not thread-safe; glibc's strerror_r returns the text to use.
void logOsError(int err, LogBase& log) {
    char text[256];
    log.LogDataStr("osError", strerror_r(err, text, sizeof text));
}

void logOpenFailure(const char* message, const char* path, int err, LogBase& log) {
    log.LogError(message);
    log.LogDataStr("path", path);
    if (err != 0) logOsError(err, log);
}

}  // namespace

_tvFileDataSource::~_tvFileDataSource() {
    closeDataSourceFile();
}

void _tvFileDataSource::closeDataSourceFile() {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
    m_eof = false;
    m_size = -1;
}

bool _tvFileDataSource::openDataSourceFile(const StringBuffer& path, LogBase& log) {
    return openDataSourceFile(path.getString(), log);
}

bool _tvFileDataSource::openDataSourceFile(const char* path, LogBase& log) {
    closeDataSourceFile();
    if (path == nullptr || *path == '\0') {
        log.LogError("No file path to open.");
        return false;
    }
    // O_NONBLOCK keeps the open of a FIFO from waiting for a writer; such files are refused
    // below, and the flag does not affect reads from a regular file.
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        logOpenFailure("Failed to open file.", path, errno, log);
        return false;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        logOpenFailure("Failed to get file information.", path, errno, log);
        ::close(fd);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        logOpenFailure("Not a regular file.", path, 0, log);
        ::close(fd);
        return false;
    }
    m_fd = fd;
    m_size = static_cast<std::int64_t>(info.st_size);
    m_eof = false;
    return true;
}

bool _tvFileDataSource::readChunk(unsigned char* buffer, std::size_t maxBytes, std::size_t& numRead,
                                  LogBase& log) {
    numRead = 0;
    if (m_fd < 0) {
        log.LogError("The file data source is not open.");
        return false;
    }
    if (buffer == nullptr && maxBytes > 0) {
        log.LogError("No buffer to read the data source into.");
        return false;
    }
    if (m_eof || maxBytes == 0) return true;
    ssize_t got = 0;
    do {
        got = ::read(m_fd, buffer, maxBytes);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        const int err = errno;
        log.LogError("Failed to read from file.");
        logOsError(err, log);
        return false;
    }
    numRead = static_cast<std::size_t>(got);
    m_eof = (got == 0);
    return true;
}

}  // namespace xmldsig
