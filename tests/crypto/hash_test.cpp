// _tvHash over every algorithm id: published known answers, the algorithm table, and a
// comparison with `openssl dgst` on pseudo-random data of lengths around the block sizes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "crypto/crypto_test_util.h"
#include "host/crypto/_tvHash.h"
#include "host/crypto/_tvHashStream.h"
#include "host/log/_tvLogger.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {
namespace {

using testutil::Bytes;
using testutil::toHex;

// Every id the library knows, with what an independent party says about it.
struct AlgorithmRow {
    int id;
    const char* name;
    int digestSize;
    const char* oid;
    const char* opensslName;  // `openssl dgst -<name>`; null when the tool lacks the algorithm
    const char* abcDigest;    // digest of "abc" from the algorithm's standard
};

const AlgorithmRow kAlgorithms[] = {
    {1, "sha1", 20, "1.3.14.3.2.26", "sha1", "a9993e364706816aba3e25717850c26c9cd0d89d"},
    {2, "sha384", 48, "2.16.840.1.101.3.4.2.2", "sha384",
     "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c8"
     "25a7"},
    {3, "sha512", 64, "2.16.840.1.101.3.4.2.3", "sha512",
     "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3fe"
     "ebbd454d4423643ce80e2a9ac94fa54ca49f"},
    {4, "md2", 16, "1.2.840.113549.2.2", nullptr, "da853b0d3f88d99b30283a69e6ded6bb"},
    {5, "md5", 16, "1.2.840.113549.2.5", "md5", "900150983cd24fb0d6963f7d28e17f72"},
    {7, "sha256", 32, "2.16.840.1.101.3.4.2.1", "sha256",
     "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {9, "ripemd128", 16, "1.3.36.3.2.2", nullptr, "c14a12199c66e4ba84636b0f69144c77"},
    {10, "ripemd160", 20, "1.3.36.3.2.1", "ripemd160", "8eb208f7e05d987a9b044a8e98c6b087f15a0bfc"},
};

std::string rowName(const ::testing::TestParamInfo<AlgorithmRow>& info) {
    return info.param.name;
}

class HashAlgorithmTable : public ::testing::TestWithParam<AlgorithmRow> {};

TEST_P(HashAlgorithmTable, DigestOfAbcIsThePublishedOne) {
    const AlgorithmRow& row = GetParam();
    DataBuffer out;
    ASSERT_TRUE(_tvHash::doHash("abc", 3, row.id, out));
    EXPECT_EQ(toHex(out), row.abcDigest);
}

TEST_P(HashAlgorithmTable, NameLengthAndOidAgree) {
    const AlgorithmRow& row = GetParam();
    EXPECT_STREQ(_tvHash::hashName(row.id), row.name);
    EXPECT_EQ(_tvHash::hashLength(row.id), row.digestSize);
    EXPECT_STREQ(_tvHash::hashOid(row.id), row.oid);
    EXPECT_EQ(_tvHash::oidToHashAlg(StringBuffer(row.oid)), row.id);
    EXPECT_EQ(_tvHash::hashAlgFromName(row.name), row.id);
}

TEST_P(HashAlgorithmTable, AppendsToWhatIsAlreadyInTheBuffer) {
    const AlgorithmRow& row = GetParam();
    DataBuffer out;
    out.append("xy", 2);
    ASSERT_TRUE(_tvHash::doHash("abc", 3, row.id, out));
    EXPECT_EQ(toHex(out), "7879" + std::string(row.abcDigest));
}

// Lengths around the 16-, 64- and 128-byte blocks and the length field of the padding.
const std::size_t kCrossCheckLengths[] = {
    0,   1,   15,  16,  17,  55,  56,  57,  63,   64,   65,    111,   112,   113,
    127, 128, 129, 191, 192, 255, 256, 257, 1000, 4096, 65535, 65536, 65537, 300001};

TEST_P(HashAlgorithmTable, StreamInUnevenPiecesEqualsOneShot) {
    const AlgorithmRow& row = GetParam();
    const Bytes data = testutil::randomBytes(5000, 99);
    DataBuffer whole;
    ASSERT_TRUE(_tvHash::doHash(data.data(), data.size(), row.id, whole));
    _tvLogger log;
    _tvHashStream hasher;
    ASSERT_TRUE(hasher.init(row.id, log));
    std::size_t pos = 0;
    for (std::size_t piece = 1; pos < data.size(); piece = piece * 3 + 1) {
        const std::size_t take = std::min(piece, data.size() - pos);
        ASSERT_TRUE(hasher.update(data.data() + pos, take));
        pos += take;
    }
    DataBuffer streamed;
    ASSERT_TRUE(hasher.final(streamed, log)) << log.renderText();
    EXPECT_EQ(toHex(streamed), toHex(whole));
}

INSTANTIATE_TEST_SUITE_P(EveryId, HashAlgorithmTable, ::testing::ValuesIn(kAlgorithms), rowName);

// The openssl tool has neither MD2 nor RIPEMD-128; OwnDigestGenerated holds those against
// Crypto++ on the same kind of lengths.
std::vector<AlgorithmRow> rowsKnownToOpenssl() {
    std::vector<AlgorithmRow> rows;
    for (const AlgorithmRow& row : kAlgorithms) {
        if (row.opensslName != nullptr) rows.push_back(row);
    }
    return rows;
}

class HashOpensslCrossCheck : public ::testing::TestWithParam<AlgorithmRow> {};

TEST_P(HashOpensslCrossCheck, MatchesOpensslDgstOnRandomData) {
    const AlgorithmRow& row = GetParam();
    testutil::TempDir dir;
    ASSERT_FALSE(dir.path().empty());
    for (std::size_t n : kCrossCheckLengths) {
        const Bytes data = testutil::randomBytes(n, static_cast<unsigned>(n * 7 + row.id));
        const std::string path = dir.write("data.bin", data);
        ASSERT_FALSE(path.empty());
        const std::string expected = testutil::opensslDigestHex(row.opensslName, path);
        ASSERT_EQ(expected.size(), static_cast<std::size_t>(row.digestSize) * 2)
            << "openssl dgst failed for " << row.name;
        DataBuffer out;
        ASSERT_TRUE(_tvHash::doHash(data.data(), data.size(), row.id, out));
        EXPECT_EQ(toHex(out), expected) << row.name << " length " << n;
    }
}

INSTANTIATE_TEST_SUITE_P(EveryOpensslId, HashOpensslCrossCheck,
                         ::testing::ValuesIn(rowsKnownToOpenssl()), rowName);

// Longer published vectors (FIPS 180 two-block messages, RFC 1321, RIPEMD-160 authors' list).
struct LongVector {
    int id;
    std::string message;
    const char* digest;
};

TEST(HashKnownAnswers, MultiBlockMessages) {
    const std::string m448 = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
    const std::string m896 =
        "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqr"
        "lmnopqrsmnopqrstnopqrstu";
    std::string digits;
    for (int i = 0; i < 8; ++i) digits += "1234567890";
    const LongVector vectors[] = {
        {1, m448, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {7, m448, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {2, m896,
         "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712fcc7c71a557e2db966c3e9fa9"
         "1"
         "746039"},
        {3, m896,
         "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018501d289e4900f7e4331b99dec"
         "4"
         "b5433ac7d329eeb6dd26545e96e55b874be909"},
        {5, digits, "57edf4a22be3c955ac49da2e2107b67a"},
        {10, m448, "12a053384a9c0c88e405a06c27dcf49ada62eb2b"},
        {10, digits, "9b752e45573d4b39f4dbd3323cab82bf63326bfb"},
        {1, std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        {10, std::string(1000000, 'a'), "52783243c1697bdbe16d37f97f68f08325dc1528"},
    };
    for (const LongVector& v : vectors) {
        DataBuffer out;
        ASSERT_TRUE(_tvHash::doHash(v.message.data(), v.message.size(), v.id, out));
        EXPECT_EQ(toHex(out), v.digest) << _tvHash::hashName(v.id) << " of " << v.message.size();
    }
}

TEST(HashIds, NoHashAppendsNothingAndSucceeds) {
    DataBuffer out;
    out.append("k", 1);
    EXPECT_TRUE(_tvHash::doHash("abc", 3, 0, out));
    EXPECT_EQ(toHex(out), "6b");
    EXPECT_EQ(_tvHash::hashLength(0), 0);
    EXPECT_STREQ(_tvHash::hashName(0), "");
}

TEST(HashIds, UnknownIdsAppendNothingAndFail) {
    for (int id : {-1, 6, 8, 16, 17, 1000}) {
        DataBuffer out;
        EXPECT_FALSE(_tvHash::doHash("abc", 3, id, out)) << id;
        EXPECT_TRUE(out.isEmpty()) << id;
        EXPECT_EQ(_tvHash::hashLength(id), 0) << id;
        EXPECT_STREQ(_tvHash::hashName(id), "") << id;
        EXPECT_STREQ(_tvHash::hashOid(id), "") << id;
    }
}

TEST(HashIds, UnknownIdInStreamIsLogged) {
    _tvLogger log;
    _tvHashStream hasher;
    EXPECT_FALSE(hasher.init(6, log));
    EXPECT_TRUE(log.hasErrorContaining("Unsupported hash algorithm id.")) << log.renderText();
    EXPECT_FALSE(hasher.update("abc", 3));
    DataBuffer out;
    EXPECT_FALSE(hasher.final(out, log));
    EXPECT_TRUE(out.isEmpty());
}

TEST(HashIds, NullDataWithLengthFails) {
    DataBuffer out;
    EXPECT_FALSE(_tvHash::doHash(nullptr, 5, 7, out));
    EXPECT_TRUE(out.isEmpty());
    EXPECT_TRUE(_tvHash::doHash(nullptr, 0, 7, out));  // the empty message
    EXPECT_EQ(toHex(out), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(HashOids, UnknownOrMalformedOidsGiveZero) {
    const char* oids[] = {"",
                          "1.2.840.113549.1.1.11",  // sha256WithRSAEncryption, not a hash
                          "2.16.840.1.101.3.4.2",   // prefix of the SHA-2 arc
                          "2.16.840.1.101.3.4.2.99",
                          "2.16.840.1.101.3.4.2.1.0",
                          "sha256",
                          "1.3.14.3.2.26x"};
    for (const char* oid : oids) EXPECT_EQ(_tvHash::oidToHashAlg(StringBuffer(oid)), 0) << oid;
}

TEST(HashOids, SurroundingBlanksAreIgnored) {
    EXPECT_EQ(_tvHash::oidToHashAlg(StringBuffer(" 2.16.840.1.101.3.4.2.1\r\n")), 7);
}

TEST(HashNames, CommonSpellingsAreAccepted) {
    EXPECT_EQ(_tvHash::hashAlgFromName("SHA-256"), 7);
    EXPECT_EQ(_tvHash::hashAlgFromName("sha_384"), 2);
    EXPECT_EQ(_tvHash::hashAlgFromName("RIPEMD-160"), 10);
    EXPECT_EQ(_tvHash::hashAlgFromName("sha"), 0);
    EXPECT_EQ(_tvHash::hashAlgFromName("sha2566"), 0);
    EXPECT_EQ(_tvHash::hashAlgFromName(""), 0);
    EXPECT_EQ(_tvHash::hashAlgFromName(nullptr), 0);
}

TEST(HashStream, FinalWithoutInitFailsWithLog) {
    _tvLogger log;
    _tvHashStream hasher;
    DataBuffer out;
    EXPECT_FALSE(hasher.final(out, log));
    EXPECT_TRUE(log.hasErrorContaining("not initialized")) << log.renderText();
}

TEST(HashStream, NullDataUpdateFailsTheDigest) {
    _tvLogger log;
    _tvHashStream hasher;
    ASSERT_TRUE(hasher.init(1, log));
    EXPECT_FALSE(hasher.update(nullptr, 4));
    DataBuffer out;
    EXPECT_FALSE(hasher.final(out, log));
    EXPECT_TRUE(out.isEmpty());
    EXPECT_TRUE(log.hasErrorContaining("Hashing the data failed.")) << log.renderText();
}

TEST(HashStream, ReinitDropsTheUnfinishedDigest) {
    _tvLogger log;
    _tvHashStream hasher;
    ASSERT_TRUE(hasher.init(5, log));
    hasher.update("garbage", 7);
    ASSERT_TRUE(hasher.init(5, log));
    hasher.update("abc", 3);
    DataBuffer out;
    ASSERT_TRUE(hasher.final(out, log));
    EXPECT_EQ(toHex(out), "900150983cd24fb0d6963f7d28e17f72");
}

}  // namespace
}  // namespace xmldsig
