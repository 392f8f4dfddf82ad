// Removal of the SOAP header elements addressed to the next SOAP node.
#include <gtest/gtest.h>

#include <string>

#include "dsig/DSigReference.h"
#include "dsig/TransformTestUtil.h"
#include "support/DataTable.h"

namespace xmldsig::test {
namespace {

const std::string kSoapNext = "S:actor=\"http://schemas.xmlsoap.org/soap/actor/next\"";
std::string header(const std::string& inside) {
    return "<S:Envelope><S:Header>" + inside + "</S:Header><S:Body>b</S:Body></S:Envelope>";
}

class TransformEbXml : public ::testing::TestWithParam<DataRow> {};

TEST_P(TransformEbXml, RemovesNextActorElements) {
    StringBuffer xml(GetParam()["input"]);
    _tvLogger log;
    DSigReference::removeEbXmlFragments(xml, log);
    EXPECT_EQ(xml.str(), GetParam()["expected"]);
}

INSTANTIATE_TEST_SUITE_P(Cases, TransformEbXml,
                         ::testing::ValuesIn(loadTable("dsig/transform_ebxml.tsv")),
                         [](const auto& info) { return info.param["name"]; });

TEST(TransformEbXmlCap, FourteenElementsKeepTheLast) {
    std::string inside;
    for (int i = 0; i < 14; ++i)
        inside += "<e" + std::to_string(i) + " " + kSoapNext + ">x</e" + std::to_string(i) + ">";
    StringBuffer xml(header(inside));
    _tvLogger log;
    DSigReference::removeEbXmlFragments(xml, log);
    EXPECT_EQ(xml.str(), header("<e13 " + kSoapNext + ">x</e13>"));
    EXPECT_EQ(loggedValue(log, "numNextActorElementsRemoved"), "13");
}

}  // namespace
}  // namespace xmldsig::test
