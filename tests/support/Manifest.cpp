#include "support/Manifest.h"

#include "support/DsigTestUtil.h"

namespace xmldsig::test {

std::vector<ManifestRow> readManifest() {
    std::vector<ManifestRow> rows;
    for (const DataRow& r : loadTable(corpusPath("MANIFEST.tsv")))
        if (!r["path"].empty())
            rows.push_back({r["path"], r["family"], r["key_material"], r["expected"], r["xmlsec1"],
                            r["reason"]});
    return rows;
}

std::vector<std::string> corpusDocuments(const std::string& excludeExpectedPrefix) {
    std::vector<std::string> paths;
    for (const ManifestRow& r : readManifest())
        if (excludeExpectedPrefix.empty() || r.expected.rfind(excludeExpectedPrefix, 0) != 0)
            paths.push_back(corpusPath(r.path));
    return paths;
}

}  // namespace xmldsig::test
