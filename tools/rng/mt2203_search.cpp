// Row-by-row search of MT2203 matrix vectors.
#include "tools/rng/mt2203_search.h"

#include "tools/rng/mt2203_twister.h"

namespace orx::mt2203 {

CandidateStream::CandidateStream(int row)
    : state_(0x4D54323230335F41ull ^ (static_cast<uint64_t>(row) * 0x9E3779B97F4A7C15ull)), row_(row) {}

uint64_t CandidateStream::next64() {
  // splitmix64
  uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

uint32_t CandidateStream::next() {
  // a = 6024 q + row in [2^31, 2^32).
  const uint64_t r = static_cast<uint64_t>(row_);
  const uint64_t q_min = ((uint64_t{1} << 31) - r + kRows - 1) / kRows;
  const uint64_t q_max = ((uint64_t{1} << 32) - 1 - r) / kRows;
  const uint64_t q = q_min + next64() % (q_max - q_min + 1);
  return static_cast<uint32_t>(q * kRows + r);
}

const IrreducibilityTest& default_irreducibility_test() {
  static const IrreducibilityTest test(11, {40, 150}, (kDegree + 64) / 64);
  return test;
}

MatrixSearchResult search_matrix_vector(int row) {
  const IrreducibilityTest& test = default_irreducibility_test();
  CandidateStream stream(row);
  MatrixSearchResult result;
  for (;;) {
    uint32_t a = stream.next();
    ++result.candidates;
    bool given = false;
    for (const GivenRow& g : kGivenRows) given = given || g.a == a;
    if (given) continue;
    Poly chi = characteristic_polynomial(a);
    if (degree(chi) != kDegree) continue;
    ++result.full_degree;
    if (test.irreducible(chi, &result.stats)) {
      result.a = a;
      return result;
    }
  }
}

bool has_primitive_polynomial(uint32_t a) {
  Poly chi = characteristic_polynomial(a);
  if (degree(chi) != kDegree) return false;
  // Stages 1 and 4 only, with the fast squaring.
  static const IrreducibilityTest full(1, {}, (kDegree + 64) / 64);
  return full.irreducible(chi);
}

}  // namespace orx::mt2203
