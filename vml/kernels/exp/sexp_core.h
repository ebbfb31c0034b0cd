// Four-lane cores of the single-precision exponential: e^x = y * 2^n with
// n = round(x / ln 2), y = e^r, |r| <= ln 2 / 2 (plus rounding of x / ln 2).
#pragma once

#include <emmintrin.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "vml/kernels/exp/sexp_poly.h"

namespace orx::vml::sexp {


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

// e^r with n = round(x / ln 2); n23 = n << 23, the power of two as it adds
// into a float's exponent field.
struct Reduced {
  __m128 y;     // e^r, in [0.707, 1.415]
  __m128i n23;  // n << 23
};


// Bound of |r|: ln 2 / 2 = 0.34657, plus the rounding of x / ln 2 (at most
// 2^-24 * 128 * ln 2 = 5.3e-6).
inline constexpr long double kReducedBound = 0.3466L;

// q(r) ~ (e^r - 1 - r) / r^2, degree 4, interpolated at the Chebyshev nodes
// of [-0.3466, 0.3466]: with the coefficients rounded to float,
// 1 + r + r^2 q(r) is within 8.1e-9 of e^r (at r = 0.3466; 0.13 ulp of e^r
// at the low end, r = -0.3466, where e^r = 0.707 has ulps of 2^-24).
inline constexpr auto kExpTailHA =
    poly::chebyshev_fit<5>(poly::exp_tail<2>, -kReducedBound, kReducedBound);

// ---- four-lane constants -------------------------------------------------------
// The vector paths read their constants as 16-byte rows of four equal floats,
// defined in another file (sexp_lanes.cpp) so that each is one memory operand
// of its instruction: with the values in sight the compiler rebuilds every
// splatted constant in every block instead (a load and a shuffle each).
enum class Lane {
  kInvLn2, kShifter, kLn2Hi, kLn2Lo, kLn2, kOne,
  kTail0, kTail1, kTail2, kTail3, kTail4,
  kInvFact1, kInvFact2, kInvFact3, kInvFact4, kCount
};
constexpr float lane_value(Lane c) {
  switch (c) {
    case Lane::kInvLn2: return std::bit_cast<float>(kInvLn2);
    case Lane::kShifter: return std::bit_cast<float>(kShifter);
    case Lane::kLn2Hi: return std::bit_cast<float>(kLn2Hi);
    case Lane::kLn2Lo: return std::bit_cast<float>(kLn2Lo);
    case Lane::kLn2: return std::bit_cast<float>(kLn2);
    case Lane::kOne: return 1.0f;
    case Lane::kTail0: return static_cast<float>(kExpTailHA[0]);
    case Lane::kTail1: return static_cast<float>(kExpTailHA[1]);
    case Lane::kTail2: return static_cast<float>(kExpTailHA[2]);
    case Lane::kTail3: return static_cast<float>(kExpTailHA[3]);
    case Lane::kTail4: return static_cast<float>(kExpTailHA[4]);
    case Lane::kInvFact1: return inv_factorial(1);
    case Lane::kInvFact2: return inv_factorial(2);
    case Lane::kInvFact3: return inv_factorial(3);
    case Lane::kInvFact4: return inv_factorial(4);
    case Lane::kCount: break;
  }
  return 0;
}
struct alignas(16) LaneRow {
  float lane[4];
};
extern const std::array<LaneRow, static_cast<size_t>(Lane::kCount)> kLanes;
inline __m128 lanes(Lane c) { return _mm_load_ps(kLanes[static_cast<size_t>(c)].lane); }

// k = round(x / ln 2) as a float, and n << 23. The shifted sum holds
// 0x4B400000 + n in its bits; shifting those left by 23 drops the constant
// (its lowest set bit is bit 22) and leaves n << 23.
inline __m128 round_to_multiple_of_ln2(__m128 x, __m128i& n23) {
  const __m128 t = _mm_add_ps(_mm_mul_ps(x, lanes(Lane::kInvLn2)), lanes(Lane::kShifter));
  n23 = _mm_slli_epi32(_mm_castps_si128(t), 23);
  return _mm_sub_ps(t, lanes(Lane::kShifter));
}

// HA: two-part reduction, t = x - k ln2hi exact, r = t - k ln2lo rounded,
// and e^r = (1 + t) + ((r^2 q(r) - k ln2lo) + e), where e is the rounding
// error of 1 + t (Fast2Sum, exact under round-to-nearest). Only t and k ln2lo
// enter the sum at full weight, and both are exact (k ln2lo to 2^-40); the
// rounded r only feeds r^2 q, whose error it moves by at most
// |e^r - 1| * 2^-26 = 4.4e-9. e^r is rounded in full once, at the end.
struct CoreHA {
  static Reduced reduce(__m128 x) {
    Reduced out;
    const __m128 k = round_to_multiple_of_ln2(x, out.n23);
    const __m128 t = _mm_sub_ps(x, _mm_mul_ps(k, lanes(Lane::kLn2Hi)));  // exact
    const __m128 k_lo = _mm_mul_ps(k, lanes(Lane::kLn2Lo));
    const __m128 r = _mm_sub_ps(t, k_lo);
    // q by Estrin's scheme, (c0 + c1 r) + r^2 ((c2 + c3 r) + r^2 c4): one
    // operation more than Horner's rule but half its dependency chain.
    const auto c = [](int i) { return lanes(static_cast<Lane>(static_cast<int>(Lane::kTail0) + i)); };
    const __m128 r2 = _mm_mul_ps(r, r);
    const __m128 low = _mm_add_ps(c(0), _mm_mul_ps(c(1), r));
    const __m128 high = _mm_add_ps(_mm_add_ps(c(2), _mm_mul_ps(c(3), r)), _mm_mul_ps(r2, c(4)));
    const __m128 q = _mm_add_ps(low, _mm_mul_ps(r2, high));
    const __m128 tail = _mm_sub_ps(_mm_mul_ps(r2, q), k_lo);
    const __m128 one = lanes(Lane::kOne);
    const __m128 head = _mm_add_ps(one, t);
    const __m128 e = _mm_add_ps(_mm_sub_ps(one, head), t);
    out.y = _mm_add_ps(head, _mm_add_ps(e, tail));
    return out;
  }
};

// EP: one-constant reduction and the Taylor polynomial of degree 4:
// truncation r^5/5! * e^r <= 5.9e-5 (2^-14.0) relative.
struct CoreEP {
  static Reduced reduce(__m128 x) {
    Reduced out;
    const __m128 k = round_to_multiple_of_ln2(x, out.n23);
    const __m128 r = _mm_sub_ps(x, _mm_mul_ps(k, lanes(Lane::kLn2)));
    __m128 q = lanes(Lane::kInvFact4);
    q = _mm_add_ps(_mm_mul_ps(q, r), lanes(Lane::kInvFact3));
    q = _mm_add_ps(_mm_mul_ps(q, r), lanes(Lane::kInvFact2));
    q = _mm_add_ps(_mm_mul_ps(q, r), lanes(Lane::kInvFact1));
    out.y = _mm_add_ps(lanes(Lane::kOne), _mm_mul_ps(r, q));
    return out;
  }
};

// y * 2^n by an integer add into the exponent field: exact whenever y * 2^n
// is normal (the block path keeps n in [-126, 126]).
inline __m128 scale(const Reduced& v) {
  return _mm_castsi128_ps(_mm_add_epi32(_mm_castps_si128(v.y), v.n23));
}

}  // namespace orx::vml::sexp
