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

namespace xmldsig {
namespace {

using testutil::Bytes;
using testutil::fromText;
using testutil::repeated;
using testutil::toHex;

constexpr int kSha1 = 1, kSha384 = 2, kSha512 = 3, kMd5 = 5, kSha256 = 7, kRipemd128 = 9,
              kRipemd160 = 10;

struct HmacVector {
    const char* source;  // "rfc2202-3" = RFC 2202 case 3
    int hashId;
    Bytes key;
    Bytes data;
    std::string mac;  // expected; shorter than the digest for the truncation cases
};

Bytes counting25() {
    Bytes k;
    for (unsigned char b = 1; b <= 25; ++b) k.push_back(b);
    return k;
}

// The cases the three RFCs share, by number; key lengths depend on the digest (RFC 2202 uses
// the digest size, RFC 4231 20 bytes, RFC 2286 16 or 20).
HmacVector sharedCase(const char* source, int id, int number, std::size_t keySize,
                      std::size_t bigKeySize, std::string mac) {
    static const std::string hashKeyFirst =
        "Test Using Larger Than Block-Size Key - Hash Key First";
    static const std::string bigData =
        "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data";
    switch (number) {
        case 1:
            return {source, id, repeated(0x0b, keySize), fromText("Hi There"), mac};
        case 2:
            return {source, id, fromText("Jefe"), fromText("what do ya want for nothing?"), mac};
        case 3:
            return {source, id, repeated(0xaa, keySize), repeated(0xdd, 50), mac};
        case 4:
            return {source, id, counting25(), repeated(0xcd, 50), mac};
        case 5:
            return {source, id, repeated(0x0c, keySize), fromText("Test With Truncation"), mac};
        case 6:
            return {source, id, repeated(0xaa, bigKeySize), fromText(hashKeyFirst), mac};
        default:
            return {source, id, repeated(0xaa, bigKeySize), fromText(bigData), mac};
    }
}

std::vector<HmacVector> rfcVectors() {
    std::vector<HmacVector> v;
    const char* md5[] = {"9294727a3638bb1c13f48ef8158bfc9d", "750c783e6ab0b503eaa86e310a5db738",
                         "56be34521d144c88dbb8c733f0e8b3f6", "697eaf0aca3a3aea3a75164746ffaa79",
                         "56461ef2342edc00f9bab995690efd4c", "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd",
                         "6f630fad67cda0ee1fb1f562db3aa53e"};
    const char* sha1[] = {
        "b617318655057264e28bc0b6fb378c8ef146be00", "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79",
        "125d7342b9ac11cd91a39af48aa17b4f63f175d3", "4c9007f4026250c6bc8414f9bf50c86c2d7235da",
        "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04", "aa4ae5e15272d00e95705637ce8a3b55ed402112",
        "e8e99d0f45237d786d6bbaa7965c7808bbff1a91"};
    const char* rmd128[] = {"fbf61f9492aa4bbf81c172e84e0734db", "875f828862b6b334b427c55f9f7ff09b",
                            "09f0b2846d2f543da363cbec8d62a38d", "bdbbd7cf03e44b5aa60af815be4d2294",
                            "e79808f24b25fd031c155f0d551d9a3a", "dc732928de98104a1f59d373c150acbb",
                            "5c6bec96793e16d40690c237635f30c5"};
    const char* rmd160[] = {
        "24cb4bd67d20fc1a5d2ed7732dcc39377f0a5668", "dda6c0213a485a9e24f4742064a7f033b43c4069",
        "b0b105360de759960ab4f35298e116e295d8e7c1", "d5ca862f4d21d5e610e18b4cf1beb97a4365ecf4",
        "7619693978f91d90539ae786500ff3d8e0518e39", "6466ca07ac5eac29e1bd523e5ada7605b791fd8b",
        "69ea60798d71616cce5fd0871e23754cd75d5a0a"};
    for (int i = 0; i < 7; ++i) {
        v.push_back(sharedCase("rfc2202-md5", kMd5, i + 1, 16, 80, md5[i]));
        v.push_back(sharedCase("rfc2202-sha1", kSha1, i + 1, 20, 80, sha1[i]));
        v.push_back(sharedCase("rfc2286-ripemd128", kRipemd128, i + 1, 16, 80, rmd128[i]));
        v.push_back(sharedCase("rfc2286-ripemd160", kRipemd160, i + 1, 20, 80, rmd160[i]));
    }
    return v;
}

// RFC 4231: cases 1-5 as above with 20-byte keys; 6 and 7 use a 131-byte key and their own
// texts; case 5 is compared on its first 128 bits.
std::vector<HmacVector> rfc4231Vectors() {
    struct Row {
        int id;
        const char* mac[7];
    };
    const Row rows[] = {
        {kSha256,
         {"b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7",
          "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843",
          "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe",
          "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b",
          "a3b6167473100ee06e0c796c2955552b",
          "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54",
          "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"}},
        {kSha384,
         {"afd03944d84895626b0825f4ab46907f15f9dadbe4101ec682aa034c7cebc59cfaea9ea9076ede7f4af152e8"
          "b2fa9cb6",
          "af45d2e376484031617f78d2b58a6b1b9c7ef464f5a01b47e42ec3736322445e8e2240ca5e69e2c78b3239ec"
          "fab21649",
          "88062608d3e6ad8a0aa2ace014c8a86f0aa635d947ac9febe83ef4e55966144b2a5ab39dc13814b94e3ab6e1"
          "01a34f27",
          "3e8a69b7783c25851933ab6290af6ca77a9981480850009cc5577c6e1f573b4e6801dd23c4a7d679ccf8a386"
          "c674cffb",
          "3abf34c3503b2a23a46efc619baef897",
          "4ece084485813e9088d2c63a041bc5b44f9ef1012a2b588f3cd11f05033ac4c60c2ef6ab4030fe8296248df1"
          "63f44952",
          "6617178e941f020d351e2f254e8fd32c602420feb0b8fb9adccebb82461e99c5a678cc31e799176d3860e611"
          "0c46523e"}},
        {kSha512,
         {"87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cdedaa833b7d6b8a702038b274e"
          "aea3f4e4be9d914eeb61f1702e696c203a126854",
          "164b7a7bfcf819e2e395fbe73b56e0a387bd64222e831fd610270cd7ea2505549758bf75c05a994a6d034f65"
          "f8f0e6fdcaeab1a34d4a6b4b636e070a38bce737",
          "fa73b0089d56a284efb0f0756c890be9b1b5dbdd8ee81a3655f83e33b2279d39bf3e848279a722c806b485a4"
          "7e67c807b946a337bee8942674278859e13292fb",
          "b0ba465637458c6990e5a8c5f61d4af7e576d97ff94b872de76f8050361ee3dba91ca5c11aa25eb4d679275c"
          "c5788063a5f19741120c4f2de2adebeb10a298dd",
          "415fad6271580a531d4179bc891d87a6",
          "80b24263c7c1a3ebb71493c1dd7be8b49b46d1f41b4aeec1121b013783f8f3526b56d037e05f2598bd0fd221"
          "5d6a1e5295e64f73f63f0aec8b915a985d786598",
          "e37b6a775dc87dbaa4dfa9f96e5e3ffddebd71f8867289865df5a32d20cdc944b6022cac3c4982b10d5eeb55"
          "c3e4de15134676fb6de0446065c97440fa8c6a58"}},
    };
    const std::string case7 =
        "This is a test using a larger than block-size key and a larger than block-size data. "
        "The key needs to be hashed before being used by the HMAC algorithm.";
    std::vector<HmacVector> v;
    for (const Row& row : rows) {
        for (int i = 0; i < 6; ++i)
            v.push_back(sharedCase("rfc4231", row.id, i + 1, 20, 131, row.mac[i]));
        v.push_back({"rfc4231", row.id, repeated(0xaa, 131), fromText(case7), row.mac[6]});
    }
    return v;
}

std::vector<HmacVector> allVectors() {
    std::vector<HmacVector> v = rfcVectors();
    for (HmacVector& x : rfc4231Vectors()) v.push_back(x);
    return v;
}

std::string vectorName(const ::testing::TestParamInfo<HmacVector>& info) {
    std::string name = std::string(info.param.source) + "_" +
                       detail::findHashAlgorithm(info.param.hashId)->name + "_" +
                       std::to_string(info.index);
    for (char& c : name) {
        if (c == '-') c = '_';
    }
    return name;
}

class HmacRfcVectors : public ::testing::TestWithParam<HmacVector> {};

TEST_P(HmacRfcVectors, GivesThePublishedMac) {
    const HmacVector& v = GetParam();
    _tvLogger log;
    DataBuffer out;
    ASSERT_TRUE(
        Hmac::doHMAC(v.data.data(), v.data.size(), v.key.data(), v.key.size(), v.hashId, out, log))
        << log.renderText();
    EXPECT_EQ(toHex(out).substr(0, v.mac.size()), v.mac);
    EXPECT_EQ(static_cast<std::size_t>(out.getSize()),
              detail::findHashAlgorithm(v.hashId)->digestSize);
}

INSTANTIATE_TEST_SUITE_P(Published, HmacRfcVectors, ::testing::ValuesIn(allVectors()), vectorName);

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
    for (int id : {0, -3, 6, 8, 11, 99}) {
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
