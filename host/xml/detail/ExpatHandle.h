// Owning pointer for an expat parser, so that no code path calls XML_ParserFree by hand.
#pragma once

// The amplification-limit setters are declared only under XML_DTD; the system library is built
// with DTD support (the symbols link), the header just needs to be told.
#ifndef XML_DTD
#define XML_DTD 1
#endif
#include <expat.h>

#include <memory>

namespace xmldsig::detail {

template <auto Fn>
struct FreeWith {
    template <class T>
    void operator()(T* p) const noexcept {
        Fn(p);
    }
};

using ExpatPtr = std::unique_ptr<XML_ParserStruct, FreeWith<&XML_ParserFree>>;

}  // namespace xmldsig::detail
