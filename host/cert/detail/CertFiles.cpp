#include "host/cert/detail/CertFiles.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "host/cert/detail/CertText.h"
#include "host/log/LogBase.h"
#include "host/xml/FileSys.h"

namespace xmldsig::detail {

bool listRegularFiles(const std::string& dir, std::vector<std::string>& paths, LogBase& log) {
    namespace fs = std::filesystem;
    paths.clear();
    try {
        std::error_code ec;
        fs::directory_iterator it(dir, ec);
        if (ec) {
            log.LogError("Cannot open the directory.");
            log.LogDataStr("dir", dir.c_str());
            log.LogDataStr("reason", ec.message().c_str());
            return false;
        }
        std::size_t seen = 0;
        for (const fs::directory_iterator end; it != end; it.increment(ec)) {
            if (ec) break;
            if (++seen > kMaxDirEntries) {
                log.LogError("The directory holds too many entries.");
                log.LogDataStr("dir", dir.c_str());
                return false;
            }
            std::error_code typeError;
            if (it->is_regular_file(typeError)) paths.push_back(it->path().string());
        }
        if (ec) {
            log.LogError("Cannot read the directory.");
            log.LogDataStr("dir", dir.c_str());
            log.LogDataStr("reason", ec.message().c_str());
            return false;
        }
        std::sort(paths.begin(), paths.end());
        return true;
    } catch (...) {
        log.LogError("Out of memory listing the directory.");
        return false;
    }
}

bool readCertificateFile(const std::string& path, std::vector<DataBuffer>& out, LogBase& log) {
    DataBuffer data;
    if (!FileSys::readFileToDb(path.c_str(), data, log, kMaxCertFileBytes)) return false;
    if (!readCertificates(data, out, log)) {
        log.LogDataStr("path", path.c_str());
        return false;
    }
    return true;
}

}  // namespace xmldsig::detail
