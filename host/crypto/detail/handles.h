// Owning pointers for OpenSSL objects, so that no code path calls a *_free function by hand.
// Wrap what a new, fetch, get1, d2i_ or PEM_read call gave you; never a get0 result.
#pragma once

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/decoder.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/params.h>
#include <openssl/x509.h>

#include <memory>

#include "host/text/detail/FreeWith.h"

namespace xmldsig::detail {

using EvpMdPtr = std::unique_ptr<EVP_MD, FreeWith<&EVP_MD_free>>;
using EvpMdCtxPtr = std::unique_ptr<EVP_MD_CTX, FreeWith<&EVP_MD_CTX_free>>;
using EvpMacPtr = std::unique_ptr<EVP_MAC, FreeWith<&EVP_MAC_free>>;
using EvpMacCtxPtr = std::unique_ptr<EVP_MAC_CTX, FreeWith<&EVP_MAC_CTX_free>>;
using EvpPkeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<&EVP_PKEY_free>>;
using EvpPkeyCtxPtr = std::unique_ptr<EVP_PKEY_CTX, FreeWith<&EVP_PKEY_CTX_free>>;
using BignumPtr = std::unique_ptr<BIGNUM, FreeWith<&BN_free>>;
using BnCtxPtr = std::unique_ptr<BN_CTX, FreeWith<&BN_CTX_free>>;
using BioPtr = std::unique_ptr<BIO, FreeWith<&BIO_free>>;
using X509Ptr = std::unique_ptr<X509, FreeWith<&X509_free>>;
using X509SigPtr = std::unique_ptr<X509_SIG, FreeWith<&X509_SIG_free>>;
using EcdsaSigPtr = std::unique_ptr<ECDSA_SIG, FreeWith<&ECDSA_SIG_free>>;
using EcGroupPtr = std::unique_ptr<EC_GROUP, FreeWith<&EC_GROUP_free>>;
using OsslParamBldPtr = std::unique_ptr<OSSL_PARAM_BLD, FreeWith<&OSSL_PARAM_BLD_free>>;
using OsslParamPtr = std::unique_ptr<OSSL_PARAM, FreeWith<&OSSL_PARAM_free>>;
using OsslDecoderCtxPtr = std::unique_ptr<OSSL_DECODER_CTX, FreeWith<&OSSL_DECODER_CTX_free>>;

}  // namespace xmldsig::detail
