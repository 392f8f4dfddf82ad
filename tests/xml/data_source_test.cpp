// The streaming data sources: a file source returns exactly the file's bytes in pieces and
// refuses what is not a regular file; a memory source returns the caller's bytes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "crypto/crypto_test_util.h"
#include "host/log/_tvLogger.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/xml/_tvFileDataSource.h"
#include "host/xml/_tvMemoryDataSource.h"

namespace xmldsig {
namespace {

using testutil::Bytes;

// Reads the whole source with the given piece size; fails the test on a read error.
Bytes readAll(_tvDataSource& source, std::size_t piece, LogBase& log) {
    Bytes all;
    std::vector<unsigned char> buf(piece);
    for (int guard = 0; guard < 1000000; ++guard) {
        std::size_t got = 0;
        EXPECT_TRUE(source.readChunk(buf.data(), buf.size(), got, log));
        if (got == 0) break;
        EXPECT_LE(got, piece);
        all.insert(all.end(), buf.begin(), buf.begin() + static_cast<long>(got));
    }
    return all;
}

TEST(FileDataSource, ReadsTheFileExactlyInAnyPieceSize) {
    testutil::TempDir dir;
    const Bytes content = testutil::randomBytes(100003, 3);
    const std::string path = dir.write("f.bin", content);
    ASSERT_FALSE(path.empty());
    for (std::size_t piece : {7u, 4096u, 65536u, 200000u}) {
        _tvLogger log;
        _tvFileDataSource source;
        ASSERT_TRUE(source.openDataSourceFile(path.c_str(), log)) << log.renderText();
        EXPECT_EQ(source.getSize(), static_cast<std::int64_t>(content.size()));
        EXPECT_FALSE(source.endOfStream());
        EXPECT_EQ(readAll(source, piece, log), content) << "piece " << piece;
        EXPECT_TRUE(source.endOfStream());
    }
}

TEST(FileDataSource, EmptyFileEndsAtOnce) {
    testutil::TempDir dir;
    const std::string path = dir.write("empty.bin", {});
    _tvLogger log;
    _tvFileDataSource source;
    ASSERT_TRUE(source.openDataSourceFile(StringBuffer(path.c_str()), log));
    EXPECT_EQ(source.getSize(), 0);
    unsigned char buf[16];
    std::size_t got = 99;
    EXPECT_TRUE(source.readChunk(buf, sizeof buf, got, log));
    EXPECT_EQ(got, 0u);
    EXPECT_TRUE(source.endOfStream());
}

struct OpenFailure {
    std::string label;
    std::string path;
    const char* expectedError;
    const char* expectedOsError;  // null when no OS error is expected
};

TEST(FileDataSource, UnopenablePathsFailWithReasonInLog) {
    testutil::TempDir dir;
    const std::string plain = dir.write("plain.txt", testutil::fromText("x"));
    const std::string fifo = dir.file("pipe");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::vector<OpenFailure> cases = {
        {"missing", dir.file("missing.bin"), "Failed to open file.", "No such file or directory"},
        {"directory", dir.path(), "Not a regular file.", nullptr},
        {"fifo", fifo, "Not a regular file.", nullptr},           // would block a reader forever
        {"device", "/dev/zero", "Not a regular file.", nullptr},  // would never end
        {"file as directory", plain + "/x", "Failed to open file.", "Not a directory"},
        {"empty path", "", "No file path to open.", nullptr},
    };
    if (::geteuid() != 0) {  // root reads files whatever their mode
        const std::string locked = dir.write("locked.bin", testutil::fromText("secret"));
        ::chmod(locked.c_str(), 0);
        cases.push_back({"no permission", locked, "Failed to open file.", "Permission denied"});
    }
    for (const OpenFailure& c : cases) {
        _tvLogger log;
        _tvFileDataSource source;
        EXPECT_FALSE(source.openDataSourceFile(c.path.c_str(), log)) << c.label;
        EXPECT_FALSE(source.isOpen()) << c.label;
        EXPECT_TRUE(log.hasErrorContaining(c.expectedError)) << c.label << "\n" << log.renderText();
        const std::string text = log.renderText();
        if (!c.path.empty()) EXPECT_NE(text.find(c.path), std::string::npos) << c.label << text;
        if (c.expectedOsError) {
            EXPECT_NE(text.find(c.expectedOsError), std::string::npos) << c.label << text;
        }
    }
}

TEST(FileDataSource, NullPathFails) {
    _tvLogger log;
    _tvFileDataSource source;
    EXPECT_FALSE(source.openDataSourceFile(static_cast<const char*>(nullptr), log));
    EXPECT_TRUE(log.hasErrorContaining("No file path to open."));
}

TEST(FileDataSource, FailedReopenLeavesSourceClosed) {
    testutil::TempDir dir;
    const std::string path = dir.write("a.bin", testutil::fromText("abc"));
    _tvLogger log;
    _tvFileDataSource source;
    ASSERT_TRUE(source.openDataSourceFile(path.c_str(), log));
    EXPECT_FALSE(source.openDataSourceFile(dir.file("nope").c_str(), log));
    EXPECT_FALSE(source.isOpen());
    EXPECT_EQ(source.getSize(), -1);
    unsigned char buf[8];
    std::size_t got = 0;
    EXPECT_FALSE(source.readChunk(buf, sizeof buf, got, log));
}

TEST(MemoryDataSource, NullDataReadsAsEmptyAndNullBufferFails) {
    _tvLogger log;
    _tvMemoryDataSource empty(nullptr, 50);
    EXPECT_EQ(empty.getSize(), 0);
    EXPECT_TRUE(empty.endOfStream());
    _tvMemoryDataSource source("abc", 3);
    std::size_t got = 7;
    EXPECT_FALSE(source.readChunk(nullptr, 3, got, log));
    EXPECT_EQ(got, 0u);
    EXPECT_TRUE(log.hasErrorContaining("No buffer"));
}

}  // namespace
}  // namespace xmldsig
