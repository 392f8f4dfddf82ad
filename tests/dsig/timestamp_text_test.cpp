// The raw-text readers of the timestamp check: first occurrence wins, white space trimmed,
// double quotes only, and the fixed error wordings.
#include <gtest/gtest.h>

#include <string>

#include "dsig/detail/XadesInsert.h"
#include "dsig/detail/XadesText.h"
#include "host/log/_tvLogger.h"

namespace xmldsig::detail {
namespace {

TEST(XadesTextCapture, TagContent) {
    struct Row {
        const char* name;
        const char* text;
        bool found;
        const char* content;
    } rows[] = {
        {"prefixed", "<x:EncapsulatedTimeStamp Encoding=\"e\">  QUJD\n</x:EncapsulatedTimeStamp>",
         true, "QUJD"},
        {"first wins",
         "<EncapsulatedTimeStamp>one</EncapsulatedTimeStamp>"
         "<EncapsulatedTimeStamp>two</EncapsulatedTimeStamp>",
         true, "one"},
        {"inner white space kept", "<EncapsulatedTimeStamp>\r\n a\r\n b \t</E>", true, "a\r\n b"},
        {"entities as written", "<EncapsulatedTimeStamp>a&amp;b</E>", true, "a&amp;b"},
        {"empty", "<EncapsulatedTimeStamp></EncapsulatedTimeStamp>", true, ""},
        {"white space only", "<EncapsulatedTimeStamp> \r\n\t </EncapsulatedTimeStamp>", true, ""},
        {"empty-element tag", "<EncapsulatedTimeStamp/><next>x</next>", true, ""},
        {"absent", "<Other>x</Other>", false, ""},
        {"no '>'", "<EncapsulatedTimeStamp attr=\"x\"", false, ""},
        {"no '<' after", "<EncapsulatedTimeStamp>abc", false, ""},
        {"name in text", "<a>EncapsulatedTimeStamp</a><b>c</b>", true, ""},
    };
    for (const Row& r : rows) {
        _tvLogger log;
        StringBuffer out("stale");
        EXPECT_EQ(captureUniqueTagContent("EncapsulatedTimeStamp", StringBuffer(r.text), out, log),
                  r.found)
            << r.name;
        EXPECT_EQ(out.str(), r.content) << r.name;
    }
}

TEST(XadesTextCapture, AttributeContent) {
    struct Row {
        const char* name;
        const char* text;
        const char* value;    // nullptr: not found
        const char* logLine;  // when not found ("" for no log line)
    } rows[] = {
        {"plain", "<ds:SignatureValue Id=\"sv-1\">AAAA</ds:SignatureValue>", "sv-1", ""},
        {"blank before =", "<SignatureValue Id =\"sv-2\">", "sv-2", ""},
        {"blanks after =", "<SignatureValue Id=   \"sv-3\">", "sv-3", ""},
        {"line breaks", "<SignatureValue\r\n\tId\r\n=\n\"sv-4\">", "sv-4", ""},
        {"suffix of a longer name", "<SignatureValue xml:Id=\"sv-5\">", "sv-5", ""},
        {"single quotes", "<SignatureValue Id='sv-6'>", nullptr, "Expected open double quote"},
        {"unterminated", "<SignatureValue Id=\"sv-7>", nullptr, "Expected end double quote"},
        {"no Id", "<SignatureValue>AAAA</SignatureValue>", nullptr,
         "Failed to find SignatureValue Id"},
        {"no tag", "<Other Id=\"x\"/>", nullptr, ""},
        {"no '>'", "<SignatureValue Id=\"x\"", nullptr, ""},
    };
    for (const Row& r : rows) {
        _tvLogger log;
        StringBuffer out;
        const bool found =
            captureUniqueAttrContent("SignatureValue", "Id", StringBuffer(r.text), out, log);
        EXPECT_EQ(found, r.value != nullptr) << r.name;
        if (r.value != nullptr) EXPECT_EQ(out.str(), r.value) << r.name;
        const std::string text = log.renderText();
        if (r.value == nullptr && *r.logLine != '\0') {
            EXPECT_NE(text.find(r.logLine), std::string::npos) << r.name << "\n" << text;
            EXPECT_NE(text.find("sb: SignatureValue"), std::string::npos) << r.name << "\n" << text;
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
