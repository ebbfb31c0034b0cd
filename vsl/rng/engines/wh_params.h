// The 273 Wichmann-Hill parameter sets: four one-byte multipliers, four prime
// moduli just below 2^24 and their reciprocals per set. Generated at build
// time by tools/gen_wh_params.cpp, which documents the rule.
#ifndef ORX_VSL_RNG_ENGINES_WH_PARAMS_H
#define ORX_VSL_RNG_ENGINES_WH_PARAMS_H

#include <cstdint>

inline constexpr int kWhSets = 273;

extern "C" {
extern const uint8_t _vsl_WH_A[kWhSets][4];
extern const uint32_t _vsl_WH_M[kWhSets][4];
extern const double _vsldWH_IM_Tab[kWhSets][4];
}

#endif
