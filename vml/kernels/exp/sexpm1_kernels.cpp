// Single-precision e^x - 1, r[i] = expm1 a[i]: HA kernel (every slot).
//
// Algorithm, in double arithmetic on two lanes at a time (each float block of
// 4 is widened to two pairs, exactly): k = round(x / ln 2), r = x - k ln 2
// (|r| <= 0.3466; r = x exactly when k = 0, so tiny inputs keep their full
// relative accuracy), e^r - 1 = r Q(r) with Q of degree 6 interpolated at the
// Chebyshev nodes (relative error 2^-33), and expm1 x = (2^k - 1) + 2^k r Q(r),
// where 2^k - 1 is exact for |k| <= 53 and the sum cancels only when k = 0.
// The double result is within 2^-32 relative of expm1 x and is rounded to
// float once. The sign of x is or-ed into the result: expm1 has the sign of x,
// and this keeps expm1(-0) = -0 (the double sum would give +0).
// Accuracy, measured over every float input in [0, 88.73] against double
// expm1: 0.5050 ulp max, at x = 0x1.63022ap-2; over every float in
// [-104, -0]: 0.5039 ulp max, at x = -0x1.07e324p-4.
// Range of the fast path: -700 < x <= 0x42B17217 (88.7228317, the largest x
// whose expm1 rounds to a finite float), two float compares per vector, false
// for NaN. Blocks of 8; a block holding anything else goes element by element:
// ordinary elements through the same core (bit-identical), the others
// (C99 Annex F values):
//   NaN              -> the input NaN made quiet, no status
//   +inf             -> +inf, no status
//   x > 0x42B17217   -> +inf, status 3 (overflow)
//   x <= -700, -inf  -> -1, no status (exact -1 after rounding)
// Tiny and subnormal x give x (no status); under denormals-are-zero a
// subnormal x is read as 0 and gives a zero of its sign.
#include <emmintrin.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "orx/vml.h"
#include "vml/error_report.h"
#include "vml/fp_env.h"
#include "vml/kernels/block_driver.h"
#include "vml/kernels/exp/sexp_poly.h"
#include "vml/kernels/widened_float_blocks.h"
#include "vml/mode_access.h"

namespace orx::vml::sexpm1 {
namespace {

constexpr const char* kName = "vsExpm1";
constexpr uint32_t kOverflowInput = 0x42B17217;  // largest x with a finite expm1 in float
constexpr float kMinusOneBelow = -700.0f;

constexpr long double kLn2 = 0.693147180559945309417232121458176568L;
// (e^r - 1) / r, degree 6 at the Chebyshev nodes of [-0.3466, 0.3466].
constexpr auto kQ = poly::chebyshev_fit<7>(poly::exp_tail<1>, -0.3466L, 0.3466L);
constexpr double kShifter = 0x1.8p52;  // x / ln 2 + kShifter holds round(x / ln 2) in its low bits

__m128d c(int i) { return _mm_set1_pd(static_cast<double>(kQ[i])); }

__m128d expm1_pair(__m128d x) {
  const __m128d kt = _mm_add_pd(_mm_mul_pd(x, _mm_set1_pd(static_cast<double>(1 / kLn2))),
                                _mm_set1_pd(kShifter));
  const __m128d k = _mm_sub_pd(kt, _mm_set1_pd(kShifter));
  const __m128d r = _mm_sub_pd(x, _mm_mul_pd(k, _mm_set1_pd(static_cast<double>(kLn2))));
  // Q by Estrin's scheme.
  const __m128d r2 = _mm_mul_pd(r, r);
  const __m128d r4 = _mm_mul_pd(r2, r2);
  const __m128d q01 = _mm_add_pd(c(0), _mm_mul_pd(c(1), r));
  const __m128d q23 = _mm_add_pd(c(2), _mm_mul_pd(c(3), r));
  const __m128d q456 =
      _mm_add_pd(_mm_add_pd(c(4), _mm_mul_pd(c(5), r)), _mm_mul_pd(c(6), r2));
  const __m128d q = _mm_add_pd(_mm_add_pd(q01, _mm_mul_pd(r2, q23)), _mm_mul_pd(r4, q456));
  const __m128d p = _mm_mul_pd(r, q);
  // 2^k: the low bits of kt hold k; shifted left by 52 the constant drops out.
  const __m128i k52 = _mm_slli_epi64(_mm_castpd_si128(kt), 52);
  const __m128d two_k = _mm_castsi128_pd(_mm_add_epi64(k52, _mm_castpd_si128(_mm_set1_pd(1.0))));
  return _mm_add_pd(_mm_sub_pd(two_k, _mm_set1_pd(1.0)), _mm_mul_pd(two_k, p));
}

struct Expm1 {
  static __m128d pair(__m128d x) { return expm1_pair(x); }
  static __m128 in_range(__m128 x) {
    return _mm_and_ps(_mm_cmple_ps(x, _mm_set1_ps(std::bit_cast<float>(kOverflowInput))),
                      _mm_cmpgt_ps(x, _mm_set1_ps(kMinusOneBelow)));
  }
  static void special(int i, const float* a, float* r) {
    const float x = a[i];
    if (x > 0.0f) {  // +inf or past the overflow threshold
      r[i] = std::numeric_limits<float>::infinity();
      if (x != std::numeric_limits<float>::infinity()) {
        report_error<float, float>(ORX_VML_STATUS_OVERFLOW, i, a, a, r, r, kName);
      }
    } else {
      r[i] = -1.0f;
    }
  }
};

}  // namespace
}  // namespace orx::vml::sexpm1

void orx_vml_kernel_sExpm1_E7HAynn(int n, const float* a, float* r) noexcept {
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  orx::vml::run_blocks<orx::vml::WidenedFloatBlocks<orx::vml::sexpm1::Expm1>>(n, a, r);
}
