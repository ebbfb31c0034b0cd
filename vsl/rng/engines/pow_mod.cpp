// Modular powers behind skip-ahead and leapfrog.
#include "orx/rng.h"
#include "vsl/rng/engines/mod_arith.h"

using namespace orx::rng;

uint32_t __vsliPowMod2P31M1(uint32_t a, uint64_t k) {
  uint32_t result = 1;
  uint32_t base = a % kMersenne31;
  for (; k != 0; k >>= 1) {
    if (k & 1) result = mul_mod_mersenne31(result, base);
    base = mul_mod_mersenne31(base, base);
  }
  return result;
}

uint64_t __vsliPowMod2P59(uint64_t a, uint64_t k) {
  uint64_t result = 1;
  uint64_t base = a & kMask59;
  for (; k != 0; k >>= 1) {
    if (k & 1) result = (result * base) & kMask59;
    base = (base * base) & kMask59;
  }
  return result;
}

uint32_t __vsliPowMod(uint32_t a, uint64_t k, uint32_t m) {
  if (m == 0) return 0;  // no residues modulo 0; nothing sensible to return
  uint32_t result = 1 % m;
  uint32_t base = a % m;
  for (; k != 0; k >>= 1) {
    if (k & 1) result = mul_mod(result, base, m);
    base = mul_mod(base, base, m);
  }
  return result;
}

void __vsliVect3PowMod(uint32_t* v, const uint32_t* row, uint32_t m, uint64_t k) {
  if (m == 0) return;
  apply(power(companion(row), k, m), v, m);
}
