// Cores of the double-precision exponential e^x = 2^m * 2^(j/J) * e^r, with
// N = round(x * J / ln 2), m = floor(N / J), j = N mod J, r = x - N ln 2 / J.
// HA uses J = 64 and a (hi, lo) table; LA and EP use J = 128 and a table of
// fraction bits. Each core has a scalar form (the per-element and special
// paths) and a two-lane SSE2 form (the blocks); both do the same IEEE
// operations in the same order, so they agree to the bit.
#pragma once

#include <emmintrin.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace orx::vml::dexp {

#include "orx/exp_tables.inc"

constexpr double from_bits(uint64_t b) { return std::bit_cast<double>(b); }
constexpr uint64_t to_bits(double d) { return std::bit_cast<uint64_t>(d); }

inline constexpr uint64_t kExpbMask = 0x7FF0000000000000ull;
inline constexpr double kShifter = from_bits(0x4338000000000000);  // 1.5 * 2^52
inline constexpr double kLeastExpb = from_bits(0x0010000000000000);  // 2^-1022
inline constexpr double kExp2Max = from_bits(0x7FE0000000000000);    // 2^1023
inline constexpr double kTwo = 2.0;

// ---- HA: J = 64 -------------------------------------------------------------
inline constexpr double kInvLn64 = from_bits(0x40571547652B82FE);  // 64 / ln 2
// ln 2 / 64 split; kLnHi64 has trailing zero bits, so N * kLnHi64 is exact.
inline constexpr double kLnHi64 = from_bits(0x3F862E42FEF00000);
inline constexpr double kLnLo64 = from_bits(0x3D7473DE6AF278ED);
// e^r - 1 ~ r + r^2 (A2 + A3 r + A4 r^2 + A5 r^3) on |r| <= ln 2 / 128.
inline constexpr double kA2 = from_bits(0x3FDFFFFFFFFFD97C);
inline constexpr double kA3 = from_bits(0x3FC55555555542A1);
inline constexpr double kA4 = from_bits(0x3FA555574BC3A1BE);
inline constexpr double kA5 = from_bits(0x3F81111276409C2C);
inline constexpr int64_t kBias64 = 0xFFC0;  // 1023 * 64: exponent bias in 1/64 units

struct HaParts {
  double unscaled;  // 2^(j/64) * e^r = Thi + (Tlo + p (Thi + Tlo))
  int32_t n;        // N
};

inline HaParts ha_parts(double x) {
  const double t = x * kInvLn64 + kShifter;
  const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(to_bits(t)));
  const double k = t - kShifter;
  const double r = (x - k * kLnHi64) - k * kLnLo64;
  const double thi = from_bits(kExp2HiLo[n & 63][0]);
  const double tlo = from_bits(kExp2HiLo[n & 63][1]);
  const double p = r + r * r * (((kA5 * r + kA4) * r + kA3) * r + kA2);
  return {thi + (tlo + p * (thi + tlo)), n};
}

// 2^floor(N/64) from N by integer arithmetic; valid for m in [-1022, 1023].
inline double ha_scale(int32_t n) {
  return from_bits((static_cast<uint64_t>(static_cast<int64_t>(n) + kBias64) << 46) & kExpbMask);
}

inline double ha_value(double x) {
  const HaParts v = ha_parts(x);
  return v.unscaled * ha_scale(v.n);
}


// ---- LA and EP: J = 128 -----------------------------------------------------
inline constexpr double kInvLn128 = from_bits(0x40671547652B82FE);  // 128 / ln 2
inline constexpr double kLnHi128 = from_bits(0x3F762E42FEE00000);   // LA split of ln 2 / 128
inline constexpr double kLnLo128 = from_bits(0x3D7A39EF35793C76);
inline constexpr double kLn128 = from_bits(0x3F762E42FEFA39EF);     // EP: one constant
// LA: e^r - 1 ~ r + r^2 (B2 + B3 r + B4 r^2).
inline constexpr double kB2 = from_bits(0x3FDFFFFFFFFFFEB0);
inline constexpr double kB3 = from_bits(0x3FC55555B7BAE976);
inline constexpr double kB4 = from_bits(0x3FA55555C2A9C0FA);
inline constexpr int64_t kBias128 = 0x1FF80;  // 1023 * 128

