// Plain model of one MT2203 twister (69 words of 32 bits, middle offset 34,
// 5 unused bits) for the parameter search: the untempered word recurrence
// and its characteristic polynomial.
#pragma once

#include <cstdint>

#include "tools/rng/mt2203_gf2.h"

namespace orx::mt2203 {

constexpr int kWords = 69;
constexpr int kMiddle = 34;
constexpr int kDegree = 32 * kWords - 5;  // 2203
constexpr uint32_t kUpperMask = 0xFFFFFFE0u;
constexpr uint32_t kLowerMask = 0x0000001Fu;

class Twister {
 public:
  // A fixed non-zero starting state.
  explicit Twister(uint32_t matrix_a);
  // The next word x_(k+n) = x_(k+m) ^ ((x_k^u | x_(k+1)^l) A).
  uint32_t next();

 private:
  uint32_t x_[kWords];
  int i_ = 0;
  uint32_t a_;
};

// Minimal polynomial of the top-bit sequence of the twister with matrix
// vector a (Berlekamp-Massey on 2 * 2203 bits): the characteristic polynomial
// of the recurrence whenever its degree is 2203.
Poly characteristic_polynomial(uint32_t matrix_a);

// Tempering of the MT2203 family: first shift 12.
inline uint32_t temper(uint32_t y, uint32_t b, uint32_t c) {
  y ^= y >> 12;
  y ^= (y << 7) & b;
  y ^= (y << 15) & c;
  y ^= y >> 18;
  return y;
}

}  // namespace orx::mt2203
