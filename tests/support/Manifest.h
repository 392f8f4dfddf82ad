// Rows of the corpus manifest (tests/corpus/MANIFEST.tsv), read at test time so that tests
// select documents by what the manifest says about them, never by file name.
#pragma once

#include <string>
#include <vector>

#include "support/DataTable.h"

namespace xmldsig::test {

struct ManifestRow {
    std::string path;  // relative to the corpus folder
    std::string family;
    std::string keyMaterial;
    std::string expected;
    std::string xmlsec1;  // what xmlsec1 1.2.37 said
    std::string reason;   // why this verifier's verdict differs from the expected one, if it does
};

std::vector<ManifestRow> readManifest();

// The absolute paths of the corpus documents whose expected column does not start with prefix.
std::vector<std::string> corpusDocuments(const std::string& excludeExpectedPrefix = "");

}  // namespace xmldsig::test
