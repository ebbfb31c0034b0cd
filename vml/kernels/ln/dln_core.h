// Two-lane cores of the double-precision logarithms (Ln, Log10, Log1p): the
// reciprocal-table reduction and its evaluations, the constants, the generic
// block driver and the special-value classes shared by the three families.
//
// Reduction, for a positive normal finite x with high word h:
//   k = (((h & 0xFFC00) + 0x400) & 0x1FF800) >> 11: the top ten fraction bits
//       rounded to nine, 0 .. 512;
//   n = (h - 0x3FE7FC00) >> 20 (arithmetic): the unbiased exponent, one
//       higher when the top fraction bits reach 0x7FC00 (y >= 1.4990234375),
//       which is exactly when k >= 256;
//   y = the mantissa in [1, 2), yHi = y with the low 32 bits cleared (21
//       significant bits), yLo = y - yHi (exact, < 2^-20);
//   r = (yHi c_k - 1) + yLo c_k, where yHi c_k is exact (21 x 23 bits) and so
//       is its difference from 1; |r| <= 2^-10 (plus c_k's rounding, 2^-24).
//   ln x = n ln 2 + T_k + ln(1 + r), T_k from BT_Tbl (see tools/gen_ln_table.cpp
//   for the table's rule: c_k = 1/(1 + k/512) at 23 bits, T_hi a multiple of
//   2^-42, so n ln2hi + T_hi is exact).
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "orx/vml.h"
#include "vml/error_report.h"
#include "vml/kernels/ln/dln_table.h"  // generated: BT_Tbl, InvLn10 split

