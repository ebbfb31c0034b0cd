// Double-precision exponential r[i] = e^a[i]: HA (slot 1), LA (slot 0) and EP
// (slot 2) kernels.
//
// HA: J = 64 table of (hi, lo) pairs, degree-5 polynomial, result
// (Thi + (Tlo + p (Thi + Tlo))) * 2^m; blocks of 8 (four two-lane vectors);
// when n >= 16 the last 8 to 15 elements go through the per-element loop.
// Measured against MPFR: see the accuracy harness (orx_vml_accuracy).
// LA: J = 128 fraction table, two-part ln 2 / 128, degree-4 polynomial.
// EP: J = 128 fraction table, one-part ln 2 / 128, r + r^2 / 2.
// LA and EP work on blocks of 4. Any element with |x| >= 708.39599609375, an
// infinity or a NaN sends its whole block to the per-element special path
// (dexp_slow_path.cpp); ordinary elements of such a block are recomputed by the
// scalar core, which gives the same bits as the vector one.
#include "orx/vml.h"
#include "vml/fp_env.h"
#include "vml/kernels/block_driver.h"
#include "vml/kernels/exp/dexp_core.h"
#include "vml/mode_access.h"

namespace orx::vml::dexp {
namespace {

// Eight elements; false (nothing stored) when one of them is out of range.
bool ha_block(const double* a, double* r) {
  const __m128d x0 = _mm_loadu_pd(a);
  const __m128d x1 = _mm_loadu_pd(a + 2);
  const __m128d x2 = _mm_loadu_pd(a + 4);
  const __m128d x3 = _mm_loadu_pd(a + 6);
  const __m128i guard = _mm_and_si128(_mm_and_si128(guard_lanes(x0), guard_lanes(x1)),
                                      _mm_and_si128(guard_lanes(x2), guard_lanes(x3)));
  const __m128d y0 = ha_vector(x0);
  const __m128d y1 = ha_vector(x1);
  const __m128d y2 = ha_vector(x2);
  const __m128d y3 = ha_vector(x3);
  if (!all_in_fast_range(guard)) return false;
  _mm_storeu_pd(r, y0);
  _mm_storeu_pd(r + 2, y1);
  _mm_storeu_pd(r + 4, y2);
  _mm_storeu_pd(r + 6, y3);
  return true;
}

void ha_element(int i, const double* a, double* r) {
  if (in_fast_range(a[i])) {
    r[i] = ha_value(a[i]);
  } else {
    ha_special(i, a, r);
  }
}

void ha_run(int n, const double* a, double* r) {
  int i = 0;
  int rem = n;
  if (rem >= 8) {
    do {
      if (!ha_block(a + i, r + i)) {
        for (int j = i; j < i + 8; ++j) ha_element(j, a, r);
      }
      i += 8;
      rem -= 8;
    } while (rem >= 16);
  }
  for (; i < n; ++i) ha_element(i, a, r);
}

template <class Core, void (*Special)(int, const double*, double*) noexcept>
struct Blocks128 {
  using In = double;
  using Out = double;
  static constexpr int kBlock = 4;
  static bool block(const double* a, double* r) {
    const __m128d x0 = _mm_loadu_pd(a);
    const __m128d x1 = _mm_loadu_pd(a + 2);
    if (!all_in_fast_range(_mm_and_si128(guard_lanes(x0), guard_lanes(x1)))) return false;
    _mm_storeu_pd(r, vector128<Core>(x0));
    _mm_storeu_pd(r + 2, vector128<Core>(x1));
    return true;
  }
  static void element(int i, const double* a, double* r) {
    if (in_fast_range(a[i])) {
      r[i] = value128<Core>(a[i]);
    } else {
      Special(i, a, r);
    }
  }
};

}  // namespace
}  // namespace orx::vml::dexp

void orx_vml_kernel_dExp_E7HAynn(int n, const double* a, double* r) noexcept {
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  orx::vml::dexp::ha_run(n, a, r);
}

void orx_vml_kernel_dExp_E7LAynn(int n, const double* a, double* r) noexcept {
  using namespace orx::vml::dexp;
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  orx::vml::run_blocks<Blocks128<LowAccuracy, la_special>>(n, a, r);
}

void orx_vml_kernel_dExp_E7EPnnn(int n, const double* a, double* r) noexcept {
  using namespace orx::vml::dexp;
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  orx::vml::run_blocks<Blocks128<EnhancedPerformance, ep_special>>(n, a, r);
}
