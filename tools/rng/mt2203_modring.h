// Fast arithmetic modulo one polynomial f over GF(2), for the irreducibility
// test of the MT2203 parameter search (thousands of squarings per candidate).
//
// Residues are kept lazily: any polynomial of degree < 64 W (W words) that
// is congruent to the value; reduce_full() gives the remainder of degree
// < n = deg f. A product of two residues (2W words) is reduced with a table of
// x^(64 j) mod f, one carry-less multiply per word pair, then the overflow word
// W in two 32-bit halves. The halves' products stay below 64 W when the top
// word has at least 31 unused bits (64 W - n >= 31), which the constructor
// checks (n = 2203: 37 spare bits; n = 19937: 31).
#pragma once

#include <cstdint>
#include <vector>

#include "tools/rng/mt2203_gf2.h"

namespace orx::mt2203 {

class ModRing {
 public:
  explicit ModRing(const Poly& f);

  int words() const { return words_; }
  // out = a^2 (lazy); out may alias a.
  void square(const uint64_t* a, uint64_t* out) const;
  // out = a b (lazy); out may alias a or b.
  void multiply(const uint64_t* a, const uint64_t* b, uint64_t* out) const;
  // The remainder of degree < n of a lazy residue.
  Poly reduce_full(const uint64_t* a) const;
  // Lazy residue of a polynomial of degree < 64 W.
  std::vector<uint64_t> residue(const Poly& p) const;

 private:
  // out (W words) = p (2W words) mod f, lazily.
  void reduce(const uint64_t* p, uint64_t* out) const;

  int n_;
  int words_;
  int stride_;  // words per table row: W + 1 rounded up to even
  Poly f_;
  std::vector<uint64_t> table_;  // rows for words W+1 .. 2W-1
  std::vector<uint64_t> top_;    // x^(64 W) and x^(64 W + 32) mod f
};

}  // namespace orx::mt2203
