// SSE2 building blocks of the linear kernels, one traits type per precision:
// two doubles or four floats per register. Division, multiplication and
// subtraction are the correctly rounded IEEE operations, so a vector lane
// gives the same bits as the scalar expression.
#ifndef ORX_DF_SPLINE_LINEAR_SSE_H
#define ORX_DF_SPLINE_LINEAR_SSE_H

#include <emmintrin.h>

#include <cstdint>

namespace orx::df {

template <class T>
struct Sse;

template <>
struct Sse<double> {
  using V = __m128d;
  static constexpr int kWidth = 2;
  static V load(const double* p) { return _mm_load_pd(p); }
  static V loadu(const double* p) { return _mm_loadu_pd(p); }
  // Lanes p[0], p[stride].
  static V gather(const double* p, int64_t stride) { return _mm_set_pd(p[stride], p[0]); }
  static void store(double* p, V v) { _mm_store_pd(p, v); }
  static void storeu(double* p, V v) { _mm_storeu_pd(p, v); }
  static void stream(double* p, V v) { _mm_stream_pd(p, v); }
  static V set1(double a) { return _mm_set1_pd(a); }
  static V add(V a, V b) { return _mm_add_pd(a, b); }
  static V sub(V a, V b) { return _mm_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static V div(V a, V b) { return _mm_div_pd(a, b); }
  // (a0, b0, ...) and (..., a_last, b_last): the pairs of the lanes in order.
  static V pairs_low(V a, V b) { return _mm_unpacklo_pd(a, b); }
  static V pairs_high(V a, V b) { return _mm_unpackhi_pd(a, b); }
  // (a1, b0): the last lane of a followed by the first of b.
  static V shift_in(V a, V b) { return _mm_shuffle_pd(a, b, 1); }
};

template <>
struct Sse<float> {
  using V = __m128;
  static constexpr int kWidth = 4;
  static V load(const float* p) { return _mm_load_ps(p); }
  static V loadu(const float* p) { return _mm_loadu_ps(p); }
  static V gather(const float* p, int64_t stride) {
    return _mm_set_ps(p[3 * stride], p[2 * stride], p[stride], p[0]);
  }
  static void store(float* p, V v) { _mm_store_ps(p, v); }
  static void storeu(float* p, V v) { _mm_storeu_ps(p, v); }
  static void stream(float* p, V v) { _mm_stream_ps(p, v); }
  static V set1(float a) { return _mm_set1_ps(a); }
  static V add(V a, V b) { return _mm_add_ps(a, b); }
  static V sub(V a, V b) { return _mm_sub_ps(a, b); }
  static V mul(V a, V b) { return _mm_mul_ps(a, b); }
  static V div(V a, V b) { return _mm_div_ps(a, b); }
  static V pairs_low(V a, V b) { return _mm_unpacklo_ps(a, b); }
  static V pairs_high(V a, V b) { return _mm_unpackhi_ps(a, b); }
  // (a3, b0, b1, b2): the last lane of a followed by the first three of b.
  static V shift_in(V a, V b) {
    const V joined = _mm_shuffle_ps(a, b, _MM_SHUFFLE(0, 0, 3, 3));
    return _mm_shuffle_ps(joined, b, _MM_SHUFFLE(2, 1, 2, 0));
  }
};

inline bool aligned16(const void* p) { return (reinterpret_cast<uintptr_t>(p) & 15u) == 0; }

}  // namespace orx::df

#endif
