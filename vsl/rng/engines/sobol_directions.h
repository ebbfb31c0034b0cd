// Direction numbers of Sobol dimensions: the 32 words v_1..v_32 of a
// dimension, v_k for counter bit k - 1, from a primitive polynomial and its
// initial direction numbers, or the default tables (sobol_tables.inc).
#ifndef ORX_VSL_RNG_ENGINES_SOBOL_DIRECTIONS_H
#define ORX_VSL_RNG_ENGINES_SOBOL_DIRECTIONS_H

#include <cstddef>
#include <cstdint>

namespace orx::rng {

inline constexpr int kSobolDefaultDimensions = 40;

// Degree of a polynomial mask (bit k = coefficient of x^k); -1 for 0.
inline int polynomial_degree(uint32_t p) { return p == 0 ? -1 : 31 - __builtin_clz(p); }

// A polynomial of degree e >= 1 with constant term 1, and initial numbers
// m_1..m_e that are odd with m_k < 2^k: the conditions under which the
// dimension's generator matrix is non-singular.
bool sobol_dimension_valid(uint32_t poly, const uint32_t* minit);

// e is the polynomial's degree. Writes v_1..v_32 at v[0], v[stride], ...: v_k = m_k 2^(32-k) for k <= e,
// then v_k = v_{k-e} ^ (v_{k-e} >> e) ^ sum of a_i v_{k-i} (i = 1..e-1),
// where a_i is the coefficient of x^(e-i). Dimension 1 (no polynomial) has
// v_k = 2^(32-k).
void sobol_directions(uint32_t poly, int e, const uint32_t* minit, uint32_t* v, size_t stride);
void sobol_first_directions(uint32_t* v, size_t stride);

// Dimensions 1..d (d <= 40) from the default tables.
void sobol_default_directions(int d, uint32_t* v, size_t stride);

}  // namespace orx::rng

#endif