namespace orx::vml::dln {

// A constant as two equal lanes, kept in memory so that the loop reads it as
// a memory operand. The empty asm hides the address from the optimizer, which
// would otherwise rebuild each splat from a scalar (movsd + unpcklpd) on
// every iteration (measured about 5% slower).
struct alignas(16) Lanes {
  uint64_t bits[2];
  double scalar() const { return __builtin_bit_cast(double, bits[0]); }
};
constexpr Lanes pair(uint64_t bits) { return {{bits, bits}}; }
inline __m128i load_int(const Lanes& c) {
  const Lanes* p = &c;
  __asm__("" : "+r"(p));
  return _mm_load_si128(reinterpret_cast<const __m128i*>(p->bits));
}
inline __m128d load(const Lanes& c) { return _mm_castsi128_pd(load_int(c)); }

// Constants, with their bit patterns.
inline constexpr Lanes dbMantissaMask = pair(0x000FFFFFFFFFFFFF);
inline constexpr Lanes dbOne = pair(0x3FF0000000000000);            // 1.0
inline constexpr Lanes dbYHiMask = pair(0x7FFFFFFF00000000);        // high 32 bits of y
inline constexpr Lanes dbNSub = pair(0x3FE7FC0000000000);           // high word 0x3FE7FC00
inline constexpr Lanes dbNMask = pair(0xFFFFFFFF00000000);
inline constexpr Lanes db2pow20p2pow19 = pair(0x4138000000000000);  // 1572864.0
inline constexpr Lanes dbLn2hi = pair(0x3FE62E42FEFA3800);          // 0.6931471805598903
inline constexpr Lanes dbLn2lo = pair(0x3D2EF35793C76730);          // 5.497923018708371e-14
inline constexpr Lanes dbP1 = pair(0xBFDFFFFFFFFFFCA9);             // -0.49999999999995254
inline constexpr Lanes dbP2 = pair(0x3FD555555555512A);             // 0.3333333333332741
inline constexpr Lanes dbP3 = pair(0xBFD00000D588D052);             // -0.2500001988694339
inline constexpr Lanes dbP4 = pair(0x3FC9999B39037E04);             // 0.2000001934420511
inline constexpr Lanes db2pow52 = pair(0x4330000000000000);         // 2^52
inline constexpr Lanes dbLn2pow52 = pair(0x404205966F2B4F12);       // 36.04365338911715 (52 ln 2)
inline constexpr Lanes dbInf = pair(0x7FF0000000000000);
inline constexpr Lanes dbNegInf = pair(0xFFF0000000000000);
inline constexpr Lanes dbInd = pair(0xFFF8000000000000);

// Fields of the index computation, placed in the high word of each lane:
// h & 0xFFC00, + 0x400, then >> 11; the shift also drops the bit that
// & 0x1FF800 clears.
inline constexpr Lanes kIndexBits = pair(0x000FFC0000000000);
inline constexpr Lanes kIndexRound = pair(0x0000040000000000);
inline constexpr int kIndexShift = 32 + 11;
// Constants of the EP polynomial and the double-double cores.
inline constexpr Lanes kThird = pair(0x3FD5555555555555);  // 1/3 rounded
inline constexpr Lanes kHalf = pair(0x3FE0000000000000);   // 0.5

// The reduced argument of two lanes.
struct Reduced {
  __m128d n;          // exponent as a double
  __m128d c;          // c_k
  __m128d t_hi, t_lo;  // T_k
  __m128d y_hi, y_lo;  // mantissa split
};

inline Reduced reduce(__m128d x) {
  const __m128i bits = _mm_castpd_si128(x);
  const __m128i index =
      _mm_srli_epi64(_mm_add_epi64(_mm_and_si128(bits, load_int(kIndexBits)), load_int(kIndexRound)),
                     kIndexShift);
  const int k0 = _mm_cvtsi128_si32(index);
  const int k1 = _mm_extract_epi16(index, 4);  // k <= 512 fits in 16 bits
  // n in the high word, joined to the high word of 1.5 * 2^20 (whose last
  // high-word bit weighs 1), low words cleared: 1572864 + n exactly.
  const __m128i n_high = _mm_srai_epi32(_mm_sub_epi32(bits, load_int(dbNSub)), 20);
  const __m128i n_bits =
      _mm_and_si128(_mm_add_epi32(n_high, load_int(db2pow20p2pow19)), load_int(dbNMask));
  Reduced v;
  v.n = _mm_sub_pd(_mm_castsi128_pd(n_bits), load(db2pow20p2pow19));
  const __m128d y = _mm_or_pd(_mm_and_pd(x, load(dbMantissaMask)), load(dbOne));
  v.y_hi = _mm_and_pd(y, load(dbYHiMask));
  v.y_lo = _mm_sub_pd(y, v.y_hi);
  const __m128d e0 = _mm_load_pd(&BT_Tbl[k0][0]);  // (c, c)
  const __m128d e1 = _mm_load_pd(&BT_Tbl[k1][0]);
  v.c = _mm_move_sd(e1, e0);                      // (c_k0, c_k1)
  const __m128d t0 = _mm_load_pd(&BT_Tbl[k0][2]);  // (T_hi, T_lo)
  const __m128d t1 = _mm_load_pd(&BT_Tbl[k1][2]);
  v.t_hi = _mm_unpacklo_pd(t0, t1);
  v.t_lo = _mm_unpackhi_pd(t0, t1);
  return v;
}

inline __m128d reduced_r(const Reduced& v) {
  return _mm_add_pd(_mm_sub_pd(_mm_mul_pd(v.y_hi, v.c), load(dbOne)), _mm_mul_pd(v.y_lo, v.c));
}

// q = r^2 (((P4 r + P3) r + P2) r + P1): ln(1 + r) - r for |r| <= 2^-10.
inline __m128d poly_q(__m128d r) {
  __m128d p = _mm_add_pd(_mm_mul_pd(load(dbP4), r), load(dbP3));
  p = _mm_add_pd(_mm_mul_pd(p, r), load(dbP2));
  p = _mm_add_pd(_mm_mul_pd(p, r), load(dbP1));
  return _mm_mul_pd(_mm_mul_pd(r, r), p);
}

// HA ln, fixed to the bit: (n ln2hi + T_hi + r) + (q + n ln2lo + T_lo), each
// group summed left to right. n ln2hi + T_hi is exact, so away from 1 the
// result carries one rounding of the large sum plus the small group
// (0.5 ulp + a little); near 1 (|ln x| < 2^-9 or so) r and q round
// separately and the error reaches about 1.25 ulp.
inline __m128d ln_ha(__m128d x) {
  const Reduced v = reduce(x);
  const __m128d r = reduced_r(v);
  const __m128d q = poly_q(r);
  const __m128d big =
      _mm_add_pd(_mm_add_pd(_mm_mul_pd(v.n, load(dbLn2hi)), v.t_hi), r);
  const __m128d small =
      _mm_add_pd(_mm_add_pd(q, _mm_mul_pd(v.n, load(dbLn2lo))), v.t_lo);
  return _mm_add_pd(big, small);
}

// EP ln: ln(1 + r) by r - r^2/2 + r^3/3 (truncation r^4/4, relative 2^-32 at
// |r| = 2^-10), without T_lo and n ln2lo (at most 2^-43 and 5.9e-11, relative
// 2^-32 or less of the result: |ln x| >= 2^-11 wherever T != 0, and
// |ln x| >= 0.28 wherever n != 0).
inline __m128d ln_ep(__m128d x) {
  const Reduced v = reduce(x);
  const __m128d r = reduced_r(v);
  const __m128d p = _mm_sub_pd(_mm_mul_pd(r, load(kThird)), load(kHalf));
  const __m128d big = _mm_add_pd(_mm_mul_pd(v.n, load(dbLn2hi)), v.t_hi);
  return _mm_add_pd(big, _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r), p)));
}

