// Direction numbers of the Niederreiter sequence in base 2 by the
// Bratley-Fox-Niederreiter construction, from an irreducible polynomial or
// the default table of the first 318 irreducible polynomials.
#ifndef ORX_VSL_RNG_ENGINES_NIEDERR_DIRECTIONS_H
#define ORX_VSL_RNG_ENGINES_NIEDERR_DIRECTIONS_H

#include <cstddef>
#include <cstdint>

namespace orx::rng {

inline constexpr int kNiederrDefaultDimensions = 318;

// The 32 direction words of the dimension of polynomial p (bit k =
// coefficient of x^k) of degree e >= 1, counter bit r at v[r * stride].
// Output digit j (weight 2^-(j+1)) is written j = e q + u (0 <= u < e); with
// b = p^(q+1) of degree m = e (q + 1), the linear recurring sequence a with
// characteristic polynomial b and initial values a_0..a_{eq-1} = 0,
// a_eq..a_{m-1} = 1 gives the generator matrix entries C[j][r] = a_{r+u}.
void niederr_directions(uint32_t p, int e, uint32_t* v, size_t stride);

// Dimensions 1..d (d <= 318), dimension k from polynomial k - 1 of the table.
void niederr_default_directions(int d, uint32_t* v, size_t stride);

}  // namespace orx::rng

#endif
