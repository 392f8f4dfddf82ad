#include "host/crypto/detail/KeyDecode.h"

#include <openssl/pem.h>

#include <climits>
#include <cstring>
#include <vector>

#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"

namespace xmldsig::detail {
namespace {

bool fitsLong(std::size_t len) {
    return len <= static_cast<std::size_t>(LONG_MAX);
}

// A copy of key's public half only (through its SubjectPublicKeyInfo).
EvpPkeyPtr publicHalf(const EVP_PKEY* key) {
    std::vector<unsigned char> der;
    if (!publicKeyDer(key, der)) return nullptr;
    const unsigned char* p = der.data();
    return EvpPkeyPtr(d2i_PUBKEY(nullptr, &p, static_cast<long>(der.size())));
}

int refusePassphrase(char*, std::size_t, std::size_t*, const OSSL_PARAM[], void*) {
    return 0;  // encrypted keys are not ours to open
}

// OpenSSL's key decoders: PEM or DER, public or private, any structure, asked for each key type
// we verify with in turn. Left free to choose, they read a PKCS#1 RSAPublicKey (two INTEGERs) as
// DH parameters, a key that verifies nothing (and that OpenSSL 3.0 leaks memory encoding).
EvpPkeyPtr decodeKey(const unsigned char* data, std::size_t len) {
    for (const char* type : {"RSA", "RSA-PSS", "EC", "DSA"}) {
        EVP_PKEY* key = nullptr;
        OsslDecoderCtxPtr ctx(
            OSSL_DECODER_CTX_new_for_pkey(&key, nullptr, nullptr, type, 0, nullptr, nullptr));
        if (!ctx || OSSL_DECODER_CTX_set_passphrase_cb(ctx.get(), refusePassphrase, nullptr) != 1) {
            return nullptr;
        }
        const unsigned char* p = data;
        std::size_t left = len;
        const int rc = OSSL_DECODER_from_data(ctx.get(), &p, &left);
        EvpPkeyPtr owned(key);  // the decoder may leave a result behind even when it fails
        if (rc == 1 && owned) return publicHalf(owned.get());
    }
    return nullptr;
}

X509Ptr decodeCertificate(const unsigned char* data, std::size_t len) {
    const unsigned char* p = data;
    X509Ptr cert(d2i_X509(nullptr, &p, static_cast<long>(len)));
    if (cert) return cert;
    BioPtr bio(BIO_new_mem_buf(data, static_cast<int>(len)));
    if (!bio) return nullptr;
    return X509Ptr(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
}

// One encoded object at data: a key of any kind, else a certificate's key.
EvpPkeyPtr publicKeyFromObject(const unsigned char* data, std::size_t len) {
    EvpPkeyPtr key = decodeKey(data, len);
    if (!key) {
        X509Ptr cert = decodeCertificate(data, len);
        if (cert) key = publicHalf(X509_get0_pubkey(cert.get()));
    }
    return key;
}

constexpr int kMaxPemBlocks = 16;
constexpr char kPemBegin[] = "-----BEGIN ";

const unsigned char* findPemBegin(const unsigned char* from, const unsigned char* end) {
    const std::size_t markLen = sizeof kPemBegin - 1;
    for (const unsigned char* p = from; end - p >= static_cast<std::ptrdiff_t>(markLen); ++p) {
        if (std::memcmp(p, kPemBegin, markLen) == 0) return p;
    }
    return nullptr;
}

}  // namespace

bool publicKeyDer(const EVP_PKEY* key, std::vector<unsigned char>& out) {
    const int len = i2d_PUBKEY(key, nullptr);
    if (len <= 0) return false;
    out.resize(static_cast<std::size_t>(len));
    unsigned char* p = out.data();
    return i2d_PUBKEY(key, &p) == len;
}

EvpPkeyPtr publicKeyFromDer(const unsigned char* der, std::size_t len, LogBase& log) {
    clearOpenSslErrors();
    if (der == nullptr || len == 0 || !fitsLong(len)) {
        log.LogError("No DER to read a public key from.");
        return nullptr;
    }
    const unsigned char* p = der;
    EvpPkeyPtr key(d2i_PUBKEY(nullptr, &p, static_cast<long>(len)));
    if (!key || p != der + len) {
        p = der;
        key.reset(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &p, static_cast<long>(len)));
    }
    clearOpenSslErrors();
    if (!key || p != der + len) {
        log.LogError("The DER is neither a SubjectPublicKeyInfo nor a PKCS#1 RSA public key.");
        log.LogDataLong("derLength", static_cast<long>(len));
        return nullptr;
    }
    return key;
}

EvpPkeyPtr publicKeyFromAnyEncoding(const unsigned char* data, std::size_t len, LogBase& log) {
    clearOpenSslErrors();
    if (data == nullptr || len == 0 || len > static_cast<std::size_t>(INT_MAX)) {
        log.LogError("No key data, or too much of it.");
        return nullptr;
    }
    const unsigned char* end = data + len;
    const unsigned char* block = findPemBegin(data, end);
    EvpPkeyPtr key;
    if (block == nullptr) key = publicKeyFromObject(data, len);
    for (int n = 0; !key && block != nullptr && n < kMaxPemBlocks; ++n) {
        key = publicKeyFromObject(block, static_cast<std::size_t>(end - block));
        block = findPemBegin(block + 1, end);
    }
    clearOpenSslErrors();
    if (!key) {
        log.LogError("The data holds no public key, private key or certificate we can read.");
        log.LogInfo("Encrypted private keys are not read; give the public key or certificate.");
    }
    return key;
}

}  // namespace xmldsig::detail
