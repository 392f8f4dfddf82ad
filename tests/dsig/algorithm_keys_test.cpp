// The algorithms added beyond the established recognition (RSA-PSS, SHA-3, SHA-224, EdDSA),
// on corpus documents signed by xmlsec: each verifies with its signer's key and fails with
// another key (tests/data/algorithms/wrong_key.tsv). Tampered copies are tamper_test's.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/CorpusVerify.h"
#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

struct KeyCase {
    std::string document, rightKey, wrongKey;
};

std::vector<KeyCase> keyCases() {
    std::vector<KeyCase> cases;
    std::ifstream in(XMLDSIG_TEST_DATA_DIR "/algorithms/wrong_key.tsv");
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        KeyCase c;
        std::getline(fields, c.document, '\t');
        std::getline(fields, c.rightKey, '\t');
        std::getline(fields, c.wrongKey, '\t');
        cases.push_back(c);
    }
    return cases;
}

bool verifiesWith(const KeyCase& c, const std::string& key, std::string& log) {
    VerifyRequest req;
    req.document = readFile(corpusPath(c.document));
    KeyMaterial keys;
    keys.keyFiles.push_back(corpusPath(key));
    const VerifyOutcome out = verifyCorpusDocument(req, keys);
    log = out.log;
    return out.valid;
}

TEST(AddedAlgorithms, VerifyWithTheSignersKeyOnly) {
    const std::vector<KeyCase> cases = keyCases();
    ASSERT_GE(cases.size(), 6u);
    for (const KeyCase& c : cases) {
        std::string log;
        EXPECT_TRUE(verifiesWith(c, c.rightKey, log)) << c.document << "\n" << log;
        EXPECT_FALSE(verifiesWith(c, c.wrongKey, log)) << c.document << "\n" << log;
    }
}

}  // namespace
}  // namespace xmldsig::test