// ---- double-double ln, for Log10 and Log1p ---------------------------------

// s + e = a + b exactly (any magnitudes).
inline void two_sum(__m128d a, __m128d b, __m128d& s, __m128d& e) {
  s = _mm_add_pd(a, b);
  const __m128d bb = _mm_sub_pd(s, a);
  e = _mm_add_pd(_mm_sub_pd(a, _mm_sub_pd(s, bb)), _mm_sub_pd(b, bb));
}

// ln x = hi + lo, |lo| <= 2^-50 |hi|, error about 2^-66 |ln x| (the
// polynomial's, and the roundings of the small terms). `n_shift` is added to
// the exponent (-52 for inputs scaled by 2^52); n + n_shift stays within
// +-1074, so (n + n_shift) ln2hi + T_hi is still exact. Only r's own
// rounding and the sum of the large terms are kept exactly, by two_sum:
// r = (yHi c - 1) + yLo c where yLo c rounds by at most 2^-74 (and not at all
// near 1, where c_k is 1 or 1/2).
struct DoubleDouble {
  __m128d hi, lo;
};
inline DoubleDouble ln_dd(__m128d x, __m128d n_shift) {
  const Reduced v = reduce(x);
  const __m128d n = _mm_add_pd(v.n, n_shift);
  __m128d r, r_err;
  two_sum(_mm_sub_pd(_mm_mul_pd(v.y_hi, v.c), load(dbOne)), _mm_mul_pd(v.y_lo, v.c), r, r_err);
  const __m128d q = poly_q(r);
  const __m128d big = _mm_add_pd(_mm_mul_pd(n, load(dbLn2hi)), v.t_hi);  // exact
  DoubleDouble out;
  __m128d sum_err;
  two_sum(big, r, out.hi, sum_err);
  const __m128d small =
      _mm_add_pd(_mm_add_pd(q, _mm_mul_pd(n, load(dbLn2lo))), v.t_lo);
  out.lo = _mm_add_pd(sum_err, _mm_add_pd(r_err, small));
  return out;
}

// ---- lanes and blocks ---------------------------------------------------

// All ones in lane i (as a 2-bit movemask) when the high word h of x[i]
// passes the fast-path guard (h - 0x80100000) < -0x200000 (signed), which
// holds exactly for positive normal finite x.
inline int positive_normal_mask(__m128d x0, __m128d x1) {
  const __m128i high = _mm_castps_si128(
      _mm_shuffle_ps(_mm_castpd_ps(x0), _mm_castpd_ps(x1), _MM_SHUFFLE(3, 1, 3, 1)));
  const __m128i shifted = _mm_sub_epi32(high, _mm_set1_epi32(static_cast<int>(0x80100000u)));
  return _mm_movemask_ps(_mm_castsi128_ps(_mm_cmplt_epi32(shifted, _mm_set1_epi32(-0x200000))));
}

