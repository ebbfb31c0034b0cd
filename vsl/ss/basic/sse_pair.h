// Two-wide SSE access to the observations and the double running state.
// Observations of a single task are floats widened to double on load, so
// both families accumulate in double.
#ifndef ORX_SS_BASIC_SSE_PAIR_H
#define ORX_SS_BASIC_SSE_PAIR_H

#include <emmintrin.h>

#include <cstdint>

namespace orx::ss {

// Two neighbouring values x[0], x[1] (the columns layout: one observation's
// variables are contiguous).
inline __m128d load_pair(const double* x) { return _mm_loadu_pd(x); }
inline __m128d load_pair(const float* x) {
  // Two floats are 8 bytes but only 4-byte aligned: an unaligned 64-bit load.
  return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(x))));
}

// x[0] and x[stride] (the rows layout: two variables' observations).
inline __m128d load_strided_pair(const double* x, int64_t stride) {
  return _mm_loadh_pd(_mm_load_sd(x), x + stride);
}
inline __m128d load_strided_pair(const float* x, int64_t stride) {
  return _mm_set_pd(static_cast<double>(x[stride]), static_cast<double>(x[0]));
}

// The number of leading elements to handle one by one before `p` is 16-byte
// aligned: 0 or 1 for a double array that is 8-byte aligned; `count` when
// it is not even that, so the whole loop runs scalar.
inline int64_t scalar_head(const double* p, int64_t count) {
  const auto address = reinterpret_cast<uintptr_t>(p);
  if (address % 16 == 0) return 0;
  if (address % 8 == 0) return count > 0 ? 1 : 0;
  return count;
}

}  // namespace orx::ss

#endif
