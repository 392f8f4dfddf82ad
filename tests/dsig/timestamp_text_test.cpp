// The raw-text readers of the timestamp check: first occurrence wins, white space trimmed,
// double quotes only, and the fixed error wordings.
#include <gtest/gtest.h>

#include <string>

#include "dsig/detail/XadesInsert.h"
#include "dsig/detail/XadesText.h"
#include "host/log/_tvLogger.h"
#include "support/DataTable.h"

namespace xmldsig::detail {
namespace {

TEST(XadesTextCapture, TagAndAttributeContent) {
    for (const test::DataRow& r : test::loadTable("dsig/xades_text.tsv")) {
        _tvLogger log;
        StringBuffer out("stale");
        const bool found = r["kind"] == "tag"
                               ? captureUniqueTagContent("EncapsulatedTimeStamp",
                                                         StringBuffer(r["text"]), out, log)
                               : captureUniqueAttrContent("SignatureValue", "Id",
                                                          StringBuffer(r["text"]), out, log);
        EXPECT_EQ(found, r.flag("found")) << r["name"];
        if (found || r["kind"] == "tag") EXPECT_EQ(out.str(), r["content"]) << r["name"];
        const std::string text = log.renderText();
        if (!r["log"].empty()) {
            EXPECT_NE(text.find(r["log"]), std::string::npos) << r["name"] << "\n" << text;
            EXPECT_NE(text.find("sb: SignatureValue"), std::string::npos) << r["name"];
        }
    }
    _tvLogger log;
    StringBuffer out;
    EXPECT_FALSE(captureUniqueAttrContent(nullptr, "Id", StringBuffer("<a Id=\"1\">"), out, log));
    EXPECT_FALSE(captureUniqueAttrContent("a", "", StringBuffer("<a Id=\"1\">"), out, log));
}

TEST(XadesIds, FourGroupsOfFourDigitsInRange) {
    _tvLogger log;
    StringBuffer previous;
    for (int i = 0; i < 2000; ++i) {
        StringBuffer id;
        appendXmlAttrId(id, log);
        ASSERT_EQ(id.getSize(), 19u) << id.str();
        for (int g = 0; g < 4; ++g) {
            const int part = std::stoi(id.str().substr(static_cast<std::size_t>(g) * 5, 4));
            EXPECT_GE(part, 1000) << id.str();
            EXPECT_LE(part, 9998) << id.str();
            if (g < 3) EXPECT_EQ(id.str()[static_cast<std::size_t>(g) * 5 + 4], '-');
        }
        EXPECT_FALSE(id.equals(previous));
        previous.setString(id);
    }
}

}  // namespace
}  // namespace xmldsig::detail
