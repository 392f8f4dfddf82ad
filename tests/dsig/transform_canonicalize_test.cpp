// The canonicalization transform: how the algorithm text, the transform's InclusiveNamespaces,
// the reference URI and the document family configure the canonicalizer.
#include <gtest/gtest.h>

#include <string>

#include "dsig/TransformTestUtil.h"
#include "support/DataTable.h"
#include "support/DsigTestUtil.h"
#include "support/TransformTestAccess.h"

namespace xmldsig::test {
namespace {

using Access = TransformTestAccess;

const char* const kC14n = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
const char* const kExc = "http://www.w3.org/2001/10/xml-exc-c14n#";

const std::string kDoc =
    "<?xml version=\"1.0\"?>\n<!--top-->\n"
    "<r xmlns=\"urn:r\" xmlns:a=\"urn:a\" xmlns:b=\"urn:b\"><!--in-->"
    "<a:x Id=\"X\" z=\"1\" b:y=\"2\"><!--cx--><c/></a:x></r>\n";

std::string transformElement(const char* algorithm, const char* prefixList = nullptr) {
    std::string t = "<ds:Transform xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" Algorithm=\"";
    t += algorithm;
    if (prefixList == nullptr) return t + "\"/>";
    return t + "\"><ec:InclusiveNamespaces xmlns:ec=\"http://www.w3.org/2001/10/xml-exc-c14n#\" " +
           "PrefixList=\"" + prefixList + "\"/></ds:Transform>";
}

class TransformCanonicalize : public ::testing::TestWithParam<DataRow> {};

TEST_P(TransformCanonicalize, ProducesTheCanonicalForm) {
    const DataRow& row = GetParam();
    auto dsig = newDsig();
    const char* algorithm = row["algorithm"].c_str();
    XmlPtr transform = row.flag("transform") ? parseElement(transformElement(algorithm)) : nullptr;
    StringBuffer xml(row["doc"]);
    _tvLogger log;
    ASSERT_TRUE(
        Access::canonicalize(*dsig, transform.get(), xml, algorithm, row["uri"].c_str(), log))
        << log.renderText();
    EXPECT_EQ(xml.str(), row["expected"]);
}

INSTANTIATE_TEST_SUITE_P(Cases, TransformCanonicalize,
                         ::testing::ValuesIn(loadTable("dsig/transform_canonicalize.tsv")),
                         [](const auto& info) { return info.param["name"]; });

TEST(TransformCanonicalizePrefixes, PrefixListAppliesToExclusiveOnly) {
    const std::string doc =
        "<r xmlns:ds=\"urn:ds\" xmlns:xades=\"urn:xades\" xmlns:o=\"urn:o\"><p Id=\"P\"/></r>";
    struct Case {
        const char* algorithm;
        const char* prefixList;
        std::string expected;
    } cases[] = {
        {kExc, nullptr, "<p Id=\"P\"></p>"},
        {kExc, "ds xades", "<p xmlns:ds=\"urn:ds\" xmlns:xades=\"urn:xades\" Id=\"P\"></p>"},
        {kExc, "o", "<p xmlns:o=\"urn:o\" Id=\"P\"></p>"},
        {kC14n, "ds",
         "<p xmlns:ds=\"urn:ds\" xmlns:o=\"urn:o\" xmlns:xades=\"urn:xades\" Id=\"P\"></p>"},
    };
    auto dsig = newDsig();
    for (const auto& c : cases) {
        XmlPtr transform = parseElement(transformElement(c.algorithm, c.prefixList));
        ASSERT_NE(transform, nullptr);
        StringBuffer xml(doc);
        _tvLogger log;
        log.m_verboseLogging = true;
        ASSERT_TRUE(Access::canonicalize(*dsig, transform.get(), xml, c.algorithm, "P", log));
        EXPECT_EQ(xml.str(), c.expected)
            << c.algorithm << " " << (c.prefixList ? c.prefixList : "");
        const bool readsList = c.prefixList != nullptr && c.algorithm == kExc;
        EXPECT_EQ(loggedValue(log, "inclusiveNamespacesPrefixList"),
                  readsList ? c.prefixList : "(absent)");
    }
}

TEST(TransformCanonicalizeFamilies, SortingEmulationOrdersAttributesByQualifiedName) {
    const std::string w3cOrder =
        "<a:x xmlns=\"urn:r\" xmlns:a=\"urn:a\" xmlns:b=\"urn:b\" "
        "Id=\"X\" z=\"1\" b:y=\"2\"><c></c></a:x>";
    const std::string emulated =
        "<a:x xmlns=\"urn:r\" xmlns:a=\"urn:a\" xmlns:b=\"urn:b\" "
        "Id=\"X\" b:y=\"2\" z=\"1\"><c></c></a:x>";
    struct Case {
        bool sortBug, csioz;
        const std::string& expected;
    } cases[] = {{false, false, w3cOrder}, {true, false, emulated}, {false, true, emulated}};
    for (const auto& c : cases) {
        auto dsig = newDsig();
        Access::emulateSortBug(*dsig) = c.sortBug;
        Access::isCsioz(*dsig) = c.csioz;
        StringBuffer xml(kDoc);
        _tvLogger log;
        ASSERT_TRUE(Access::canonicalize(*dsig, nullptr, xml, kC14n, "X", log));
        EXPECT_EQ(xml.str(), c.expected);
        EXPECT_EQ(
            loggedInfo(log, "Will duplicate the XML canonicalization attribute sorting bug..."),
            c.sortBug || c.csioz);
    }
}

TEST(TransformCanonicalizeFamilies, CmaStpWholeDocumentIsItsDocumentElement) {
    const std::string doc =
        "<Envelope xmlns=\"urn:cma:stp:xsd:stp\"><Header/>"
        "<Document x=\"1\"><a Id=\"A\"/></Document><Trailer/></Envelope>";
    struct Case {
        bool cmaStp;
        const char* uri;
        std::string expected;
    } cases[] = {
        {true, "", "<Document x=\"1\"><a Id=\"A\"></a></Document>"},
        {true, "A", "<a xmlns=\"urn:cma:stp:xsd:stp\" Id=\"A\"></a>"},
        {false, "",
         "<Envelope xmlns=\"urn:cma:stp:xsd:stp\"><Header></Header><Document x=\"1\">"
         "<a Id=\"A\"></a></Document><Trailer></Trailer></Envelope>"},
    };
    for (const auto& c : cases) {
        auto dsig = newDsig();
        Access::isCmaStp(*dsig) = c.cmaStp;
        StringBuffer xml(doc);
        _tvLogger log;
        ASSERT_TRUE(Access::canonicalize(*dsig, nullptr, xml, kC14n, c.uri, log));
        EXPECT_EQ(xml.str(), c.expected) << c.cmaStp << " " << c.uri;
    }
}

const std::string kEbicsDoc =
    "<ebicsRequest xmlns=\"urn:org:ebics:H004\"><header authenticate=\"true\"><static>s"
    "</static></header><AuthSignature/><body><x authenticate=\"true\">1</x>"
    "<y authenticate=\"false\">n</y><z b=\"2\" authenticate=\"true\">3</z></body></ebicsRequest>";

TEST(TransformCanonicalizeEbics, AuthenticatedElementsConcatenated) {
    const std::string expected =
        "<header xmlns=\"urn:org:ebics:H004\" authenticate=\"true\"><static>s</static></header>"
        "<x xmlns=\"urn:org:ebics:H004\" authenticate=\"true\">1</x>"
        "<z xmlns=\"urn:org:ebics:H004\" authenticate=\"true\" b=\"2\">3</z>";
    for (const char* uri : {"xpointer(//*[@authenticate='true'])", "EBICS"}) {
        auto dsig = newDsig();
        StringBuffer xml(kEbicsDoc);
        _tvLogger log;
        ASSERT_TRUE(Access::canonicalize(*dsig, nullptr, xml, kC14n, uri, log)) << uri;
        EXPECT_EQ(xml.str(), expected) << uri;
        EXPECT_TRUE(loggedInfo(log, "Canonicalizing for EBICS..."));
    }
}

TEST(TransformCanonicalizeEbics, AtMostOneHundredElements) {
    std::string doc = "<r>";
    for (int i = 0; i < 101; ++i) doc += "<e authenticate=\"true\">" + std::to_string(i) + "</e>";
    doc += "</r>";
    auto dsig = newDsig();
    StringBuffer xml(doc);
    _tvLogger log;
    ASSERT_TRUE(Access::canonicalize(*dsig, nullptr, xml, kC14n, "EBICS", log));
    EXPECT_NE(xml.str().find("<e authenticate=\"true\">99</e>"), std::string::npos);
    EXPECT_EQ(xml.str().find("<e authenticate=\"true\">100</e>"), std::string::npos);
}

TEST(TransformCanonicalizeFailures, TextStaysAndTheFailureIsLogged) {
    struct Case {
        const char* name;
        std::string input;
        const char* uri;
    } cases[] = {
        {"NoAuthenticatedElement", "<r><a authenticate=\"false\"/></r>", "EBICS"},
        {"MalformedXml", "<r><a></r>", ""},
        {"UnknownId", kDoc, "nope"},
        {"DuplicateId", "<r><a Id=\"d\"/><b Id=\"d\"/></r>", "d"},
        {"EmptyText", "", ""},
    };
    for (const auto& c : cases) {
        auto dsig = newDsig();
        StringBuffer xml(c.input);
        _tvLogger log;
        EXPECT_FALSE(Access::canonicalize(*dsig, nullptr, xml, kC14n, c.uri, log)) << c.name;
        EXPECT_EQ(xml.str(), c.input) << c.name;
        EXPECT_TRUE(loggedError(log, "Failed to canonicalize XML fragment.")) << c.name;
    }
}

}  // namespace
}  // namespace xmldsig::test
