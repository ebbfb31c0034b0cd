// Uniform bits of MCG59. Its values x = a*x mod 2^59 are weakest in their low
// bits (the low k bits repeat with a period of at most 2^(k-2), as for every
// power-of-two modulus), so a 32-bit word is the top 32 bits of one value,
// x >> 27, and a 64-bit word is two such words of consecutive values, the
// first in the low half: the 64-bit sequence is the 32-bit one read in pairs.
#include <cstdint>

#include "orx/rng.h"
#include "vsl/rng/distributions/uniform_bits.h"

namespace orx::rng {

namespace {

constexpr int kBlock = 256;  // values per raw request
constexpr int kDropped = 59 - 32;

// Fills top[0..count) with the top 32 bits of the next `count` values. The
// raw function writes each value as two 32-bit words, low first.
int next_tops(const BrngProperties& record, orx_rng_stream* stream, int count, uint32_t* top) {
  uint32_t raw[2 * kBlock];
  const int status = record.iBRngFn(stream, count, raw);
  if (status < 0) return status;
  for (int k = 0; k < count; ++k) {
    const uint64_t x = raw[2 * k] | (uint64_t{raw[2 * k + 1]} << 32);
    top[k] = static_cast<uint32_t>(x >> kDropped);
  }
  return 0;
}

}  // namespace

int _viRngUniformBits32MCG59(const BrngProperties& record, orx_rng_stream* stream, int n,
                             uint32_t* r) {
  for (int done = 0; done < n;) {
    const int count = n - done < kBlock ? n - done : kBlock;
    const int status = next_tops(record, stream, count, r + done);
    if (status < 0) return status;
    done += count;
  }
  return 0;
}

int _viRngUniformBits64MCG59(const BrngProperties& record, orx_rng_stream* stream, int n,
                             uint64_t* r) {
  uint32_t top[kBlock];
  for (int done = 0; done < n;) {
    const int count = n - done < kBlock / 2 ? n - done : kBlock / 2;
    const int status = next_tops(record, stream, 2 * count, top);
    if (status < 0) return status;
    for (int k = 0; k < count; ++k) r[done + k] = top[2 * k] | (uint64_t{top[2 * k + 1]} << 32);
    done += count;
  }
  return 0;
}

}  // namespace orx::rng
