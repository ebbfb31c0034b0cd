// Double-precision r[i] = ln(1 + a[i]): one HA kernel, in every slot.
//
// Algorithm: u + e = 1 + x exactly (two-sum: u the rounded sum, e its
// error, |e| <= ulp(u)/2), then ln(1 + x) = ln u + ln(1 + e/u), and
// ln(1 + e/u) = e/u to 2^-106 relative. ln u comes from the natural
// logarithm's reduction and table as a double-double hi + lo (ln_dd in
// dln_core.h, about 2^-66 relative), and the result is hi + (lo + e/u):
// one final rounding, 0.5 ulp and a little. Near 0 (x = 2^-40 + 2^-90, say)
// u is 1 + 2^-40 exactly and e carries the rest; near -1 (x in (-1, -0.5])
// u = 1 + x is exact. Below |x| = 2^-30 the short series x - x^2/2 is used.
// Blocks of 4 elements (two vectors); the fast path takes
// -1 < x < +inf with |x| >= 2^-60 (one compare each, NaN fails them all). A
// block with any other element goes element by element, as do the last
// n mod 4 elements; ordinary elements there take the same core,
// bit-identical to the block. Elements outside the fast path (C99 Annex F):
//   NaN              -> x * 1.0 (the input NaN made quiet), no status
//   +inf             -> +inf, no status
//   |x| < 2^-60      -> x (ln(1 + x) = x - x^2/2 + ..., x^2/2 is below
//                       2^-61 |x|, far under half an ulp), +-0 keeps its
//                       sign; under denormals-are-zero a subnormal x is 0
//   x = -1           -> -inf, status 2 (pole)
//   x < -1, -inf too -> 0xFFF8000000000000, status 1 (domain)
// Measured (orx_vml_accuracy, 200000 samples per sub-range): 0.573 ulp max,
// at x = -0x1.fc8fd8b6757bp-13 (goal: < 1 ulp).
#include <emmintrin.h>

#include "orx/vml.h"
#include "vml/error_report.h"
#include "vml/fp_env.h"
#include "vml/kernels/ln/dln_core.h"
#include "vml/mode_access.h"

namespace orx::vml::dlog1p {
namespace {

using namespace orx::vml::dln;

constexpr const char* kName = "vdLog1p";
inline constexpr Lanes kMinusOne = pair(0xBFF0000000000000);
inline constexpr Lanes kTiny = pair(0x3C30000000000000);       // 2^-60
inline constexpr Lanes kAbsMask = pair(0x7FFFFFFFFFFFFFFF);

inline constexpr Lanes kSeriesLimit = pair(0x3E10000000000000);  // 2^-30

// For |x| < 2^-30 the lanes take x - (x/2) x instead (the x^3/3 left out is
// below 2^-61 of the result): there e/u can be as large as the result
// itself, and its own rounding and that of lo + e/u would reach 0.65 ulp
// (measured at x = -0x1.9e5597da1af06p-53 before this branch).
__m128d log1p_core(__m128d x) {
  __m128d u, e;
  two_sum(load(dbOne), x, u, e);
  const DoubleDouble l = ln_dd(u, _mm_setzero_pd());
  const __m128d table_path = _mm_add_pd(l.hi, _mm_add_pd(l.lo, _mm_div_pd(e, u)));
  const __m128d series = _mm_sub_pd(x, _mm_mul_pd(_mm_mul_pd(load(kHalf), x), x));
  const __m128d small = _mm_cmplt_pd(_mm_and_pd(x, load(kAbsMask)), load(kSeriesLimit));
  return _mm_or_pd(_mm_and_pd(small, series), _mm_andnot_pd(small, table_path));
}

// Lanes of -1 < x < +inf with |x| >= 2^-60, as a 2-bit movemask.
int fast_mask(__m128d x) {
  const __m128d ok = _mm_and_pd(
      _mm_and_pd(_mm_cmpgt_pd(x, load(kMinusOne)), _mm_cmplt_pd(x, load(dbInf))),
      _mm_cmpge_pd(_mm_and_pd(x, load(kAbsMask)), load(kTiny)));
  return _mm_movemask_pd(ok);
}

[[gnu::noinline]] void element(int i, const double* a, double* r) {
  const double x = a[i];
  if (fast_mask(_mm_set1_pd(x)) == 3) {
    r[i] = _mm_cvtsd_f64(log1p_core(_mm_set1_pd(x)));
    return;
  }
  // The multiplication quietens a signalling NaN and, under
  // denormals-are-zero, turns a subnormal x into a signed zero; the barrier
  // keeps the compiler from folding x * 1.0 to x.
  double one = 1.0;
  __asm__("" : "+x"(one));
  if (x != x || x == dbInf.scalar() || (x > -kTiny.scalar() && x < kTiny.scalar())) {
    r[i] = x * one;
  } else if (x == -1.0) {
    r[i] = dbNegInf.scalar();
    report_error<double, double>(ORX_VML_STATUS_SINGULARITY, i, a, a, r, r, kName);
  } else {
    r[i] = dbInd.scalar();
    report_error<double, double>(ORX_VML_STATUS_DOMAIN, i, a, a, r, r, kName);
  }
}

struct Log1pBlocks {
  static bool in_range(__m128d x0, __m128d x1) { return (fast_mask(x0) & fast_mask(x1)) == 3; }
  static __m128d eval(__m128d x) { return log1p_core(x); }
  static void element(int i, const double* a, double* r) { dlog1p::element(i, a, r); }
};

}  // namespace
}  // namespace orx::vml::dlog1p

void orx_vml_kernel_dLog1p_E7HAynn(int n, const double* a, double* r) noexcept {
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  orx::vml::dln::run_blocks4<orx::vml::dlog1p::Log1pBlocks>(n, a, r);
}
