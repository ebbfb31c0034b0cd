// Buffer conversions of raw values to [a, b): four values per iteration,
// then the same arithmetic one value at a time.
#include "vsl/rng/engines/uniform_map.h"

namespace orx::rng {

namespace {

// Exact or correctly rounded double of one raw value (the hardware
// conversion of a signed 64-bit integer rounds to nearest).
inline double to_double(uint32_t x) { return static_cast<double>(x); }
inline double to_double(uint64_t x) { return static_cast<double>(static_cast<int64_t>(x)); }
inline double to_double(double x) { return x; }

inline void load4(const uint32_t* x, __m128d& lo, __m128d& hi) {
  u32x4_to_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(x)), lo, hi);
}
inline void load4(const uint64_t* x, __m128d& lo, __m128d& hi) {
  lo = u63_lanes_to_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(x)));
  hi = u63_lanes_to_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(x + 2)));
}
inline void load4(const double* x, __m128d& lo, __m128d& hi) {
  lo = _mm_loadu_pd(x);
  hi = _mm_loadu_pd(x + 2);
}

template <class Raw>
void map_to_double(const Raw* x, int n, double* r, const DoubleMap& m) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128d lo, hi;
    load4(x + i, lo, hi);
    _mm_storeu_pd(r + i, map2(m, lo));
    _mm_storeu_pd(r + i + 2, map2(m, hi));
  }
  for (; i < n; ++i) r[i] = map_one(m, to_double(x[i]));
}

template <class Raw>
void map_to_float(const Raw* x, int n, float* r, const FloatMap& m) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    __m128d lo, hi;
    load4(x + i, lo, hi);
    _mm_storeu_ps(r + i, map4(m, lo, hi));
  }
  for (; i < n; ++i) r[i] = map_one(m, to_double(x[i]));
}

}  // namespace

void map_values(const uint32_t* x, int n, double* r, const DoubleMap& m) { map_to_double(x, n, r, m); }
void map_values(const uint32_t* x, int n, float* r, const FloatMap& m) { map_to_float(x, n, r, m); }
void map_values(const uint64_t* x, int n, double* r, const DoubleMap& m) { map_to_double(x, n, r, m); }
void map_values(const uint64_t* x, int n, float* r, const FloatMap& m) { map_to_float(x, n, r, m); }
void map_values(const double* x, int n, double* r, const DoubleMap& m) { map_to_double(x, n, r, m); }
void map_values(const double* x, int n, float* r, const FloatMap& m) { map_to_float(x, n, r, m); }

}  // namespace orx::rng
