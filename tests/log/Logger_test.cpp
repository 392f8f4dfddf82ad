// The log tree: text rendering, JSON rendering of the same tree, and its memory bounds.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "host/log/LogNull.h"
#include "host/log/_tvLogger.h"

namespace xmldsig {
namespace {

void writeSampleTree(LogBase& log) {
    LogContextExitor outer(log, "VerifySignature");
    log.LogDataLong("selector", 0);
    {
        LogContextExitor inner(log, "verifyReferenceDigest");
        log.LogDataSb("uri", StringBuffer("#obj"));
        log.LogError("Digest mismatch.");
        DataBuffer digest;
        digest.append("\x01\xAB\xFF", 3);
        log.LogDataHexDb("digest", digest);
        log.LogBracketed("canonical", "<a>\n</a>");
    }
    log.LogDataBool("valid", false);
    log.LogInfo_n("level three", 3);
    log.LogInfo("Failed.");
}

TEST(TvLoggerRender, NestedTreeAsText) {
    _tvLogger log;
    writeSampleTree(log);
    EXPECT_EQ(log.renderText(),
              "VerifySignature:\n"
              "  selector: 0\n"
              "  verifyReferenceDigest:\n"
              "    uri: #obj\n"
              "    Digest mismatch.\n"
              "    digest: 01ABFF\n"
              "    canonical: [<a>\n</a>]\n"
              "  valid: false\n"
              "  level three\n"
              "  Failed.\n");
    EXPECT_EQ(log.openDepth(), 0u);
    EXPECT_TRUE(log.hasErrorContaining("mismatch"));
    EXPECT_FALSE(log.hasErrorContaining("Failed."));  // an info, not an error
}

TEST(TvLoggerRender, JsonMatchesTheTree) {
    _tvLogger log;
    writeSampleTree(log);
    log.updateLastJsonData("refFailReason", "1");
    const nlohmann::json j = nlohmann::json::parse(log.renderJson(), nullptr, false);
    ASSERT_FALSE(j.is_discarded()) << log.renderJson();
    ASSERT_EQ(j["log"].size(), 1u);
    const auto& top = j["log"][0];
    EXPECT_EQ(top["context"], "VerifySignature");
    ASSERT_EQ(top["entries"].size(), 5u);
    EXPECT_EQ(top["entries"][0], (nlohmann::json{{"key", "selector"}, {"value", "0"}}));
    const auto& inner = top["entries"][1];
    EXPECT_EQ(inner["context"], "verifyReferenceDigest");
    ASSERT_EQ(inner["entries"].size(), 4u);
    EXPECT_EQ(inner["entries"][1], (nlohmann::json{{"error", "Digest mismatch."}}));
    EXPECT_EQ(inner["entries"][2]["value"], "01ABFF");
    EXPECT_EQ(inner["entries"][3],
              (nlohmann::json{{"key", "canonical"}, {"bracketed", "<a>\n</a>"}}));
    EXPECT_EQ(top["entries"][4], (nlohmann::json{{"info", "Failed."}}));
    EXPECT_EQ(j["lastData"]["refFailReason"], "1");
    EXPECT_FALSE(j.contains("truncated"));

    log.clearLastJsonData();
    EXPECT_FALSE(nlohmann::json::parse(log.renderJson()).contains("lastData"));
}

TEST(TvLoggerRender, JsonSurvivesInvalidUtf8) {
    _tvLogger log;
    log.LogDataStr("bytes", "\xFF\xFE ok");
    const nlohmann::json j = nlohmann::json::parse(log.renderJson(), nullptr, false);
    ASSERT_FALSE(j.is_discarded());
    EXPECT_EQ(j["log"][0]["key"], "bytes");
}

TEST(TvLoggerBounds, ManyEntriesAreCappedWithANote) {
    _tvLogger log;
    LogContextExitor ctx(log, "flood");
    for (std::size_t i = 0; i < _tvLogger::kMaxEntries + 50; ++i) log.LogInfo("x");
    EXPECT_TRUE(log.truncated());
    EXPECT_LE(log.entries().size(), _tvLogger::kMaxEntries);
    EXPECT_EQ(log.entries().back().text, "(log truncated)");
    EXPECT_TRUE(nlohmann::json::parse(log.renderJson())["truncated"].get<bool>());
}

TEST(TvLoggerBounds, LongTextsAreCut) {
    _tvLogger log;
    const std::string big(_tvLogger::kMaxBracketedBytes + 10, 'b');
    log.LogBracketed("xml", big.c_str());
    log.LogDataStr("value", big.c_str());
    ASSERT_EQ(log.entries().size(), 2u);
    EXPECT_EQ(log.entries()[0].text.size(), _tvLogger::kMaxBracketedBytes + 14);
    EXPECT_EQ(log.entries()[1].text.size(), _tvLogger::kMaxValueBytes + 14);
    EXPECT_EQ(log.entries()[1].text.substr(_tvLogger::kMaxValueBytes), "...(truncated)");
}

TEST(TvLoggerBounds, TotalBytesAreCapped) {
    _tvLogger log;
    const std::string block(_tvLogger::kMaxBracketedBytes, 'z');
    for (int i = 0; i < 100; ++i) log.LogBracketed("xml", block.c_str());
    EXPECT_TRUE(log.truncated());
    std::size_t total = 0;
    for (const auto& e : log.entries()) total += e.text.size();
    EXPECT_LE(total, _tvLogger::kMaxTotalBytes + 64);
}

TEST(LogBaseOptions, HasOptionCaseRules) {
    LogNull log;
    log.m_uncommonOptions.setString("zatca,AllowXmlDigestError");
    EXPECT_TRUE(log.hasOption("ZATCA", false));
    EXPECT_FALSE(log.hasOption("ZATCA", true));
    EXPECT_TRUE(log.hasOption("AllowXmlDigestError", true));
    EXPECT_FALSE(log.hasOption("allowxmldigesterror", true));
    EXPECT_FALSE(log.hasOption("", false));
    EXPECT_FALSE(log.hasOption("MYINVOIS", false));
}

}  // namespace
}  // namespace xmldsig
