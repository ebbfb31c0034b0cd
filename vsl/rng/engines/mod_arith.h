// Modular arithmetic of the recurrence engines: products modulo 2^31 - 1,
// 2^59 and any 32-bit modulus, and 3x3 matrices of three-term recurrences.
#ifndef ORX_VSL_RNG_ENGINES_MOD_ARITH_H
#define ORX_VSL_RNG_ENGINES_MOD_ARITH_H

#include <cstdint>

namespace orx::rng {

inline constexpr uint32_t kMersenne31 = 0x7FFFFFFF;
inline constexpr uint64_t kMask59 = 0x7FFFFFFFFFFFFFF;

// a*b mod 2^31 - 1: low 31 bits plus the high part, one conditional subtraction.
constexpr uint32_t mul_mod_mersenne31(uint32_t a, uint32_t b) {
  const uint64_t p = uint64_t{a} * b;
  uint64_t r = (p & kMersenne31) + (p >> 31);
  if (r >= kMersenne31) r -= kMersenne31;
  return static_cast<uint32_t>(r);
}

constexpr uint32_t mul_mod(uint32_t a, uint32_t b, uint32_t m) {
  return static_cast<uint32_t>(uint64_t{a} * b % m);
}

// The companion matrix of x[n] = row[0]*x[n-1] + row[1]*x[n-2] + row[2]*x[n-3]
// acting on (x[n-3], x[n-2], x[n-1]), and its powers, modulo m.
struct Matrix3 {
  uint32_t e[3][3];
};

constexpr Matrix3 companion(const uint32_t row[3]) {
  return {{{0, 1, 0}, {0, 0, 1}, {row[2], row[1], row[0]}}};
}

constexpr Matrix3 multiply(const Matrix3& x, const Matrix3& y, uint32_t m) {
  Matrix3 z{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      uint64_t sum = 0;  // three terms below m < 2^32 each: no overflow
      for (int k = 0; k < 3; ++k) sum += mul_mod(x.e[i][k], y.e[k][j], m);
      z.e[i][j] = static_cast<uint32_t>(sum % m);
    }
  return z;
}

constexpr void apply(const Matrix3& x, uint32_t v[3], uint32_t m) {
  uint32_t w[3] = {};
  for (int i = 0; i < 3; ++i) {
    uint64_t sum = 0;
    for (int k = 0; k < 3; ++k) sum += mul_mod(x.e[i][k], v[k], m);
    w[i] = static_cast<uint32_t>(sum % m);
  }
  for (int i = 0; i < 3; ++i) v[i] = w[i];
}

constexpr Matrix3 power(Matrix3 x, uint64_t k, uint32_t m) {
  Matrix3 result{{{1 % m, 0, 0}, {0, 1 % m, 0}, {0, 0, 1 % m}}};
  for (; k != 0; k >>= 1) {
    if (k & 1) result = multiply(result, x, m);
    x = multiply(x, x, m);
  }
  return result;
}

}  // namespace orx::rng

#endif
