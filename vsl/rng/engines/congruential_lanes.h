// The fill loop shared by the multiplicative congruential generators: the
// first kLanes values serially, then blocks of kLanes lanes each advanced by
// a^kLanes, then the rest serially. A step hands out x, then advances it, so
// every value equals the serial recurrence's.
//
// An engine provides
//   Word next(Word x) const;          one serial step with the stream's multiplier
//   __m128i advance(__m128i v) const; kLanes steps of two 64-bit lanes
// and the sink takes block8(i, v[4]) and one(i, x) (lane_sinks.h).
#ifndef ORX_VSL_RNG_ENGINES_CONGRUENTIAL_LANES_H
#define ORX_VSL_RNG_ENGINES_CONGRUENTIAL_LANES_H

#include <emmintrin.h>

#include <cstdint>

namespace orx::rng {

// Lanes advanced together: enough independent products to hide the
// multiplier's latency (sixteen measured faster than eight).
inline constexpr int kCongruentialLanes = 16;

// Writes n values starting from x; returns the state after them.
template <class Engine, class Sink>
typename Engine::Word generate_in_lanes(const Engine& engine, typename Engine::Word x, int n,
                                        const Sink& out) {
  constexpr int kLanes = kCongruentialLanes;
  int i = 0;
  if (n >= 2 * kLanes) {
    alignas(16) uint64_t first[kLanes];
    for (; i < kLanes; ++i) {
      first[i] = x;
      out.one(i, x);
      x = engine.next(x);
    }
    __m128i v[kLanes / 2];
    for (int k = 0; k < kLanes / 2; ++k)
      v[k] = _mm_load_si128(reinterpret_cast<const __m128i*>(first) + k);
    for (; i + kLanes <= n; i += kLanes) {
      for (int k = 0; k < kLanes / 2; ++k) v[k] = engine.advance(v[k]);
      out.block8(i, v);
      out.block8(i + 8, v + 4);
    }
    alignas(16) uint64_t last[2];
    _mm_store_si128(reinterpret_cast<__m128i*>(last), v[kLanes / 2 - 1]);
    x = engine.next(static_cast<typename Engine::Word>(last[1]));
  }
  for (; i < n; ++i) {
    out.one(i, x);
    x = engine.next(x);
  }
  return x;
}

}  // namespace orx::rng

#endif
