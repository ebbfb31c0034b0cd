// The MT2203 parameter sets: 6024 rows {matrix vector a, tempering mask b,
// tempering mask c}, one per sub-generator. The rows come from
// tools/rng/mt2203_gen.cpp, which documents the search rule; the generated
// list is mt2203_table.inc.
#ifndef ORX_VSL_RNG_ENGINES_MT2203_TABLE_H
#define ORX_VSL_RNG_ENGINES_MT2203_TABLE_H

#include <cstdint>

inline constexpr int kMt2203Rows = 6024;

extern const uint32_t _vsl_mt2203_table[kMt2203Rows][3];

#endif
