// Counting the knots <= t with SSE2 compares, eight knots per round: the
// user-defined method's own search (whole partition, stopping at the first
// round that holds a knot above t, since the rest of an ascending x is above
// it too) and the hybrid method's final scan of a short bracket.
#ifndef ORX_DF_SEARCH_KNOT_COUNT_H
#define ORX_DF_SEARCH_KNOT_COUNT_H

#include <emmintrin.h>

#include <cstdint>

namespace orx::df::search {

// Bit i set when knot i of the eight at x is <= t (false for a NaN t).
inline unsigned not_greater_mask8(const double* x, double t) {
  const __m128d v = _mm_set1_pd(t);
  const unsigned m0 = static_cast<unsigned>(_mm_movemask_pd(_mm_cmple_pd(_mm_loadu_pd(x), v)));
  const unsigned m1 = static_cast<unsigned>(_mm_movemask_pd(_mm_cmple_pd(_mm_loadu_pd(x + 2), v)));
  const unsigned m2 = static_cast<unsigned>(_mm_movemask_pd(_mm_cmple_pd(_mm_loadu_pd(x + 4), v)));
  const unsigned m3 = static_cast<unsigned>(_mm_movemask_pd(_mm_cmple_pd(_mm_loadu_pd(x + 6), v)));
  return m0 | m1 << 2 | m2 << 4 | m3 << 6;
}

inline unsigned not_greater_mask8(const float* x, float t) {
  const __m128 v = _mm_set1_ps(t);
  const unsigned m0 = static_cast<unsigned>(_mm_movemask_ps(_mm_cmple_ps(_mm_loadu_ps(x), v)));
  const unsigned m1 = static_cast<unsigned>(_mm_movemask_ps(_mm_cmple_ps(_mm_loadu_ps(x + 4), v)));
  return m0 | m1 << 4;
}

// Bits set in an 8-bit mask (SSE2 baseline has no popcnt instruction).
inline int popcount8(unsigned m) {
  m = m - ((m >> 1) & 0x55u);
  m = (m & 0x33u) + ((m >> 2) & 0x33u);
  return static_cast<int>((m + (m >> 4)) & 0x0Fu);
}

// Knots of x[0..n) that are <= t, all of them counted.
template <class T>
inline int64_t count_not_greater(const T* x, int64_t n, T t) {
  int64_t count = 0, i = 0;
  for (; i + 8 <= n; i += 8) count += popcount8(not_greater_mask8(x + i, t));
  for (; i < n; ++i) count += x[i] <= t;
  return count;
}

// Knots of an ascending x[0..nx) that are <= t: rounds of eight until one
// holds a knot above t. 0 for a NaN t.
template <class T>
inline int64_t count_knots_not_greater(const T* x, int64_t nx, T t) {
  int64_t count = 0, i = 0;
  for (; i + 8 <= nx; i += 8) {
    const int n = popcount8(not_greater_mask8(x + i, t));
    count += n;
    if (n < 8) return count;
  }
  for (; i < nx && x[i] <= t; ++i) ++count;
  return count;
}

}  // namespace orx::df::search

#endif
