// Single-precision natural logarithm r[i] = ln a[i]: LA (slot 0), HA (slot 1)
// and EP (slot 2) kernels.
//
// Algorithm: x = 2^e m, m in [sqrt(2)/2, sqrt(2)), ln x = e ln 2 +
// 2 atanh((m-1)/(m+1)) by its series (4 terms HA, 3 LA, 1 EP; sln_core.h);
// four float lanes, one division per vector, blocks of 8, no table.
// Accuracy, measured over every positive finite float against double log:
// HA 0.858 ulp max, at x = 0x1.665aa6p-1; LA 1.798 ulp max, at
// x = 0x1.69f72ep+0; EP relative error 2^-12.48 max, at x = 0x1.6a09c8p-1
// (goal: 2^-11). The worst inputs sit near the mantissa split sqrt(2), where
// |s| and the truncated series term are largest.
// Fast path, element path and special values: sln_blocks.h, shared with
// log10.
#include "vml/kernels/ln/sln_blocks.h"
#include "vml/kernels/ln/sln_core.h"

namespace orx::vml::sln {
namespace {
constexpr char kName[] = "vsLn";
}  // namespace
}  // namespace orx::vml::sln

void orx_vml_kernel_sLn_E7LAynn(int n, const float* a, float* r) noexcept {
  orx::vml::sln::run<orx::vml::sln::CoreLA, orx::vml::sln::kName>(n, a, r);
}

void orx_vml_kernel_sLn_E7HAynn(int n, const float* a, float* r) noexcept {
  orx::vml::sln::run<orx::vml::sln::CoreHA, orx::vml::sln::kName>(n, a, r);
}

void orx_vml_kernel_sLn_E7EPnnn(int n, const float* a, float* r) noexcept {
  orx::vml::sln::run<orx::vml::sln::CoreEP, orx::vml::sln::kName>(n, a, r);
}
