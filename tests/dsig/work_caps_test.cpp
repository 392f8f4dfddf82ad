// Work caps: a document cannot make verification cost grow faster than its size. The work is
// counted in the log (one "verifyReferenceDigest_inner" context per attempt at a reference, one
// "transformAlgorithm" line per transform applied), never timed.
#include <gtest/gtest.h>

#include <string>

#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

// An enveloping signature whose SignedInfo holds refs references to its Object, each with
// transforms inclusive canonicalizations and a digest that does not match.
std::string manyReferences(int refs, int transforms) {
    std::string t;
    for (int i = 0; i < transforms; ++i)
        t += "<Transform Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"/>";
    std::string r;
    for (int i = 0; i < refs; ++i)
        r += "<Reference URI=\"#obj\"><Transforms>" + t +
             "</Transforms><DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/>"
             "<DigestValue>AAAA</DigestValue></Reference>";
    return "<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><SignedInfo>"
           "<CanonicalizationMethod Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"/>"
           "<SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256\"/>" +
           r +
           "</SignedInfo><SignatureValue>AAAA</SignatureValue><Object Id=\"obj\">data</Object>"
           "</Signature>";
}

std::size_t occurrences(const std::string& text, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

struct CapRow {
    const char* name;
    int refs, transforms;
    const char* verifyOptions;
    const char* capLine;  // "" when no cap is passed
    std::size_t attempts, transformsApplied;
};

// Each mismatching reference is tried twice (the attribute-sorting retry); a reference refused
// for its transforms is not retried.
const CapRow kRows[] = {
    {"AtTheReferenceCap", 100, 1, "", "", 200, 200},
    {"PastTheReferenceCap", 101, 1, "", "More than 100 references in SignedInfo", 0, 0},
    {"FarPastTheReferenceCap", 5000, 1, "", "More than 100 references in SignedInfo", 0, 0},
    {"ReferenceCapRaised", 101, 1, R"({"MaxReferences": 101})", "", 202, 202},
    {"AtTheTransformCap", 1, 10, "", "", 2, 20},
    {"PastTheTransformCap", 2, 11, "", "More than 10 transforms in a Reference", 2, 0},
    {"FarPastTheTransformCap", 1, 5000, "", "More than 10 transforms in a Reference", 1, 0},
    {"TransformCapRaised", 1, 11, R"({"MaxTransforms": 11})", "", 2, 22},
    {"BadOptionKeepsTheCap", 1, 11, R"({"MaxTransforms": "many"})",
     "More than 10 transforms in a Reference", 1, 0},
};

class WorkCaps : public ::testing::TestWithParam<CapRow> {};

TEST_P(WorkCaps, WorkStaysWithinTheCap) {
    const CapRow& row = GetParam();
    DsigPtr dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, manyReferences(row.refs, row.transforms)));
    dsig->put_VerifyOptions(XString(row.verifyOptions));
    dsig->put_VerboseLogging(true);
    EXPECT_FALSE(dsig->VerifySignature(true));
    const std::string log = dsig->lastErrorText();
    EXPECT_EQ(occurrences(log, "verifyReferenceDigest_inner:"), row.attempts)
        << log.substr(0, 4000);
    EXPECT_EQ(occurrences(log, "transformAlgorithm:"), row.transformsApplied);
    if (*row.capLine != '\0') {
        EXPECT_NE(log.find(row.capLine), std::string::npos) << log.substr(0, 4000);
    } else {
        EXPECT_EQ(log.find("More than"), std::string::npos) << log.substr(0, 4000);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, WorkCaps, ::testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(WorkCaps, SingleReferenceCheckHonoursTheReferenceCap) {
    DsigPtr dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, manyReferences(101, 1)));
    EXPECT_FALSE(dsig->VerifyReferenceDigest(0));
    EXPECT_EQ(dsig->get_RefFailReason(), 99);
    const std::string log = dsig->lastErrorText();
    EXPECT_NE(log.find("More than 100 references in SignedInfo"), std::string::npos) << log;
    EXPECT_EQ(occurrences(log, "verifyReferenceDigest_inner:"), 0u);
}

}  // namespace
}  // namespace xmldsig::test
