// Hmac::doHMAC: the RFC 2202, 4231 and 2286 vectors, `openssl mac` on random data, and our own
// RFC 2104 construction (used for MD2 and RIPEMD-128) held against OpenSSL's for every id.
#include "host/crypto/Hmac.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "crypto/crypto_test_util.h"
#include "host/crypto/detail/HashAlgorithms.h"
#include "host/crypto/detail/OwnHmac.h"
#include "host/log/_tvLogger.h"
#include "host/text/DataBuffer.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

using testutil::Bytes;
using testutil::fromText;
using testutil::repeated;
using testutil::toHex;

constexpr int kSha1 = 1, kSha384 = 2, kSha512 = 3, kMd5 = 5, kSha256 = 7, kRipemd128 = 9,
              kRipemd160 = 10;

// A key or data field of the vector table: text, 0x followed by hex, or XX*N (N bytes XX).
Bytes fieldBytes(const std::string& f) {
    if (f.rfind("0x", 0) == 0) return testutil::fromHex(f.substr(2));
    if (f.size() > 3 && f[2] == '*' && f.find_first_not_of("0123456789", 3) == std::string::npos)
        return repeated(static_cast<unsigned char>(std::stoi(f.substr(0, 2), nullptr, 16)),
                        std::stoul(f.substr(3)));
    return fromText(f);
}

class HmacRfcVectors : public ::testing::TestWithParam<test::DataRow> {};

TEST_P(HmacRfcVectors, GivesThePublishedMac) {
    const test::DataRow& v = GetParam();
    const Bytes key = fieldBytes(v["key"]), data = fieldBytes(v["data"]);
    const int hashId = v.number("hash");
    _tvLogger log;
    DataBuffer out;
    ASSERT_TRUE(Hmac::doHMAC(data.data(), data.size(), key.data(), key.size(), hashId, out, log))
        << log.renderText();
    EXPECT_EQ(toHex(out).substr(0, v["mac"].size()), v["mac"]);
    EXPECT_EQ(static_cast<std::size_t>(out.getSize()),
              detail::findHashAlgorithm(hashId)->digestSize);
}

INSTANTIATE_TEST_SUITE_P(Published, HmacRfcVectors,
                         ::testing::ValuesIn(test::loadTable("crypto/hmac_vectors.tsv")),
                         [](const auto& info) {
                             return test::testNameFor(info.param["source"] + "_" +
                                                      info.param["hash"] + "_" +
                                                      std::to_string(info.index));
                         });

const int kOpensslIds[] = {kSha1, kSha384, kSha512, kMd5, kSha256, kRipemd160};
const std::size_t kKeyLengths[] = {0, 1, 20, 63, 64, 65, 127, 128, 129, 300};

const char* opensslMacDigest(int id) {
    switch (id) {
        case kSha1:
            return "SHA1";
        case kSha384:
            return "SHA384";
        case kSha512:
            return "SHA512";
        case kMd5:
            return "MD5";
        case kSha256:
            return "SHA256";
        default:
            return "RIPEMD160";
    }
}

TEST(HmacCrossCheck, MatchesOpensslMacOnRandomData) {
    testutil::TempDir dir;
    ASSERT_FALSE(dir.path().empty());
    const std::size_t dataLengths[] = {0, 1, 64, 129, 5000};
    for (int id : kOpensslIds) {
        for (std::size_t keyLength : kKeyLengths) {
            const std::size_t n = dataLengths[keyLength % 5];
            const Bytes key = testutil::randomBytes(keyLength, 1000u + keyLength);
            const Bytes data = testutil::randomBytes(n, 2000u + id);
            const std::string path = dir.write("data.bin", data);
            ASSERT_FALSE(path.empty());
            const std::string expected = testutil::opensslHmacHex(opensslMacDigest(id), key, path);
            ASSERT_FALSE(expected.empty()) << "openssl mac failed";
            _tvLogger log;
            DataBuffer out;
            ASSERT_TRUE(
                Hmac::doHMAC(data.data(), data.size(), key.data(), key.size(), id, out, log))
                << log.renderText();
            EXPECT_EQ(toHex(out), expected) << opensslMacDigest(id) << " key " << keyLength;
        }
    }
}

