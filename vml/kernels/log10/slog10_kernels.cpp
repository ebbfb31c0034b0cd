// Single-precision common logarithm r[i] = log10 a[i]: LA (slot 0), HA
// (slot 1) and EP (slot 2) kernels.
//
// Algorithm: the reduction of ln (x = 2^e m, m in [sqrt(2)/2, sqrt(2)),
// f = m - 1, s = f / (2 + f), atanh series in s^2; sln_core.h), with the
// result scaled by 1/ln 10 term by term (slog10_core.h): HA keeps the two
// leading terms exact and sums them by Fast2Sum; four float lanes, one
// division per vector, blocks of 8, no table.
// Accuracy, measured against double log10 over every positive finite float
// (HA) and every third one (LA, EP): HA 0.973 ulp max, at x = 0x1.4efb54p+0;
// LA 1.982 ulp max, at x = 0x1.250ca2p+0; EP relative error 2^-12.48 max, at
// x = 0x1.6a09eap+0 (goal: 2^-11). The worst inputs have e = 0 and f near
// 0.3 to 0.41, where d / ln 10 is largest beside the result.
// Fast path, element path and special values (shared with ln): sln_blocks.h.
// Statuses: +-0 -> -inf, status 2; x < 0 -> NaN, status 1.
#include "vml/kernels/ln/sln_blocks.h"
#include "vml/kernels/log10/slog10_core.h"

namespace orx::vml::slog10 {
namespace {
constexpr char kName[] = "vsLog10";
}  // namespace
}  // namespace orx::vml::slog10

void orx_vml_kernel_sLog10_E7LAynn(int n, const float* a, float* r) noexcept {
  orx::vml::sln::run<orx::vml::slog10::CoreLA, orx::vml::slog10::kName>(n, a, r);
}

void orx_vml_kernel_sLog10_E7HAynn(int n, const float* a, float* r) noexcept {
  orx::vml::sln::run<orx::vml::slog10::CoreHA, orx::vml::slog10::kName>(n, a, r);
}

void orx_vml_kernel_sLog10_E7EPnnn(int n, const float* a, float* r) noexcept {
  orx::vml::sln::run<orx::vml::slog10::CoreEP, orx::vml::slog10::kName>(n, a, r);
}
