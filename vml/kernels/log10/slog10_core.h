// Four-lane cores of the single-precision common logarithm, on the reduction
// of the natural logarithm (sln_core.h): x = 2^e (1 + f), f exact,
// s = f / (2 + f), ln(1 + f) = f + d with d = s (f^2/2 + R) - f^2/2, and
// log10 x = e log10(2) + f / ln 10 + d / ln 10.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstdint>

#include "vml/kernels/ln/sln_core.h"

namespace orx::vml::slog10 {

inline constexpr long double kLog10E = 0.434294481903251827651128918916605082L;  // 1 / ln 10
inline constexpr long double kLog10Two = 0.301029995663981195213738894724493027L;

// A float with the low `bits` bits of its significand cleared, and the float
// nearest to the remainder.
constexpr float high_part(long double v, int bits) {
  return std::bit_cast<float>(std::bit_cast<uint32_t>(static_cast<float>(v)) & (~0u << bits));
}
constexpr float low_part(long double v, int bits) {
  return static_cast<float>(v - high_part(v, bits));
}

// 1/ln 10 to 12 significant bits: f_hi * kInvLn10Hi is exact for the 12-bit
// head f_hi of f.
inline constexpr float kInvLn10 = static_cast<float>(kLog10E);
inline constexpr float kInvLn10Hi = high_part(kLog10E, 12);
inline constexpr float kInvLn10Lo = low_part(kLog10E, 12);
// log10 2 to 16 significant bits: e * kLog10TwoHi is exact for |e| <= 255
// (here |e| <= 150).
inline constexpr float kLog10Two_f = static_cast<float>(kLog10Two);
inline constexpr float kLog10TwoHi = high_part(kLog10Two, 8);
inline constexpr float kLog10TwoLo = low_part(kLog10Two, 8);

struct Terms {
  __m128 e, f, d;  // exponent, f, and ln(1 + f) - f
};
template <int kTerms>
Terms terms(__m128i bits, __m128i exponent_shift) {
  const sln::Split v = sln::split(bits, exponent_shift);
  const __m128 s = _mm_div_ps(v.f, _mm_add_ps(_mm_set1_ps(2.0f), v.f));
  const __m128 r = sln::series<kTerms>(_mm_mul_ps(s, s));
  const __m128 half_f2 = _mm_mul_ps(_mm_mul_ps(_mm_set1_ps(0.5f), v.f), v.f);
  return {v.e, v.f, _mm_sub_ps(_mm_mul_ps(s, _mm_add_ps(half_f2, r)), half_f2)};
}

// HA: 4 series terms (truncation 2^-29 relative, as for ln). The two large
// terms are exact: A = e log10(2)hi and B = f_hi / ln10 hi (f_hi: f with its
// low 12 significand bits cleared); their sum is S + err exactly (Fast2Sum,
// valid as |A| >= 0.301 > 0.18 >= |B| whenever e != 0). Everything else,
// f_lo / ln10 hi + f / ln10 lo + e log10(2)lo + d / ln10, is at most 0.21 of
// the result and is rounded into one tail: the result is S + (err + tail),
// rounded in full once.
struct CoreHA {
  static __m128 eval(__m128i bits, __m128i exponent_shift) {
    const sln::Split v = sln::split(bits, exponent_shift);
    const __m128 f = v.f;
    const __m128 s = _mm_div_ps(f, _mm_add_ps(_mm_set1_ps(2.0f), f));
    const __m128 r = sln::series<4>(_mm_mul_ps(s, s));
    const __m128 f_hi =
        _mm_and_ps(f, _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(0xFFFFF000u))));
    const __m128 f_lo = _mm_sub_ps(f, f_hi);
    // f^2/2 = h_hi + h_lo, h_hi = f_hi^2/2 exact, h_lo = f_lo (f + f_hi)/2.
    const __m128 half = _mm_set1_ps(0.5f);
    const __m128 h_hi = _mm_mul_ps(_mm_mul_ps(half, f_hi), f_hi);
    const __m128 h_lo = _mm_mul_ps(_mm_mul_ps(half, f_lo), _mm_add_ps(f, f_hi));
    const __m128 h = _mm_add_ps(h_hi, h_lo);
    // d = ln(1 + f) - f = s (h + R) - h, with h's large part subtracted last.
    const __m128 d = _mm_sub_ps(_mm_sub_ps(_mm_mul_ps(s, _mm_add_ps(h, r)), h_lo), h_hi);
    const __m128 a = _mm_mul_ps(v.e, _mm_set1_ps(kLog10TwoHi));
    const __m128 b = _mm_mul_ps(f_hi, _mm_set1_ps(kInvLn10Hi));
    const __m128 sum = _mm_add_ps(a, b);
    const __m128 err = _mm_add_ps(_mm_sub_ps(a, sum), b);
    const __m128 f_rest = _mm_add_ps(_mm_mul_ps(f_lo, _mm_set1_ps(kInvLn10Hi)),
                                     _mm_mul_ps(f, _mm_set1_ps(kInvLn10Lo)));
    const __m128 small = _mm_add_ps(_mm_mul_ps(v.e, _mm_set1_ps(kLog10TwoLo)),
                                    _mm_mul_ps(d, _mm_set1_ps(kInvLn10)));
    return _mm_add_ps(sum, _mm_add_ps(err, _mm_add_ps(f_rest, small)));
  }
};

// LA: 3 series terms (2^-23.5 relative); f / ln 10 rounded once, then
// e log10(2)hi + (f / ln10 + (e log10(2)lo + d / ln10)).
struct CoreLA {
  static __m128 eval(__m128i bits, __m128i exponent_shift) {
    const Terms t = terms<3>(bits, exponent_shift);
    const __m128 small = _mm_add_ps(_mm_mul_ps(t.e, _mm_set1_ps(kLog10TwoLo)),
                                    _mm_mul_ps(t.d, _mm_set1_ps(kInvLn10)));
    return _mm_add_ps(_mm_mul_ps(t.e, _mm_set1_ps(kLog10TwoHi)),
                      _mm_add_ps(_mm_mul_ps(t.f, _mm_set1_ps(kInvLn10)), small));
  }
};

// EP: one series term, e log10(2) + (f - s (f - 2 s^2/3)) / ln 10; truncation
// z^2 / 5 <= 2^-12.5 relative.
struct CoreEP {
  static __m128 eval(__m128i bits, __m128i exponent_shift) {
    const sln::Split v = sln::split(bits, exponent_shift);
    const __m128 s = _mm_div_ps(v.f, _mm_add_ps(_mm_set1_ps(2.0f), v.f));
    const __m128 r = sln::series<1>(_mm_mul_ps(s, s));
    const __m128 ln1p = _mm_sub_ps(v.f, _mm_mul_ps(s, _mm_sub_ps(v.f, r)));
    return _mm_add_ps(_mm_mul_ps(v.e, _mm_set1_ps(kLog10Two_f)),
                      _mm_mul_ps(ln1p, _mm_set1_ps(kInvLn10)));
  }
};

}  // namespace orx::vml::slog10