// Our RFC 2104 code serves MD2 and RIPEMD-128 only; running it for the other ids too shows the
// construction (key hashing, padding to the block, inner and outer hash) is right for every
// block size, 64 and 128 bytes included.
TEST(HmacCrossCheck, OwnConstructionEqualsOpensslForEveryId) {
    const Bytes data = testutil::randomBytes(777, 5);
    for (int id : kOpensslIds) {
        const detail::HashAlgorithm* alg = detail::findHashAlgorithm(id);
        for (std::size_t keyLength : kKeyLengths) {
            const Bytes key = testutil::randomBytes(keyLength, 77u + keyLength);
            _tvLogger log;
            DataBuffer viaOpenssl;
            DataBuffer own;
            ASSERT_TRUE(Hmac::doHMAC(data.data(), data.size(), key.data(), key.size(), id,
                                     viaOpenssl, log));
            ASSERT_TRUE(
                detail::ownHmac(*alg, data.data(), data.size(), key.data(), key.size(), own, log))
                << log.renderText();
            EXPECT_EQ(toHex(own), toHex(viaOpenssl)) << alg->name << " key " << keyLength;
        }
    }
}

TEST(HmacInput, UnknownAndNoHashIdsFailWithLog) {
    for (int id : {0, -3, 6, 8, 16, 99}) {
        _tvLogger log;
        DataBuffer out;
        EXPECT_FALSE(Hmac::doHMAC(reinterpret_cast<const unsigned char*>("abc"), 3,
                                  reinterpret_cast<const unsigned char*>("k"), 1, id, out, log));
        EXPECT_TRUE(out.isEmpty());
        EXPECT_TRUE(log.hasErrorContaining("Unsupported HMAC hash algorithm.")) << log.renderText();
    }
}

TEST(HmacInput, NullPointersWithLengthFailWithLog) {
    const auto* bytes = reinterpret_cast<const unsigned char*>("abc");
    for (int id : {kSha256, kMd5, kRipemd128}) {
        _tvLogger log;
        DataBuffer out;
        EXPECT_FALSE(Hmac::doHMAC(nullptr, 3, bytes, 3, id, out, log));
        EXPECT_FALSE(Hmac::doHMAC(bytes, 3, nullptr, 3, id, out, log));
        EXPECT_TRUE(out.isEmpty());
        EXPECT_TRUE(log.hasErrorContaining("HMAC input pointer is null.")) << log.renderText();
    }
}

TEST(HmacInput, EmptyKeyAndEmptyDataAreValid) {
    for (int id : {kSha1, kSha256, kMd5, kRipemd128, 4}) {
        _tvLogger log;
        DataBuffer withNull;
        DataBuffer withEmpty;
        const unsigned char none[1] = {0};
        ASSERT_TRUE(Hmac::doHMAC(nullptr, 0, nullptr, 0, id, withNull, log)) << log.renderText();
        ASSERT_TRUE(Hmac::doHMAC(none, 0, none, 0, id, withEmpty, log)) << log.renderText();
        EXPECT_EQ(toHex(withNull), toHex(withEmpty));
    }
    // RFC 2104 with an empty key and message, as computed by `openssl mac`.
    _tvLogger log;
    DataBuffer out;
    ASSERT_TRUE(Hmac::doHMAC(nullptr, 0, nullptr, 0, kSha1, out, log));
    EXPECT_EQ(toHex(out), "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d");
}

TEST(HmacInput, AppendsToWhatIsAlreadyInTheBuffer) {
    _tvLogger log;
    DataBuffer out;
    out.append("Z", 1);
    const Bytes key = fromText("Jefe");
    const Bytes data = fromText("what do ya want for nothing?");
    ASSERT_TRUE(Hmac::doHMAC(data.data(), data.size(), key.data(), key.size(), kMd5, out, log));
    EXPECT_EQ(toHex(out), "5a750c783e6ab0b503eaa86e310a5db738");
}

}  // namespace
}  // namespace xmldsig
