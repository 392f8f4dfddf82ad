// Documents whose references the general engine reads (XPath, XPath Filter 2.0): a copy with a
// character changed inside the nodes the expression selects must fail its reference
// (tests/data/w3c/tamper.tsv names the change); the untampered document verifies.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/CorpusVerify.h"
#include "support/DsigTestUtil.h"
#include "support/Manifest.h"

namespace xmldsig::test {
namespace {

const ManifestRow* manifestRow(const std::vector<ManifestRow>& rows, const std::string& path) {
    for (const auto& r : rows)
        if (r.path == path) return &r;
    return nullptr;
}

TEST(W3cTamper, ChangedSelectedNodesFailTheReference) {
    const std::vector<ManifestRow> rows = readManifest();
    std::ifstream in(XMLDSIG_TEST_DATA_DIR "/w3c/tamper.tsv");
    int cases = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        std::string path, from, to;
        std::getline(fields, path, '\t');
        std::getline(fields, from, '\t');
        std::getline(fields, to, '\t');
        const ManifestRow* row = manifestRow(rows, path);
        ASSERT_NE(row, nullptr) << path;
        const std::string full = corpusPath(path);
        VerifyRequest req;
        req.document = readFile(full);
        req.docDir = full.substr(0, full.find_last_of('/'));
        const KeyMaterial keys = keyMaterialFor(*row);
        const VerifyOutcome good = verifyCorpusDocument(req, keys);
        EXPECT_TRUE(good.valid) << path << "\n" << good.log;
        const std::size_t at = req.document.find(from);
        ASSERT_NE(at, std::string::npos) << path << ": " << from;
        req.document.replace(at, from.size(), to);
        const VerifyOutcome bad = verifyCorpusDocument(req, keys);
        EXPECT_FALSE(bad.valid) << path;
        EXPECT_NE(bad.log.find("Failed to verify reference digest"), std::string::npos) << path;
        ++cases;
    }
    EXPECT_GE(cases, 6);
}

}  // namespace
}  // namespace xmldsig::test
