// Untempered MT2203 recurrence and its characteristic polynomial.
#include "tools/rng/mt2203_twister.h"

#include <cstddef>
#include <vector>

namespace orx::mt2203 {

Twister::Twister(uint32_t matrix_a) : a_(matrix_a) {
  uint32_t s = 0x6D543232u;  // any non-zero state will do
  for (uint32_t& w : x_) {
    s ^= s << 13;
    s ^= s >> 17;
    s ^= s << 5;
    w = s;
  }
}

uint32_t Twister::next() {
  int i1 = i_ + 1 == kWords ? 0 : i_ + 1;
  int im = i_ + kMiddle >= kWords ? i_ + kMiddle - kWords : i_ + kMiddle;
  uint32_t y = (x_[i_] & kUpperMask) | (x_[i1] & kLowerMask);
  uint32_t out = x_[im] ^ (y >> 1) ^ ((y & 1u) ? a_ : 0u);
  x_[i_] = out;
  i_ = i1;
  return out;
}

Poly characteristic_polynomial(uint32_t matrix_a) {
  Twister t(matrix_a);
  for (int k = 0; k < kWords; ++k) t.next();
  const int count = 2 * kDegree;
  std::vector<uint64_t> bits(static_cast<size_t>(count) / 64 + 1, 0);
  for (int k = 0; k < count; ++k)
    if (t.next() >> 31) bits[static_cast<size_t>(k) / 64] |= uint64_t{1} << (k % 64);
  return berlekamp_massey(bits, count);
}

}  // namespace orx::mt2203
