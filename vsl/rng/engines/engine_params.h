// Reading the parameter words of an engine's InitStreamFn.
#ifndef ORX_VSL_RNG_ENGINES_ENGINE_PARAMS_H
#define ORX_VSL_RNG_ENGINES_ENGINE_PARAMS_H

#include <cstdint>

namespace orx::rng {

// Skip-ahead passes the 64-bit count as two 32-bit words, low first.
inline uint64_t skip_count(const uint32_t* params) {
  return params[0] | (uint64_t{params[1]} << 32);
}

// Leapfrog and skip-ahead read params; seeding reads it only when n > 0.
inline bool params_missing(int method, int n, const uint32_t* params) {
  return params == nullptr && (method != 0 || n > 0);
}

}  // namespace orx::rng

#endif
