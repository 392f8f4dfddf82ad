// XML documents in other encodings become UTF-8; results are cross-checked with the iconv tool.
#include "host/text/CharsetConvert.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "host/log/_tvLogger.h"
#include "host/text/DataBuffer.h"
#include "host/text/XString.h"
#include "host/text/_tvCharset.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

std::string asString(const DataBuffer& db) {
    return std::string(reinterpret_cast<const char*>(db.bytes().data()), db.bytes().size());
}

DataBuffer bufferOf(const std::string& bytes) {
    DataBuffer db;
    db.appendStr(bytes);
    return db;
}

// Runs `iconv -f from -t to` over bytes.
std::string iconvCli(const std::string& bytes, const std::string& from, const std::string& to) {
    const std::string path = ::testing::TempDir() + "iconv_input.bin";
    std::ofstream(path, std::ios::binary).write(bytes.data(), bytes.size());
    std::string out;
    FILE* p = popen(("iconv -f " + from + " -t " + to + " " + path).c_str(), "r");
    if (p == nullptr) return out;
    char buf[4096];
    for (std::size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    pclose(p);
    return out;
}

const std::string kUtf8Doc =
    "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<a t=\"\xC3\xA9\xE2\x82\xAC\">"
    "\xF0\x9F\x98\x80 \xC3\xBC</a>";

TEST(CharsetConvertXml, Utf16WithByteOrderMarks) {
    for (const char* order : {"UTF-16LE", "UTF-16BE"}) {
        const std::string body = iconvCli(kUtf8Doc, "UTF-8", order);
        ASSERT_FALSE(body.empty()) << "iconv tool not runnable";
        const std::string bom = std::string(order) == "UTF-16LE" ? "\xFF\xFE" : "\xFE\xFF";
        DataBuffer db = bufferOf(bom + body);
        std::string error;
        ASSERT_TRUE(convertXmlToUtf8(db, error)) << order << ": " << error;
        EXPECT_EQ(asString(db), kUtf8Doc) << order;

        // Without a byte-order mark the "<?" in two-byte units still tells the byte order.
        DataBuffer noBom = bufferOf(body);
        ASSERT_TRUE(convertXmlToUtf8(noBom, error)) << order << ": " << error;
        EXPECT_EQ(asString(noBom), kUtf8Doc) << order;
    }
}

TEST(CharsetConvertXml, DeclaredSingleByteEncodings) {
    const struct {
        const char* declared;
        const char* iconvName;
    } cases[] = {{"ISO-8859-1", "ISO-8859-1"},
                 {"windows-1252", "WINDOWS-1252"},
                 {"iso-8859-15", "ISO-8859-15"},
                 {"Windows-1250", "WINDOWS-1250"}};
    const std::string utf8Text = "caf\xC3\xA9 \xC3\xBC\xC3\x9F";  // representable in all four
    for (const auto& c : cases) {
        const std::string doc = std::string("<?xml version='1.0' encoding='") + c.declared +
                                "'?><r>" + utf8Text + "</r>";
        const std::string encoded = iconvCli(doc, "UTF-8", c.iconvName);
        ASSERT_FALSE(encoded.empty());
        ASSERT_NE(encoded, doc);
        DataBuffer db = bufferOf(encoded);
        _tvLogger log;
        ASSERT_TRUE(db.convertXmlToUtf8(log)) << c.declared << "\n" << log.renderText();
        EXPECT_EQ(asString(db), iconvCli(encoded, c.iconvName, "UTF-8")) << c.declared;
        EXPECT_EQ(asString(db), doc) << c.declared;  // declaration text is kept as written
    }
}

TEST(CharsetConvertXml, Windows1252SpecificCharacters) {
    // 0x80 is the euro sign and 0x93/0x94 curly quotes in Windows-1252 (C1 controls in Latin-1).
    const std::string doc = "<?xml version=\"1.0\" encoding=\"Windows-1252\"?><r>\x80\x93x\x94</r>";
    DataBuffer db = bufferOf(doc);
    std::string error;
    ASSERT_TRUE(convertXmlToUtf8(db, error)) << error;
    EXPECT_EQ(asString(db), iconvCli(doc, "WINDOWS-1252", "UTF-8"));
    EXPECT_NE(asString(db).find("\xE2\x82\xAC"), std::string::npos);
}

TEST(CharsetConvertXml, Utf8InputKeptAndBomDropped) {
    DataBuffer plain = bufferOf("<r>\xC3\xA9</r>");
    std::string error;
    ASSERT_TRUE(convertXmlToUtf8(plain, error));
    EXPECT_EQ(asString(plain), "<r>\xC3\xA9</r>");
    DataBuffer bom = bufferOf("\xEF\xBB\xBF<r/>");
    ASSERT_TRUE(convertXmlToUtf8(bom, error));
    EXPECT_EQ(asString(bom), "<r/>");
}

TEST(CharsetConvertXml, FailuresLeaveTheBufferAndLogWhy) {
    const struct {
        std::string doc;
        const char* logged;
    } cases[] = {
        {"<?xml version='1.0' encoding='no-such-charset'?><r/>", "no-such-charset"},
        {"<?xml version='1.0' encoding='US-ASCII'?><r>\xE9</r>",
         "byte offset 44"},  // the 0xE9 after the 44-byte prefix
        {std::string("\xFF\xFE<\x00r", 5), "Incomplete byte sequence"},  // odd UTF-16 length
    };
    for (const auto& c : cases) {
        DataBuffer db = bufferOf(c.doc);
        _tvLogger log;
        EXPECT_FALSE(db.convertXmlToUtf8(log)) << c.doc;
        EXPECT_EQ(asString(db), c.doc);
        EXPECT_TRUE(log.hasErrorContaining("Failed to convert XML to utf-8.")) << log.renderText();
        EXPECT_NE(log.renderText().find(c.logged), std::string::npos) << log.renderText();
    }
}

TEST(CharsetConvertDetect, EncodingNames) {
    std::size_t bom = 0;
    EXPECT_EQ(detectXmlEncoding("<?xml version=\"1.0\" encoding = 'Shift_JIS' ?><r/>", bom),
              "Shift_JIS");
    EXPECT_EQ(detectXmlEncoding("<?xml version=\"1.0\"?><r encoding='x'/>", bom), "UTF-8");
    EXPECT_EQ(detectXmlEncoding("<r/>", bom), "UTF-8");
    EXPECT_EQ(detectXmlEncoding(std::string("\xFF\xFE\x00\x00", 4), bom), "UTF-32LE");
    EXPECT_EQ(bom, 4u);
    // Mislabelled: the declaration says UTF-16 but was readable byte by byte.
    EXPECT_EQ(detectXmlEncoding("<?xml version='1.0' encoding='UTF-16'?><r/>", bom), "UTF-8");
    EXPECT_EQ(bom, 0u);
}

TEST(CharsetConvertXml, MislabelledUtf16DeclarationStaysUtf8) {
    const std::string doc = "<?xml version=\"1.0\" encoding=\"utf-16\"?><r>\xC3\xA9</r>";
    DataBuffer db = bufferOf(doc);
    std::string error;
    ASSERT_TRUE(convertXmlToUtf8(db, error)) << error;
    EXPECT_EQ(asString(db), doc);
}

TEST(XStringCharset, GetConvertedAndWindows1252Fix) {
    XString s("\xC3\xA9\xE2\x82\xAC");  // e-acute, euro
    _tvCharset cs;
    EXPECT_FALSE(cs.setByName("no-such-charset"));
    EXPECT_STREQ(cs.getName(), "UTF-8");
    ASSERT_TRUE(cs.setByName("windows-1252"));
    DataBuffer out;
    ASSERT_TRUE(s.getConverted(cs, out));
    EXPECT_EQ(asString(out), "\xE9\x80");
    ASSERT_TRUE(cs.setByName("utf-16be"));
    out.clear();
    ASSERT_TRUE(s.getConverted(cs, out));
    EXPECT_EQ(asString(out), std::string("\x00\xE9\x20\xAC", 4));
    ASSERT_TRUE(cs.setByName("iso-8859-1"));
    out.clear();
    EXPECT_FALSE(s.getConverted(cs, out));  // no euro sign in Latin-1

    XString broken("caf\xE9 \x80");
    _tvLogger log;
    broken.checkFixUtf8Windows1252(log);
    EXPECT_STREQ(broken.getUtf8(), "caf\xC3\xA9 \xE2\x82\xAC");
    XString fine("caf\xC3\xA9");
    EXPECT_FALSE(fine.checkFixUtf8Windows1252());
    EXPECT_STREQ(fine.getUtf8(), "caf\xC3\xA9");
}

TEST(CharsetConvertUtf8, ValidityTable) {
    for (const test::DataRow& c : test::loadTable("text/utf8_validity.tsv"))
        EXPECT_EQ(isValidUtf8(c["bytes"]), c.flag("valid")) << c.where();
}

}  // namespace
}  // namespace xmldsig
