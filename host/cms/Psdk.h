// Platform helpers: a millisecond tick count and the constants and range mapping of the
// multiplicative generator that makes the random parts of XAdES element Ids.
#pragma once

#include <cstdint>

namespace xmldsig {

class Psdk {
  public:
    // Milliseconds of a monotonic clock, wrapping at 2^32.
    static uint32_t getTickCount();
    // Multiplier and modulus of a Lehmer generator (MINSTD): x' = x * n1 mod n2. n2 is never 0.
    static uint32_t n1() { return 48271u; }
    static uint32_t n2() { return 2147483647u; }
    // lo + x mod (hi - lo + 1): any value onto the closed range [lo, hi]. lo when hi < lo.
    static int toIntRange(uint32_t x, int lo, int hi);
};

}  // namespace xmldsig
