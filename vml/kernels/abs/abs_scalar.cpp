// One-element absolute values: the sign bit cleared.
#include <bit>
#include <cstdint>

#include "orx/vml.h"

float orx_vml_kernel__sabs_scalar(float x) noexcept {
  return std::bit_cast<float>(std::bit_cast<uint32_t>(x) & 0x7FFFFFFFu);
}

double orx_vml_kernel__dabs_scalar(double x) noexcept {
  return std::bit_cast<double>(std::bit_cast<uint64_t>(x) & 0x7FFFFFFFFFFFFFFFull);
}
