// Shared by the fuzz targets: the input is split into a few option bytes that choose how it is
// processed (so that one corpus explores every configuration, reproducibly) and the bytes that
// are processed. A harness aborts only on a broken property; bad input must merely fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>

#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"

namespace xmldsig::fuzz {

class FuzzInput {
  public:
    FuzzInput(const uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    // The next option byte (0 once the input is used up).
    uint8_t byte() {
        if (m_size == 0) return 0;
        --m_size;
        return *m_data++;
    }
    // Bytes up to the first NUL as a short text (a prefix list, an Id, a password), at most max.
    std::string shortText(std::size_t max) {
        std::string out;
        while (m_size > 0 && out.size() < max) {
            const char c = static_cast<char>(byte());
            if (c == '\0') break;
            out += c;
        }
        return out;
    }
    // The rest of the input.
    const uint8_t* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    std::string rest() const { return std::string(reinterpret_cast<const char*>(m_data), m_size); }
    DataBuffer restDb() const {
        DataBuffer db;
        db.append(m_data, m_size);
        return db;
    }
    StringBuffer restSb() const { return StringBuffer(rest()); }
    XString restXs() const {
        XString xs;
        xs.setFromUtf8(rest().c_str());
        return xs;
    }

  private:
    const uint8_t* m_data;
    std::size_t m_size;
};

// A broken property: say which, and abort so that libFuzzer keeps the input (inside the test
// suite, throw so that the regression test names it).
[[noreturn]] inline void propertyBroken(const char* what) {
#ifdef XMLDSIG_FUZZ_IN_TESTS
    throw std::runtime_error(what);
#else
    std::fprintf(stderr, "fuzz property broken: %s\n", what);
    std::abort();
#endif
}

// The test suite links every target into one program and calls them by name (the file name
// without .cpp), to replay tests/data/fuzz-regressions/<name>/*.
using Entry = int (*)(const uint8_t*, std::size_t);
inline std::map<std::string, Entry>& entries() {
    static std::map<std::string, Entry> all;
    return all;
}
struct EntryRegistration {
    EntryRegistration(const char* name, Entry entry) { entries()[name] = entry; }
};

}  // namespace xmldsig::fuzz

// Defines a target's entry point: LLVMFuzzerTestOneInput, or a named entry in the test suite.
#ifdef XMLDSIG_FUZZ_IN_TESTS
#define XMLDSIG_FUZZ_TARGET(name)                                                    \
    static int name(const uint8_t* data, std::size_t size);                          \
    static const ::xmldsig::fuzz::EntryRegistration name##Registration(#name, name); \
    static int name(const uint8_t* data, std::size_t size)
#else
#define XMLDSIG_FUZZ_TARGET(name) \
    extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
#endif