inline bool positive_normal(double x) {
  const __m128d v = _mm_set1_pd(x);
  return positive_normal_mask(v, v) == 0xF;
}

// Blocks of 4 elements (two vectors). A block whose guard fails anywhere goes
// element by element, as do the last n mod 4 elements. Kernel:
//   static bool in_range(__m128d x0, __m128d x1)   the block's guard
//   static __m128d eval(__m128d x)                 the fast path, two lanes
//   static void element(int i, const double* a, double* r)
template <class Kernel>
void run_blocks4(int n, const double* a, double* r) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128d x0 = _mm_loadu_pd(a + i);
    const __m128d x1 = _mm_loadu_pd(a + i + 2);
    if (!Kernel::in_range(x0, x1)) {
      for (int j = i; j < i + 4; ++j) Kernel::element(j, a, r);
      continue;
    }
    const __m128d y0 = Kernel::eval(x0);
    const __m128d y1 = Kernel::eval(x1);
    _mm_storeu_pd(r + i, y0);
    _mm_storeu_pd(r + i + 2, y1);
  }
  for (; i < n; ++i) Kernel::element(i, a, r);
}

// Classes of an element outside the fast path of Ln and Log10 (only such
// elements are classified: a positive one is then +inf or subnormal).
// Comparisons are on the values, so under denormals-are-zero a subnormal
// input is a zero.
enum class Special { kNaN, kPosInf, kZero, kNegative, kSubnormal };
inline Special classify(double x) {
  if (x != x) return Special::kNaN;
  if (x == 0.0) return Special::kZero;
  if (x < 0.0) return Special::kNegative;
  if (x > 1.0) return Special::kPosInf;
  return Special::kSubnormal;
}

// The scalar routine of Ln and Log10: element i alone. Core:
//   static __m128d eval(__m128d x)       positive normal finite x
//   static double subnormal(double s)    the result for x = s 2^-52, where
//                                        s = x 2^52 (exact, normal)
// Special results and statuses are those of the natural logarithm:
//   NaN -> x * 1.0 (quiet), +inf -> +inf, +-0 -> -inf with status 2,
//   x < 0 (-inf too) -> 0xFFF8000000000000 with status 1.
template <class Core>
[[gnu::noinline]] void ln_family_element(int i, const double* a, double* r, const char* name) {
  const double x = a[i];
  if (positive_normal(x)) {
    r[i] = _mm_cvtsd_f64(Core::eval(_mm_set1_pd(x)));
    return;
  }
  switch (classify(x)) {
    case Special::kNaN: {
      // The multiplication quietens a signalling NaN; the barrier keeps the
      // compiler from folding x * 1.0 to x.
      double one = 1.0;
      __asm__("" : "+x"(one));
      r[i] = x * one;
      break;
    }
    case Special::kPosInf:
      r[i] = x;
      break;
    case Special::kZero:
      r[i] = dbNegInf.scalar();
      report_error<double, double>(ORX_VML_STATUS_SINGULARITY, i, a, a, r, r, name);
      break;
    case Special::kNegative:
      r[i] = dbInd.scalar();
      report_error<double, double>(ORX_VML_STATUS_DOMAIN, i, a, a, r, r, name);
      break;
    case Special::kSubnormal:
      r[i] = Core::subnormal(x * db2pow52.scalar());
      break;
  }
}

// Block policy of Ln and Log10 for run_blocks4, named by `Name`.
template <class Core, const char* const* Name>
struct LnFamilyBlocks {
  static bool in_range(__m128d x0, __m128d x1) { return positive_normal_mask(x0, x1) == 0xF; }
  static __m128d eval(__m128d x) { return Core::eval(x); }
  static void element(int i, const double* a, double* r) { ln_family_element<Core>(i, a, r, *Name); }
};

}  // namespace orx::vml::dln
