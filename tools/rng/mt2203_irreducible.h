// Irreducibility test over GF(2) for polynomials of prime degree, in stages
// that reject most reducible candidates cheaply:
//  1. no factor x or x + 1 (f(0) = f(1) = 1);
//  2. no irreducible factor of degree 2 .. sieve_degree: f is reduced modulo
//     products of those factors packed into 32-degree moduli, and each
//     remainder's gcd with its modulus must be 1;
//  3. no factor of degree <= ddf_degree: gcd(f, prod_k (x^(2^k) - x)) = 1 over
//     k = sieve_degree + 1 .. ddf_degree, with the accumulated product checked
//     at ddf checkpoints;
//  4. x^(2^n) = x (mod f).
// For prime n, f is irreducible exactly when (1) and (4) hold (Rabin's test
// with the single prime divisor n of n); stages 2 and 3 only decide earlier.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/rng/mt2203_gf2.h"

namespace orx::mt2203 {

// Irreducible polynomials of degree 1 .. max_degree (bit i = coefficient of x^i).
std::vector<uint64_t> small_irreducibles(int max_degree);

class SmallFactorSieve {
 public:
  // Moduli for polynomials of up to max_words 64-bit words.
  SmallFactorSieve(int max_degree, int max_words);
  // True when f has an irreducible factor of degree 2 .. max_degree.
  bool has_small_factor(const Poly& f) const;
  int moduli() const { return static_cast<int>(moduli_.size()); }

 private:
  struct Modulus {
    uint64_t m;   // degree exactly 32 (padded by a power of x)
    uint64_t mu;  // floor(x^64 / m)
  };
  int chunks_;                   // 32-bit chunks of the largest input
  std::vector<Modulus> moduli_;
  std::vector<uint32_t> powers_;  // per modulus: x^(32 k) mod m, k < chunks_
};

struct IrreducibilityStats {
  long long tested = 0;
  long long passed_roots = 0;   // no factor x, x + 1
  long long passed_sieve = 0;   // no factor of degree <= sieve degree
  long long passed_ddf = 0;     // no factor of degree <= last checkpoint
  long long irreducible = 0;
};

class IrreducibilityTest {
 public:
  // Degrees of the stages; checkpoints are the degrees where the accumulated
  // distinct-degree product is checked (increasing, all > sieve_degree).
  IrreducibilityTest(int sieve_degree, std::vector<int> checkpoints, int max_words);
  // f must have prime degree >= 64 with 64 ceil(n / 64) - n >= 31.
  bool irreducible(const Poly& f, IrreducibilityStats* stats = nullptr) const;
  // Only stages 1 and 4 (reference check: no early exits).
  static bool irreducible_plain(const Poly& f);

 private:
  SmallFactorSieve sieve_;
  int sieve_degree_;
  std::vector<int> checkpoints_;
};

}  // namespace orx::mt2203
