// The compatibility switches of XmlCanon: the attribute-sorting emulation, the inheritance of
// xml:* attributes into a fragment, and rendering only the inherited declarations a fragment
// uses. Expected outputs follow the W3C rules by hand; where xmllint can say the same, it does.
#include <gtest/gtest.h>

#include "tests/xml/C14nTestUtil.h"

namespace xmldsig::testing {
namespace {

const std::string kSortDoc =
    R"(<r xmlns:z="urn:a" xmlns:a="urn:z" b="1" z:c="2" a:d="3" A="4" a:a="5"/>)";

TEST(XmlCanonSortBug, OffOrdersAttributesByNamespaceUriThenLocalName) {
    XmlCanon canon;
    const CanonRun run = runCanon(canon, kSortDoc, nullptr, 0);
    ASSERT_TRUE(run.ok) << run.log;
    // No namespace first (A, b), then urn:a (z:c), then urn:z (a:a, a:d).
    EXPECT_EQ(run.out,
              R"(<r xmlns:a="urn:z" xmlns:z="urn:a" A="4" b="1" z:c="2" a:a="5" a:d="3"></r>)");
}

TEST(XmlCanonSortBug, OnOrdersAllAttributesByWrittenNameAndLeavesNamespacesAlone) {
    for (int32_t mode : {XmlCanon::kModeInclusive, XmlCanon::kModeExclusive}) {
        XmlCanon canon;
        canon.m_mode = mode;
        canon.m_duplicateSortingBug = true;
        const CanonRun run = runCanon(canon, kSortDoc, nullptr, 0);
        ASSERT_TRUE(run.ok) << run.log;
        EXPECT_EQ(run.out,
                  R"(<r xmlns:a="urn:z" xmlns:z="urn:a" A="4" a:a="5" a:d="3" b="1" z:c="2"></r>)")
            << "mode " << mode;
    }
}

TEST(XmlCanonSortBug, InheritedXmlAttributesJoinTheWrittenNameOrder) {
    const std::string doc = R"(<r xml:lang="en"><e Id="e" zeta="1" abc="2"/></r>)";
    XmlCanon canon;
    CanonRun run = runCanon(canon, doc, "e", 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, R"(<e Id="e" abc="2" zeta="1" xml:lang="en"></e>)");
    canon.m_duplicateSortingBug = true;
    run = runCanon(canon, doc, "e", 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, R"(<e Id="e" abc="2" xml:lang="en" zeta="1"></e>)");
}

TEST(XmlCanonSortBug, MakesNoDifferenceWhereBothOrdersAgree) {
    const std::string doc = R"(<r a="1" b="2"><c d="3"/></r>)";
    XmlCanon plain;
    XmlCanon buggy;
    buggy.m_duplicateSortingBug = true;
    EXPECT_EQ(runCanon(plain, doc, nullptr, 0).out, runCanon(buggy, doc, nullptr, 0).out);
}

const std::string kXmlAttrDoc =
    R"(<r xml:lang="en" xml:space="preserve" xml:base="http://x/"><m><a Id="x" xml:space="default">t</a></m></r>)";

TEST(XmlCanonSecondSwitch, OnInheritsXmlAttributesIntoTheFragment) {
    XmlCanon canon;
    const CanonRun run = runCanon(canon, kXmlAttrDoc, "x", 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, R"(<a Id="x" xml:base="http://x/" xml:lang="en" xml:space="default">t</a>)");
}

TEST(XmlCanonSecondSwitch, OffKeepsOnlyTheFragmentsOwnXmlAttributes) {
    XmlCanon canon;
    canon.m_secondCompatSwitch = false;
    const CanonRun run = runCanon(canon, kXmlAttrDoc, "x", 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, R"(<a Id="x" xml:space="default">t</a>)");
}

TEST(XmlCanonSecondSwitch, ExclusiveModeNeverInherits) {
    XmlCanon canon;
    canon.m_mode = XmlCanon::kModeExclusive;
    const CanonRun run = runCanon(canon, kXmlAttrDoc, "x", 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, R"(<a Id="x" xml:space="default">t</a>)");
}

TEST(XmlCanonSecondSwitch, WholeDocumentIsUnaffected) {
    XmlCanon on;
    XmlCanon off;
    off.m_secondCompatSwitch = false;
    EXPECT_EQ(runCanon(on, kXmlAttrDoc, nullptr, 0).out,
              runCanon(off, kXmlAttrDoc, nullptr, 0).out);
}

struct ResetCase {
    const char* name;
    const char* doc;
    const char* withoutReset;
    const char* withReset;
};

const ResetCase kResetCases[] = {
    {"UnusedPrefixDropped",
     R"(<r xmlns="urn:d" xmlns:a="urn:a" xmlns:b="urn:b"><x Id="x"><a:y/></x></r>)",
     R"(<x xmlns="urn:d" xmlns:a="urn:a" xmlns:b="urn:b" Id="x"><a:y></a:y></x>)",
     R"(<x xmlns="urn:d" xmlns:a="urn:a" Id="x"><a:y></a:y></x>)"},
    {"PrefixUsedOnlyByAnAttribute",
     R"(<r xmlns:a="urn:a" xmlns:b="urn:b"><x Id="x"><y b:k="v"/></x></r>)",
     R"(<x xmlns:a="urn:a" xmlns:b="urn:b" Id="x"><y b:k="v"></y></x>)",
     R"(<x xmlns:b="urn:b" Id="x"><y b:k="v"></y></x>)"},
    {"PrefixRedeclaredInsideIsNotAUseOfTheInheritedOne",
     R"(<r xmlns:a="urn:a"><x Id="x"><a:y xmlns:a="urn:other"/></x></r>)",
     R"(<x xmlns:a="urn:a" Id="x"><a:y xmlns:a="urn:other"></a:y></x>)",
     R"(<x Id="x"><a:y xmlns:a="urn:other"></a:y></x>)"},
    {"UnusedDefaultDropped", R"(<r xmlns="urn:d" xmlns:p="urn:p"><p:x Id="x"/></r>)",
     R"(<p:x xmlns="urn:d" xmlns:p="urn:p" Id="x"></p:x>)",
     R"(<p:x xmlns:p="urn:p" Id="x"></p:x>)"},
    {"OwnDeclarationsAlwaysKept", R"(<r xmlns:a="urn:a"><x Id="x" xmlns:k="urn:k"/></r>)",
     R"(<x xmlns:a="urn:a" xmlns:k="urn:k" Id="x"></x>)", R"(<x xmlns:k="urn:k" Id="x"></x>)"},
};

class XmlCanonResetOption : public ::testing::TestWithParam<ResetCase> {};

TEST_P(XmlCanonResetOption, RendersOnlyInheritedDeclarationsTheFragmentUses) {
    const ResetCase& c = GetParam();
    XmlCanon canon;
    CanonRun run = runCanon(canon, c.doc, "x", 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, c.withoutReset);
    canon.m_resetOption = true;
    run = runCanon(canon, c.doc, "x", 0);
    ASSERT_TRUE(run.ok) << run.log;
    EXPECT_EQ(run.out, c.withReset);
}

INSTANTIATE_TEST_SUITE_P(Cases, XmlCanonResetOption, ::testing::ValuesIn(kResetCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(XmlCanonResetOptionScope, ExclusiveModeAndWholeDocumentsAreUnaffected) {
    const std::string doc = kResetCases[0].doc;
    for (int32_t mode : {XmlCanon::kModeInclusive, XmlCanon::kModeExclusive}) {
        XmlCanon plain;
        XmlCanon reset;
        plain.m_mode = reset.m_mode = mode;
        reset.m_resetOption = true;
        EXPECT_EQ(runCanon(plain, doc, nullptr, 0).out, runCanon(reset, doc, nullptr, 0).out);
        if (mode == XmlCanon::kModeExclusive) {
            EXPECT_EQ(runCanon(plain, doc, "x", 0).out, runCanon(reset, doc, "x", 0).out);
        }
    }
}

}  // namespace
}  // namespace xmldsig::testing
