// Components used on several threads at once, each thread with components of its own, must
// give the verdicts they give alone. Built and run under ThreadSanitizer by the test script.
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "host/xml/ClsBinData.h"
#include "support/DsigTestUtil.h"
#include "support/Manifest.h"

namespace xmldsig::test {
namespace {

// The verdict of every signature of a document, with a fresh component.
std::vector<int> verdicts(const std::string& path) {
    std::vector<int> out;
    auto dsig = newDsig();
    ClsBinData bd;
    if (!bd.LoadFile(path.c_str()) || !dsig->LoadSignatureBd(bd)) return {-1};
    dsig->put_ExternalRefDirs(XString(path.substr(0, path.find_last_of('/')).c_str()));
    for (int i = 0; i < dsig->get_NumSignatures(); ++i) {
        dsig->put_Selector(i);
        out.push_back(dsig->VerifySignature(true) ? 1 : 0);
        out.push_back(dsig->VerifyReferenceDigest(0) ? 1 : 0);
        XString c14n;
        out.push_back(dsig->CanonicalizeXml(XString("<a b='1'/>"), XString(""), false, c14n) ? 1
                                                                                             : 0);
    }
    return out;
}

TEST(Threads, FourThreadsOverTheCorpusAgreeWithOneThread) {
    std::vector<std::string> docs;
    for (const auto& row : readManifest()) docs.push_back(corpusPath(row.path));
    ASSERT_GT(docs.size(), 250u);

    std::map<std::string, std::vector<int>> alone;
    for (const auto& d : docs) alone[d] = verdicts(d);

    constexpr int kThreads = 4;
    std::mutex mutex;
    std::map<std::string, std::vector<int>> together[kThreads];
    std::vector<std::thread> pool;
    for (int t = 0; t < kThreads; ++t) {
        pool.emplace_back([&, t] {
            // Each thread walks the whole corpus from its own starting point, so that every
            // document is worked on by several threads at about the same time.
            const std::size_t n = docs.size();
            for (std::size_t k = 0; k < n; ++k) {
                const std::string& d = docs[(k + t * n / kThreads) % n];
                auto v = verdicts(d);
                std::lock_guard<std::mutex> lock(mutex);
                together[t][d] = std::move(v);
            }
        });
    }
    for (auto& th : pool) th.join();
    for (int t = 0; t < kThreads; ++t)
        for (const auto& d : docs)
            EXPECT_EQ(together[t][d], alone[d]) << "thread " << t << " " << d;
}

}  // namespace
}  // namespace xmldsig::test
