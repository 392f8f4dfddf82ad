// Peak memory while verifying a detached reference over a large external file (1 GiB by
// default). The file is hashed as a stream, so the resident set must not grow with the file:
// the program fails when verification grows the peak RSS by more than a fixed bound.
//
// usage: xmldsig_bench_peak_external [--size-mib N] [--max-growth-mib M]
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "bench/bench_support.h"
#include "dsig/ClsXmlDSig.h"

namespace xmldsig::bench {
namespace {

constexpr std::uint64_t kMiB = 1u << 20;
constexpr std::uint64_t kMinFreeBytes = 3ull << 30;

struct Options {
    std::uint64_t sizeMib = 1024;
    long maxGrowthMib = 64;
};

bool parseOptions(int argc, char** argv, Options& opt) {
    for (int i = 1; i < argc; ++i) {
        const bool hasValue = i + 1 < argc;
        const long value = hasValue ? std::strtol(argv[i + 1], nullptr, 10) : 0;
        if (std::strcmp(argv[i], "--size-mib") == 0 && value > 0)
            opt.sizeMib = value;
        else if (std::strcmp(argv[i], "--max-growth-mib") == 0 && value > 0)
            opt.maxGrowthMib = value;
        else
            return false;
        ++i;
    }
    return true;
}

struct DsigDeleter {
    void operator()(ClsXmlDSig* p) const { delete p; }
};

int run(const Options& opt) {
    const std::uint64_t bytes = opt.sizeMib * kMiB;
    const std::uint64_t needed = bytes * 3 > kMinFreeBytes ? bytes * 3 : kMinFreeBytes;
    const std::uint64_t freeBytes = freeDiskBytes("/tmp");
    if (freeBytes < needed) {
        std::printf("skipped: %llu MiB free in /tmp, %llu MiB needed\n",
                    static_cast<unsigned long long>(freeBytes / kMiB),
                    static_cast<unsigned long long>(needed / kMiB));
        return 0;
    }
    ScratchDir dir;
    const std::string name = "payload.bin";
    if (!dir.ok() || !writePatternFile(dir.file(name), bytes)) return 1;
    const std::string expected = opensslDigestBase64(dir.file(name), "sha256");
    std::unique_ptr<ClsXmlDSig, DsigDeleter> dsig(ClsXmlDSig::createNewCls());
    if (expected.empty() || !dsig) {
        std::fprintf(stderr, "setup failed: openssl digest or component creation\n");
        return 1;
    }
    const std::string sig =
        detachedSignature(name, "http://www.w3.org/2001/04/xmlenc#sha256", expected);
    if (!dsig->LoadSignature(XString(sig.c_str()))) {
        std::fprintf(stderr, "LoadSignature failed\n%s", dsig->lastErrorText().c_str());
        return 1;
    }
    dsig->put_ExternalRefDirs(XString(dir.path().c_str()));

    const long before = peakRssKib();
    const auto start = std::chrono::steady_clock::now();
    const bool ok = dsig->VerifyReferenceDigest(0);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const long after = peakRssKib();
    const long growthKib = after - before;

    std::printf("external file:          %llu MiB\n", static_cast<unsigned long long>(opt.sizeMib));
    std::printf("digest (openssl):       %s\n", expected.c_str());
    std::printf("VerifyReferenceDigest:  %s in %.2f s (%.0f MiB/s)\n", ok ? "true" : "FALSE",
                seconds, static_cast<double>(opt.sizeMib) / seconds);
    std::printf("peak RSS before verify: %ld KiB\n", before);
    std::printf("peak RSS after verify:  %ld KiB (growth %ld KiB, bound %ld MiB)\n", after,
                growthKib, opt.maxGrowthMib);
    if (!ok) {
        std::fprintf(stderr, "the reference did not verify\n%s", dsig->lastErrorText().c_str());
        return 1;
    }
    if (growthKib > opt.maxGrowthMib * 1024) {
        std::fprintf(stderr, "peak RSS grew by %ld KiB: the file was not hashed as a stream\n",
                     growthKib);
        return 1;
    }
    std::printf("bounded: yes\n");
    return 0;
}

}  // namespace
}  // namespace xmldsig::bench

int main(int argc, char** argv) {
    xmldsig::bench::Options opt;
    if (!xmldsig::bench::parseOptions(argc, argv, opt)) {
        std::fprintf(stderr, "usage: %s [--size-mib N] [--max-growth-mib M]\n", argv[0]);
        return 2;
    }
    return xmldsig::bench::run(opt);
}
