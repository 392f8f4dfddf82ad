// ClsJsonObject: the option bag handed to the timestamp services.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "host/cms/ClsJsonObject.h"
#include "host/log/LogNull.h"
#include "host/text/XString.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

std::string stringOf(ClsJsonObject& json, const char* path) {
    XString out;
    return json.StringOf(XString(path), out) ? out.getUtf8() : "<none>";
}

TEST(ClsJsonObjectRead, MembersByDottedPath) {
    ClsJsonObject json;
    for (const test::DataRow& r : test::loadTable("cms/json_paths.tsv")) {
        ASSERT_TRUE(json.Load(XString(r["json"].c_str())));
        EXPECT_EQ(stringOf(json, r["path"].c_str()), r["text"]) << r.where();
    }
    bool b = true;
    EXPECT_TRUE(json.BoolOf(XString("timestampToken.requestTsaCert"), b));
    EXPECT_FALSE(b);
    EXPECT_TRUE(json.BoolOf(XString("timestampToken.flag"), b));
    EXPECT_TRUE(b);
    EXPECT_FALSE(json.BoolOf(XString("timestampToken.n"), b));
    EXPECT_FALSE(json.BoolOf(XString("top"), b));
    EXPECT_TRUE(json.HasMember(XString("nul")));
    EXPECT_FALSE(json.HasMember(XString("timestampToken.nope")));
}

TEST(ClsJsonObjectUpdate, CreatesObjectsOnThePathAndEmitsValidJson) {
    ClsJsonObject json;
    EXPECT_TRUE(json.UpdateString(XString("timestampToken.tsaUrl"), XString("http://a/")));
    EXPECT_TRUE(json.UpdateBool(XString("timestampToken.requestTsaCert"), false));
    EXPECT_TRUE(json.UpdateInt(XString("a.b.c"), 7));
    EXPECT_TRUE(json.UpdateString(XString("quote"), XString("say \"hi\"\n")));
    // A path through a member that is not an object changes nothing.
    EXPECT_FALSE(json.UpdateString(XString("timestampToken.tsaUrl.more"), XString("x")));
    EXPECT_FALSE(json.UpdateInt(XString(""), 1));
    EXPECT_FALSE(json.UpdateInt(XString("a..b"), 1));
    XString emitted;
    ASSERT_TRUE(json.Emit(emitted));
    const auto parsed = nlohmann::json::parse(emitted.getUtf8());  // throws on bad JSON
    EXPECT_EQ(parsed["timestampToken"]["tsaUrl"], "http://a/");
    EXPECT_EQ(parsed["timestampToken"]["requestTsaCert"], false);
    EXPECT_EQ(parsed["a"]["b"]["c"], 7);
    EXPECT_EQ(parsed["quote"], "say \"hi\"\n");
}

TEST(ClsJsonObjectLoad, RefusesWhatIsNotOneObjectAndKeepsTheOldContent) {
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    const std::string deepObject = "{\"a\":" + std::string(70, '[') + std::string(70, ']') + "}";
    const std::string huge = "{\"a\":\"" + std::string(ClsJsonObject::kMaxJsonBytes, 'x') + "\"}";
    struct Row {
        const char* name;
        std::string text;
        const char* logLine;
    } rows[] = {
        {"array", "[1,2]", "not a JSON object"},
        {"string", "\"x\"", "not a JSON object"},
        {"truncated", "{\"a\": ", "not a JSON object"},
        {"trailing", "{} {}", "not a JSON object"},
        {"bad utf-8", "{\"a\": \"\xC3\x28\"}", "not a JSON object"},
        {"empty", "", "not a JSON object"},
        {"deep arrays", deep, "nested too deeply"},
        {"deep in object", deepObject, "nested too deeply"},
        {"too large", huge, "too large"},
    };
    for (const Row& r : rows) {
        ClsJsonObject json;
        ASSERT_TRUE(json.Load(XString(R"({"keep": "me"})")));
        EXPECT_FALSE(json.Load(XString(r.text.c_str()))) << r.name;
        EXPECT_NE(json.lastErrorText().find(r.logLine), std::string::npos) << r.name << "\n"
                                                                           << json.lastErrorText();
        EXPECT_EQ(stringOf(json, "keep"), "me") << r.name;
    }
}

}  // namespace
}  // namespace xmldsig
