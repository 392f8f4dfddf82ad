// MD2 message digest (RFC 1319). OpenSSL 3 no longer ships it, and old signatures still name it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xmldsig::detail {

class Md2 {
  public:
    static constexpr std::size_t kDigestSize = 16;
    static constexpr std::size_t kBlockSize = 16;

    Md2() { reset(); }

    void reset();
    void update(const void* data, std::size_t length);
    // Writes kDigestSize bytes to out and resets, so the object can hash a new message.
    void final(std::uint8_t* out);

  private:
    void compress(const std::uint8_t* block);

    std::uint8_t m_state[48];
    std::uint8_t m_checksum[16];
    std::uint8_t m_buffer[16];
    std::size_t m_buffered;
};

}  // namespace xmldsig::detail
