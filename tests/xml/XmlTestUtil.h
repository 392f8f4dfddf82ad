// Helpers shared by the tree, locator and remover tests: files, the corpus manifest, running
// the xmllint oracle, and owning ClsXml references.
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "host/xml/ClsXml.h"
#include "support/Manifest.h"

namespace xmldsig::xmltest {

struct Release {
    void operator()(ClsXml* x) const {
        if (x) x->decRefCount();
    }
};
using XmlPtr = std::unique_ptr<ClsXml, Release>;

inline std::string readFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void writeFile(const std::filesystem::path& p, const std::string& bytes) {
    std::ofstream(p, std::ios::binary) << bytes;
}

// Runs a shell command and returns its standard output; status receives pclose's result.
inline std::string run(const std::string& cmd, int* status = nullptr) {
    std::string out;
    FILE* f = popen(cmd.c_str(), "r");
    if (f == nullptr) return out;
    char buf[4096];
    std::size_t n;
    while ((n = fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
    const int rc = pclose(f);
    if (status) *status = rc;
    return out;
}

// The path column of the corpus MANIFEST.tsv (relative to the corpus folder).
inline std::vector<std::string> manifestPaths() {
    std::vector<std::string> paths;
    for (const auto& row : test::readManifest()) paths.push_back(row.path);
    return paths;
}

inline std::filesystem::path corpusPath(const std::string& rel) {
    return std::filesystem::path(XMLDSIG_CORPUS_DIR) / rel;
}

// xmllint's namespace-aware count of XML Signature elements (plus EBICS AuthSignature when
// asked); -1 when xmllint cannot read the file.
inline int xmllintSignatureCount(const std::filesystem::path& p, bool withAuthSignature) {
    int status = 0;
    std::string xpath =
        "//*[local-name()='Signature' and namespace-uri()='http://www.w3.org/2000/09/xmldsig#']";
    if (withAuthSignature) xpath += " | //*[local-name()='AuthSignature']";
    const std::string out =
        run("xmllint --nonet --xpath \"count(" + xpath + ")\" '" + p.string() + "' 2>/dev/null",
            &status);
    return status == 0 ? std::atoi(out.c_str()) : -1;
}

}  // namespace xmldsig::xmltest
