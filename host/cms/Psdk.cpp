#include "host/cms/Psdk.h"

#include <chrono>

namespace xmldsig {

uint32_t Psdk::getTickCount() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

int Psdk::toIntRange(uint32_t x, int lo, int hi) {
    if (hi <= lo) return lo;
    // The width is computed in 64 bits so that the full int range cannot overflow.
    const uint64_t width = static_cast<uint64_t>(static_cast<int64_t>(hi) - lo) + 1;
    return static_cast<int>(lo + static_cast<int64_t>(x % width));
}

}  // namespace xmldsig
