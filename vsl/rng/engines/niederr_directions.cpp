// The Bratley-Fox-Niederreiter construction of base-2 direction numbers.
#include "vsl/rng/engines/niederr_directions.h"

namespace orx::rng {

namespace {

#include "orx/niederr_polys.inc"

static_assert(sizeof uNiederrIrredPoly / sizeof uNiederrIrredPoly[0] == kNiederrDefaultDimensions);

constexpr int kBits = 32;

// Product over GF(2).
uint64_t multiply(uint64_t a, uint64_t b) {
  uint64_t product = 0;
  for (; b != 0; b &= b - 1) product ^= a << __builtin_ctzll(b);
  return product;
}

// Terms a_0..a_63 (bit t = a_t) of the sequence with characteristic
// polynomial b of degree m: a_t = sum over k < m of b_k a_{t-m+k}.
uint64_t recurring_sequence(uint64_t b, int m, uint64_t initial) {
  const uint64_t low = b & ((uint64_t{1} << m) - 1);
  uint64_t a = initial;
  for (int t = m; t < 64; ++t) a |= static_cast<uint64_t>(__builtin_parityll(low & (a >> (t - m)))) << t;
  return a;
}

}  // namespace

void niederr_directions(uint32_t p, int e, uint32_t* v, size_t stride) {
  uint32_t words[kBits] = {};
  uint64_t power = 1;  // p^q
  uint64_t a = 0;
  for (int j = 0; j < kBits; ++j) {
    const int u = j % e;
    if (u == 0) {
      const int q = j / e;
      power = multiply(power, p);  // p^(q+1), degree at most 31 + e <= 62
      const int m = e * (q + 1);
      const uint64_t ones = ((uint64_t{1} << m) - 1) & ~((uint64_t{1} << (e * q)) - 1);
      a = recurring_sequence(power, m, ones);
    }
    for (int r = 0; r < kBits; ++r) words[r] |= static_cast<uint32_t>((a >> (r + u)) & 1u) << (kBits - 1 - j);
  }
  for (int r = 0; r < kBits; ++r) v[r * stride] = words[r];
}

void niederr_default_directions(int d, uint32_t* v, size_t stride) {
  for (int i = 0; i < d; ++i) niederr_directions(uNiederrIrredPoly[i], iNiederrIrredPolyDeg[i], v + i, stride);
}

}  // namespace orx::rng
