// Conversion of raw generator values to uniform numbers on [a, b).
//
// double: r = a + x*((b - a)*c), x converted exactly (32-bit values) or with
// correct rounding (64-bit values); float: r = a + float(x*c)*(b - a) with
// x*c in double. A result that rounding carries to b or beyond becomes the
// largest value below b (when a < b), so every output lies in [a, b).
// The vector and scalar forms perform the same IEEE operations in the same
// order and therefore give the same bits.
#ifndef ORX_VSL_RNG_ENGINES_UNIFORM_MAP_H
#define ORX_VSL_RNG_ENGINES_UNIFORM_MAP_H

#include <emmintrin.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace orx::rng {

struct DoubleMap {
  double a, scale, upper;
};
struct FloatMap {
  double c;
  float a, width, upper;
};

inline DoubleMap double_map(double a, double b, double c) {
  const double upper = a < b ? std::nextafter(b, a) : std::numeric_limits<double>::infinity();
  return {a, (b - a) * c, upper};
}
inline FloatMap float_map(float a, float b, double c) {
  const float upper = a < b ? std::nextafter(b, a) : std::numeric_limits<float>::infinity();
  return {c, a, b - a, upper};
}

// upper < r ? upper : r, which keeps a NaN r, exactly as minpd(upper, r).
inline double map_one(const DoubleMap& m, double x) {
  const double r = m.a + x * m.scale;
  return m.upper < r ? m.upper : r;
}
inline float map_one(const FloatMap& m, double x) {
  const float r = m.a + static_cast<float>(x * m.c) * m.width;
  return m.upper < r ? m.upper : r;
}

inline __m128d map2(const DoubleMap& m, __m128d x) {
  const __m128d r = _mm_add_pd(_mm_set1_pd(m.a), _mm_mul_pd(x, _mm_set1_pd(m.scale)));
  return _mm_min_pd(_mm_set1_pd(m.upper), r);
}
inline __m128 map4(const FloatMap& m, __m128d x01, __m128d x23) {
  const __m128d c = _mm_set1_pd(m.c);
  const __m128 u = _mm_movelh_ps(_mm_cvtpd_ps(_mm_mul_pd(x01, c)), _mm_cvtpd_ps(_mm_mul_pd(x23, c)));
  const __m128 r = _mm_add_ps(_mm_set1_ps(m.a), _mm_mul_ps(u, _mm_set1_ps(m.width)));
  return _mm_min_ps(_mm_set1_ps(m.upper), r);
}

// Two values below 2^32 held in 64-bit lanes, exactly (the 2^52 bias trick).
inline __m128d u32_lanes_to_pd(__m128i x) {
  const __m128i bias = _mm_set1_epi64x(0x4330000000000000);
  return _mm_sub_pd(_mm_castsi128_pd(_mm_or_si128(x, bias)), _mm_set1_pd(4503599627370496.0));
}
// Four 32-bit values as two pairs of doubles, exactly.
inline void u32x4_to_pd(__m128i x, __m128d& lo, __m128d& hi) {
  const __m128i zero = _mm_setzero_si128();
  lo = u32_lanes_to_pd(_mm_unpacklo_epi32(x, zero));
  hi = u32_lanes_to_pd(_mm_unpackhi_epi32(x, zero));
}
// Two values below 2^63 in 64-bit lanes, rounded once to nearest:
// (hi*2^32 + 2^84 - 2^84 - 2^52) is exact, and adding (lo + 2^52) rounds the
// exact sum hi*2^32 + lo once.
inline __m128d u63_lanes_to_pd(__m128i x) {
  const __m128i hi = _mm_or_si128(_mm_srli_epi64(x, 32), _mm_set1_epi64x(0x4530000000000000));
  const __m128i lo = _mm_or_si128(_mm_and_si128(x, _mm_set1_epi64x(0xFFFFFFFF)),
                                  _mm_set1_epi64x(0x4330000000000000));
  const __m128d high = _mm_sub_pd(_mm_castsi128_pd(hi), _mm_set1_pd(0x1.00000001p+84));  // 2^84 + 2^52
  return _mm_add_pd(high, _mm_castsi128_pd(lo));
}

// Whole buffers of raw values (contiguous sequence order) to [a, b).
void map_values(const uint32_t* x, int n, double* r, const DoubleMap& m);
void map_values(const uint32_t* x, int n, float* r, const FloatMap& m);
void map_values(const uint64_t* x, int n, double* r, const DoubleMap& m);
void map_values(const uint64_t* x, int n, float* r, const FloatMap& m);
void map_values(const double* x, int n, double* r, const DoubleMap& m);
void map_values(const double* x, int n, float* r, const FloatMap& m);

// Fills r[0..n) in blocks: generate(count, raw) writes the next `count` raw
// values of the sequence, which are then mapped. The block stays in L1.
template <class Raw, class Out, class Map, class Generate>
void fill_mapped(int n, Out* r, const Map& map, Generate&& generate) {
  constexpr int kBlock = 512;
  alignas(16) Raw raw[kBlock];
  for (int done = 0; done < n;) {
    const int count = n - done < kBlock ? n - done : kBlock;
    generate(count, raw);
    map_values(raw, count, r + done, map);
    done += count;
  }
}

}  // namespace orx::rng

#endif
