// File services and the small interface holders, against real files in a temporary directory.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "host/log/_tvLogger.h"
#include "host/xml/ClsBinData.h"
#include "host/xml/ClsStringBuilder.h"
#include "host/xml/FileSys.h"
#include "host/xml/_tvFilePath.h"

namespace xmldsig {
namespace {

namespace fs = std::filesystem;

class FileServices : public ::testing::Test {
  protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() / ("xmldsig_fs_" + std::to_string(::getpid()));
        fs::create_directories(m_dir);
    }
    void TearDown() override { fs::remove_all(m_dir); }

    std::string write(const std::string& name, const std::string& bytes) {
        const fs::path p = m_dir / name;
        std::ofstream(p, std::ios::binary) << bytes;
        return p.string();
    }

    fs::path m_dir;
};

struct JoinCase {
    const char* dir;
    const char* file;
    const char* expected;
};

TEST(FilePathJoin, JoinsWithOneSeparator) {
    const JoinCase cases[] = {
        {"dir", "f.xml", "dir/f.xml"},
        {"dir/", "f.xml", "dir/f.xml"},
        {"C:\\x\\", "f.xml", "C:\\x\\f.xml"},
        {"", "f.xml", "f.xml"},
        {"dir", "", "dir"},
        {"/a/b", "sub/c.bin", "/a/b/sub/c.bin"},
    };
    for (const JoinCase& c : cases) {
        XString out;
        _tvFilePath::CombineDirAndFilepath(XString(c.dir), XString(c.file), out);
        EXPECT_STREQ(out.getUtf8(), c.expected) << c.dir << " + " << c.file;
    }
}

TEST_F(FileServices, FileExistsOnlyForRegularFiles) {
    const std::string file = write("present.xml", "<a/>");
    _tvLogger log;
    bool checkFailed = true;
    EXPECT_TRUE(FileSys::fileExistsX(file.c_str(), checkFailed, log));
    EXPECT_FALSE(checkFailed);
    EXPECT_FALSE(FileSys::fileExistsX((m_dir / "absent.xml").c_str(), checkFailed, log));
    EXPECT_FALSE(checkFailed);
    EXPECT_FALSE(FileSys::fileExistsX(m_dir.c_str(), checkFailed, log));  // a directory
    EXPECT_FALSE(FileSys::fileExistsX("", checkFailed, log));
    // A path through a regular file cannot be checked: that is not mere absence.
    EXPECT_FALSE(FileSys::fileExistsX((file + "/x").c_str(), checkFailed, log));
    EXPECT_TRUE(checkFailed);
    EXPECT_TRUE(log.hasErrorContaining("Cannot check whether the file exists."));
}

TEST_F(FileServices, ReadsExactBytesIncludingNul) {
    const std::string bytes("a\0b\xFF\r\n", 6);
    const std::string file = write("bin.dat", bytes);
    DataBuffer db;
    _tvLogger log;
    ASSERT_TRUE(FileSys::readFileToDb(file.c_str(), db, log));
    EXPECT_EQ(std::string(db.bytes().begin(), db.bytes().end()), bytes);
}

TEST_F(FileServices, RefusesFilesPastTheLimit) {
    const std::string file = write("big.dat", std::string(1000, 'x'));
    DataBuffer db;
    db.appendStr("old");
    _tvLogger log;
    EXPECT_FALSE(FileSys::readFileToDb(file.c_str(), db, log, 999));
    EXPECT_TRUE(db.isEmpty());
    EXPECT_TRUE(log.hasErrorContaining("File too large to load."));
    EXPECT_TRUE(FileSys::readFileToDb(file.c_str(), db, log, 1000));
    EXPECT_EQ(db.getSize(), 1000u);
}

TEST_F(FileServices, MissingFileAndDirectoryFailWithReason) {
    DataBuffer db;
    _tvLogger log;
    EXPECT_FALSE(FileSys::readFileToDb((m_dir / "absent").c_str(), db, log));
    EXPECT_TRUE(log.hasErrorContaining("Failed to open file."));
    EXPECT_NE(log.renderText().find("No such file or directory"), std::string::npos);
    _tvLogger log2;
    EXPECT_FALSE(FileSys::readFileToDb(m_dir.c_str(), db, log2));
    EXPECT_TRUE(log2.hasErrorContaining("Not a regular file."));
}

TEST_F(FileServices, StringBuilderLoadsAndConvertsCharset) {
    ClsStringBuilder sb;
    ASSERT_TRUE(sb.LoadFile(write("latin1.txt", "caf\xE9").c_str(), "iso-8859-1"));
    EXPECT_STREQ(sb.getAsString(), "caf\xC3\xA9");
    ASSERT_TRUE(sb.LoadFile(write("utf8.txt", "\xE2\x82\xAC").c_str(), nullptr));
    EXPECT_STREQ(sb.getAsString(), "\xE2\x82\xAC");
    // Invalid UTF-8 is refused and the text stays as it was.
    EXPECT_FALSE(sb.LoadFile(write("bad.txt", "\xC3\x28").c_str(), "utf-8"));
    EXPECT_STREQ(sb.getAsString(), "\xE2\x82\xAC");
    EXPECT_FALSE(sb.LoadFile((m_dir / "absent").c_str(), "utf-8"));
}

TEST_F(FileServices, BinDataLoadsAndEncodes) {
    ClsBinData bd;
    ASSERT_TRUE(bd.LoadFile(write("b.bin", std::string("\x00\x01\xFE", 3)).c_str()));
    XString out;
    ASSERT_TRUE(bd.GetEncoded("hex", out));
    EXPECT_STREQ(out.getUtf8(), "0001FE");
    ASSERT_TRUE(bd.AppendEncoded("/w==", "base64"));
    ASSERT_TRUE(bd.GetEncoded("base64", out));
    EXPECT_STREQ(out.getUtf8(), "AAH+/w==");
    EXPECT_FALSE(bd.GetEncoded("rot13", out));
    EXPECT_FALSE(bd.LoadFile((m_dir / "absent").c_str()));
    EXPECT_EQ(bd.get_NumBytes(), 4u);
}

}  // namespace
}  // namespace xmldsig
