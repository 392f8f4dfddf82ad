// Canonicalization throughput of whole invoice-like documents, inclusive and exclusive, from a
// few kilobytes to several megabytes: parse plus canonical rendering, as the verifier runs it.
// Before timing, each output is compared byte for byte with xmllint's (libxml2), so only a
// correct canonicalization is timed.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <string>

#include "bench/bench_support.h"
#include "host/log/_tvLogger.h"
#include "host/xml/XmlCanon.h"

namespace xmldsig::bench {
namespace {

const StringBuffer& document(std::int64_t bytes) {
    static std::map<std::int64_t, StringBuffer> docs;
    StringBuffer& doc = docs[bytes];
    if (doc.isEmpty()) doc.append(invoiceDocument(static_cast<std::size_t>(bytes)));
    return doc;
}

// Canonicalizes input in the given mode; false with the log in errText when it fails.
bool canonicalize(const StringBuffer& input, int32_t mode, StringBuffer& out,
                  std::string& errText) {
    XmlCanon canon;
    canon.m_mode = mode;
    _tvLogger log;
    out.clear();
    if (canon.xmlCanonicalize(input, "", 0, out, log)) return true;
    errText = log.renderText();
    return false;
}

// Empty when ours matches xmllint's canonical form of the same input, else what went wrong.
std::string differenceFromXmllint(const StringBuffer& input, int32_t mode,
                                  const StringBuffer& ours) {
    ScratchDir dir;
    const std::string path = dir.file("input.xml");
    if (!dir.ok() || !writeTextFile(path, input.getString())) return "cannot write the input";
    const char* option = mode == XmlCanon::kModeExclusive ? "--exc-c14n" : "--c14n";
    std::string theirs;
    if (!commandOutput(std::string("xmllint ") + option + " '" + path + "'", theirs))
        return "xmllint failed";
    if (theirs != ours.getString())
        return "output differs from xmllint " + std::string(option) + " (" +
               std::to_string(ours.getSize()) + " vs " + std::to_string(theirs.size()) + " bytes)";
    return {};
}

void BM_Canonicalize(benchmark::State& state) {
    const int32_t mode = static_cast<int32_t>(state.range(0));
    const StringBuffer& input = document(state.range(1));
    state.SetLabel(mode == XmlCanon::kModeExclusive ? "exclusive" : "inclusive");
    StringBuffer out;
    std::string errText;
    if (!canonicalize(input, mode, out, errText)) return state.SkipWithError(errText.c_str());
    errText = differenceFromXmllint(input, mode, out);
    if (!errText.empty()) return state.SkipWithError(errText.c_str());

    for (auto _ : state) {
        if (!canonicalize(input, mode, out, errText)) return state.SkipWithError(errText.c_str());
        benchmark::DoNotOptimize(out.getString());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(input.getSize()));
}
BENCHMARK(BM_Canonicalize)
    ->ArgNames({"mode", "bytes"})
    ->ArgsProduct({{XmlCanon::kModeInclusive, XmlCanon::kModeExclusive},
                   {3 * 1024, 1024 * 1024, 5 * 1024 * 1024}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace xmldsig::bench

BENCHMARK_MAIN();
