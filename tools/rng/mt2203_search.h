// Search of the MT2203 matrix vectors: for a row, pseudo-random candidates
// (a generator seeded by the row number alone) until one gives an
// irreducible, hence primitive, characteristic polynomial of degree 2203
// (2^2203 - 1 is a Mersenne prime).
//
// Row r only draws matrix vectors a = r (mod 6024): the rows' candidate sets
// are disjoint, so every row has its own recurrence (drawing from one common
// set, 6021 rows would repeat a vector about three times), and a row is still
// found from its number alone, in any order.
#pragma once

#include <cstdint>

#include "tools/rng/mt2203_irreducible.h"

namespace orx::mt2203 {

constexpr int kRows = 6024;

// The rows given in advance (not searched): row, a, b, c.
struct GivenRow {
  int row;
  uint32_t a, b, c;
};
inline constexpr GivenRow kGivenRows[] = {{0, 0xAF81055Fu, 0xDD7EEF80u, 0xEFD78000u},
                                          {1, 0x832604E1u, 0x66AD7F80u, 0xEBD58000u},
                                          {6023, 0xE8761D4Bu, 0x72967680u, 0xEFEB0000u}};

// Pseudo-random words of one row (splitmix64 seeded by the row number).
class CandidateStream {
 public:
  explicit CandidateStream(int row);
  // Matrix vector candidates: a = row (mod 6024) with the top bit set (the
  // companion matrix A, hence the recurrence, is invertible exactly then),
  // uniform over those values up to a bias below 2^-40.
  uint32_t next();
  uint64_t next64();

 private:
  uint64_t state_;
  int row_;
};

struct MatrixSearchResult {
  uint32_t a = 0;
  long long candidates = 0;
  long long full_degree = 0;  // candidates whose polynomial has degree 2203
  IrreducibilityStats stats;
};

// The default staged test for degree 2203: sieve to degree 11, distinct-degree
// checkpoints at 40 and 150. Measured on 4000 candidates (-O3, one core):
// Berlekamp-Massey with the 2 * 2203 output bits 143 us per candidate; the
// staged test 123 us (the full test alone 1860 us); 27 % of candidates pass
// the sieve, 1.9 % the checkpoints. Sieve 8 costs the same, 13 costs 144 us,
// checkpoints (30, 100) 136 us, (60, 250) 124 us, one checkpoint 175-198 us.
// Every candidate passes f(0) = f(1) = 1. One candidate in 404 is primitive:
// the search took 2430035 candidates, 689 s, for 6021 rows (0.11 s a row).
const IrreducibilityTest& default_irreducibility_test();

MatrixSearchResult search_matrix_vector(int row);
// Whether the twister with matrix vector a has a primitive characteristic
// polynomial of degree 2203 (full test, no early stages).
bool has_primitive_polynomial(uint32_t a);

}  // namespace orx::mt2203
