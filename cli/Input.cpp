#include "cli/Input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/log/_tvLogger.h"

namespace xmldsig::cli {

namespace {
// Documents larger than this are refused rather than read into memory.
constexpr std::size_t kMaxInputBytes = std::size_t(1) << 30;
}  // namespace

bool readInput(const std::string& path, DataBuffer& out, std::string& error) {
    FILE* f = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
    if (f == nullptr) {
        error = "cannot open '" + path + "': " + std::strerror(errno);
        return false;
    }
    unsigned char chunk[65536];
    std::size_t total = 0;
    bool ok = true;
    while (true) {
        std::size_t n = std::fread(chunk, 1, sizeof chunk, f);
        if (n == 0) break;
        total += n;
        if (total > kMaxInputBytes) {
            error = "'" + path + "' is larger than 1 GiB";
            ok = false;
            break;
        }
        out.append(chunk, n);
    }
    if (ok && std::ferror(f)) {
        error = "cannot read '" + path + "': " + std::strerror(errno);
        ok = false;
    }
    if (f != stdin) std::fclose(f);
    return ok;
}

bool readXmlAsUtf8(const std::string& path, std::string& utf8, std::string& error) {
    DataBuffer bytes;
    if (!readInput(path, bytes, error)) return false;
    _tvLogger log;
    if (!bytes.convertXmlToUtf8(log)) {
        StringBuffer why;
        log.renderText(why);
        error = "cannot convert '" + path + "' to UTF-8:\n" + why.str();
        return false;
    }
    utf8.assign(reinterpret_cast<const char*>(bytes.getData2()), bytes.getSize());
    return true;
}

std::string shortAlgorithmName(const std::string& uri) {
    struct Known {
        const char* suffix;
        const char* name;
    };
    static const Known known[] = {
        {"xml-exc-c14n#WithComments", "exc-c14n#WithComments"},
        {"xml-exc-c14n#", "exc-c14n"},
        {"REC-xml-c14n-20010315#WithComments", "c14n#WithComments"},
        {"REC-xml-c14n-20010315", "c14n"},
        {"xml-c14n11#WithComments", "c14n11#WithComments"},
        {"xml-c14n11", "c14n11"},
        {"#enveloped-signature", "enveloped-signature"},
        {"REC-xpath-19991116", "xpath"},
        {"xmldsig-filter2", "xpath-filter2"},
        {"#base64", "base64"},
        {"REC-xslt-19991116", "xslt"},
    };
    for (const auto& k : known) {
        const std::string s = k.suffix;
        if (uri.size() >= s.size() && uri.compare(uri.size() - s.size(), s.size(), s) == 0)
            return k.name;
    }
    // Digest and signature methods read well as their fragment ("sha256", "rsa-sha256").
    auto hash = uri.rfind('#');
    if (hash != std::string::npos && hash + 1 < uri.size()) return uri.substr(hash + 1);
    return uri;
}

}  // namespace xmldsig::cli
