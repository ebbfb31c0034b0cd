// Single-precision ln(1 + x), r[i] = log1p a[i]: HA kernel (every slot).
//
// Algorithm, in double arithmetic on two lanes at a time (each float block of
// 4 is widened to two pairs, exactly): u = 1 + x, exact in double for
// 2^-29 <= |x| < 2^53; c = x - (u - 1), the part of x lost when u rounds
// (non-zero only for |x| < 2^-29, where u is near 1 and |c| <= 2^-53). u = 2^e m with m in [K, 2K), K = 0x3FE6A09E00000000
// (0.70710677, sqrt(2)/2 cut to its high word, so the split touches only the
// high 32 bits of each lane); f = (m - 1) + c, s = f / (2 + f), and
// log1p x = e ln 2 + 2s + 2s z P(z), z = s^2 <= 0.02944, P of degree 2
// interpolated at the Chebyshev nodes of [0, 0.0295] to
// sum z^k / (2k + 3) (relative error of the result 2^-30). The double
// result is rounded to float once. The sign of x is or-ed into the result:
// log1p has the sign of x on (-1, inf), and this keeps log1p(-0) = -0.
// Accuracy, measured over every float input in (-1, inf) against double
// log1p: 0.5305 ulp max, at x = -0x1.2bd86ap-2.
// Range of the fast path: -1 < x < inf, two float compares per vector, false
// for NaN. Blocks of 8; a block holding anything else goes element by
// element: ordinary elements through the same core (bit-identical), the
// others (C99 Annex F values):
//   NaN            -> the input NaN made quiet, no status
//   +inf           -> +inf, no status
//   -1             -> -inf, status 2 (pole)
//   x < -1, -inf   -> NaN 0xFFC00000, status 1 (domain)
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

namespace orx::vml::slog1p {
namespace {

constexpr const char* kName = "vsLog1p";
constexpr uint32_t kIndefinite = 0xFFC00000;  // the default NaN of invalid operations
constexpr int kSplitHigh = 0x3FE6A09E;        // high word of K

constexpr long double kLn2 = 0.693147180559945309417232121458176568L;
// sum_{k>=0} z^k / (2k + 3) = (atanh(s)/s - 1) / z, by its series.
constexpr long double atanh_tail(long double z) {
  long double sum = 0, power = 1;
  for (int k = 0; k < 40; ++k) {
    sum += power / (2 * k + 3);
    power *= z;
  }
  return sum;
}
constexpr auto kP = poly::chebyshev_fit<3>(atanh_tail, 0.0L, 0.0295L);

__m128d log1p_pair(__m128d x) {
  const __m128d one = _mm_set1_pd(1.0);
  const __m128d u = _mm_add_pd(one, x);
  // Clamped above: at x = 2^53 exactly, u rounds (ties to even) but u - 1 is
  // exact, and c would be 1; everywhere else c is 0 or at most 2^-53.
  const __m128d c = _mm_min_pd(_mm_sub_pd(x, _mm_sub_pd(u, one)), _mm_set1_pd(0x1p-50));
  const __m128i t = _mm_sub_epi32(_mm_castpd_si128(u), _mm_set_epi32(kSplitHigh, 0, kSplitHigh, 0));
  const __m128i e_high = _mm_srai_epi32(t, 20);
  const __m128i m = _mm_add_epi32(_mm_and_si128(t, _mm_set_epi32(0x000FFFFF, -1, 0x000FFFFF, -1)),
                                  _mm_set_epi32(kSplitHigh, 0, kSplitHigh, 0));
  const __m128d e = _mm_cvtepi32_pd(_mm_shuffle_epi32(e_high, _MM_SHUFFLE(3, 1, 3, 1)));
  const __m128d f = _mm_add_pd(_mm_sub_pd(_mm_castsi128_pd(m), one), c);
  const __m128d s = _mm_div_pd(f, _mm_add_pd(_mm_set1_pd(2.0), f));
  const __m128d z = _mm_mul_pd(s, s);
  const __m128d p = _mm_add_pd(
      _mm_add_pd(_mm_set1_pd(static_cast<double>(kP[0])), _mm_mul_pd(_mm_set1_pd(static_cast<double>(kP[1])), z)),
      _mm_mul_pd(_mm_mul_pd(z, z), _mm_set1_pd(static_cast<double>(kP[2]))));
  const __m128d s2 = _mm_add_pd(s, s);
  const __m128d ln1p_f = _mm_add_pd(s2, _mm_mul_pd(s2, _mm_mul_pd(z, p)));
  return _mm_add_pd(_mm_mul_pd(e, _mm_set1_pd(static_cast<double>(kLn2))), ln1p_f);
}

struct Log1p {
  static __m128d pair(__m128d x) { return log1p_pair(x); }
  static __m128 in_range(__m128 x) {
    return _mm_and_ps(_mm_cmpgt_ps(x, _mm_set1_ps(-1.0f)),
                      _mm_cmplt_ps(x, _mm_set1_ps(std::numeric_limits<float>::infinity())));
  }
  static void special(int i, const float* a, float* r) {
    const float x = a[i];
    if (x == std::numeric_limits<float>::infinity()) {
      r[i] = x;
    } else if (x == -1.0f) {
      r[i] = -std::numeric_limits<float>::infinity();
      report_error<float, float>(ORX_VML_STATUS_SINGULARITY, i, a, a, r, r, kName);
    } else {
      r[i] = std::bit_cast<float>(kIndefinite);
      report_error<float, float>(ORX_VML_STATUS_DOMAIN, i, a, a, r, r, kName);
    }
  }
};

}  // namespace
}  // namespace orx::vml::slog1p

void orx_vml_kernel_sLog1p_E7HAynn(int n, const float* a, float* r) noexcept {
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  orx::vml::run_blocks<orx::vml::WidenedFloatBlocks<orx::vml::slog1p::Log1p>>(n, a, r);
}
