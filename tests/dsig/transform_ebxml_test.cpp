// Removal of the SOAP header elements addressed to the next SOAP node.
#include <gtest/gtest.h>

#include <string>

#include "dsig/DSigReference.h"
#include "dsig/TransformTestUtil.h"

namespace xmldsig::test {
namespace {

const std::string kSoapNext = "S:actor=\"http://schemas.xmlsoap.org/soap/actor/next\"";
const std::string kMshNext = "S:actor=\"urn:oasis:names:tc:ebxml-msg:actor:nextMSH\"";

std::string header(const std::string& inside) {
    return "<S:Envelope><S:Header>" + inside + "</S:Header><S:Body>b</S:Body></S:Envelope>";
}

struct EbXmlRow {
    const char* name;
    std::string input;
    std::string expected;
};

std::vector<EbXmlRow> rows() {
    return {
        {"SoapNextActorElementRemoved",
         header("<eb:AckRequested " + kSoapNext + " eb:signed=\"true\">a</eb:AckRequested><k/>"),
         header("<k/>")},
        {"EbXmlNextMshElementRemoved", header("<eb:Via\t" + kMshNext + ">v</eb:Via><k/>"),
         header("<k/>")},
        {"BothFormsRemoved", header("<a " + kMshNext + ">1</a><k/><b " + kSoapNext + ">2</b><m/>"),
         header("<k/><m/>")},
        {"OtherActorsStay", header("<a S:actor=\"urn:me\">1</a>"),
         header("<a S:actor=\"urn:me\">1</a>")},
        // The attribute text inside content is not an attribute: the scan moves past it.
        {"AttributeTextInContentSkipped",
         header("<note>" + kSoapNext + "</note><a " + kSoapNext + ">x</a>"),
         header("<note>" + kSoapNext + "</note>")},
        // An empty element has no end tag to find: the removal ends there.
        {"EmptyElementEndsTheRemoval", header("<a " + kSoapNext + "/><b " + kSoapNext + ">x</b>"),
         header("<a " + kSoapNext + "/><b " + kSoapNext + ">x</b>")},
        {"NameRunsToTheEndOfTheText", "x<a" + kSoapNext, "x<a" + kSoapNext},
        {"NoStartTagBeforeTheAttribute", kSoapNext + "<a/>", kSoapNext + "<a/>"},
    };
}

class TransformEbXml : public ::testing::TestWithParam<EbXmlRow> {};

TEST_P(TransformEbXml, RemovesNextActorElements) {
    StringBuffer xml(GetParam().input);
    _tvLogger log;
    DSigReference::removeEbXmlFragments(xml, log);
    EXPECT_EQ(xml.str(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, TransformEbXml, ::testing::ValuesIn(rows()),
                         [](const auto& info) { return std::string(info.param.name); });

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
