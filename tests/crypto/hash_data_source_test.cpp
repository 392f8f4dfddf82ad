// _tvHash::hashDataSource: streamed digests equal one-shot digests for every id, memory stays
// bounded for any size, and read errors fail the hash with a log line.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "crypto/crypto_test_util.h"
#include "host/crypto/_tvHash.h"
#include "host/crypto/_tvHashStream.h"
#include "host/crypto/detail/HashAlgorithms.h"
#include "host/log/_tvLogger.h"
#include "host/text/DataBuffer.h"
#include "host/xml/_tvFileDataSource.h"
#include "host/xml/_tvMemoryDataSource.h"

namespace xmldsig {
namespace {

using testutil::Bytes;
using testutil::toHex;

// A source of `total` pattern bytes made on the fly; it can fail after failAfter bytes and
// records the largest read it was asked for.
class SyntheticSource : public _tvDataSource {
  public:
    SyntheticSource(std::uint64_t total, std::uint64_t failAfter)
        : m_total(total), m_failAfter(failAfter) {}

    bool readChunk(unsigned char* buffer, std::size_t maxBytes, std::size_t& numRead,
                   LogBase& log) override {
        numRead = 0;
        m_largestRequest = std::max(m_largestRequest, maxBytes);
        if (m_pos >= m_failAfter) {
            log.LogError("Synthetic read error.");
            return false;
        }
        numRead = static_cast<std::size_t>(std::min<std::uint64_t>(maxBytes, m_total - m_pos));
        for (std::size_t i = 0; i < numRead; ++i) buffer[i] = byteAt(m_pos + i);
        m_pos += numRead;
        return true;
    }
    bool endOfStream() const override { return m_pos >= m_total; }
    std::int64_t getSize() const override { return static_cast<std::int64_t>(m_total); }

    static unsigned char byteAt(std::uint64_t i) {
        return static_cast<unsigned char>((i * 2654435761u) >> 13);
    }
    std::size_t largestRequest() const { return m_largestRequest; }

  private:
    std::uint64_t m_total;
    std::uint64_t m_failAfter;
    std::uint64_t m_pos = 0;
    std::size_t m_largestRequest = 0;
};

constexpr std::uint64_t kNever = ~std::uint64_t{0};

TEST(HashDataSource, StreamedFileEqualsOneShotForEveryId) {
    testutil::TempDir dir;
    const Bytes content = testutil::randomBytes(3 * 1024 * 1024 + 17, 11);
    const std::string path = dir.write("big.bin", content);
    ASSERT_FALSE(path.empty());
    for (const auto* alg = detail::hashAlgorithmsBegin(); alg != detail::hashAlgorithmsEnd();
         ++alg) {
        _tvLogger log;
        _tvFileDataSource source;
        ASSERT_TRUE(source.openDataSourceFile(path.c_str(), log));
        DataBuffer streamed;
        ASSERT_TRUE(_tvHash::hashDataSource(source, alg->id, nullptr, streamed, nullptr, log))
            << alg->name << "\n"
            << log.renderText();
        DataBuffer oneShot;
        ASSERT_TRUE(_tvHash::doHash(content.data(), content.size(), alg->id, oneShot));
        EXPECT_EQ(toHex(streamed), toHex(oneShot)) << alg->name;
    }
    // And the file's SHA-256 as the openssl tool sees it.
    _tvLogger log;
    _tvFileDataSource source;
    ASSERT_TRUE(source.openDataSourceFile(path.c_str(), log));
    DataBuffer sha256;
    ASSERT_TRUE(_tvHash::hashDataSource(source, 7, nullptr, sha256, nullptr, log));
    EXPECT_EQ(toHex(sha256), testutil::opensslDigestHex("sha256", path));
}

TEST(HashDataSource, SecondBufferReceivesTheBytes) {
    const Bytes content = testutil::randomBytes(200000, 12);
    _tvMemoryDataSource source(content.data(), content.size());
    _tvLogger log;
    DataBuffer copy;
    DataBuffer digest;
    ASSERT_TRUE(_tvHash::hashDataSource(source, 1, &copy, digest, nullptr, log));
    EXPECT_EQ(toHex(copy), toHex(content));
    DataBuffer expected;
    ASSERT_TRUE(_tvHash::doHash(content.data(), content.size(), 1, expected));
    EXPECT_EQ(toHex(digest), toHex(expected));
}

TEST(HashDataSource, ReadsInBoundedChunksWhateverTheSize) {
    const std::uint64_t total = 48ull * 1024 * 1024;
    SyntheticSource source(total, kNever);
    _tvLogger log;
    DataBuffer streamed;
    ASSERT_TRUE(_tvHash::hashDataSource(source, 5, nullptr, streamed, nullptr, log));
    EXPECT_LE(source.largestRequest(), 1024u * 1024u);
    EXPECT_GT(source.largestRequest(), 0u);

    // The same bytes through the incremental hasher in other piece sizes.
    _tvHashStream hasher;
    ASSERT_TRUE(hasher.init(5, log));
    std::vector<unsigned char> piece(100003);
    for (std::uint64_t pos = 0; pos < total;) {
        const std::size_t n =
            static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), total - pos));
        for (std::size_t i = 0; i < n; ++i) piece[i] = SyntheticSource::byteAt(pos + i);
        ASSERT_TRUE(hasher.update(piece.data(), n));
        pos += n;
    }
    DataBuffer expected;
    ASSERT_TRUE(hasher.final(expected, log));
    EXPECT_EQ(toHex(streamed), toHex(expected));
}

TEST(HashDataSource, ReadErrorFailsAndLeavesOutputUnchanged) {
    SyntheticSource source(1000000, 300000);
    _tvLogger log;
    DataBuffer out;
    out.append("q", 1);
    EXPECT_FALSE(_tvHash::hashDataSource(source, 7, nullptr, out, nullptr, log));
    EXPECT_EQ(toHex(out), "71");
    EXPECT_TRUE(log.hasErrorContaining("Synthetic read error.")) << log.renderText();
    EXPECT_TRUE(log.hasErrorContaining("Failed to hash the data source.")) << log.renderText();
}

TEST(HashDataSource, UnopenedFileFailsWithLog) {
    _tvFileDataSource source;
    _tvLogger log;
    DataBuffer out;
    EXPECT_FALSE(_tvHash::hashDataSource(source, 1, nullptr, out, nullptr, log));
    EXPECT_TRUE(out.isEmpty());
    EXPECT_TRUE(log.hasErrorContaining("The file data source is not open.")) << log.renderText();
}

TEST(HashDataSource, UnknownIdFailsWithLogBeforeReading) {
    SyntheticSource source(10, kNever);
    _tvLogger log;
    DataBuffer out;
    EXPECT_FALSE(_tvHash::hashDataSource(source, 8, nullptr, out, nullptr, log));
    EXPECT_TRUE(out.isEmpty());
    EXPECT_EQ(source.largestRequest(), 0u);
    EXPECT_TRUE(log.hasErrorContaining("Unsupported hash algorithm id.")) << log.renderText();
}

TEST(HashDataSource, EmptySourceGivesDigestOfNothing) {
    _tvMemoryDataSource source(nullptr, 0);
    _tvLogger log;
    DataBuffer out;
    ASSERT_TRUE(_tvHash::hashDataSource(source, 10, nullptr, out, nullptr, log));
    EXPECT_EQ(toHex(out), "9c1185a5c5e9fc54612808977ee8f548b2258d31");
}

}  // namespace
}  // namespace xmldsig
