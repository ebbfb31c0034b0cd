// Absolute value of single and double vectors: one SSE2 template, two
// instances. Exact; -0 gives +0 and a NaN stays a NaN (sign kept).
#include <emmintrin.h>

#include "orx/vml.h"
#include "vml/kernels/block_driver.h"

namespace orx::vml {
namespace {

// |x| is computed as x * ((x & sign) | 1.0), a product by +-1 that carries
// x's sign: exact for every finite x, +0 for -0, a NaN for a NaN. Two vectors
// make a block: 8 floats or 4 doubles.
template <class T> struct Sse;
template <> struct Sse<float> {
  using V = __m128;
  static constexpr int kLanes = 4;
  static V load(const float* p) { return _mm_loadu_ps(p); }
  static void store(float* p, V v) { _mm_storeu_ps(p, v); }
  static V abs(V x) {
    const V sign = _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(0x80000000u)));
    return _mm_mul_ps(x, _mm_or_ps(_mm_and_ps(x, sign), _mm_set1_ps(1.0f)));
  }
};
template <> struct Sse<double> {
  using V = __m128d;
  static constexpr int kLanes = 2;
  static V load(const double* p) { return _mm_loadu_pd(p); }
  static void store(double* p, V v) { _mm_storeu_pd(p, v); }
  static V abs(V x) {
    const V sign = _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0x8000000000000000ull)));
    return _mm_mul_pd(x, _mm_or_pd(_mm_and_pd(x, sign), _mm_set1_pd(1.0)));
  }
};

template <class T>
struct AbsReal {
  using In = T;
  using Out = T;
  using S = Sse<T>;
  static constexpr int kBlock = 2 * S::kLanes;
  static bool block(const T* a, T* r) {
    const auto v0 = S::abs(S::load(a));
    const auto v1 = S::abs(S::load(a + S::kLanes));
    S::store(r, v0);
    S::store(r + S::kLanes, v1);
    return true;
  }
  static void element(int, const T*, T*) {}  // never called: every lane is in range
};

}  // namespace
}  // namespace orx::vml

void orx_vml_kernel_sAbs_E7HAynn(int n, const float* a, float* r) noexcept {
  orx::vml::run_blocks<orx::vml::AbsReal<float>>(n, a, r);
}

void orx_vml_kernel_dAbs_E7HAynn(int n, const double* a, double* r) noexcept {
  orx::vml::run_blocks<orx::vml::AbsReal<double>>(n, a, r);
}
