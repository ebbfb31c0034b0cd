// Shared parts of the double-precision e^x - 1 kernels: the 64-entry (hi, lo)
// table core used by the vector (LA) kernel, and the special cases that the
// vector and element-by-element (EX) kernels handle alike.
#pragma once

#include <emmintrin.h>
#include <xmmintrin.h>

#include <bit>
#include <cstdint>

namespace orx::vml::dexpm1 {

#include "orx/exp_tables.inc"  // kExp2HiLo[64][2]: 2^(j/64) = hi + lo

inline double from_bits(uint64_t b) { return std::bit_cast<double>(b); }
inline uint64_t to_bits(double d) { return std::bit_cast<uint64_t>(d); }

inline constexpr const char* kName = "vdExpm1";

// Reduction x = N ln 2 / 64 + r, |r| <= ln 2 / 128 (plus rounding of N).
inline constexpr uint64_t kInvLn64 = 0x40571547652B82FE;  // 64 / ln 2
inline constexpr uint64_t kShifter = 0x4338000000000000;  // 1.5 * 2^52
// ln 2 / 64 in two parts; kLnHi has 20 trailing zero bits, so N * kLnHi is
// exact for |N| < 2^20.
inline constexpr uint64_t kLnHi = 0x3F862E42FEF00000;
inline constexpr uint64_t kLnLo = 0x3D7473DE6AF278ED;
// e^r ~ 1 + r + r^2 (A2 + A3 r + A4 r^2 + A5 r^3) on |r| <= ln 2 / 128:
// error 1.5e-18 relative to e^r, but up to 8e-16 relative to e^r - 1 near 0,
// so these serve only where e^x - 1 is e^x to rounding (x >= 708.39).
inline constexpr uint64_t kA2 = 0x3FDFFFFFFFFFD97C;
inline constexpr uint64_t kA3 = 0x3FC55555555542A1;
inline constexpr uint64_t kA4 = 0x3FA555574BC3A1BE;
inline constexpr uint64_t kA5 = 0x3F81111276409C2C;
// e^r - 1 ~ r + r^2 (C2 + C3 r + ... + C6 r^4), the Taylor series: the
// truncation r^6 / 6! is below 5.5e-18 (0.05 ulp) relative to e^r - 1 for
// |r| <= 0.0055, which the fast path needs because for |x| < ln 2 / 128 the
// result is p itself.
constexpr double inv_factorial(int k) {
  double f = 1;
  for (int i = 2; i <= k; ++i) f *= i;
  return 1.0 / f;
}
inline constexpr double kC2 = inv_factorial(2), kC3 = inv_factorial(3), kC4 = inv_factorial(4);
inline constexpr double kC5 = inv_factorial(5), kC6 = inv_factorial(6);
inline constexpr int64_t kBias = 0xFFC0;  // 1023 * 64
inline constexpr uint64_t kExpbMask = 0x7FF0000000000000;

// Range of the vector fast path, on the high word of |x|: from 2^-54 (below
// it e^x - 1 rounds to x itself, and the polynomial would lose the sign of
// -0) up to 708.39599609375 (above it 2^m leaves the normal range).
inline constexpr uint32_t kFastLow = 0x3C900000;
inline constexpr uint32_t kFastHigh = 0x4086232B;

// Thresholds of the special cases, on the raw bits.
inline constexpr uint64_t kOverflowFrom = 0x40862E42FEFA39F0;  // x >= 709.78271289338400
inline constexpr double kMinusOneBelow = -40.0;                // e^-40 < 2^-57: result -1

inline uint32_t high_word_of_abs(double x) {
  return static_cast<uint32_t>(to_bits(x) >> 32) & 0x7FFFFFFFu;
}

inline bool in_fast_range(double x) {
  const uint32_t hw = high_word_of_abs(x);
  return hw >= kFastLow && hw < kFastHigh;
}

// e^x - 1 for x in the fast range, element by element: the same IEEE
// operations in the same order as the vector form below, so both agree to
// the bit. With T = hi + lo = 2^(j/64) and S = 2^m:
//   e^x - 1 = (S hi - 1) + (S lo + p S (hi + lo)),  p = e^r - 1.
// S hi - 1 is exact for m in {-1, 0} (Sterbenz), which covers the
// cancellation near 0; elsewhere the result is dominated by one of the terms.
inline double fast_scalar(double x) {
  const double t = x * from_bits(kInvLn64) + from_bits(kShifter);
  const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(to_bits(t)));
  const double k = t - from_bits(kShifter);
  const double r = (x - k * from_bits(kLnHi)) - k * from_bits(kLnLo);
  const double s =
      from_bits((static_cast<uint64_t>(static_cast<int64_t>(n) + kBias) << 46) & kExpbMask);
  const double hi = from_bits(kExp2HiLo[n & 63][0]) * s;
  const double lo = from_bits(kExp2HiLo[n & 63][1]) * s;
  const double q =
      ((((kC6 * r + kC5) * r + kC4) * r + kC3) * r + kC2);
  const double p = r + (r * r) * q;
  return (hi - 1.0) + (lo + p * (hi + lo));
}

