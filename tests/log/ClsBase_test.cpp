// The component frame: a fresh log per outermost public call (nested public calls add to it)
// and the settings that survive it. Locking is exercised by tests/threads under ThreadSanitizer,
// and the ownership helpers by every test under AddressSanitizer.
#include "host/log/ClsBase.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace xmldsig {
namespace {

// A small component whose public operations call each other, as real components do.
class Widget : public ClsBase {
  public:
    bool Outer(bool ok) {
        CritSecExitor lock(this);
        LogContextExitor ctx(*this, "Outer");
        m_log.clearLastJsonData();
        m_log.LogInfo("outer work");
        const int n = get_Count();  // a nested public call
        m_log.LogDataLong("count", n);
        logSuccessFailure(ok);
        return ok;
    }
    int get_Count() {
        CritSecExitor lock(&m_critSec);  // the same section as `this`
        LogContextExitor ctx(*this, "get_Count");
        return 7;
    }
    bool Verbose() const { return m_log.verbose(); }
};

TEST(ClsBaseLog, FreshTreePerOutermostCall) {
    Widget w;
    w.put_VerboseLogging(true);
    w.put_UncommonOptions(XString("ZATCA"));
    w.Outer(true);
    const std::string first = w.lastErrorText();
    EXPECT_EQ(first,
              "Outer:\n"
              "  outer work\n"
              "  get_Count:\n"
              "  count: 7\n"
              "  Success.\n");
    w.Outer(false);
    EXPECT_EQ(w.lastErrorText(),  // nothing of the first call remains
              "Outer:\n"
              "  outer work\n"
              "  get_Count:\n"
              "  count: 7\n"
              "  Failed.\n");
    w.get_Count();
    EXPECT_EQ(w.lastErrorText(), "get_Count:\n");
    // Settings survive the fresh trees.
    EXPECT_TRUE(w.get_VerboseLogging());
    EXPECT_TRUE(w.Verbose());
    XString options;
    w.get_UncommonOptions(options);
    EXPECT_STREQ(options.getUtf8(), "ZATCA");
    EXPECT_TRUE(w.logger().hasOption("zatca", false));

    XString json;
    w.LastErrorJson(json);
    const auto j = nlohmann::json::parse(json.getUtf8(), nullptr, false);
    ASSERT_FALSE(j.is_discarded());
    EXPECT_EQ(j["log"][0]["context"], "get_Count");
}

}  // namespace
}  // namespace xmldsig
