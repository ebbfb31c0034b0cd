// Float kernels computed in double. Each vector of four floats is widened
// exactly to two pairs of doubles, the kernel's pair function runs on each,
// the results are rounded to float once, and the sign of x is or-ed in (the
// functions using this are odd-signed: it keeps f(-0) = -0).
//
// Blocks of 8 take that path when every element is in the kernel's range;
// a block holding anything else goes element by element: in-range elements
// through the same core (bit-identical), NaN to itself made quiet without a
// status, the rest to Kernel::special(i, a, r), which writes r[i] and reports.
//
// Kernel: static __m128d pair(__m128d), static __m128 in_range(__m128)
// (false for NaN), static void special(int, const float*, float*).
#ifndef ORX_VML_KERNELS_WIDENED_FLOAT_BLOCKS_H
#define ORX_VML_KERNELS_WIDENED_FLOAT_BLOCKS_H

#include <emmintrin.h>

#include <cmath>

namespace orx::vml {

template <class Kernel>
struct WidenedFloatBlocks {
  using In = float;
  using Out = float;
  static constexpr int kBlock = 8;

  static __m128 core(__m128 x) {
    const __m128 lo = _mm_cvtpd_ps(Kernel::pair(_mm_cvtps_pd(x)));
    const __m128 hi = _mm_cvtpd_ps(Kernel::pair(_mm_cvtps_pd(_mm_movehl_ps(x, x))));
    const __m128 sign = _mm_and_ps(x, _mm_set1_ps(-0.0f));
    return _mm_or_ps(_mm_movelh_ps(lo, hi), sign);
  }

  static bool block(const float* a, float* r) {
    const __m128 x0 = _mm_loadu_ps(a);
    const __m128 x1 = _mm_loadu_ps(a + 4);
    if (_mm_movemask_ps(_mm_and_ps(Kernel::in_range(x0), Kernel::in_range(x1))) != 0xF)
      return false;
    _mm_storeu_ps(r, core(x0));
    _mm_storeu_ps(r + 4, core(x1));
    return true;
  }

  [[gnu::noinline]] static void element(int i, const float* a, float* r) {
    const float x = a[i];
    if (_mm_movemask_ps(Kernel::in_range(_mm_set1_ps(x))) != 0) {
      r[i] = _mm_cvtss_f32(core(_mm_set1_ps(x)));
    } else if (std::isnan(x)) {
      r[i] = x + x;
    } else {
      Kernel::special(i, a, r);
    }
  }
};

}  // namespace orx::vml

#endif
