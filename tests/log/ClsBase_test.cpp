// The component frame: a fresh log per outermost public call, the recursive lock, and the
// ownership helpers for counted references.
#include "host/log/ClsBase.h"

#include <gtest/gtest.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <thread>

#include "host/log/ExtPtrArrayRc.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/log/_clsOwner.h"

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

TEST(ClsBaseLock, RecursiveAndExclusiveAcrossThreads) {
    Widget w;
    std::atomic<bool> otherEntered{false};
    std::thread other;
    {
        CritSecExitor lock(&w);
        EXPECT_EQ(w.get_Count(), 7);  // re-entered on the same thread without blocking
        other = std::thread([&] {
            CritSecExitor theirs(&w);
            otherEntered = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(otherEntered.load());  // held off while this thread holds the section
    }
    other.join();
    EXPECT_TRUE(otherEntered.load());
}

// Counts live instances to observe releases.
struct Counted : RefCountedObject {
    explicit Counted(int* live) : m_live(live) { ++*m_live; }
    ~Counted() override { --*m_live; }
    int* m_live;
};

TEST(ExtPtrArrayRcRelease, ReleasesOnRemoveReplaceAndDestruction) {
    int live = 0;
    Counted* kept = new Counted(&live);
    kept->incRefCount();  // ours, besides the one the array takes over
    {
        ExtPtrArrayRc arr;
        EXPECT_FALSE(arr.appendRefCounted(nullptr));
        arr.appendRefCounted(kept);
        arr.appendRefCounted(new Counted(&live));
        arr.appendRefCounted(new Counted(&live));
        EXPECT_EQ(live, 3);
        EXPECT_EQ(arr.elementAt(0), kept);
        EXPECT_EQ(arr.elementAt(3), nullptr);
        EXPECT_TRUE(arr.removeRefCountedAt(1));
        EXPECT_EQ(live, 2);
        EXPECT_FALSE(arr.removeRefCountedAt(5));
        EXPECT_TRUE(arr.replaceRefCountedAt(1, new Counted(&live)));
        EXPECT_EQ(live, 2);
        EXPECT_TRUE(arr.replaceRefCountedAt(4, new Counted(&live)));  // grows with nulls
        EXPECT_EQ(arr.getSize(), 5);
        EXPECT_EQ(arr.elementAt(2), nullptr);
        EXPECT_EQ(live, 3);
    }
    EXPECT_EQ(live, 1);  // only ours is left
    EXPECT_EQ(kept->getRefCount(), 1);
    kept->decRefCount();
    EXPECT_EQ(live, 0);
}

TEST(RefCountedOwners, ReleaseWhenDestroyed) {
    int live = 0;
    {
        RefCountedObjectOwner owner(new Counted(&live));
        owner.reset(new Counted(&live));  // releases the first
        EXPECT_EQ(live, 1);
    }
    EXPECT_EQ(live, 0);

    RefCountedObjectOwner keep(new Counted(&live));
    RefCountedObject* handed = keep.release();
    EXPECT_EQ(keep.get(), nullptr);
    handed->decRefCount();
    EXPECT_EQ(live, 0);
}

struct CountedWidget : Widget, RefCountedObject {
    explicit CountedWidget(int* live) : m_live(live) { ++*m_live; }
    ~CountedWidget() override { --*m_live; }
    int* m_live;
};

struct PlainWidget : Widget {
    explicit PlainWidget(int* live) : m_live(live) { ++*m_live; }
    ~PlainWidget() override { --*m_live; }
    int* m_live;
};

TEST(RefCountedOwners, ClsOwnerReleasesOrDeletes) {
    int live = 0;
    auto* shared = new CountedWidget(&live);
    shared->incRefCount();
    {
        _clsOwner a(shared);
        _clsOwner b(new PlainWidget(&live));
        EXPECT_EQ(live, 2);
    }
    EXPECT_EQ(live, 1);  // the counted one lost a reference, the plain one was deleted
    shared->decRefCount();
    EXPECT_EQ(live, 0);
}

}  // namespace
}  // namespace xmldsig
