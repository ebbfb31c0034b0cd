// Staged irreducibility test of prime-degree polynomials over GF(2).
#include "tools/rng/mt2203_irreducible.h"

#include <immintrin.h>

#include <algorithm>
#include <bit>

#include "tools/rng/mt2203_modring.h"

namespace orx::mt2203 {

namespace {

int degree64(uint64_t p) { return p == 0 ? -1 : 63 - std::countl_zero(p); }

uint64_t mod64(uint64_t a, uint64_t m) {
  int dm = degree64(m);
  for (int da = degree64(a); da >= dm; da = degree64(a)) a ^= m << (da - dm);
  return a;
}

uint64_t gcd64(uint64_t a, uint64_t b) {
  while (b != 0) {
    a = mod64(a, b);
    std::swap(a, b);
  }
  return a;
}

uint64_t clmul_low(uint64_t a, uint64_t b) {
  return static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_clmulepi64_si128(
      _mm_cvtsi64_si128(static_cast<long long>(a)), _mm_cvtsi64_si128(static_cast<long long>(b)), 0x00)));
}

bool parity_of(const Poly& f) {
  uint64_t acc = 0;
  for (uint64_t w : f) acc ^= w;
  return (std::popcount(acc) & 1) != 0;
}

}  // namespace

std::vector<uint64_t> small_irreducibles(int max_degree) {
  std::vector<uint64_t> found;
  for (int d = 1; d <= max_degree; ++d) {
    for (uint64_t p = uint64_t{1} << d; p < (uint64_t{2} << d); ++p) {
      bool reducible = false;
      for (uint64_t q : found) {
        if (2 * degree64(q) > d) break;
        if (mod64(p, q) == 0) {
          reducible = true;
          break;
        }
      }
      if (!reducible) found.push_back(p);
    }
  }
  return found;
}

SmallFactorSieve::SmallFactorSieve(int max_degree, int max_words) : chunks_(2 * max_words) {
  // Degree >= 2 factors, packed first-fit by decreasing degree into products
  // of degree <= 32.
  std::vector<uint64_t> factors;
  for (uint64_t p : small_irreducibles(max_degree))
    if (degree64(p) >= 2) factors.push_back(p);
  std::sort(factors.begin(), factors.end(), [](uint64_t a, uint64_t b) { return degree64(a) > degree64(b); });
  std::vector<uint64_t> bins;
  for (uint64_t p : factors) {
    bool placed = false;
    for (uint64_t& b : bins) {
      if (degree64(b) + degree64(p) <= 32) {
        b = clmul_low(b, p);
        placed = true;
        break;
      }
    }
    if (!placed) bins.push_back(p);
  }
  for (uint64_t b : bins) {
    // Padding by x^k does not change gcd(f, m) because f(0) = 1.
    uint64_t m = b << (32 - degree64(b));
    // mu = floor(x^64 / m) by long division.
    unsigned __int128 rem = static_cast<unsigned __int128>(1) << 64;
    uint64_t mu = 0;
    for (int k = 32; k >= 0; --k) {
      if (((rem >> (32 + k)) & 1u) == 0) continue;
      mu |= uint64_t{1} << k;
      rem ^= static_cast<unsigned __int128>(m) << k;
    }
    moduli_.push_back({m, mu});
    uint64_t power = 1;  // x^(32 k) mod m
    for (int k = 0; k < chunks_; ++k) {
      powers_.push_back(static_cast<uint32_t>(power));
      power = mod64(power << 32, m);  // degree < 32, so power x^32 fits
    }
  }
}

bool SmallFactorSieve::has_small_factor(const Poly& f) const {
  const int chunks = std::min<int>(chunks_, 2 * static_cast<int>(f.size()));
  const uint32_t* powers = powers_.data();
  for (const Modulus& mod : moduli_) {
    // sum over 32-bit chunks c_k of f of c_k (x^(32 k) mod m): degree <= 62.
    __m128i acc = _mm_setzero_si128();
    for (int k = 0; k < chunks; ++k) {
      uint32_t chunk = static_cast<uint32_t>(f[static_cast<size_t>(k) / 2] >> (32 * (k % 2)));
      acc = _mm_xor_si128(acc, _mm_clmulepi64_si128(_mm_cvtsi32_si128(static_cast<int>(chunk)),
                                                     _mm_cvtsi32_si128(static_cast<int>(powers[k])), 0x00));
    }
    powers += chunks_;
    uint64_t a = static_cast<uint64_t>(_mm_cvtsi128_si64(acc));
    // Barrett: quotient floor(a / m) = floor((a >> 32) mu / x^32).
    uint64_t q = clmul_low(a >> 32, mod.mu) >> 32;
    uint64_t r = (a ^ clmul_low(q, mod.m)) & 0xFFFFFFFFu;
    if (gcd64(mod.m, r) != 1) return true;
  }
  return false;
}

IrreducibilityTest::IrreducibilityTest(int sieve_degree, std::vector<int> checkpoints, int max_words)
    : sieve_(sieve_degree, max_words), sieve_degree_(sieve_degree), checkpoints_(std::move(checkpoints)) {}

bool IrreducibilityTest::irreducible(const Poly& f, IrreducibilityStats* stats) const {
  IrreducibilityStats local;
  IrreducibilityStats& s = stats ? *stats : local;
  ++s.tested;
  const int n = degree(f);
  if (!coefficient(f, 0) || !parity_of(f)) return false;
  ++s.passed_roots;
  if (sieve_.has_small_factor(f)) return false;
  ++s.passed_sieve;

  ModRing ring(f);
  const int W = ring.words();
  std::vector<uint64_t> power(static_cast<size_t>(W), 0), product(static_cast<size_t>(W), 0),
      factor(static_cast<size_t>(W), 0);
  power[0] = 2;  // x
  product[0] = 1;
  int k = 0;
  for (int checkpoint : checkpoints_) {
    for (; k < checkpoint; ) {
      ring.square(power.data(), power.data());
      ++k;  // power = x^(2^k)
      if (k > sieve_degree_) {
        factor = power;
        factor[0] ^= 2;  // x^(2^k) - x
        ring.multiply(product.data(), factor.data(), product.data());
      }
    }
    Poly g = gcd(ring.reduce_full(product.data()), f);
    if (degree(g) != 0) return false;
  }
  ++s.passed_ddf;
  for (; k < n; ++k) ring.square(power.data(), power.data());
  Poly x_pow = ring.reduce_full(power.data());
  bool ok = x_pow == monomial(1);
  if (ok) ++s.irreducible;
  return ok;
}

bool IrreducibilityTest::irreducible_plain(const Poly& f) {
  const int n = degree(f);
  if (!coefficient(f, 0) || !parity_of(f)) return false;
  // Squaring with the general arithmetic, independent of ModRing.
  Poly x = monomial(1), p = x;
  for (int k = 0; k < n; ++k) p = remainder(multiply(p, p), f);
  return p == x;
}

}  // namespace orx::mt2203
