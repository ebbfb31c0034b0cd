// Polynomials over GF(2), packed 64 coefficients per word, and the
// Berlekamp-Massey algorithm: the general-purpose (not tuned) arithmetic of
// the MT2203 parameter search. Bit i of word i / 64 is the coefficient of x^i.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orx::mt2203 {

using Poly = std::vector<uint64_t>;

// Degree of p; -1 for the zero polynomial.
int degree(const Poly& p);
bool coefficient(const Poly& p, int i);
void set_coefficient(Poly& p, int i, bool value);
// Drops zero words above the degree.
void trim(Poly& p);
Poly monomial(int k);
Poly add(const Poly& a, const Poly& b);
Poly shift_left(const Poly& p, int s);
Poly shift_right(const Poly& p, int s);
// a ^= b x^s, where b has b_words words and a is long enough for the result.
void xor_shifted(uint64_t* a, const uint64_t* b, size_t b_words, int s);
Poly multiply(const Poly& a, const Poly& b);
Poly remainder(Poly a, const Poly& m);
Poly gcd(Poly a, Poly b);
// Inverse of a modulo m (gcd(a, m) must be 1; returns the zero polynomial
// otherwise).
Poly inverse_mod(const Poly& a, const Poly& m);
Poly multiply_mod(const Poly& a, const Poly& b, const Poly& m);

// Carry-less product of two 64-bit words, as (high, low).
struct Clmul128 {
  uint64_t low, high;
};
Clmul128 clmul(uint64_t a, uint64_t b);

// Shortest linear recurrence of the bit sequence s_0 .. s_(count-1) (bit k of
// bits[k / 64]): returns its characteristic polynomial
// chi(t) = t^L + c_1 t^(L-1) + ... + c_L, where s_j = c_1 s_(j-1) + ... +
// c_L s_(j-L). With count >= 2L the result is the minimal polynomial of the
// sequence.
Poly berlekamp_massey(const std::vector<uint64_t>& bits, int count);

}  // namespace orx::mt2203
