// Base64 and hex: the decoder's tolerances (white space, missing padding) and failures, and a
// cross-check against the openssl command-line encoder.
#include "host/text/ContentCoding.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string>

#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

std::string asString(const DataBuffer& db) {
    return std::string(reinterpret_cast<const char*>(db.bytes().data()), db.bytes().size());
}

TEST(ContentCodingBase64, ToleratesWhiteSpaceAndMissingPaddingOnly) {
    for (const test::DataRow& c : test::loadTable("text/base64.tsv")) {
        DataBuffer db;
        const std::string& text = c["text"];
        EXPECT_EQ(ContentCoding::decodeBase64ToDb(text.data(), text.size(), db), c.flag("ok"))
            << c.where();
        EXPECT_EQ(asString(db), c["bytes"]) << c.where();
    }
}

TEST(ContentCodingBase64, LengthLimitsTheInput) {
    DataBuffer db;
    EXPECT_TRUE(ContentCoding::decodeBase64ToDb("QUJDREVG", 4, db));
    EXPECT_EQ(asString(db), "ABC");
    EXPECT_TRUE(ContentCoding::decodeBase64ToDb(nullptr, 0, db));
    EXPECT_FALSE(ContentCoding::decodeBase64ToDb(nullptr, 3, db));
}

TEST(ContentCodingBase64, UrlSafeAlphabet) {
    DataBuffer db;
    EXPECT_TRUE(ContentCoding::decodeBase64UrlToDb("_-_-", 4, db));
    EXPECT_EQ(asString(db), "\xFF\xEF\xFE");
    StringBuffer out;
    EXPECT_TRUE(ContentCoding::encodeBase64Url(db.getData2(), db.getSize(), out));
    EXPECT_EQ(out.str(), "_-_-");
    out.clear();
    EXPECT_TRUE(ContentCoding::encodeBase64Url("A", 1, out));
    EXPECT_EQ(out.str(), "QQ");  // no padding
}

std::string runCommand(const std::string& cmd) {
    std::string out;
    FILE* p = popen(cmd.c_str(), "r");
    if (p == nullptr) return out;
    char buf[4096];
    for (std::size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    pclose(p);
    return out;
}

// openssl's wrapped and unwrapped output both decode to the original bytes, and our encoder
// produces exactly openssl's single-line text.
TEST(ContentCodingBase64, AgreesWithOpensslCli) {
    std::mt19937 rng(1234);
    const std::string path = ::testing::TempDir() + "b64_input.bin";
    for (std::size_t size : {0u, 1u, 2u, 3u, 47u, 48u, 49u, 1000u, 4099u}) {
        std::string bytes(size, '\0');
        for (char& c : bytes) c = static_cast<char>(rng() & 0xFF);
        std::ofstream(path, std::ios::binary).write(bytes.data(), bytes.size());

        const std::string wrapped = runCommand("openssl base64 -in " + path);
        std::string single = runCommand("openssl base64 -A -in " + path);
        ASSERT_TRUE(size == 0 || !wrapped.empty()) << "openssl not runnable";
        if (!single.empty() && single.back() == '\n') single.pop_back();

        DataBuffer fromWrapped, fromSingle;
        EXPECT_TRUE(ContentCoding::decodeBase64ToDb(wrapped.data(), wrapped.size(), fromWrapped));
        EXPECT_TRUE(ContentCoding::decodeBase64ToDb(single.data(), single.size(), fromSingle));
        EXPECT_EQ(asString(fromWrapped), bytes) << size;
        EXPECT_EQ(asString(fromSingle), bytes) << size;

        StringBuffer ours;
        EXPECT_TRUE(ContentCoding::encodeBase64(bytes.data(), bytes.size(), ours));
        EXPECT_EQ(ours.str(), single) << size;
    }
}

TEST(ContentCodingHex, DecodeAndEncode) {
    DataBuffer db;
    EXPECT_TRUE(ContentCoding::decodeHexToDb("00 ff\nAb", 8, db));
    EXPECT_EQ(asString(db), std::string("\x00\xFF\xAB", 3));
    StringBuffer upper, lower;
    EXPECT_TRUE(ContentCoding::encodeHex(db.getData2(), db.getSize(), true, upper));
    EXPECT_TRUE(ContentCoding::encodeHex(db.getData2(), db.getSize(), false, lower));
    EXPECT_EQ(upper.str(), "00FFAB");
    EXPECT_EQ(lower.str(), "00ffab");

    DataBuffer odd;
    EXPECT_FALSE(ContentCoding::decodeHexToDb("abc", 3, odd));
    EXPECT_EQ(asString(odd), "\xAB");
    DataBuffer stray;
    EXPECT_FALSE(ContentCoding::decodeHexToDb("12zz", 4, stray));
    EXPECT_EQ(asString(stray), "\x12");
}

}  // namespace
}  // namespace xmldsig
