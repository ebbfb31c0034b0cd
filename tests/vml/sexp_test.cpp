// Single-precision exponential kernels (HA in slots 0 and 1, EP in slot 2):
// special values and every threshold one ulp either side with its status,
// error modes, lengths and aliasing, the denormal field, and a dense sweep of
// [-104, 88.73] against double exp.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/vml/unary_checks.h"

namespace {

using namespace orx::test;
using F = std::numeric_limits<float>;
constexpr float kInf = F::infinity();

// EP: 11 correct bits, or within a quantum where the result is subnormal.
const auto kSlots = slots_of<float>("sExp", orx_vml_kernel_sExp_ttab,
                                    [](double x) { return std::exp(x); }, {{1}, {1}, {1, 0x1p-11}});

TEST(SingleExp, SharedChecksInEverySlot) {
  const float overflow_last = with_bits<float>(0x42B17217);    // largest x with finite e^x
  const float underflow_first = with_bits<float>(0xC2AEAC50);  // largest x with e^x < 2^-126
  const float zero_first = with_bits<float>(0xC2CFF1B5);       // largest x whose e^x rounds to 0
  std::vector<Probe<float>> p = nan_probes<float>();
  p.insert(p.end(),
           {exact(0.0f, 1.0f), exact(-0.0f, 1.0f), exact(kInf, kInf), exact(-kInf, 0.0f),
            exact(F::max(), kInf, 3), exact(-F::max(), 0.0f, 4), exact(F::denorm_min(), 1.0f),
            exact(-F::denorm_min(), 1.0f), exact(-120.0f, 0.0f, 4), accurate(overflow_last),
            accurate(toward_zero(overflow_last)), exact(away_from_zero(overflow_last), kInf, 3),
            accurate(toward_zero(zero_first), 4), exact(zero_first, 0.0f, 4),
            exact(away_from_zero(zero_first), 0.0f, 4)});
  add_edge(p, underflow_first, 0, 4);
  // Ends of the block path (|x| < 87), of the single scale (n = 128 from
  // 127.5 ln 2 = 88.376 up) and of the direct zero (-104).
  for (float edge : {87.0f, -87.0f, 88.3762626647950f}) add_edge(p, edge);
  add_edge(p, -104.0f, 4, 4);
  check_unary(kSlots, {.pool = {0.5f, -3.25f, 1e-7f, 80.0f, -80.0f, 42.0f, -0.0f, 10.5f, -1e-30f},
                       .probes = p,
                       .error_modes = {{1.0f, {{100.0f, kInf}, {-110.0f, 0.0f}}, 4}},
                       .length_special = 200.0f,
                       .denormal = {{-95.0f, 0.0f, 4, 4}, {-F::denorm_min(), 1.0f, 0, 0}}});
}

TEST(SingleExp, DenseSweepAgainstDoubleExp) {
  for (const auto& s : {kSlots[1], kSlots[2]}) {
    check_sweep(s, 0, 0x42B17217, "0 <= x <= 88.72");
    check_sweep(s, 0x80000000, 0xC2D00000, "-104 <= x <= -0");
  }
}

}  // namespace
