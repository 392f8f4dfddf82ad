// XmlCanon's selection of what to canonicalize, its compatibility switches and its failures, row
// by row from tests/data/c14n/canon_cases.tsv; and repeated EBICS calls.
#include <gtest/gtest.h>

#include <sstream>

#include "support/DataTable.h"
#include "tests/xml/C14nTestUtil.h"

namespace xmldsig::testing {
namespace {

std::vector<test::DataRow> canonCases() {
    return test::loadTable("c14n/canon_cases.tsv", {{"EMPTY", "\x01"}});
}

class XmlCanonCase : public ::testing::TestWithParam<test::DataRow> {};

TEST_P(XmlCanonCase, GivesTheTableOutput) {
    const test::DataRow& c = GetParam();
    XmlCanon canon;
    const std::string& mode = c["mode"];
    canon.m_mode = mode.empty() || mode == "inclusive" ? XmlCanon::kModeInclusive
                   : mode == "exclusive"               ? XmlCanon::kModeExclusive
                                                       : std::stoi(mode);
    std::istringstream flags(c["flags"]);
    for (std::string f; flags >> f;) {
        if (f == "comments") canon.m_withComments = true;
        if (f == "sortbug") canon.m_duplicateSortingBug = true;
        if (f == "noxmlinherit") canon.m_secondCompatSwitch = false;
        if (f == "reset") canon.m_resetOption = true;
        if (f.rfind("ebics=", 0) == 0) {
            canon.m_ebicsMode = true;
            canon.m_ebicsElementIndex = std::stoi(f.substr(6));
        }
    }
    const std::string& doc = c["doc"];
    const std::string& at = c["offset"];
    const std::size_t offset = at.empty()     ? 0
                               : at[0] == '@' ? std::stoul(at.substr(1))
                                              : doc.find(at);
    ASSERT_NE(offset, std::string::npos) << c.where();
    const std::string id = c["id"] == "\x01" ? "" : c["id"];
    const CanonRun run = runCanon(canon, doc, c["id"].empty() ? nullptr : id.c_str(),
                                  static_cast<uint32_t>(offset), "<<");
    EXPECT_EQ(run.ok, c.flag("ok")) << c.where() << "\n" << run.log;
    EXPECT_EQ(run.out, "<<" + c["expected"]) << c.where();
    EXPECT_NE(run.log.find(c["log"]), std::string::npos) << c.where() << "\n" << run.log;
}

INSTANTIATE_TEST_SUITE_P(Table, XmlCanonCase, ::testing::ValuesIn(canonCases()),
                         [](const auto& info) { return info.param["name"]; });

TEST(XmlCanonEbics, RepeatedCallsAppendEachElementUntilNoneIsLeft) {
    const std::string doc =
        R"(<req xmlns="urn:ebics"><h authenticate="true"><n>1</n></h><s authenticate="false"/>)"
        R"(<body><d authenticate="true" x="y">data</d></body></req>)";
    XmlCanon canon;
    canon.m_ebicsMode = true;
    StringBuffer out;
    _tvLogger log;
    int produced = 0;
    for (int i = 0; i < 100; ++i) {
        canon.m_ebicsElementIndex = i;
        canon.m_ebicsSecondCounter = 0;
        if (!canon.xmlCanonicalize(StringBuffer(doc), nullptr, 0, out, log)) break;
        ++produced;
    }
    EXPECT_EQ(produced, 2);
    EXPECT_EQ(out.str(), R"(<h xmlns="urn:ebics" authenticate="true"><n>1</n></h>)"
                         R"(<d xmlns="urn:ebics" authenticate="true" x="y">data</d>)");
}

}  // namespace
}  // namespace xmldsig::testing
