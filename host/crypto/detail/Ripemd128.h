// RIPEMD-128 message digest (Dobbertin, Bosselaers, Preneel). OpenSSL 3 does not provide it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xmldsig::detail {

class Ripemd128 {
  public:
    static constexpr std::size_t kDigestSize = 16;
    static constexpr std::size_t kBlockSize = 64;

    Ripemd128() { reset(); }

    void reset();
    void update(const void* data, std::size_t length);
    // Writes kDigestSize bytes to out and resets, so the object can hash a new message.
    void final(std::uint8_t* out);

  private:
    void compress(const std::uint8_t* block);

    std::uint32_t m_h[4];
    std::uint8_t m_buffer[kBlockSize];
    std::size_t m_buffered;
    std::uint64_t m_totalBytes;
};

}  // namespace xmldsig::detail
