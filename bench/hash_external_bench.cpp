// Throughput of hashing external reference data: a detached signature whose Reference names a
// file in a reference directory, verified through the component, and the raw streaming hash of
// a file for the common digest algorithms. Every expected digest comes from the openssl tool, so
// a wrong digest stops the benchmark instead of timing a failure.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "bench/bench_support.h"
#include "dsig/ClsXmlDSig.h"
#include "host/crypto/_tvHash.h"
#include "host/log/_tvLogger.h"
#include "host/text/DataBuffer.h"
#include "host/xml/_tvFileDataSource.h"

namespace xmldsig::bench {
namespace {

constexpr std::int64_t kMiB = 1 << 20;

struct HashAlgorithm {
    int hashId;
    const char* opensslName;
    const char* digestUri;
};

const HashAlgorithm kAlgorithms[] = {
    {1, "sha1", "http://www.w3.org/2000/09/xmldsig#sha1"},
    {7, "sha256", "http://www.w3.org/2001/04/xmlenc#sha256"},
    {3, "sha512", "http://www.w3.org/2001/04/xmlenc#sha512"},
};

const HashAlgorithm* algorithmById(int hashId) {
    for (const auto& a : kAlgorithms)
        if (a.hashId == hashId) return &a;
    return nullptr;
}

// One generated payload per size, created on first use and removed at exit.
struct PayloadFile {
    ScratchDir dir;
    std::string name = "payload.bin";
    bool written = false;
    std::string path() const { return dir.file(name); }
};

const PayloadFile* payload(std::int64_t bytes) {
    static std::map<std::int64_t, std::unique_ptr<PayloadFile>> files;
    auto& slot = files[bytes];
    if (!slot) {
        slot = std::make_unique<PayloadFile>();
        slot->written = slot->dir.ok() && writePatternFile(slot->path(), bytes);
    }
    return slot->written ? slot.get() : nullptr;
}

struct DsigDeleter {
    void operator()(ClsXmlDSig* p) const { delete p; }
};

void BM_VerifyReferenceDigestExternal(benchmark::State& state) {
    const std::int64_t bytes = state.range(0);
    const HashAlgorithm& alg = *algorithmById(7);
    const PayloadFile* file = payload(bytes);
    const std::string expected = file ? opensslDigestBase64(file->path(), alg.opensslName) : "";
    std::unique_ptr<ClsXmlDSig, DsigDeleter> dsig(ClsXmlDSig::createNewCls());
    if (expected.empty() || !dsig) return state.SkipWithError("setup failed (payload or openssl)");
    if (!dsig->LoadSignature(
            XString(detachedSignature(file->name, alg.digestUri, expected).c_str())))
        return state.SkipWithError(("LoadSignature failed\n" + dsig->lastErrorText()).c_str());
    dsig->put_ExternalRefDirs(XString(file->dir.path().c_str()));
    if (!dsig->VerifyReferenceDigest(0))
        return state.SkipWithError(
            ("digest differs from openssl's\n" + dsig->lastErrorText()).c_str());

    for (auto _ : state) {
        if (!dsig->VerifyReferenceDigest(0)) return state.SkipWithError("verification failed");
    }
    state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(BM_VerifyReferenceDigestExternal)
    ->Arg(1 * kMiB)
    ->Arg(64 * kMiB)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// hashDataSource over a freshly opened file; false with the log in errText on any failure.
bool hashFile(const std::string& path, int hashId, std::string& base64, std::string& errText) {
    _tvLogger log;
    _tvFileDataSource source;
    DataBuffer digest;
    StringBuffer encoded;
    if (!source.openDataSourceFile(path.c_str(), log) ||
        !_tvHash::hashDataSource(source, hashId, nullptr, digest, nullptr, log) ||
        !digest.encodeDB("base64", encoded)) {
        errText = log.renderText();
        return false;
    }
    base64 = encoded.getString();
    return true;
}

void BM_HashDataSourceFile(benchmark::State& state) {
    const std::int64_t bytes = state.range(1);
    const HashAlgorithm* alg = algorithmById(static_cast<int>(state.range(0)));
    const PayloadFile* file = payload(bytes);
    if (alg == nullptr || file == nullptr) return state.SkipWithError("setup failed");
    state.SetLabel(alg->opensslName);
    std::string digest, errText;
    const std::string expected = opensslDigestBase64(file->path(), alg->opensslName);
    if (!hashFile(file->path(), alg->hashId, digest, errText) || digest != expected)
        return state.SkipWithError(("digest differs from openssl's\n" + errText).c_str());

    for (auto _ : state) {
        if (!hashFile(file->path(), alg->hashId, digest, errText))
            return state.SkipWithError(errText.c_str());
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(BM_HashDataSourceFile)
    ->ArgNames({"hashId", "bytes"})
    ->ArgsProduct({{1, 7, 3}, {64 * kMiB}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace xmldsig::bench

BENCHMARK_MAIN();
