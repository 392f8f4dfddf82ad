// The algorithm table against tests/data/algorithms/readings.tsv: for each URI at each place,
// the name its first reading gives, whether that is only a default, and its second reading.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "dsig/AlgorithmTable.h"

namespace xmldsig {
namespace {

AlgPlace placeNamed(const std::string& s) {
    if (s == "digest") return kPlaceDigestMethod;
    if (s == "sighash") return kPlaceSignatureHash;
    if (s == "sigkey") return kPlaceSignatureKey;
    if (s == "transform") return kPlaceTransform;
    return kPlaceSignedInfoC14n;
}

TEST(AlgorithmTable, ReadingsOfTheTable) {
    std::ifstream in(XMLDSIG_TEST_DATA_DIR "/algorithms/readings.tsv");
    ASSERT_TRUE(in) << "readings.tsv";
    std::string line;
    int rows = 0;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        std::string place, uri, first, isDefault, second;
        std::getline(fields, place, '\t');
        std::getline(fields, uri, '\t');
        std::getline(fields, first, '\t');
        std::getline(fields, isDefault, '\t');
        std::getline(fields, second, '\t');
        const AlgorithmRow& row = firstReading(placeNamed(place), uri.c_str());
        EXPECT_STREQ(row.name, first.c_str()) << line;
        EXPECT_EQ(row.isDefault, isDefault == "yes") << line;
        EXPECT_EQ(isDefaultMapping(placeNamed(place), uri.c_str()), isDefault == "yes") << line;
        const AlgorithmRow* standard = standardAlgorithm(placeNamed(place), uri.c_str());
        EXPECT_STREQ(standard != nullptr ? standard->name : "-", second.c_str()) << line;
        ++rows;
    }
    EXPECT_GT(rows, 20);
}

// Every place's first reading ends in a catch-all row, and every standard URI names an
// algorithm of its own kind.
TEST(AlgorithmTable, ChainsEndInCatchAllAndStandardRowsAreComplete) {
    for (unsigned place : {1u, 2u, 4u, 8u, 16u})
        EXPECT_EQ(firstReading(static_cast<AlgPlace>(place), "\x01").match, AlgMatch::Any);
    for (const AlgorithmRow* r = algorithmRowsBegin(); r != algorithmRowsEnd(); ++r) {
        if (r->reading != AlgReading::Second) continue;
        EXPECT_EQ(r->match, AlgMatch::Exact) << r->text;
        if (r->handler == AlgHandler::Signature) EXPECT_NE(r->keyType, keytype::kUnsupported);
        if (r->places == kPlaceDigestMethod) EXPECT_NE(r->hashId, 0) << r->text;
    }
}

}  // namespace
}  // namespace xmldsig
