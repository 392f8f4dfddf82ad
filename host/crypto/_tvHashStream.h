// Incremental hashing: init with a hash id, feed the data in any number of pieces, then final.
// One-shot hashing, data-source hashing and our own HMAC all run through this class, so each
// algorithm is wired in exactly one place.
#pragma once

#include <openssl/types.h>

#include <cstddef>
#include <memory>
#include <variant>

#include "host/crypto/detail/Md2.h"
#include "host/crypto/detail/Ripemd128.h"

namespace xmldsig {

class DataBuffer;
class LogBase;

namespace detail {
struct HashAlgorithm;
}

class _tvHashStream {
  public:
    _tvHashStream() = default;
    _tvHashStream(const _tvHashStream&) = delete;
    _tvHashStream& operator=(const _tvHashStream&) = delete;
    _tvHashStream(_tvHashStream&&) noexcept = default;
    _tvHashStream& operator=(_tvHashStream&&) noexcept = default;
    ~_tvHashStream() = default;

    // Starts a new digest, dropping any unfinished one. Id 0 ("no hash") starts a stream whose
    // final appends nothing. False, with the reason logged, for an unknown id or when OpenSSL
    // cannot provide the algorithm; the stream is then inactive.
    bool init(int hashId, LogBase& log);
    // False when the stream is inactive or OpenSSL fails; a failed update also fails final.
    bool update(const void* data, std::size_t length);
    // Appends the digest to out and makes the stream inactive. False (logged, out unchanged)
    // when inactive, when an update failed, or when out cannot grow.
    bool final(DataBuffer& out, LogBase& log);

    bool isActive() const { return m_active; }
    int hashId() const { return m_hashId; }

  private:
    struct EvpCtxFree {
        void operator()(EVP_MD_CTX* ctx) const noexcept;
    };
    using EvpCtx = std::unique_ptr<EVP_MD_CTX, EvpCtxFree>;
    using State = std::variant<std::monostate, EvpCtx, detail::Md2, detail::Ripemd128>;

    bool startBackend(const detail::HashAlgorithm& alg, LogBase& log);
    bool finishBackend(unsigned char* digest, LogBase& log);

    State m_state;
    int m_hashId = 0;
    bool m_active = false;
    bool m_failed = false;
};

}  // namespace xmldsig
