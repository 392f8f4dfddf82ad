// Removing signatures by byte range: everything else stays byte for byte.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "host/log/_tvLogger.h"
#include "host/xml/XmlSigRemoval.h"
#include "xml/XmlTestUtil.h"

namespace xmldsig {
namespace {

struct RemovalCase {
    const char* name;
    std::string input;
    std::string expected;
};

const std::string kDs = "xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"";
const std::string kDefault = "xmlns=\"http://www.w3.org/2000/09/xmldsig#\"";

TEST(XmlSigRemoval, RemovesOnlyXmlDsigSignaturesAsByteRanges) {
    const RemovalCase cases[] = {
        {"Enveloped", "<r " + kDs + ">a<ds:Signature><ds:SignedInfo/></ds:Signature>b</r>",
         "<r " + kDs + ">ab</r>"},
        {"DefaultNamespace", "<r><Signature " + kDefault + "><SignedInfo/></Signature></r>",
         "<r></r>"},
        {"SeveralWithTextBetween",
         "<r " + kDs + ">\r\n  <ds:Signature/>\r\n  <x/><ds:Signature>z</ds:Signature>\r\n</r>",
         "<r " + kDs + ">\r\n  \r\n  <x/>\r\n</r>"},
        {"NestedGoesWithOuter",
         "<r " + kDs +
             "><ds:Signature><ds:Object><ds:Signature>in</ds:Signature></ds:Object>"
             "</ds:Signature><k/></r>",
         "<r " + kDs + "><k/></r>"},
        {"UblSignatureStays",
         "<r xmlns:cac=\"urn:cac\" " + kDs +
             "><cac:Signature><cbc:ID>x</cbc:ID></cac:Signature><ds:Signature/></r>",
         "<r xmlns:cac=\"urn:cac\" " + kDs +
             "><cac:Signature><cbc:ID>x</cbc:ID></cac:Signature></r>"},
        {"MangledNamespaceStays",
         "<r><Signature xmlns=\"https://www.w3.org/2000/09/xmldsig#\"/></r>",
         "<r><Signature xmlns=\"https://www.w3.org/2000/09/xmldsig#\"/></r>"},
        {"AuthSignatureStays", "<r><AuthSignature><ds:SignedInfo " + kDs + "/></AuthSignature></r>",
         "<r><AuthSignature><ds:SignedInfo " + kDs + "/></AuthSignature></r>"},
        {"PrefixReboundElsewhere",
         "<r " + kDs + "><q xmlns:ds=\"urn:other\"><ds:Signature/></q><ds:Signature/></r>",
         "<r " + kDs + "><q xmlns:ds=\"urn:other\"><ds:Signature/></q></r>"},
        {"CommentsEntitiesAndMultibyteAroundKept",
         "<?xml version=\"1.0\"?><!--c--><r " + kDs +
             ">\xC3\xA9&amp;<ds:Signature>&lt;</ds:Signature>\xE2\x82\xAC<!--d--></r><!--e-->",
         "<?xml version=\"1.0\"?><!--c--><r " + kDs +
             ">\xC3\xA9&amp;\xE2\x82\xAC<!--d--></r><!--e-->"},
        {"NoSignature", "<r>plain</r>", "<r>plain</r>"},
    };
    for (const RemovalCase& c : cases) {
        StringBuffer out("stale");
        _tvXmlDtd dtd;
        _tvLogger log;
        ASSERT_TRUE(XmlSigRemoval::removeSignatures(StringBuffer(c.input), dtd, out, log))
            << c.name << "\n"
            << log.renderText();
        EXPECT_EQ(out.str(), c.expected) << c.name;
    }
}

TEST(XmlSigRemoval, MalformedOrEntityBuiltSignaturesFail) {
    struct Case {
        std::string input;
        const char* expectedLog;
    };
    const Case cases[] = {
        {"<r " + kDs + "><ds:Signature></r>", "parseError: mismatched tag"},
        {"", "parseError: no element found"},
        {"<!DOCTYPE r [<!ENTITY s '<ds:Signature " + kDs + "/>'>]><r>&s;</r>", "entity expansion"},
    };
    for (const Case& c : cases) {
        StringBuffer out("stale");
        _tvXmlDtd dtd;
        _tvLogger log;
        EXPECT_FALSE(XmlSigRemoval::removeSignatures(StringBuffer(c.input), dtd, out, log));
        EXPECT_TRUE(out.isEmpty());
        EXPECT_NE(log.renderText().find(c.expectedLog), std::string::npos) << log.renderText();
    }
}

// Across the corpus, xmllint finds no XML Signature left in the output, and the output is
// still well-formed unless the signature was the whole document.
TEST(XmlSigRemoval, CorpusOutputsHaveNoSignatureLeft) {
    const auto tmp = std::filesystem::temp_directory_path() /
                     ("xmldsig_removal_" + std::to_string(getpid()) + ".xml");
    std::size_t checked = 0, changed = 0;
    for (const std::string& rel : xmltest::manifestPaths()) {
        const auto path = xmltest::corpusPath(rel);
        if (xmltest::xmllintSignatureCount(path, false) < 0) continue;
        const std::string text = xmltest::readFile(path);
        StringBuffer out;
        _tvXmlDtd dtd;
        _tvLogger log;
        if (!XmlSigRemoval::removeSignatures(StringBuffer(text), dtd, out, log)) {
            // Only documents our parser refuses (external entities) may fail.
            EXPECT_NE(log.renderText().find("parseError"), std::string::npos) << rel;
            continue;
        }
        xmltest::writeFile(tmp, out.str());
        const int left = xmltest::xmllintSignatureCount(tmp, false);
        if (left < 0) {
            // The root itself was a signature: only the prolog is left.
            EXPECT_EQ(out.str().find('<' + std::string("/")), std::string::npos) << rel;
            continue;
        }
        ++checked;
        EXPECT_EQ(left, 0) << rel;
        if (out.getSize() < text.size()) ++changed;
    }
    std::filesystem::remove(tmp);
    EXPECT_GT(checked, 100u);
    EXPECT_GT(changed, 100u);
}

}  // namespace
}  // namespace xmldsig
