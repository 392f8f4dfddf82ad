// The deleter of the owning pointers around C libraries' objects (expat, OpenSSL): Fn frees one.
#pragma once

namespace xmldsig::detail {

template <auto Fn>
struct FreeWith {
    template <class T>
    void operator()(T* p) const noexcept {
        Fn(p);
    }
};

}  // namespace xmldsig::detail
