// Single-precision exponential r[i] = e^a[i]: HA kernel (slots 0, 1) and EP
// kernel (slot 2).
//
// Algorithm: n = round(x / ln 2), r = x - n ln 2, e^r by a Taylor polynomial
// (degree 7 for HA, 4 for EP, sexp_core.h), result e^r * 2^n; four float lanes,
// blocks of 8 elements, no table. HA: q(r) = (e^r - 1 - r)/r^2 of degree 4
// at the Chebyshev nodes, evaluated by Estrin's scheme, the rounding of 1 + t
// carried, and 2^n added into the exponent field (sexp_core.h).
// Accuracy, measured over every float input from -104 to 88.73 against
// double exp: HA 0.803 ulp max, at x = -0x1.5eb416p+6 (a subnormal result);
// 0.783 ulp max over normal results, at x = 0x1.28ab74p+5.
// EP: relative error 2^-14.04 max, at x = 0x1.4b530cp+6 (every third float
// of [0, 88.73]; goal: 2^-11).
// Range of the fast path: |x| < 87 (bits of |x| below 0x42AE0000), where
// n is in [-126, 126] and every result is normal. One integer compare per
// block sends any block with |x| >= 87, an infinity or a NaN to the element
// path, which recomputes each of its 8 elements alone: ordinary elements by
// the same core (bit-identical to the block), the others by the special path.
// Special path (C99 Annex F values; thresholds on the input, same in every
// slot, using the HA core for the finite results near the ends of the range):
//   NaN                            -> the input NaN made quiet, no status
//   +inf                           -> +inf, no status
//   -inf                           -> +0, no status
//   x > 0x42B17217 (88.7228317)    -> +inf, status 3: e^x rounds past FLT_MAX
//   87 <= x <= 0x42B17217          -> e^r * 2^127 * 2^(n-127): n reaches 128
//   -87 >= x > 0xC2AEAC50          -> e^r * 2^n, normal (e^x >= 2^-126)
//   0xC2AEAC50 (-87.3365479) >= x  -> status 4: e^x < 2^-126 = FLT_MIN, so the
//       result is subnormal or zero, as the double kernel reports every
//       subnormal or zero result of a finite input. For x > -104 the result
//       is (e^r * 2^(n+64)) * 2^-64, rounded once into the subnormal range
//       (and flushed to 0 under flush-to-zero); below -104 it is +0 (the
//       exact value is below 2^-150, half the least subnormal).
#include <emmintrin.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "orx/vml.h"
#include "vml/error_report.h"
#include "vml/fp_env.h"
#include "vml/kernels/block_driver.h"
#include "vml/kernels/exp/sexp_core.h"
#include "vml/mode_access.h"

namespace orx::vml::sexp {
namespace {

constexpr uint32_t kFastLimit = 0x42AE0000;     // 87.0: |x| below it stays in the block
constexpr uint32_t kOverflowInput = 0x42B17217;  // largest x with a finite e^x
constexpr uint32_t kUnderflowInput = 0xC2AEAC50; // largest x with e^x < 2^-126
constexpr float kZeroBelow = -104.0f;            // e^-104 < 2^-150
constexpr const char* kName = "vsExp";

float pow2(int n) { return std::bit_cast<float>(static_cast<uint32_t>(n + 127) << 23); }

template <class Core>
float one_element(float x) {
  return _mm_cvtss_f32(scale(Core::reduce(_mm_set1_ps(x))));
}

// The reduced pair (y, n) of the HA core, for the range ends.
float unscaled(float x, int& n) {
  const Reduced v = CoreHA::reduce(_mm_set1_ps(x));
  n = _mm_cvtsi128_si32(_mm_srai_epi32(v.n23, 23));
  return _mm_cvtss_f32(v.y);
}

[[gnu::noinline]] void special(int i, const float* a, float* r) {
  const float x = a[i];
  const uint32_t bits = std::bit_cast<uint32_t>(x);
  if (std::isnan(x)) {
    r[i] = x + x;
    return;
  }
  if (x == std::numeric_limits<float>::infinity()) {
    r[i] = x;
    return;
  }
  if (x == -std::numeric_limits<float>::infinity()) {
    r[i] = 0.0f;
    return;
  }
  if (x > std::bit_cast<float>(kOverflowInput)) {
    r[i] = std::numeric_limits<float>::infinity();
    report_error<float, float>(ORX_VML_STATUS_OVERFLOW, i, a, a, r, r, kName);
    return;
  }
  int n = 0;
  if (bits >= kUnderflowInput) {  // negative and at or below the threshold
    r[i] = x > kZeroBelow ? (unscaled(x, n) * pow2(n + 64)) * pow2(-64) : 0.0f;
    report_error<float, float>(ORX_VML_STATUS_UNDERFLOW, i, a, a, r, r, kName);
    return;
  }
  const float y = unscaled(x, n);
  r[i] = n > 127 ? (y * pow2(127)) * pow2(n - 127) : y * pow2(n);
}

template <class Core>
[[gnu::noinline]] void element(int i, const float* a, float* r) {
  const float x = a[i];
  if ((std::bit_cast<uint32_t>(x) & 0x7FFFFFFFu) < kFastLimit) {
    r[i] = one_element<Core>(x);
  } else {
    special(i, a, r);
  }
}

template <class Core>
struct ExpBlocks {
  using In = float;
  using Out = float;
  static constexpr int kBlock = 8;
  static bool block(const float* a, float* r) {
    const __m128 x0 = _mm_loadu_ps(a);
    const __m128 x1 = _mm_loadu_ps(a + 4);
    const __m128i abs_mask = _mm_set1_epi32(0x7FFFFFFF);
    const __m128i limit = _mm_set1_epi32(static_cast<int>(kFastLimit - 1));
    const __m128i out_of_range =
        _mm_or_si128(_mm_cmpgt_epi32(_mm_and_si128(_mm_castps_si128(x0), abs_mask), limit),
                     _mm_cmpgt_epi32(_mm_and_si128(_mm_castps_si128(x1), abs_mask), limit));
    if (_mm_movemask_epi8(out_of_range) != 0) return false;
    _mm_storeu_ps(r, scale(Core::reduce(x0)));
    _mm_storeu_ps(r + 4, scale(Core::reduce(x1)));
    return true;
  }
  static void element(int i, const float* a, float* r) { sexp::element<Core>(i, a, r); }
};

}  // namespace
}  // namespace orx::vml::sexp

void orx_vml_kernel_sExp_E7HAynn(int n, const float* a, float* r) noexcept {
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  orx::vml::run_blocks<orx::vml::sexp::ExpBlocks<orx::vml::sexp::CoreHA>>(n, a, r);
}

void orx_vml_kernel_sExp_E7EPnnn(int n, const float* a, float* r) noexcept {
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  orx::vml::run_blocks<orx::vml::sexp::ExpBlocks<orx::vml::sexp::CoreEP>>(n, a, r);
}
