// Block driver of the single-precision logarithms (ln, log10): fast path over
// blocks of 8 positive normal finite inputs, per-element special path.
//
// Range of the fast path: positive normal finite x, tested on the bits as
// (bits - 0x80800000) < -0x01000000 (signed), one compare per vector. A block
// holding anything else goes element by element: ordinary elements through
// the same core (bit-identical to the block), the others as follows
// (C99 Annex F values, same statuses in every slot):
//   NaN              -> the input NaN made quiet, no status
//   +inf             -> +inf, no status
//   +0, -0           -> -inf, status 2 (pole); under denormals-are-zero a
//                       subnormal input compares equal to 0 and lands here
//   x < 0, incl -inf -> NaN 0xFFC00000, status 1 (domain)
//   positive subnormal -> x * 2^24 (exact) through the core with e - 24: as
//                       accurate as normal inputs.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "orx/vml.h"
#include "vml/error_report.h"
#include "vml/fp_env.h"
#include "vml/kernels/block_driver.h"
#include "vml/mode_access.h"

namespace orx::vml::sln {

inline constexpr uint32_t kIndefinite = 0xFFC00000;  // the default NaN of invalid operations

// All ones in the lanes of a positive normal finite x.
inline __m128i positive_normal(__m128 x) {
  const __m128i shifted = _mm_add_epi32(_mm_castps_si128(x), _mm_set1_epi32(0x7F800000));
  return _mm_cmplt_epi32(shifted, _mm_set1_epi32(-0x01000000));
}

// Core: static __m128 eval(__m128i bits, __m128i exponent_shift), the
// logarithm of positive normal inputs given as their bits (sln_core.h).
template <class Core, const char* kName>
struct LogBlocks {
  using In = float;
  using Out = float;
  static constexpr int kBlock = 8;

  static float one_element(float x, int exponent_shift) {
    return _mm_cvtss_f32(Core::eval(_mm_castps_si128(_mm_set1_ps(x)), _mm_set1_epi32(exponent_shift)));
  }

  static bool block(const float* a, float* r) {
    const __m128 x0 = _mm_loadu_ps(a);
    const __m128 x1 = _mm_loadu_ps(a + 4);
    if (_mm_movemask_epi8(_mm_and_si128(positive_normal(x0), positive_normal(x1))) != 0xFFFF) {
      return false;
    }
    const __m128i zero = _mm_setzero_si128();
    _mm_storeu_ps(r, Core::eval(_mm_castps_si128(x0), zero));
    _mm_storeu_ps(r + 4, Core::eval(_mm_castps_si128(x1), zero));
    return true;
  }

  [[gnu::noinline]] static void element(int i, const float* a, float* r) {
    const float x = a[i];
    if (_mm_cvtsi128_si32(positive_normal(_mm_set1_ps(x))) != 0) {
      r[i] = one_element(x, 0);
    } else if (std::isnan(x)) {
      r[i] = x + x;
    } else if (x == std::numeric_limits<float>::infinity()) {
      r[i] = x;
    } else if (x == 0.0f) {
      r[i] = -std::numeric_limits<float>::infinity();
      report_error<float, float>(ORX_VML_STATUS_SINGULARITY, i, a, a, r, r, kName);
    } else if (x < 0.0f) {
      r[i] = std::bit_cast<float>(kIndefinite);
      report_error<float, float>(ORX_VML_STATUS_DOMAIN, i, a, a, r, r, kName);
    } else {
      r[i] = one_element(x * 0x1p24f, -24);
    }
  }
};

template <class Core, const char* kName>
void run(int n, const float* a, float* r) {
  const FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  run_blocks<LogBlocks<Core, kName>>(n, a, r);
}

}  // namespace orx::vml::sln
