// Owning pointers for OpenSSL objects, so that no code path calls a *_free function by hand.
// Wrap what a new, fetch, get1, d2i_ or PEM_read call gave you; never a get0 result.
#pragma once

#include <openssl/bn.h>
#include <openssl/evp.h>

#include <memory>

namespace xmldsig::detail {

template <auto Fn>
struct FreeWith {
    template <class T>
    void operator()(T* p) const noexcept {
        Fn(p);
    }
};

using EvpMdPtr = std::unique_ptr<EVP_MD, FreeWith<&EVP_MD_free>>;
using EvpMdCtxPtr = std::unique_ptr<EVP_MD_CTX, FreeWith<&EVP_MD_CTX_free>>;
using EvpMacPtr = std::unique_ptr<EVP_MAC, FreeWith<&EVP_MAC_free>>;
using EvpMacCtxPtr = std::unique_ptr<EVP_MAC_CTX, FreeWith<&EVP_MAC_CTX_free>>;
using EvpPkeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<&EVP_PKEY_free>>;
using EvpPkeyCtxPtr = std::unique_ptr<EVP_PKEY_CTX, FreeWith<&EVP_PKEY_CTX_free>>;
using BignumPtr = std::unique_ptr<BIGNUM, FreeWith<&BN_free>>;
using BnCtxPtr = std::unique_ptr<BN_CTX, FreeWith<&BN_CTX_free>>;

}  // namespace xmldsig::detail
