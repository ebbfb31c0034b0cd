// Four-lane cores of the single-precision natural logarithm: x = 2^e * m with
// m in [sqrt(2)/2, sqrt(2)), f = m - 1, s = f / (2 + f), and
// ln(1 + f) = 2 atanh(s) = f - s (f - R), R = 2s^2/3 + 2s^4/5 + ... (|s| <= 0.1716).
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace orx::vml::sln {

inline __m128 splat_bits(uint32_t bits) {
  return _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(bits)));
}

// 2 / (2k + 1): the coefficient of s^(2k) in R, from the atanh series.
constexpr float atanh_coefficient(int k) { return static_cast<float>(2.0 / (2 * k + 1)); }

inline constexpr uint32_t kSqrtHalf = 0x3F3504F3;  // sqrt(2)/2 rounded: split point of m
inline constexpr uint32_t kFractionMask = 0x007FFFFF;
// ln 2 split: kLn2Hi has 15 significant bits, so e * kLn2Hi is exact for
// |e| <= 512.
inline constexpr uint32_t kLn2Hi = 0x3F317200;  // 0.693145751953125
inline constexpr uint32_t kLn2Lo = 0x35BFBE8E;  // 1.42860682e-6 = ln 2 - kLn2Hi
inline constexpr uint32_t kLn2 = 0x3F317218;    // ln 2 rounded, for EP

// The exponent e (plus `exponent_shift`, used for scaled subnormal inputs)
// and f = m - 1, exact (Sterbenz: m in [0.707, 1.415)), for positive normal
// finite inputs given as their bits.
struct Split {
  __m128 e;
  __m128 f;
};
inline Split split(__m128i bits, __m128i exponent_shift) {
  const __m128i u = _mm_sub_epi32(bits, _mm_set1_epi32(kSqrtHalf));
  const __m128i e = _mm_add_epi32(_mm_srai_epi32(u, 23), exponent_shift);
  const __m128i m = _mm_add_epi32(_mm_and_si128(u, _mm_set1_epi32(kFractionMask)),
                                  _mm_set1_epi32(kSqrtHalf));
  return {_mm_cvtepi32_ps(e), _mm_sub_ps(_mm_castsi128_ps(m), _mm_set1_ps(1.0f))};
}

// R = z (c1 + z (c2 + ... + z c_terms)), z = s^2.
template <int kTerms>
__m128 series(__m128 z) {
  __m128 q = _mm_set1_ps(atanh_coefficient(kTerms));
  for (int k = kTerms - 1; k >= 1; --k) q = _mm_add_ps(_mm_mul_ps(q, z), _mm_set1_ps(atanh_coefficient(k)));
  return _mm_mul_ps(z, q);
}

// HA (4 terms, truncation z^5 / 11 <= 2^-29 relative) and LA (3 terms,
// z^4 / 9 <= 2^-23.5 relative): e ln2hi + (f - (f^2/2 - (s (f^2/2 + R) +
// e ln2lo))). The exact f carries the result; the terms rounded in float are
// at most f^2/2 <= 0.086 of it.
template <int kTerms>
struct CoreTwoPart {
  static __m128 eval(__m128i bits, __m128i exponent_shift) {
    const Split v = split(bits, exponent_shift);
    const __m128 s = _mm_div_ps(v.f, _mm_add_ps(_mm_set1_ps(2.0f), v.f));
    const __m128 r = series<kTerms>(_mm_mul_ps(s, s));
    const __m128 half_f2 = _mm_mul_ps(_mm_mul_ps(_mm_set1_ps(0.5f), v.f), v.f);
    const __m128 tail = _mm_add_ps(_mm_mul_ps(s, _mm_add_ps(half_f2, r)),
                                   _mm_mul_ps(v.e, splat_bits(kLn2Lo)));
    return _mm_add_ps(_mm_mul_ps(v.e, splat_bits(kLn2Hi)),
                      _mm_sub_ps(v.f, _mm_sub_ps(half_f2, tail)));
  }
};
using CoreHA = CoreTwoPart<4>;
using CoreLA = CoreTwoPart<3>;

// EP: one term, e ln2 + (f - s (f - 2 s^2 / 3)); truncation z^2 / 5 <=
// 2^-12.5 relative.
struct CoreEP {
  static __m128 eval(__m128i bits, __m128i exponent_shift) {
    const Split v = split(bits, exponent_shift);
    const __m128 s = _mm_div_ps(v.f, _mm_add_ps(_mm_set1_ps(2.0f), v.f));
    const __m128 r = series<1>(_mm_mul_ps(s, s));
    return _mm_add_ps(_mm_mul_ps(v.e, splat_bits(kLn2)),
                      _mm_sub_ps(v.f, _mm_mul_ps(s, _mm_sub_ps(v.f, r))));
  }
};

}  // namespace orx::vml::sln
