// The generated Wichmann-Hill parameter sets, checked against their rule
// (tools/gen_wh_params.cpp) with a primality and primitive-root oracle of
// this file's own (Miller-Rabin, trial-division factoring).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

#include "orx/wh_params.inc"

namespace {

constexpr int kSets = 273;
constexpr uint32_t kTop = 16770647;     // largest modulus of set 0
constexpr uint32_t kBottom = 16766231;  // smallest modulus of set 272

uint32_t pow_mod(uint64_t base, uint32_t e, uint32_t m) {
  uint64_t r = 1;
  for (base %= m; e != 0; e >>= 1, base = base * base % m)
    if (e & 1) r = r * base % m;
  return static_cast<uint32_t>(r);
}

// Deterministic for n < 2^32 with bases 2, 7, 61.
bool is_prime(uint32_t n) {
  if (n < 2) return false;
  for (uint32_t p : {2u, 3u, 5u, 7u, 61u})
    if (n % p == 0) return n == p;
  uint32_t d = n - 1;
  int s = 0;
  for (; d % 2 == 0; d /= 2) ++s;
  for (uint32_t a : {2u, 7u, 61u}) {
    uint64_t x = pow_mod(a, d, n);
    if (x == 1 || x == n - 1) continue;
    bool composite = true;
    for (int k = 1; k < s && composite; ++k) {
      x = x * x % n;
      composite = x != n - 1;
    }
    if (composite) return false;
  }
  return true;
}

// a^((m-1)/q) != 1 for every prime q dividing m - 1.
bool is_primitive_root(uint32_t a, uint32_t m) {
  if (a % m == 0) return false;
  uint32_t rest = m - 1;
  for (uint32_t q = 2; q <= rest; ++q) {
    if (q * q > rest) q = rest;  // what is left is prime
    if (rest % q != 0) continue;
    if (pow_mod(a, (m - 1) / q, m) == 1) return false;
    while (rest % q == 0) rest /= q;
  }
  return true;
}

TEST(WhParamsOracle, KnownCases) {
  struct Row {
    uint32_t a, m;
    bool prime, root;
  };
  // Roots of 16770647 among 100..127 are 102 105 118 119 120 123 124 125.
  const Row rows[] = {{3, 7, true, true},           {2, 7, true, false},          {2, 11, true, true},
                      {125, 16770647, true, true},  {126, 16770647, true, false}, {127, 16770647, true, false},
                      {124, 16766231, true, true},  {125, 16766231, true, false}, {2, 16777213, true, false},
                      {5, 16777213, true, true},    {2, 16770649, false, false},  {2, 25326001, false, false}};
  for (const Row& r : rows) {
    EXPECT_EQ(is_prime(r.m), r.prime) << r.m;
    if (r.prime) {
      EXPECT_EQ(is_primitive_root(r.a, r.m), r.root) << r.a << " mod " << r.m;
    }
  }
}

TEST(WhParams, FixedSets) {
  struct Row {
    int set;
    uint8_t a[4];
    uint32_t m[4];
  };
  const Row rows[] = {{0, {125, 117, 127, 126}, {16770647, 16770643, 16770623, 16770617}},
                      {272, {126, 127, 125, 124}, {16766363, 16766359, 16766327, 16766231}}};
  for (const Row& r : rows)
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(_vsl_WH_A[r.set][i], r.a[i]) << "set " << r.set << " component " << i;
      EXPECT_EQ(_vsl_WH_M[r.set][i], r.m[i]) << "set " << r.set << " component " << i;
    }
}

// Prime moduli in the interval, strictly decreasing, pairwise gcd(m-1) = 2
// (combined period prod(m_i - 1) / 8); distinct multipliers, each the
// largest primitive root <= 127 not taken by an earlier component.
TEST(WhParams, EverySetFollowsTheRule) {
  for (int s = 0; s < kSets; ++s) {
    const uint8_t* a = _vsl_WH_A[s];
    const uint32_t* m = _vsl_WH_M[s];
    for (int i = 0; i < 4; ++i) {
      SCOPED_TRACE(testing::Message() << "set " << s << " component " << i);
      EXPECT_TRUE(is_prime(m[i]));
      EXPECT_GT(m[i], 1u << 23);
      EXPECT_LT(m[i], 1u << 24);
      EXPECT_GE(m[i], kBottom);
      EXPECT_LE(m[i], kTop);
      EXPECT_GE(a[i], 1);
      EXPECT_LE(a[i], 127);
      EXPECT_TRUE(is_primitive_root(a[i], m[i]));
      for (int k = 0; k < i; ++k) {
        EXPECT_GT(m[k], m[i]);
        EXPECT_EQ(std::gcd(m[k] - 1, m[i] - 1), 2u) << m[k] << ", " << m[i];
        EXPECT_NE(a[k], a[i]);
      }
      for (uint32_t b = a[i] + 1u; b <= 127; ++b) {
        bool taken = false;
        for (int k = 0; k < i; ++k) taken = taken || a[k] == b;
        EXPECT_TRUE(taken || !is_primitive_root(b, m[i])) << "larger free root " << b;
      }
    }
  }
}

// Strictly decreasing in lexicographic order of the moduli, hence pairwise
// different; the first modulus never increases.
TEST(WhParams, SetsAreOrderedAndDistinct) {
  auto moduli = [](int s) { return std::vector<uint32_t>(_vsl_WH_M[s], _vsl_WH_M[s] + 4); };
  for (int s = 1; s < kSets; ++s) {
    EXPECT_LT(moduli(s), moduli(s - 1)) << "set " << s;
    EXPECT_LE(_vsl_WH_M[s][0], _vsl_WH_M[s - 1][0]) << "set " << s;
  }
  int equal_pairs = 0;
  for (int s = 0; s < kSets; ++s)
    for (int t = s + 1; t < kSets; ++t) equal_pairs += moduli(s) == moduli(t);
  EXPECT_EQ(equal_pairs, 0);
}

// 1/m correctly rounded: with r = M 2^-76 (1/m in (2^-24, 2^-23)),
// |M m - 2^76| < m / 2, in exact integer arithmetic.
TEST(WhParams, ReciprocalsAreCorrectlyRounded) {
  for (int s = 0; s < kSets; ++s)
    for (int i = 0; i < 4; ++i) {
      const uint32_t m = _vsl_WH_M[s][i];
      const double r = _vsldWH_IM_Tab[s][i];
      EXPECT_EQ(r, 1.0 / m) << "set " << s << " component " << i;
      int e;
      const double f = std::frexp(r, &e);
      ASSERT_EQ(e, -23) << "set " << s << " component " << i;
      const auto mantissa = static_cast<unsigned __int128>(std::ldexp(f, 53));
      const unsigned __int128 product = mantissa * m, one = static_cast<unsigned __int128>(1) << 76;
      const unsigned __int128 error = product > one ? product - one : one - product;
      EXPECT_LT(2 * error, static_cast<unsigned __int128>(m)) << "set " << s << " component " << i;
    }
}

}  // namespace
