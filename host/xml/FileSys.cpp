#include "host/xml/FileSys.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace xmldsig {

namespace {

struct FileCloser {
    void operator()(std::FILE* f) const noexcept { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

void logErrno(LogBase& log, const char* what, const char* path, int err) {
    log.LogError(what);
    log.LogDataStr("path", path);
    log.LogDataStr("reason", std::strerror(err));
}

}  // namespace

bool FileSys::fileExistsX(const char* path, bool& checkFailed, LogBase& log) {
    checkFailed = false;
    if (path == nullptr || *path == '\0') return false;
    struct stat st {};
    if (::stat(path, &st) != 0) {
        if (errno != ENOENT) {
            checkFailed = true;
            logErrno(log, "Cannot check whether the file exists.", path, errno);
        }
        return false;
    }
    return S_ISREG(st.st_mode);
}

bool FileSys::fileExistsX(const XString& path, bool& checkFailed, LogBase& log) {
    return fileExistsX(path.getUtf8(), checkFailed, log);
}

bool FileSys::readFileToDb(const char* path, DataBuffer& out, LogBase& log, std::size_t maxBytes) {
    out.clear();
    if (path == nullptr || *path == '\0') {
        log.LogError("No file path given.");
        return false;
    }
    FilePtr f(std::fopen(path, "rb"));
    if (!f) {
        logErrno(log, "Failed to open file.", path, errno);
        return false;
    }
    struct stat st {};
    if (::fstat(fileno(f.get()), &st) != 0 || !S_ISREG(st.st_mode)) {
        log.LogError("Not a regular file.");
        log.LogDataStr("path", path);
        return false;
    }
    if (static_cast<unsigned long long>(st.st_size) > maxBytes) {
        log.LogError("File too large to load.");
        log.LogDataStr("path", path);
        log.LogDataLong("fileSize", static_cast<long>(st.st_size));
        log.LogDataLong("maxSize", static_cast<long>(maxBytes));
        return false;
    }
    // Read in pieces: the size can change under us, and the limit must hold regardless.
    unsigned char buf[65536];
    for (;;) {
        const std::size_t n = std::fread(buf, 1, sizeof buf, f.get());
        if (n > 0 && (out.getSize() + n > maxBytes || !out.append(buf, n))) {
            out.clear();
            log.LogError("File too large to load.");
            log.LogDataStr("path", path);
            return false;
        }
        if (n < sizeof buf) break;
    }
    if (std::ferror(f.get())) {
        out.clear();
        logErrno(log, "Failed to read file.", path, errno);
        return false;
    }
    return true;
}

bool FileSys::readFileToDb(const XString& path, DataBuffer& out, LogBase& log) {
    return readFileToDb(path.getUtf8(), out, log);
}

}  // namespace xmldsig