// ---- two-lane constants -------------------------------------------------------
// The vector paths read their constants as 16-byte pairs of equal doubles,
// defined in another file (dexp_pairs.cpp) so that each is one memory operand
// of its instruction: with the values in sight the compiler rebuilds every
// splatted constant in every block instead, about 4 extra operations per
// element.
inline constexpr double kHalf = 0.5;
enum class Pair { kInvLn64, kShifter, kLnHi64, kLnLo64, kA2, kA3, kA4, kA5, kInvLn128, kLnHi128, kLnLo128, kLn128, kB2, kB3, kB4, kHalf, kCount };
constexpr double pair_value(Pair p) {
  switch (p) {
    case Pair::kInvLn64: return kInvLn64;
    case Pair::kShifter: return kShifter;
    case Pair::kLnHi64: return kLnHi64;
    case Pair::kLnLo64: return kLnLo64;
    case Pair::kA2: return kA2;
    case Pair::kA3: return kA3;
    case Pair::kA4: return kA4;
    case Pair::kA5: return kA5;
    case Pair::kInvLn128: return kInvLn128;
    case Pair::kLnHi128: return kLnHi128;
    case Pair::kLnLo128: return kLnLo128;
    case Pair::kLn128: return kLn128;
    case Pair::kB2: return kB2;
    case Pair::kB3: return kB3;
    case Pair::kB4: return kB4;
    case Pair::kHalf: return kHalf;
    case Pair::kCount: break;
  }
  return 0;
}
struct alignas(16) LanePair {
  double lane[2];
};
extern const std::array<LanePair, static_cast<size_t>(Pair::kCount)> kPairs;
inline __m128d lane_pair(Pair p) { return _mm_load_pd(kPairs[static_cast<size_t>(p)].lane); }

// ---- HA: vector path ------------------------------------------------------------
// Table indices of the two lanes (the low bits of t hold N).
inline int lane0_index(__m128i tbits, int mask) { return _mm_cvtsi128_si32(tbits) & mask; }
inline int lane1_index(__m128i tbits, int mask) {
  return _mm_cvtsi128_si32(_mm_shuffle_epi32(tbits, 0xEE)) & mask;
}

// Two lanes of the HA fast path. The final x 2^m is done as an integer
// addition of m to the exponent field of the unscaled value: in the fast range
// both it and the result are normal, so this gives the bits of the product.
[[gnu::always_inline]] inline __m128d ha_vector(__m128d x) {
  const __m128d t = _mm_add_pd(_mm_mul_pd(x, lane_pair(Pair::kInvLn64)), lane_pair(Pair::kShifter));
  const __m128i tbits = _mm_castpd_si128(t);
  const __m128d k = _mm_sub_pd(t, lane_pair(Pair::kShifter));
  const __m128d r = _mm_sub_pd(_mm_sub_pd(x, _mm_mul_pd(k, lane_pair(Pair::kLnHi64))),
                               _mm_mul_pd(k, lane_pair(Pair::kLnLo64)));
  const double* e0 = reinterpret_cast<const double*>(kExp2HiLo[lane0_index(tbits, 63)]);
  const double* e1 = reinterpret_cast<const double*>(kExp2HiLo[lane1_index(tbits, 63)]);
  const __m128d thi = _mm_loadh_pd(_mm_load_sd(e0), e1);
  const __m128d tlo = _mm_loadh_pd(_mm_load_sd(e0 + 1), e1 + 1);
  // m << 52: the low bits of N above its six table bits, moved to the exponent.
  const __m128i m_bits = _mm_slli_epi64(_mm_and_si128(tbits, _mm_set1_epi64x(~int64_t{63})), 46);
  __m128d poly = _mm_add_pd(_mm_mul_pd(lane_pair(Pair::kA5), r), lane_pair(Pair::kA4));
  poly = _mm_add_pd(_mm_mul_pd(poly, r), lane_pair(Pair::kA3));
  poly = _mm_add_pd(_mm_mul_pd(poly, r), lane_pair(Pair::kA2));
  const __m128d p = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), poly));
  const __m128d unscaled =
      _mm_add_pd(thi, _mm_add_pd(tlo, _mm_mul_pd(p, _mm_add_pd(thi, tlo))));
  return _mm_castsi128_pd(_mm_add_epi64(_mm_castpd_si128(unscaled), m_bits));
}

struct LowAccuracy {  // LA: two-part reduction, degree-4 polynomial
  static double reduce(double x, double k) { return (x - k * kLnHi128) - k * kLnLo128; }
  static double poly(double r) { return r + r * r * ((kB4 * r + kB3) * r + kB2); }
  static __m128d reduce(__m128d x, __m128d k) {
    return _mm_sub_pd(_mm_sub_pd(x, _mm_mul_pd(k, lane_pair(Pair::kLnHi128))), _mm_mul_pd(k, lane_pair(Pair::kLnLo128)));
  }
  static __m128d poly(__m128d r) {
    __m128d q = _mm_add_pd(_mm_mul_pd(lane_pair(Pair::kB4), r), lane_pair(Pair::kB3));
    q = _mm_add_pd(_mm_mul_pd(q, r), lane_pair(Pair::kB2));
    return _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), q));
  }
};

