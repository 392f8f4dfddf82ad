// Owning pointers for the OpenSSL certificate objects that only the certificate services use.
// The general ones (X509Ptr, BioPtr, EvpPkeyPtr...) live in host/crypto/detail/handles.h.
#pragma once

#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <memory>

#include "host/crypto/detail/handles.h"

namespace xmldsig::detail {

using X509StorePtr = std::unique_ptr<X509_STORE, FreeWith<&X509_STORE_free>>;
using X509StoreCtxPtr = std::unique_ptr<X509_STORE_CTX, FreeWith<&X509_STORE_CTX_free>>;
using Pkcs12Ptr = std::unique_ptr<PKCS12, FreeWith<&PKCS12_free>>;
using Asn1ObjectPtr = std::unique_ptr<ASN1_OBJECT, FreeWith<&ASN1_OBJECT_free>>;
using Asn1StringPtr = std::unique_ptr<ASN1_STRING, FreeWith<&ASN1_STRING_free>>;

// A STACK_OF(X509) that owns its certificates.
inline void freeX509Stack(STACK_OF(X509) * sk) {
    sk_X509_pop_free(sk, X509_free);
}
using X509StackPtr = std::unique_ptr<STACK_OF(X509), FreeWith<&freeX509Stack>>;

// Memory that OpenSSL allocated for us (OPENSSL_free is a macro, so it gets a function).
inline void freeOpenSslMemory(unsigned char* p) {
    OPENSSL_free(p);
}
using OpenSslBytesPtr = std::unique_ptr<unsigned char, FreeWith<&freeOpenSslMemory>>;

// Drops the errors OpenSSL queues while the object lives, and only those: for calls whose
// failure is an answer ("not a string type", "unknown name") rather than an error to report.
class OpenSslErrorMark {
  public:
    OpenSslErrorMark() { ERR_set_mark(); }
    OpenSslErrorMark(const OpenSslErrorMark&) = delete;
    OpenSslErrorMark& operator=(const OpenSslErrorMark&) = delete;
    ~OpenSslErrorMark() { ERR_pop_to_mark(); }
};

}  // namespace xmldsig::detail
