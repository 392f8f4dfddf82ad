// Feeding a byte stream to a block hash: bytes collect in a one-block buffer, and every full
// block goes to the compression function.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace xmldsig::detail {

template <std::size_t BlockSize, typename Compress>
void feedBlocks(std::uint8_t (&buffer)[BlockSize], std::size_t& buffered, const void* data,
                std::size_t length, Compress compress) {
    const auto* in = static_cast<const std::uint8_t*>(data);
    while (length > 0) {
        const std::size_t take = std::min(length, BlockSize - buffered);
        std::memcpy(buffer + buffered, in, take);
        buffered += take;
        in += take;
        length -= take;
        if (buffered == BlockSize) {
            compress(buffer);
            buffered = 0;
        }
    }
}

}  // namespace xmldsig::detail
