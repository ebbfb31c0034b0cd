// Writers for engines that produce eight consecutive values as four
// registers of two 64-bit lanes (the congruential generators): raw words,
// or values mapped to [a, b) straight from the registers, without a buffer.
#ifndef ORX_VSL_RNG_ENGINES_LANE_SINKS_H
#define ORX_VSL_RNG_ENGINES_LANE_SINKS_H

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "vsl/rng/engines/uniform_map.h"

namespace orx::rng {

// Lanes holding values below 2^32 (exact) or below 2^63 (correctly rounded).
struct U32Lanes {
  static __m128d to_pd(__m128i v) { return u32_lanes_to_pd(v); }
  static double to_double(uint64_t x) { return static_cast<double>(static_cast<uint32_t>(x)); }
};
struct U63Lanes {
  static __m128d to_pd(__m128i v) { return u63_lanes_to_pd(v); }
  static double to_double(uint64_t x) { return static_cast<double>(static_cast<int64_t>(x)); }
};

template <class Lanes>
struct DoubleSink {
  double* r;
  DoubleMap map;
  void block8(int i, const __m128i v[4]) const {
    for (int k = 0; k < 4; ++k) _mm_storeu_pd(r + i + 2 * k, map2(map, Lanes::to_pd(v[k])));
  }
  void one(int i, uint64_t x) const { r[i] = map_one(map, Lanes::to_double(x)); }
};

template <class Lanes>
struct FloatSink {
  float* r;
  FloatMap map;
  void block8(int i, const __m128i v[4]) const {
    _mm_storeu_ps(r + i, map4(map, Lanes::to_pd(v[0]), Lanes::to_pd(v[1])));
    _mm_storeu_ps(r + i + 4, map4(map, Lanes::to_pd(v[2]), Lanes::to_pd(v[3])));
  }
  void one(int i, uint64_t x) const { r[i] = map_one(map, Lanes::to_double(x)); }
};

// One 32-bit word per value: the low dwords of the lanes.
struct Raw32Sink {
  uint32_t* r;
  static __m128i pack_low(__m128i lo, __m128i hi) {
    return _mm_castps_si128(
        _mm_shuffle_ps(_mm_castsi128_ps(lo), _mm_castsi128_ps(hi), _MM_SHUFFLE(2, 0, 2, 0)));
  }
  void block8(int i, const __m128i v[4]) const {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(r + i), pack_low(v[0], v[1]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(r + i + 4), pack_low(v[2], v[3]));
  }
  void one(int i, uint64_t x) const { r[i] = static_cast<uint32_t>(x); }
};

// One 64-bit word per value, into an array that need only be 4-byte aligned.
struct Raw64Sink {
  uint32_t* r;
  void block8(int i, const __m128i v[4]) const {
    for (int k = 0; k < 4; ++k)
      _mm_storeu_si128(reinterpret_cast<__m128i*>(r + 2 * (i + 2 * k)), v[k]);
  }
  void one(int i, uint64_t x) const { std::memcpy(r + 2 * i, &x, sizeof x); }
};

}  // namespace orx::rng

#endif
