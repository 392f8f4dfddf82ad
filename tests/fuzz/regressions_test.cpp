// Inputs on which a fuzz target once failed, kept under data/fuzz-regressions/<target>/ and
// replayed through that target's own entry point (the fuzz/ sources are linked into this
// program): a crash, a sanitizer report or a broken property fails the suite.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "FuzzInput.h"
#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

namespace fs = std::filesystem;

TEST(FuzzRegressions, EveryTargetIsLinkedIn) {
    std::size_t targets = 0;
    for (const auto& entry : fs::directory_iterator(XMLDSIG_FUZZ_DIR)) {
        const std::string name = entry.path().filename().string();
        if (name.size() > 11 && name.compare(name.size() - 11, 11, "_fuzzer.cpp") == 0) {
            ++targets;
            EXPECT_EQ(fuzz::entries().count(name.substr(0, name.size() - 4)), 1u) << name;
        }
    }
    EXPECT_GT(targets, 0u);
    EXPECT_EQ(fuzz::entries().size(), targets);
}

TEST(FuzzRegressions, KeptInputsRunCleanly) {
    const fs::path root = fs::path(XMLDSIG_TEST_DATA_DIR) / "fuzz-regressions";
    for (const auto& folder : fs::directory_iterator(root)) {
        if (!folder.is_directory()) continue;
        const std::string target = folder.path().filename().string();
        const auto entry = fuzz::entries().find(target);
        ASSERT_NE(entry, fuzz::entries().end()) << "no fuzz target " << target;
        for (const auto& file : fs::directory_iterator(folder.path())) {
            const std::string bytes = readFile(file.path().string());
            try {
                entry->second(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            } catch (const std::exception& e) {
                ADD_FAILURE() << file.path() << ": " << e.what();
            }
        }
    }
}

}  // namespace
}  // namespace xmldsig::test
