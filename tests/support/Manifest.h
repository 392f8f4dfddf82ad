// Rows of the corpus manifest (tests/corpus/MANIFEST.tsv), read at test time so that tests
// select documents by what the manifest says about them, never by file name.
#pragma once

#include <string>
#include <vector>

namespace xmldsig::test {

struct ManifestRow {
    std::string path;  // relative to the corpus folder
    std::string family;
    std::string keyMaterial;
    std::string expected;
    std::string xmlsec1;  // what xmlsec1 1.2.37 said
};

std::vector<ManifestRow> readManifest();

// A name usable as a GoogleTest parameter name.
std::string testNameFor(const std::string& path);

}  // namespace xmldsig::test
