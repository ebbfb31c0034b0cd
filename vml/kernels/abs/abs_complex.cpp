// Modulus of single and double complex vectors (hypot of the two parts).
//
// Single: the parts are widened to double, where their squares are exact; the
// sum and the square root are each rounded once in double before the final
// rounding to float, so the error stays below 0.5 + 2^-28 ulp.
//
// Double: the larger part h and the smaller l are scaled by a power of two
// (2^-600 when h > 2^500, 2^600 when h < 2^-500) so that squares neither
// overflow nor lose bits; h^2 + l^2 is formed exactly as a double-double
// (Dekker products), its square root taken and corrected by one Newton step
// on the double-double, then scaled back. Error below 0.51 ulp on normal
// results; a subnormal result is rounded twice (in the scaled domain, then
// when scaled back), which the MPFR test measures at 0.74 ulp.
//
// Special values (C99 Annex F hypot): an infinite part gives +inf even when the
// other is a NaN; otherwise a NaN part gives a NaN; no status for either. A
// finite argument whose modulus overflows gives +inf with status 3 (overflow).
// Subnormal results are not reported.
#include <emmintrin.h>

#include <cfloat>

#include "orx/vml.h"
#include "vml/error_report.h"
#include "vml/fp_env.h"
#include "vml/kernels/block_driver.h"
#include "vml/mode_access.h"

namespace orx::vml {
namespace {

// ---- single: blocks of 4 elements -----------------------------------------

// Moduli of two complex values already widened to double: d0 = (re0, im0),
// d1 = (re1, im1).
inline __m128d modulus2_widened(__m128d d0, __m128d d1) {
  const __m128d sq0 = _mm_mul_pd(d0, d0);
  const __m128d sq1 = _mm_mul_pd(d1, d1);
  return _mm_sqrt_pd(_mm_add_pd(_mm_unpacklo_pd(sq0, sq1), _mm_unpackhi_pd(sq0, sq1)));
}

// Moduli of the 2 complex floats at p, rounded to float in the low lanes.
inline __m128 modulus2_c(const orx_complex8* p) {
  const __m128 v = _mm_loadu_ps(&p[0].re);
  const __m128d d0 = _mm_cvtps_pd(v);
  const __m128d d1 = _mm_cvtps_pd(_mm_movehl_ps(v, v));
  return _mm_cvtpd_ps(modulus2_widened(d0, d1));
}

inline bool all_finite_ps(__m128 v) {
  const __m128i exponent = _mm_set1_epi32(0x7F800000);
  const __m128i bits = _mm_and_si128(_mm_castps_si128(v), exponent);
  return _mm_movemask_epi8(_mm_cmpeq_epi32(bits, exponent)) == 0;
}

struct AbsComplex8 {
  using In = orx_complex8;
  using Out = float;
  static constexpr int kBlock = 4;
  static bool block(const In* a, Out* r) {
    const __m128 in0 = _mm_loadu_ps(&a[0].re);
    const __m128 in1 = _mm_loadu_ps(&a[2].re);
    const __m128 m = _mm_movelh_ps(modulus2_c(a), modulus2_c(a + 2));
    // Infinite or NaN parts, and moduli beyond FLT_MAX, take the element path.
    if (!(all_finite_ps(in0) && all_finite_ps(in1) && all_finite_ps(m))) return false;
    _mm_storeu_ps(r, m);
    return true;
  }
  [[gnu::noinline]] static void element(int i, const In* a, Out* r) {
    const float re = a[i].re, im = a[i].im;
    if (__builtin_isinf(re) || __builtin_isinf(im)) {
      r[i] = __builtin_inff();
      return;
    }
    if (__builtin_isnan(re) || __builtin_isnan(im)) {
      r[i] = re + im;  // a NaN, carrying an input's payload
      return;
    }
    const __m128d d = _mm_cvtps_pd(_mm_setr_ps(re, im, 0.0f, 0.0f));
    r[i] = _mm_cvtss_f32(_mm_cvtpd_ps(modulus2_widened(d, d)));
    if (__builtin_isinf(r[i])) report_error(ORX_VML_STATUS_OVERFLOW, i, a, a, r, r, "vcAbs");
  }
};

// ---- double: blocks of 4 elements, 2 per vector ---------------------------

// Exact split of each lane into a high half of 26 bits and the rest.
inline void split(__m128d v, __m128d& hi, __m128d& lo) {
  const __m128d c = _mm_mul_pd(v, _mm_set1_pd(134217729.0));  // 2^27 + 1
  hi = _mm_sub_pd(c, _mm_sub_pd(c, v));
  lo = _mm_sub_pd(v, hi);
}

// v*v = p + e exactly (no overflow or underflow in the scaled range).
inline void exact_square(__m128d v, __m128d& p, __m128d& e) {
  __m128d hi, lo;
  split(v, hi, lo);
  p = _mm_mul_pd(v, v);
  const __m128d cross = _mm_mul_pd(_mm_add_pd(hi, hi), lo);
  e = _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(hi, hi), p), cross), _mm_mul_pd(lo, lo));
}

inline __m128d select(__m128d mask, __m128d if_set, __m128d if_clear) {
  return _mm_or_pd(_mm_and_pd(mask, if_set), _mm_andnot_pd(mask, if_clear));
}