inline __m128d splat_bits(uint64_t b) { return _mm_castsi128_pd(_mm_set1_epi64x(static_cast<int64_t>(b))); }

inline __m128d fast_vector(__m128d x) {
  const __m128d t = _mm_add_pd(_mm_mul_pd(x, splat_bits(kInvLn64)), splat_bits(kShifter));
  const __m128i tbits = _mm_castpd_si128(t);
  const __m128d k = _mm_sub_pd(t, splat_bits(kShifter));
  const __m128d r = _mm_sub_pd(_mm_sub_pd(x, _mm_mul_pd(k, splat_bits(kLnHi))),
                               _mm_mul_pd(k, splat_bits(kLnLo)));
  const __m128d s = _mm_castsi128_pd(
      _mm_and_si128(_mm_slli_epi64(_mm_add_epi64(tbits, _mm_set1_epi64x(kBias)), 46),
                    _mm_set1_epi64x(static_cast<int64_t>(kExpbMask))));
  const int j0 = _mm_extract_epi16(tbits, 0) & 63;
  const int j1 = _mm_extract_epi16(tbits, 4) & 63;
  const __m128d e0 = _mm_load_pd(reinterpret_cast<const double*>(kExp2HiLo[j0]));
  const __m128d e1 = _mm_load_pd(reinterpret_cast<const double*>(kExp2HiLo[j1]));
  const __m128d hi = _mm_mul_pd(_mm_unpacklo_pd(e0, e1), s);
  const __m128d lo = _mm_mul_pd(_mm_unpackhi_pd(e0, e1), s);
  __m128d q = _mm_add_pd(_mm_mul_pd(_mm_set1_pd(kC6), r), _mm_set1_pd(kC5));
  q = _mm_add_pd(_mm_mul_pd(q, r), _mm_set1_pd(kC4));
  q = _mm_add_pd(_mm_mul_pd(q, r), _mm_set1_pd(kC3));
  q = _mm_add_pd(_mm_mul_pd(q, r), _mm_set1_pd(kC2));
  const __m128d p = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), q));
  return _mm_add_pd(_mm_sub_pd(hi, _mm_set1_pd(1.0)),
                    _mm_add_pd(lo, _mm_mul_pd(p, _mm_add_pd(hi, lo))));
}

// Lanes whose high word of |x| lies in [kFastLow, kFastHigh) have all ones
// in their upper 32 bits.
inline __m128i fast_lanes(__m128d x) {
  const __m128i hw = _mm_and_si128(_mm_castpd_si128(x), _mm_set1_epi64x(0x7FFFFFFFFFFFFFFF));
  return _mm_and_si128(_mm_cmpgt_epi32(hw, _mm_set1_epi32(static_cast<int>(kFastLow - 1))),
                       _mm_cmpgt_epi32(_mm_set1_epi32(static_cast<int>(kFastHigh)), hw));
}

// |x| < 2^-54: e^x - 1 = x (1 + x/2 + ...) rounds to x. Zeros keep their sign.
// When the caller's mode asks for denormals-are-zero (MXCSR bit 0x40 set by
// the kernel's environment guard), a subnormal input is read as a zero of
// its sign, as the vector unit reads it; no status is reported either way,
// because the result is the input itself.
inline double tiny(double x) {
  const bool subnormal = (to_bits(x) & 0x7FF0000000000000) == 0;
  if (subnormal && (_mm_getcsr() & 0x0040u) != 0) return from_bits(to_bits(x) & 0x8000000000000000);
  return x;
}

}  // namespace orx::vml::dexpm1
