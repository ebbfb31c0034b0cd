// Direction numbers of Sobol dimensions from polynomials and initial numbers.
#include "vsl/rng/engines/sobol_directions.h"

namespace orx::rng {

namespace {

#include "vsl/rng/engines/sobol_tables.inc"

static_assert(sizeof uSobolIrredPoly / sizeof uSobolIrredPoly[0] == kSobolDefaultDimensions - 1);

constexpr int kBits = 32;

}  // namespace

bool sobol_dimension_valid(uint32_t poly, const uint32_t* minit) {
  const int e = polynomial_degree(poly);
  if (e < 1 || (poly & 1u) == 0) return false;
  for (int k = 1; k <= e; ++k)
    if ((minit[k - 1] & 1u) == 0 || (k < kBits && minit[k - 1] >> k != 0)) return false;
  return true;
}

void sobol_directions(uint32_t poly, int e, const uint32_t* minit, uint32_t* v, size_t stride) {
  uint32_t w[kBits];
  for (int k = 0; k < e; ++k) w[k] = minit[k] << (kBits - 1 - k);
  for (int k = e; k < kBits; ++k) {
    uint32_t next = w[k - e] ^ (w[k - e] >> e);
    for (int i = 1; i < e; ++i)
      if ((poly >> (e - i)) & 1u) next ^= w[k - i];
    w[k] = next;
  }
  for (int k = 0; k < kBits; ++k) v[k * stride] = w[k];
}

void sobol_first_directions(uint32_t* v, size_t stride) {
  for (int k = 0; k < kBits; ++k) v[k * stride] = 0x80000000u >> k;
}

void sobol_default_directions(int d, uint32_t* v, size_t stride) {
  sobol_first_directions(v, stride);
  for (int i = 1; i < d; ++i) sobol_directions(uSobolIrredPoly[i - 1], iSobolIrredPolyDeg[i - 1], uSobolMInit[i - 1], v + i,
                     stride);
}

}  // namespace orx::rng
