// XString re-encoding (certificate serial numbers go from decimal to hex) and the named
// encodings of DataBuffer.
#include "host/text/XString.h"

#include <gtest/gtest.h>

#include <string>

#include "host/text/DataBuffer.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

TEST(XStringReencode, Table) {
    for (const test::DataRow& c : test::loadTable("text/reencode.tsv")) {
        XString s(c["text"].c_str());
        const std::string what = c["text"] + " " + c["from"] + "->" + c["to"];
        EXPECT_EQ(s.reencode(c["from"].c_str(), c["to"].c_str()), c.flag("ok")) << what;
        EXPECT_EQ(std::string(s.getUtf8()), c["result"]) << what;
    }
}

TEST(XStringReencode, HugeNumberIsRefused) {
    XString s(std::string(100000, '9').c_str());
    EXPECT_FALSE(s.reencode("decimal", "hex"));
}

TEST(XStringBasics, WritableViewAndCopies) {
    XString a("abc");
    a.getUtf8Sb_rw().append("def");
    EXPECT_STREQ(a.getUtf8(), "abcdef");
    XString b;
    EXPECT_TRUE(b.isEmpty());
    b.copyFromX(a);
    a.clear();
    EXPECT_STREQ(b.getUtf8(), "abcdef");
    EXPECT_TRUE(a.isEmpty());
    a.setSecureX(true);
    a.setFromUtf8("secret");
    b.copyFromX(a);
    EXPECT_TRUE(b.isSecure());  // a copy of a secret stays secret
}

struct EncodedCase {
    const char* encoding;
    const char* text;
    bool ok;
    std::string bytes;
};

TEST(DataBufferEncoded, AppendEncodedNames) {
    const EncodedCase cases[] = {
        {"base64", "QUJD", true, "ABC"},
        {"BASE64", "QUJD", true, "ABC"},
        {"base64url", "_-8", true, "\xFF\xEF"},
        {"hex", "4142", true, "AB"},
        {"hex_lower", "4a4b", true, "JK"},
        {"ascii", "text", true, "text"},
        {"utf-8", "\xC3\xA9", true, "\xC3\xA9"},
        {"ansi", "x", true, "x"},
        {"iso-8859-1", "\xC3\xA9", true, "\xE9"},
        {"utf-16le", "A", true, std::string("A\0", 2)},
        {"hex", "414", false, "A"},
        {"base64", "QU!D", false, ""},
        {"no-such-encoding", "x", false, ""},
        {"", "x", false, ""},
    };
    for (const EncodedCase& c : cases) {
        DataBuffer db;
        EXPECT_EQ(db.appendEncoded(c.text, c.encoding), c.ok) << c.encoding << " " << c.text;
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(db.bytes().data()), db.getSize()),
                  c.bytes)
            << c.encoding;
    }
}

TEST(DataBufferEncoded, EncodeDbNames) {
    DataBuffer db;
    db.append("\x00\xFA\x7F", 3);
    const struct {
        const char* encoding;
        const char* text;
    } cases[] = {
        {"base64", "APp/"}, {"base64url", "APp_"}, {"hex", "00FA7F"}, {"hex_lower", "00fa7f"}};
    for (const auto& c : cases) {
        StringBuffer out("prefix:");
        ASSERT_TRUE(db.encodeDB(c.encoding, out)) << c.encoding;
        EXPECT_EQ(out.str(), std::string("prefix:") + c.text) << c.encoding;
    }
    StringBuffer out;
    EXPECT_FALSE(db.encodeDB("no-such-encoding", out));
}

TEST(DataBufferBasics, AppendEqualsAndSecureClear) {
    DataBuffer a, b;
    EXPECT_EQ(a.getData2(), nullptr);
    a.append(StringBuffer("xyz"));
    a.append(a);  // appending itself doubles the content
    b.appendStr("xyzxyz");
    EXPECT_TRUE(a.equals(b));
    b.appendStr("!");
    EXPECT_FALSE(a.equals(b));
    a.secureClear();
    EXPECT_EQ(a.getSize(), 0u);
    EXPECT_FALSE(a.append(nullptr, 3));
    StringBuffer sb;
    sb.takeFromDb(b);
    EXPECT_EQ(sb.str(), "xyzxyz!");
    EXPECT_EQ(b.getSize(), 0u);
}

}  // namespace
}  // namespace xmldsig
