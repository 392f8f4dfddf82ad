#include "cli/FileList.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

namespace xmldsig::cli {

namespace fs = std::filesystem;

namespace {

// Signed XML as it is met in practice: .xml, and DigiDoc .ddoc containers.
bool looksSigned(const fs::path& p) {
    std::string ext = p.extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext == ".xml" || ext == ".ddoc";
}

bool addDirectory(const std::string& dir, std::vector<std::string>& out, Report& report) {
    std::error_code ec;
    std::vector<std::string> found;
    fs::recursive_directory_iterator it(dir, fs::directory_options::skip_permission_denied, ec);
    for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_regular_file(ec) && looksSigned(it->path()))
            found.push_back(it->path().string());
    }
    if (ec) {
        report.err("xmldsig: cannot read directory '%s': %s\n", dir.c_str(), ec.message().c_str());
        return false;
    }
    std::sort(found.begin(), found.end());
    out.insert(out.end(), found.begin(), found.end());
    return true;
}

}  // namespace

bool expandInputs(const std::vector<std::string>& args, bool recursive,
                  std::vector<std::string>& out, Report& report) {
    bool ok = true;
    for (const auto& arg : args) {
        std::error_code ec;
        // Without -r a directory stays an input, so that it gets its line saying what it is.
        if (recursive && arg != "-" && fs::is_directory(arg, ec)) {
            ok = addDirectory(arg, out, report) && ok;
            continue;
        }
        out.push_back(arg);
    }
    return ok;
}

}  // namespace xmldsig::cli
