// Four-lane cores of the single-precision exponential: e^x = y * 2^n with
// n = round(x / ln 2), y = e^r, |r| <= ln 2 / 2 (plus rounding of x / ln 2).
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace orx::vml::sexp {

inline __m128 splat_bits(uint32_t bits) {
  return _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(bits)));
}

// 1/k!, the Taylor coefficients of e^r, computed in double and rounded once.
constexpr float inv_factorial(int k) {
  double f = 1;
  for (int i = 2; i <= k; ++i) f *= i;
  return static_cast<float>(1.0 / f);
}

inline constexpr uint32_t kInvLn2 = 0x3FB8AA3B;  // 1/ln 2 = 1.44269502
// 1.5 * 2^23: x / ln 2 + kShifter holds round(x / ln 2) in its low mantissa
// bits (two's complement, |n| < 2^22).
inline constexpr uint32_t kShifter = 0x4B400000;
// ln 2 split: kLn2Hi has 15 significant bits, so k * kLn2Hi is exact for
// |k| <= 512, and x - k * kLn2Hi is exact (Sterbenz) for |r| <= ln 2 / 2.
inline constexpr uint32_t kLn2Hi = 0x3F317200;  // 0.693145751953125
inline constexpr uint32_t kLn2Lo = 0x35BFBE8E;  // 1.42860682e-6 = ln 2 - kLn2Hi
inline constexpr uint32_t kLn2 = 0x3F317218;    // ln 2 rounded, for EP

struct Reduced {
  __m128 y;    // e^r, in [0.707, 1.415]
  __m128i n;   // integer power of two
};

inline __m128 round_to_multiple_of_ln2(__m128 x, __m128i& n) {
  const __m128 t = _mm_add_ps(_mm_mul_ps(x, splat_bits(kInvLn2)), splat_bits(kShifter));
  n = _mm_sub_epi32(_mm_castps_si128(t), _mm_castps_si128(splat_bits(kShifter)));
  return _mm_sub_ps(t, splat_bits(kShifter));
}

// HA: two-part reduction and the Taylor polynomial of degree 7 (truncation
// r^8/8! * e^r <= 3.7e-9 absolute, 0.06 ulp of y, at r = -0.347). Rounding
// errors that would each cost up to a quarter ulp of y are carried instead
// of dropped: c, the rounding error of r = (x - k ln2hi) - k ln2lo, and e,
// that of 1 + r (both by Fast2Sum, exact under round-to-nearest), so that
// y = (1 + r) + (e + (c + r^2 q)) is rounded in full only once, at the end.
struct CoreHA {
  static Reduced reduce(__m128 x) {
    Reduced out;
    const __m128 k = round_to_multiple_of_ln2(x, out.n);
    const __m128 t = _mm_sub_ps(x, _mm_mul_ps(k, splat_bits(kLn2Hi)));  // exact
    const __m128 k_lo = _mm_mul_ps(k, splat_bits(kLn2Lo));
    const __m128 r = _mm_sub_ps(t, k_lo);
    const __m128 c = _mm_sub_ps(_mm_sub_ps(t, r), k_lo);
    __m128 q = _mm_set1_ps(inv_factorial(7));
    for (int d = 6; d >= 2; --d) q = _mm_add_ps(_mm_mul_ps(q, r), _mm_set1_ps(inv_factorial(d)));
    const __m128 tail = _mm_add_ps(c, _mm_mul_ps(_mm_mul_ps(r, r), q));
    const __m128 one = _mm_set1_ps(1.0f);
    const __m128 head = _mm_add_ps(one, r);
    const __m128 e = _mm_add_ps(_mm_sub_ps(one, head), r);
    out.y = _mm_add_ps(head, _mm_add_ps(e, tail));
    return out;
  }
};

// EP: one-constant reduction and the Taylor polynomial of degree 4:
// truncation r^5/5! * e^r <= 5.9e-5 (2^-14.0) relative.
struct CoreEP {
  static Reduced reduce(__m128 x) {
    Reduced out;
    const __m128 k = round_to_multiple_of_ln2(x, out.n);
    const __m128 r = _mm_sub_ps(x, _mm_mul_ps(k, splat_bits(kLn2)));
    __m128 q = _mm_set1_ps(inv_factorial(4));
    for (int d = 3; d >= 1; --d) q = _mm_add_ps(_mm_mul_ps(q, r), _mm_set1_ps(inv_factorial(d)));
    out.y = _mm_add_ps(_mm_set1_ps(1.0f), _mm_mul_ps(r, q));
    return out;
  }
};

// y * 2^n for n in [-126, 127], 2^n built in the exponent field: exact
// whenever the product is normal.
inline __m128 scale(const Reduced& v) {
  const __m128i bits = _mm_slli_epi32(_mm_add_epi32(v.n, _mm_set1_epi32(127)), 23);
  return _mm_mul_ps(v.y, _mm_castsi128_ps(bits));
}

}  // namespace orx::vml::sexp
