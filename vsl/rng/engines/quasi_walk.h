// The Gray-code walk shared by the quasi-random engines (Sobol, Niederreiter).
//
// A sequence of dimension d has 32 direction rows: row r holds the d
// direction words of counter bit r. Point 0 is the origin; point k + 1 is
// point k XOR row (lowest zero bit of k). Values are coordinates point after
// point, starting with point 1 (the origin is never handed out, so no value
// is exactly 0), so value t is coordinate t mod d of point t / d + 1.
//
// The walk keeps the point that holds the last value handed out (the origin
// before the first value), and the 32-bit count t of values handed out; a
// request may start and end inside a point. The callers check that the count
// does not pass 2^32 - 1, so the walk never reaches point 2^32 and never
// needs a 33rd row.
#ifndef ORX_VSL_RNG_ENGINES_QUASI_WALK_H
#define ORX_VSL_RNG_ENGINES_QUASI_WALK_H

#include <cstdint>

#include "vsl/rng/engines/uniform_map.h"

namespace orx::rng {

struct QuasiSequence {
  uint32_t* point;              // d words
  const uint32_t* directions;   // row r at directions + r * stride
  int stride;                   // >= dimension
  int dimension;
};

// Hands out values count..count+n-1 (n > 0) and leaves the point at the one
// holding the last of them; the caller advances the count by n.
void quasi_fill(const QuasiSequence& s, uint32_t count, int n, uint32_t* r);
void quasi_fill(const QuasiSequence& s, uint32_t count, int n, double* r, const DoubleMap& m);
void quasi_fill(const QuasiSequence& s, uint32_t count, int n, float* r, const FloatMap& m);

}  // namespace orx::rng

#endif