struct EnhancedPerformance {  // EP: one-constant reduction, r + r^2 / 2
  static double reduce(double x, double k) { return x - k * kLn128; }
  static double poly(double r) { return r + r * r * 0.5; }
  static __m128d reduce(__m128d x, __m128d k) { return _mm_sub_pd(x, _mm_mul_pd(k, lane_pair(Pair::kLn128))); }
  static __m128d poly(__m128d r) { return _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), lane_pair(Pair::kHalf))); }
};

struct Parts128 {
  double table;  // 2^(j/128) in [1, 2)
  double p;      // e^r - 1
  int32_t n;     // N
};

template <class Core>
Parts128 parts128(double x) {
  const double t = x * kInvLn128 + kShifter;
  const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(to_bits(t)));
  const double k = t - kShifter;
  const double p = Core::poly(Core::reduce(x, k));
  return {from_bits(0x3FF0000000000000ull + kExp2Frac128[n & 127]), p, n};
}

// 2^m * 2^(j/128) joined by integer addition; valid for m in [-1022, 1023].
inline double scaled_table128(int32_t n) {
  const uint64_t scale = (static_cast<uint64_t>(static_cast<int64_t>(n) + kBias128) << 45) & kExpbMask;
  return from_bits(scale + kExp2Frac128[n & 127]);
}

template <class Core>
double value128(double x) {
  const double t = x * kInvLn128 + kShifter;
  const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(to_bits(t)));
  const double k = t - kShifter;
  const double p = Core::poly(Core::reduce(x, k));
  const double s = scaled_table128(n);
  return s + s * p;
}

template <class Core>
[[gnu::always_inline]] inline __m128d vector128(__m128d x) {
  const __m128d t = _mm_add_pd(_mm_mul_pd(x, lane_pair(Pair::kInvLn128)), lane_pair(Pair::kShifter));
  const __m128i tbits = _mm_castpd_si128(t);
  const __m128d k = _mm_sub_pd(t, lane_pair(Pair::kShifter));
  const __m128d p = Core::poly(Core::reduce(x, k));
  const double* f0 = reinterpret_cast<const double*>(&kExp2Frac128[lane0_index(tbits, 127)]);
  const double* f1 = reinterpret_cast<const double*>(&kExp2Frac128[lane1_index(tbits, 127)]);
  const __m128i frac = _mm_castpd_si128(_mm_loadh_pd(_mm_load_sd(f0), f1));
  const __m128i scale = _mm_and_si128(
      _mm_slli_epi64(_mm_add_epi64(tbits, _mm_set1_epi64x(kBias128)), 45),
      _mm_set1_epi64x(static_cast<int64_t>(kExpbMask)));
  const __m128d s = _mm_castsi128_pd(_mm_add_epi64(scale, frac));
  return _mm_add_pd(s, _mm_mul_pd(s, p));
}

// ---- range guard --------------------------------------------------------------
// High word of 708.39599609375: every |x| below it has a normal, finite e^x
// whose scale 2^m fits one exponent field.
inline constexpr uint32_t kGuardHigh = 0x4086232B;

inline bool in_fast_range(double x) {
  return static_cast<uint32_t>(to_bits(x) >> 32 & 0x7FFFFFFF) < kGuardHigh;
}

// High words of |x| minus the guard, in the odd 32-bit lanes; their sign bits
// are set only for elements in the fast range.
inline __m128i guard_lanes(__m128d x) {
  const __m128i abs = _mm_and_si128(_mm_castpd_si128(x), _mm_set1_epi64x(0x7FFFFFFFFFFFFFFF));
  return _mm_sub_epi32(abs, _mm_set1_epi32(static_cast<int>(kGuardHigh)));
}

// True when every element whose guard lanes were ANDed is in the fast range.
inline bool all_in_fast_range(__m128i anded) {
  return (_mm_movemask_ps(_mm_castsi128_ps(anded)) & 0xA) == 0xA;
}

// Out-of-line paths (dexp_slow_path.cpp): element i of a, computed alone with
// its special cases and status.
void ha_special(int i, const double* a, double* r) noexcept;
void la_special(int i, const double* a, double* r) noexcept;
void ep_special(int i, const double* a, double* r) noexcept;

}  // namespace orx::vml::dexp
