// Ownership rules of the owned-object arrays.
#include "host/text/ExtPtrArray.h"

#include <gtest/gtest.h>

#include "host/text/TvStr.h"

namespace xmldsig {
namespace {

// Counts live instances so the tests can see deletions.
struct Tracked : TavolinObject {
    explicit Tracked(int* live) : m_live(live) { ++*m_live; }
    ~Tracked() override { --*m_live; }
    int* m_live;
};

TEST(ExtPtrArrayOwnership, SetAtGrowsAndReplaces) {
    int live = 0;
    {
        ExtPtrArray arr;
        EXPECT_EQ(arr.elementAt(0), nullptr);
        EXPECT_EQ(arr.elementAt(-1), nullptr);
        EXPECT_TRUE(arr.setAt(3, new Tracked(&live)));
        EXPECT_EQ(arr.getSize(), 4);
        EXPECT_EQ(arr.elementAt(1), nullptr);
        EXPECT_NE(arr.elementAt(3), nullptr);
        EXPECT_TRUE(arr.setAt(3, new Tracked(&live)));  // the replaced element is deleted
        EXPECT_EQ(live, 1);
        EXPECT_FALSE(arr.setAt(-1, new Tracked(&live)));  // refused and freed
        EXPECT_EQ(live, 1);
        arr.appendObject(new Tracked(&live));
        EXPECT_EQ(live, 2);
        TavolinObject* taken = arr.removeAt(4);
        EXPECT_EQ(arr.getSize(), 4);
        delete taken;
        EXPECT_EQ(live, 1);
        arr.appendObject(new Tracked(&live));
        arr.deleteAt(0);  // a null slot
        EXPECT_EQ(arr.getSize(), 4);
    }
    EXPECT_EQ(live, 0);  // destruction frees the rest
}

TEST(ExtPtrArrayOwnership, NonOwningArrayLeavesObjects) {
    int live = 0;
    Tracked a(&live);
    {
        ExtPtrArray arr;
        arr.setOwnsObjects(false);
        arr.appendObject(&a);
        EXPECT_EQ(arr.sbAt(0), nullptr);  // not a StringBuffer
    }
    EXPECT_EQ(live, 1);
}

TEST(ExtPtrArraySbAccess, StringsByIndex) {
    ExtPtrArraySb arr;
    arr.appendString("one");
    arr.appendSb(new StringBuffer("two"));
    EXPECT_FALSE(arr.appendSb(nullptr));
    EXPECT_STREQ(arr.strAt(1), "two");
    EXPECT_EQ(arr.strAt(2), nullptr);
    EXPECT_EQ(arr.sbAt(-1), nullptr);
    arr.sbAt(0)->append("!");
    EXPECT_STREQ(arr.strAt(0), "one!");
    arr.removeAt(0);
    EXPECT_STREQ(arr.strAt(0), "two");
    arr.removeAll();
    EXPECT_EQ(arr.getSize(), 0);
}

TEST(TvStrFunctions, NullSafeTable) {
    EXPECT_EQ(tvStrLen(nullptr), 0u);
    EXPECT_EQ(tvStrLen("abc"), 3u);
    const char* s = "a=b=c";
    EXPECT_EQ(tvStrChr(s, '='), s + 1);
    EXPECT_EQ(tvStrChr(s, 'z'), nullptr);
    EXPECT_EQ(tvStrChr(nullptr, 'a'), nullptr);
    EXPECT_EQ(tvStrStr(s, "b="), s + 2);
    EXPECT_EQ(tvStrStr(s, "zz"), nullptr);
    EXPECT_EQ(tvStrStr(nullptr, "a"), nullptr);
    EXPECT_EQ(tvStrNCmp("abcX", "abcY", 3), 0);
    EXPECT_LT(tvStrNCmp("abcX", "abcY", 4), 0);
    EXPECT_GT(tvStrNCmp("\xFF", "a", 1), 0);  // bytes compare unsigned
    EXPECT_EQ(tvStrNCmp(nullptr, "", 5), 0);
}

}  // namespace
}  // namespace xmldsig