// Moduli of (x[k], y[k]) for the two lanes, inputs finite.
inline __m128d modulus2_z(__m128d x, __m128d y) {
  const __m128d sign = _mm_set1_pd(-0.0);
  const __m128d ax = _mm_andnot_pd(sign, x);
  const __m128d ay = _mm_andnot_pd(sign, y);
  const __m128d h = _mm_max_pd(ax, ay);
  const __m128d l = _mm_min_pd(ax, ay);

  const __m128d big = _mm_cmpgt_pd(h, _mm_set1_pd(0x1p500));
  const __m128d small = _mm_cmplt_pd(h, _mm_set1_pd(0x1p-500));
  const __m128d one = _mm_set1_pd(1.0);
  const __m128d scale = select(big, _mm_set1_pd(0x1p-600), select(small, _mm_set1_pd(0x1p600), one));
  const __m128d unscale = select(big, _mm_set1_pd(0x1p600), select(small, _mm_set1_pd(0x1p-600), one));
  const __m128d hs = _mm_mul_pd(h, scale);
  const __m128d ls = _mm_mul_pd(l, scale);

  __m128d ph, eh, pl, el;
  exact_square(hs, ph, eh);
  exact_square(ls, pl, el);
  // s + t = h^2 + l^2 (fast two-sum: ph >= pl).
  const __m128d s = _mm_add_pd(ph, pl);
  const __m128d t = _mm_add_pd(_mm_sub_pd(pl, _mm_sub_pd(s, ph)), _mm_add_pd(eh, el));
  // One Newton step: root + (s + t - root^2) / (2 root); root^2 formed exactly.
  const __m128d root = _mm_sqrt_pd(s);
  __m128d rp, re;
  exact_square(root, rp, re);
  const __m128d residual = _mm_add_pd(_mm_sub_pd(_mm_sub_pd(s, rp), re), t);
  // max() keeps a zero modulus from dividing 0 by 0 (residual is 0 there).
  const __m128d twice = _mm_max_pd(_mm_add_pd(root, root), _mm_set1_pd(DBL_MIN));
  const __m128d corrected = _mm_add_pd(root, _mm_div_pd(residual, twice));
  return _mm_mul_pd(corrected, unscale);
}

inline bool all_finite_pd(__m128d v) {
  const __m128d limit = _mm_set1_pd(DBL_MAX);
  const __m128d av = _mm_andnot_pd(_mm_set1_pd(-0.0), v);
  return _mm_movemask_pd(_mm_cmple_pd(av, limit)) == 3;  // false for NaN
}

struct AbsComplex16 {
  using In = orx_complex16;
  using Out = double;
  static constexpr int kBlock = 4;
  static bool block(const In* a, Out* r) {
    const __m128d z0 = _mm_loadu_pd(&a[0].re), z1 = _mm_loadu_pd(&a[1].re);
    const __m128d z2 = _mm_loadu_pd(&a[2].re), z3 = _mm_loadu_pd(&a[3].re);
    const __m128d x01 = _mm_unpacklo_pd(z0, z1), y01 = _mm_unpackhi_pd(z0, z1);
    const __m128d x23 = _mm_unpacklo_pd(z2, z3), y23 = _mm_unpackhi_pd(z2, z3);
    // Non-finite parts go to the element path before any arithmetic on them.
    if (!(all_finite_pd(x01) && all_finite_pd(y01) && all_finite_pd(x23) && all_finite_pd(y23)))
      return false;
    const __m128d m01 = modulus2_z(x01, y01);
    const __m128d m23 = modulus2_z(x23, y23);
    if (!(all_finite_pd(m01) && all_finite_pd(m23))) return false;
    _mm_storeu_pd(r, m01);
    _mm_storeu_pd(r + 2, m23);
    return true;
  }
  [[gnu::noinline]] static void element(int i, const In* a, Out* r) {
    const double re = a[i].re, im = a[i].im;
    if (__builtin_isinf(re) || __builtin_isinf(im)) {
      r[i] = __builtin_inf();
      return;
    }
    if (__builtin_isnan(re) || __builtin_isnan(im)) {
      r[i] = re + im;
      return;
    }
    r[i] = _mm_cvtsd_f64(modulus2_z(_mm_set1_pd(re), _mm_set1_pd(im)));
    if (__builtin_isinf(r[i])) report_error(ORX_VML_STATUS_OVERFLOW, i, a, a, r, r, "vzAbs");
  }
};

}  // namespace
}  // namespace orx::vml

void orx_vml_kernel_cAbs_E7HAynn(int n, const orx_complex8* a, float* r) noexcept {
  const orx::vml::FpEnvGuard guard(_vml_static_wrapper32e_GetMode());
  orx::vml::run_blocks<orx::vml::AbsComplex8>(n, a, r);
}

void orx_vml_kernel_zAbs_E7HAynn(int n, const orx_complex16* a, double* r) noexcept {
  const orx::vml::FpEnvGuard guard(_vml_static_wrapper32e_GetMode());
  orx::vml::run_blocks<orx::vml::AbsComplex16>(n, a, r);
}
