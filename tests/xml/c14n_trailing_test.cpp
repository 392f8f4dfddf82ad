// Text after the root element matters only to a whole document's canonical form.
#include <gtest/gtest.h>

#include "host/log/_tvLogger.h"
#include "host/xml/XmlCanon.h"

namespace xmldsig {
namespace {

TEST(CanonTrailingText, FragmentsIgnoreMalformedTextAfterTheRoot) {
    // An SII extract keeps the character after </DTE>, here the "<" of the next tag.
    const StringBuffer extract(
        "<DTE version=\"1.0\"><Documento ID=\"D1\"><a>1</a></Documento></DTE><");
    struct Case {
        const char* id;
        uint32_t offset;
        bool ok;
        const char* expected;
    } cases[] = {
        {"D1", 0, true, "<Documento ID=\"D1\"><a>1</a></Documento>"},
        {nullptr, 19, true, "<Documento ID=\"D1\"><a>1</a></Documento>"},
        {nullptr, 0, false, ""},  // the whole document must be well-formed
        {"xpointer(/)", 0, false, ""},
    };
    for (const auto& c : cases) {
        XmlCanon canon;
        StringBuffer out;
        _tvLogger log;
        EXPECT_EQ(canon.xmlCanonicalize(extract, c.id, c.offset, out, log), c.ok)
            << (c.id ? c.id : "offset") << "\n"
            << log.renderText();
        EXPECT_EQ(out.str(), c.expected);
    }
}

TEST(CanonTrailingText, MalformedTextInsideTheRootStillFails) {
    const StringBuffer text("<r><Documento ID=\"D1\"><a>1</a></Documento><</r>");
    XmlCanon canon;
    StringBuffer out;
    _tvLogger log;
    EXPECT_FALSE(canon.xmlCanonicalize(text, "D1", 0, out, log));
}

}  // namespace
}  // namespace xmldsig
