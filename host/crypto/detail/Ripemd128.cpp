#include "host/crypto/detail/Ripemd128.h"

#include <algorithm>
#include <cstring>

#include "host/crypto/detail/BlockFeed.h"

namespace xmldsig::detail {
namespace {

// Message word order and rotation amounts of the four rounds, left line then right line.
constexpr std::uint8_t kWordLeft[64] = {
    0, 1,  2,  3,  4,  5,  6,  7, 8,  9, 10, 11, 12, 13, 14, 15,  //
    7, 4,  13, 1,  10, 6,  15, 3, 12, 0, 9,  5,  2,  14, 11, 8,   //
    3, 10, 14, 4,  9,  15, 8,  1, 2,  7, 0,  6,  13, 11, 5,  12,  //
    1, 9,  11, 10, 0,  8,  12, 4, 13, 3, 7,  15, 14, 5,  6,  2};
constexpr std::uint8_t kWordRight[64] = {
    5,  14, 7, 0, 9, 2,  11, 4,  13, 6,  15, 8,  1,  10, 3,  12,  //
    6,  11, 3, 7, 0, 13, 5,  10, 14, 15, 8,  12, 4,  9,  1,  2,   //
    15, 5,  1, 3, 7, 14, 6,  9,  11, 8,  12, 2,  10, 0,  4,  13,  //
    8,  6,  4, 1, 3, 11, 15, 0,  5,  12, 2,  13, 9,  7,  10, 14};
constexpr std::uint8_t kShiftLeft[64] = {
    11, 14, 15, 12, 5,  8,  7,  9,  11, 13, 14, 15, 6,  7,  9,  8,   //
    7,  6,  8,  13, 11, 9,  7,  15, 7,  12, 15, 9,  11, 7,  13, 12,  //
    11, 13, 6,  7,  14, 9,  13, 15, 14, 8,  13, 6,  5,  12, 7,  5,   //
    11, 12, 14, 15, 14, 15, 9,  8,  9,  14, 5,  6,  8,  6,  5,  12};
constexpr std::uint8_t kShiftRight[64] = {
    8,  9,  9,  11, 13, 15, 15, 5,  7,  7,  8,  11, 14, 14, 12, 6,   //
    9,  13, 15, 7,  12, 8,  9,  11, 7,  7,  12, 7,  6,  15, 13, 11,  //
    9,  7,  15, 11, 8,  6,  6,  14, 12, 13, 5,  14, 13, 13, 7,  5,   //
    15, 5,  8,  11, 14, 14, 6,  14, 6,  9,  12, 9,  12, 5,  15, 8};
constexpr std::uint32_t kConstLeft[4] = {0x00000000u, 0x5A827999u, 0x6ED9EBA1u, 0x8F1BBCDCu};
constexpr std::uint32_t kConstRight[4] = {0x50A28BE6u, 0x5C4DD124u, 0x6D703EF3u, 0x00000000u};

constexpr std::uint32_t rotl(std::uint32_t x, unsigned n) {
    return (x << n) | (x >> (32 - n));
}

// The four boolean functions; the left line uses them in order 0..3, the right in 3..0.
std::uint32_t boolean(unsigned which, std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    switch (which) {
        case 0:
            return x ^ y ^ z;
        case 1:
            return (x & y) | (~x & z);
        case 2:
            return (x | ~y) ^ z;
        default:
            return (x & z) | (y & ~z);
    }
}

std::uint32_t loadLe32(const std::uint8_t* p) {
    return std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16) |
           (std::uint32_t{p[3]} << 24);
}

void storeLe32(std::uint32_t v, std::uint8_t* p) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

struct Line {
    std::uint32_t a, b, c, d;
    void step(std::uint32_t f, std::uint32_t word, std::uint32_t k, unsigned shift) {
        const std::uint32_t t = rotl(a + f + word + k, shift);
        a = d;
        d = c;
        c = b;
        b = t;
    }
};

}  // namespace

void Ripemd128::reset() {
    m_h[0] = 0x67452301u;
    m_h[1] = 0xEFCDAB89u;
    m_h[2] = 0x98BADCFEu;
    m_h[3] = 0x10325476u;
    std::memset(m_buffer, 0, sizeof m_buffer);
    m_buffered = 0;
    m_totalBytes = 0;
}

void Ripemd128::compress(const std::uint8_t* block) {
    std::uint32_t x[16];
    for (int i = 0; i < 16; ++i) x[i] = loadLe32(block + 4 * i);
    Line left{m_h[0], m_h[1], m_h[2], m_h[3]};
    Line right = left;
    for (unsigned i = 0; i < 64; ++i) {
        const unsigned round = i / 16;
        left.step(boolean(round, left.b, left.c, left.d), x[kWordLeft[i]], kConstLeft[round],
                  kShiftLeft[i]);
        right.step(boolean(3 - round, right.b, right.c, right.d), x[kWordRight[i]],
                   kConstRight[round], kShiftRight[i]);
    }
    const std::uint32_t t = m_h[1] + left.c + right.d;
    m_h[1] = m_h[2] + left.d + right.a;
    m_h[2] = m_h[3] + left.a + right.b;
    m_h[3] = m_h[0] + left.b + right.c;
    m_h[0] = t;
}

void Ripemd128::update(const void* data, std::size_t length) {
    m_totalBytes += length;
    feedBlocks(m_buffer, m_buffered, data, length,
               [this](const std::uint8_t* block) { compress(block); });
}

void Ripemd128::final(std::uint8_t* out) {
    // MD4-style padding: 0x80, zeros, then the bit length as a little-endian 64-bit number.
    const std::uint64_t bitLength = m_totalBytes * 8;
    std::uint8_t tail[2 * kBlockSize] = {0x80};
    const std::size_t padLength = (m_buffered < 56 ? 56 - m_buffered : 64 + 56 - m_buffered);
    for (int i = 0; i < 8; ++i)
        tail[padLength + i] = static_cast<std::uint8_t>(bitLength >> (8 * i));
    update(tail, padLength + 8);
    for (int i = 0; i < 4; ++i) storeLe32(m_h[i], out + 4 * i);
    reset();
}

}  // namespace xmldsig::detail
