#include "support/Manifest.h"

#include <cctype>
#include <fstream>
#include <sstream>

#include "support/DsigTestUtil.h"

namespace xmldsig::test {

std::vector<ManifestRow> readManifest() {
    std::ifstream in(corpusPath("MANIFEST.tsv"));
    std::vector<ManifestRow> rows;
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        ManifestRow r;
        std::getline(fields, r.path, '\t');
        std::getline(fields, r.family, '\t');
        std::getline(fields, r.keyMaterial, '\t');
        std::getline(fields, r.expected, '\t');
        std::getline(fields, r.xmlsec1, '\t');
        if (!r.path.empty()) rows.push_back(r);
    }
    return rows;
}

std::string testNameFor(const std::string& path) {
    std::string name;
    for (char c : path) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

}  // namespace xmldsig::test
