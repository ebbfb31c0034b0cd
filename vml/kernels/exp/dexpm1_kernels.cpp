// Double-precision r[i] = e^a[i] - 1: the vector kernel of slots 0 and 2
// (orx_vml_kernel_dExpm1_E7LAynn; slot 1 is the element-by-element kernel of
// dexpm1_ex.cpp).
//
// Algorithm: N = round(x 64 / ln 2), r = x - N ln 2 / 64 (two-part ln 2 / 64,
// |r| <= 0.0054), j = N mod 64, m = floor(N / 64), S = 2^m built in the
// exponent field, (hi, lo) = 2^(j/64) from the 64-entry generated table,
// p = e^r - 1 by its Taylor series to degree 6 (0.05 ulp of p), and
//   e^x - 1 = (S hi - 1) + (S lo + p S (hi + lo)).
// S hi - 1 is exact for m in {-1, 0} (Sterbenz), so the cancellation near 0
// costs no more than one rounding; for |x| < ln 2 / 128 (N = 0) the result is
// p itself. Two-lane SSE2, blocks of 4 elements, one range test per block.
// Accuracy against MPFR (orx_vml_accuracy, 10^6 samples per range): 1.69
// ulp max, at x = -0x1.b39bbe9dc87p-8 (-0.00665, the cancellation of N = -1);
// the goal of the slot is 4 ulp.
// Fast path: 2^-54 <= |x| < 708.39599609375 (high word of |x| in
// [0x3C900000, 0x4086232B)); any block holding another element goes element
// by element: ordinary elements through the same core (the same bits as the
// block), the others through the special path:
//   NaN                         -> the input NaN made quiet, no status
//   |x| < 2^-54 (zeros,
//     subnormals included)      -> x itself: e^x - 1 = x (1 + x/2 + ...)
//                                  rounds to x; zeros keep their sign; under
//                                  denormals-are-zero a subnormal x reads as
//                                  a zero of its sign; no status
//   -inf, x <= -708.396         -> -1: e^x < 2^-1021, far below half an ulp
//                                  of 1; no status (the result is normal)
//   +inf                        -> +inf, no status
//   x >= 709.782712893384       -> +inf, status 3: e^x - 1 > the largest
//     (0x40862E42FEFA39F0)         double plus half an ulp
//   708.396 <= x < 0x40862E42FEFA39F0
//                               -> e^x - 1 rounded as e^x: e^x >= 2^1021,
//                                  whose ulp (2^969) dwarfs the 1; m reaches
//                                  1024, so the scale is applied as
//                                  (T e^r 2^(m-1)) 2, rounded once.
#include <emmintrin.h>

#include <cmath>
#include <limits>

#include "orx/vml.h"
#include "vml/error_report.h"
#include "vml/fp_env.h"
#include "vml/kernels/block_driver.h"
#include "vml/kernels/exp/dexpm1_core.h"
#include "vml/mode_access.h"

namespace orx::vml::dexpm1 {
namespace {

// e^x for 708.39 <= x < 709.7827: 2^(j/64) e^r = hi + (lo + p (hi + lo)),
// then 2^(m-1) and 2, both normal scales (m in [1022, 1024]).
double large_positive(double x) {
  const double t = x * from_bits(kInvLn64) + from_bits(kShifter);
  const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(to_bits(t)));
  const double k = t - from_bits(kShifter);
  const double r = (x - k * from_bits(kLnHi)) - k * from_bits(kLnLo);
  const double hi = from_bits(kExp2HiLo[n & 63][0]);
  const double lo = from_bits(kExp2HiLo[n & 63][1]);
  const double q = ((from_bits(kA5) * r + from_bits(kA4)) * r + from_bits(kA3)) * r + from_bits(kA2);
  const double p = r + (r * r) * q;
  const double unscaled = hi + (lo + p * (hi + lo));
  const int m = n >> 6;  // arithmetic shift: floor(N / 64)
  return (unscaled * from_bits(static_cast<uint64_t>(m - 1 + 1023) << 52)) * 2.0;
}

[[gnu::noinline]] void special(int i, const double* a, double* r) {
  const double x = a[i];
  if (std::isnan(x)) {
    r[i] = x + x;
    return;
  }
  if (high_word_of_abs(x) < kFastLow) {
    r[i] = tiny(x);
    return;
  }
  if (x < 0) {
    r[i] = -1.0;
    return;
  }
  if (to_bits(x) >= kOverflowFrom) {
    r[i] = std::numeric_limits<double>::infinity();
    if (x != std::numeric_limits<double>::infinity()) {
      report_error<double, double>(ORX_VML_STATUS_OVERFLOW, i, a, a, r, r, kName);
    }
    return;
  }
  r[i] = large_positive(x);
}

struct Expm1Blocks {
  using In = double;
  using Out = double;
  static constexpr int kBlock = 4;
  static bool block(const double* a, double* r) {
    const __m128d x0 = _mm_loadu_pd(a);
    const __m128d x1 = _mm_loadu_pd(a + 2);
    const __m128i fast = _mm_and_si128(fast_lanes(x0), fast_lanes(x1));
    if (_mm_movemask_pd(_mm_castsi128_pd(fast)) != 3) return false;
    _mm_storeu_pd(r, fast_vector(x0));
    _mm_storeu_pd(r + 2, fast_vector(x1));
    return true;
  }
  static void element(int i, const double* a, double* r) {
    if (in_fast_range(a[i])) {
      r[i] = fast_scalar(a[i]);
    } else {
      special(i, a, r);
    }
  }
};

}  // namespace
}  // namespace orx::vml::dexpm1

void orx_vml_kernel_dExpm1_E7LAynn(int n, const double* a, double* r) noexcept {
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  orx::vml::run_blocks<orx::vml::dexpm1::Expm1Blocks>(n, a, r);
}
