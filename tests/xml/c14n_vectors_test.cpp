// Canonicalization vectors of other projects (libxml2's c14n test set with the W3C examples),
// read from C14N_VECTORS.tsv and compared byte for byte.
#include <gtest/gtest.h>

#include <sstream>

#include "host/log/_tvLogger.h"
#include "host/xml/XmlCanon.h"
#include "host/xml/w3c/W3cEngine.h"
#include "tests/xml/C14nTestUtil.h"

namespace xmldsig::testing {
namespace {

const std::string kCorpus = XMLDSIG_CORPUS_DIR;

void configure(XmlCanon& canon, const C14nVector& row) {
    if (row.algorithm.find("xml-exc-c14n") != std::string::npos) {
        canon.m_mode = XmlCanon::kModeExclusive;
    }
    canon.m_withComments = row.algorithm.find("WithComments") != std::string::npos;
    std::istringstream prefixes(row.inclusivePrefixes);
    for (std::string p; prefixes >> p;) canon.m_inclusivePrefixes.appendString(p.c_str());
}

// The node-set of an .xpath file: its XPath element's text, with the prefixes declared on it.
w3c::CanonRequest nodeSetRequest(const C14nVector& row, const std::string& input,
                                 const std::string& xpathFile) {
    w3c::CanonRequest r;
    r.text = input.data();
    r.length = input.size();
    const std::string& a = row.algorithm;
    r.method = a.find("xml-exc-c14n") != std::string::npos ? w3c::CanonMethod::Exclusive10
               : a.find("xml-c14n11") != std::string::npos ? w3c::CanonMethod::Inclusive11
                                                           : w3c::CanonMethod::Inclusive10;
    r.withComments = a.find("WithComments") != std::string::npos;
    std::istringstream prefixes(row.inclusivePrefixes);
    for (std::string p; prefixes >> p;) r.inclusivePrefixes.push_back(p);
    dom::Document xp;
    if (xpathFile.empty() || !xp.parse(xpathFile).ok) return r;
    const dom::Node* top = xp.documentNode()->firstChildElement();
    for (const dom::Attribute& attr : top->attributes)
        if (attr.name.rfind("xmlns:", 0) == 0)
            r.namespaces.emplace_back(attr.name.substr(6), attr.value);
    for (const dom::Node* c = top->firstChild; c != nullptr; c = c->nextSibling)
        if (c->type == dom::NodeType::Text) r.xpath += c->value;
    return r;
}

// Node-sets that are not one element's subtree, and Canonical XML 1.1, go through the general
// engine (libxml2), as the tool's c14n --xpath and --c14n11 do.
void expectGeneralEngine(const C14nVector& row, const std::string& input,
                         const std::string& expected, const std::string& xpathFile) {
    const w3c::CanonRequest request = nodeSetRequest(row, input, xpathFile);
    std::string out;
    _tvLogger log;
    ASSERT_TRUE(w3c::canonicalize(request, out, log)) << log.renderText();
    EXPECT_EQ(out, expected);
}

class XmlCanonVectors : public ::testing::TestWithParam<C14nVector> {};

TEST_P(XmlCanonVectors, MatchesExpectedOutput) {
    const C14nVector& row = GetParam();
    const std::optional<std::string> input = readFile(kCorpus + "/" + row.input);
    const std::optional<std::string> expected = readFile(kCorpus + "/" + row.expectedOutput);
    ASSERT_TRUE(input && expected) << row.input;
    if (declaresExternalParsedEntity(*input)) {
        GTEST_SKIP() << "needs an external parsed entity; external entities are never loaded";
    }
    dom::Document doc;
    const dom::ParseResult parsed = doc.parse(*input);
    ASSERT_TRUE(parsed.ok) << parsed.message << " at byte " << parsed.byteOffset;

    uint32_t startOffset = 0;  // the whole document
    const std::string xpathPrefix = "XPath node-set from ";
    const bool c14n11 = row.algorithm.find("xml-c14n11") != std::string::npos;
    if (row.nodeSet.compare(0, xpathPrefix.size(), xpathPrefix) == 0) {
        const std::optional<std::string> xpath =
            readFile(kCorpus + "/" + row.nodeSet.substr(xpathPrefix.size()));
        ASSERT_TRUE(xpath) << row.nodeSet;
        const std::optional<ExpandedName> selected = subtreeSelection(*xpath);
        const std::vector<const dom::Node*> tops =
            selected ? outermostElementsNamed(doc, *selected) : std::vector<const dom::Node*>{};
        if (c14n11 || tops.size() != 1) return expectGeneralEngine(row, *input, *expected, *xpath);
        const dom::Node* apex = tops.front();
        ASSERT_NE(apex->start, 0u) << "a subtree at offset 0 would read as the whole document";
        startOffset = apex->start;
    } else {
        ASSERT_EQ(row.nodeSet, "whole document");
        if (c14n11) expectGeneralEngine(row, *input, *expected, "");
    }
    XmlCanon canon;
    configure(canon, row);
    StringBuffer out;
    _tvLogger log;
    ASSERT_TRUE(canon.xmlCanonicalize(StringBuffer(*input), nullptr, startOffset, out, log))
        << log.renderText();
    EXPECT_EQ(out.str(), *expected);
}

std::string rowName(const ::testing::TestParamInfo<C14nVector>& info) {
    std::string name;
    for (char c : info.param.input) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

const std::vector<C14nVector>& vectors() {
    static const std::vector<C14nVector> rows =
        loadC14nVectors(kCorpus + "/C14N_VECTORS.tsv", "c14n");
    return rows;
}

TEST(XmlCanonVectorsManifest, HasRows) {
    EXPECT_GT(vectors().size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Corpus, XmlCanonVectors, ::testing::ValuesIn(vectors()), rowName);

}  // namespace
}  // namespace xmldsig::testing
