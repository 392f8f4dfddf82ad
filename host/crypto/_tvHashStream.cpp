#include "host/crypto/_tvHashStream.h"

#include <openssl/evp.h>

#include "host/crypto/detail/EvpAlgorithms.h"
#include "host/crypto/detail/HashAlgorithms.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"

namespace xmldsig {

void _tvHashStream::EvpCtxFree::operator()(EVP_MD_CTX* ctx) const noexcept {
    EVP_MD_CTX_free(ctx);
}

bool _tvHashStream::init(int hashId, LogBase& log) {
    m_state = std::monostate{};
    m_active = false;
    m_failed = false;
    m_hashId = hashId;
    if (hashId == 0) {
        m_active = true;
        return true;
    }
    const detail::HashAlgorithm* alg = detail::findHashAlgorithm(hashId);
    if (alg == nullptr) {
        log.LogError("Unsupported hash algorithm id.");
        log.LogDataLong("hashAlg", hashId);
        return false;
    }
    m_active = startBackend(*alg, log);
    return m_active;
}

bool _tvHashStream::startBackend(const detail::HashAlgorithm& alg, LogBase& log) {
    switch (alg.backend) {
        case detail::HashBackend::OwnMd2:
            m_state.emplace<detail::Md2>();
            return true;
        case detail::HashBackend::OwnRipemd128:
            m_state.emplace<detail::Ripemd128>();
            return true;
        case detail::HashBackend::OpenSsl:
            break;
    }
    const EVP_MD* md = detail::evpDigestFor(alg, log);
    if (md == nullptr) return false;
    detail::clearOpenSslErrors();
    EvpCtx ctx(EVP_MD_CTX_new());
    if (!ctx || EVP_DigestInit_ex2(ctx.get(), md, nullptr) != 1) {
        log.LogError("Failed to initialize the OpenSSL digest.");
        log.LogDataStr("hashAlg", alg.name);
        detail::logOpenSslErrors(log);
        return false;
    }
    m_state = std::move(ctx);
    return true;
}

bool _tvHashStream::update(const void* data, std::size_t length) {
    if (!m_active || m_failed) return false;
    if (length == 0) return true;
    if (data == nullptr) {
        m_failed = true;
        return false;
    }
    if (auto* md2 = std::get_if<detail::Md2>(&m_state)) {
        md2->update(data, length);
    } else if (auto* rmd = std::get_if<detail::Ripemd128>(&m_state)) {
        rmd->update(data, length);
    } else if (auto* ctx = std::get_if<EvpCtx>(&m_state)) {
        m_failed = EVP_DigestUpdate(ctx->get(), data, length) != 1;
    }
    return !m_failed;
}

bool _tvHashStream::finishBackend(unsigned char* digest, LogBase& log) {
    if (auto* md2 = std::get_if<detail::Md2>(&m_state)) {
        md2->final(digest);
    } else if (auto* rmd = std::get_if<detail::Ripemd128>(&m_state)) {
        rmd->final(digest);
    } else if (auto* ctx = std::get_if<EvpCtx>(&m_state)) {
        if (EVP_DigestFinal_ex(ctx->get(), digest, nullptr) != 1) {
            log.LogError("Failed to finish the OpenSSL digest.");
            detail::logOpenSslErrors(log);
            return false;
        }
    }
    return true;
}

bool _tvHashStream::final(DataBuffer& out, LogBase& log) {
    const bool wasActive = m_active;
    const bool failed = m_failed;
    m_active = false;
    if (!wasActive) {
        log.LogError("Hash stream was not initialized.");
        return false;
    }
    if (m_hashId == 0) return true;
    const detail::HashAlgorithm* alg = detail::findHashAlgorithm(m_hashId);
    if (failed) {
        log.LogError("Hashing the data failed.");
        log.LogDataStr("hashAlg", alg->name);
        detail::logOpenSslErrors(log);
        m_state = std::monostate{};
        return false;
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    const bool ok = finishBackend(digest, log);
    m_state = std::monostate{};
    if (!ok) return false;
    if (!out.append(digest, alg->digestSize)) {
        log.LogError("Failed to append the digest.");
        return false;
    }
    return true;
}

}  // namespace xmldsig
