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

TEST(DataBufferEncoded, NamedEncodingsTable) {
    for (const test::DataRow& c : test::loadTable("text/encodings.tsv")) {
        DataBuffer db;
        if (c["op"] == "decode") {
            EXPECT_EQ(db.appendEncoded(c["text"].c_str(), c["encoding"].c_str()), c.flag("ok"))
                << c.where();
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(db.getData2()), db.getSize()),
                      c["bytes"])
                << c.where();
        } else {
            db.append(c["bytes"].data(), c["bytes"].size());
            StringBuffer out("prefix:");
            EXPECT_EQ(db.encodeDB(c["encoding"].c_str(), out), c.flag("ok")) << c.where();
            if (c.flag("ok")) EXPECT_EQ(out.str(), "prefix:" + c["text"]) << c.where();
        }
    }
}

}  // namespace
}  // namespace xmldsig
