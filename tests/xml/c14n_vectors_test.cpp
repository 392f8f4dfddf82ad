// Canonicalization vectors of other projects (libxml2's c14n test set with the W3C examples),
// read from C14N_VECTORS.tsv and compared byte for byte.
#include <gtest/gtest.h>

#include <sstream>

#include "host/xml/detail/Canonicalizer.h"
#include "tests/xml/C14nTestUtil.h"

namespace xmldsig::testing {
namespace {

const std::string kCorpus = XMLDSIG_CORPUS_DIR;

detail::CanonOptions optionsFor(const C14nVector& row) {
    detail::CanonOptions options;
    if (row.algorithm.find("xml-exc-c14n") != std::string::npos) {
        options.mode = detail::CanonMode::Exclusive;
    }
    options.withComments = row.algorithm.find("WithComments") != std::string::npos;
    std::istringstream prefixes(row.inclusivePrefixes);
    for (std::string p; prefixes >> p;) options.inclusivePrefixes.push_back(p);
    return options;
}

// Canonical XML 1.1 differs from 1.0 only in what a subtree inherits: xml:id is not inherited
// and xml:base is joined rather than copied. The two agree when no ancestor carries either.
bool ancestorsCarryXmlBaseOrId(const dom::Node& apex) {
    for (const dom::Node* p = apex.parent; p != nullptr && p->isElement(); p = p->parent) {
        if (p->findAttribute("xml:base") != nullptr || p->findAttribute("xml:id") != nullptr) {
            return true;
        }
    }
    return false;
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

    const dom::Node* apex = doc.documentNode();
    const std::string xpathPrefix = "XPath node-set from ";
    if (row.nodeSet.compare(0, xpathPrefix.size(), xpathPrefix) == 0) {
        const std::optional<std::string> xpath =
            readFile(kCorpus + "/" + row.nodeSet.substr(xpathPrefix.size()));
        ASSERT_TRUE(xpath) << row.nodeSet;
        const std::optional<ExpandedName> selected = subtreeSelection(*xpath);
        if (!selected) {
            GTEST_SKIP() << "the node-set is an arbitrary XPath expression, not one element's "
                            "subtree; this canonicalizer takes a document or an element";
        }
        const std::vector<const dom::Node*> tops = outermostElementsNamed(doc, *selected);
        if (tops.size() != 1) {
            GTEST_SKIP() << "the node-set is " << tops.size() << " separate subtrees, not one";
        }
        apex = tops.front();
        if (row.algorithm.find("xml-c14n11") != std::string::npos &&
            ancestorsCarryXmlBaseOrId(*apex)) {
            GTEST_SKIP() << "Canonical XML 1.1 xml:base/xml:id inheritance differs from 1.0, "
                            "which is what this canonicalizer renders";
        }
    } else {
        ASSERT_EQ(row.nodeSet, "whole document");
    }
    std::string out;
    std::string error;
    ASSERT_TRUE(detail::canonicalize(doc, apex, optionsFor(row), out, error)) << error;
    EXPECT_EQ(out, *expected);
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
