// Removing signatures by byte range: everything else stays byte for byte.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "host/log/_tvLogger.h"
#include "host/xml/XmlSigRemoval.h"
#include "support/DataTable.h"
#include "xml/XmlTestUtil.h"

namespace xmldsig {
namespace {

TEST(XmlSigRemoval, RemovesOnlyXmlDsigSignaturesAsByteRanges) {
    for (const test::DataRow& c : test::loadTable("xml/sig_removal.tsv")) {
        StringBuffer out("stale");
        _tvXmlDtd dtd;
        _tvLogger log;
        EXPECT_EQ(XmlSigRemoval::removeSignatures(StringBuffer(c["input"]), dtd, out, log),
                  c.flag("ok"))
            << c["name"] << "\n"
            << log.renderText();
        EXPECT_EQ(out.str(), c["expected"]) << c["name"];
        EXPECT_NE(log.renderText().find(c["log"]), std::string::npos) << c["name"];
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
