// Single-precision expm1 kernel (HA in every slot): special values and the
// overflow and -1 thresholds one ulp either side with their statuses, error
// modes, lengths and aliasing, the denormal field, and a dense sweep of
// [-104, 88.73] against double expm1.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/vml/unary_checks.h"

namespace {

using namespace orx::test;
using F = std::numeric_limits<float>;
constexpr float kInf = F::infinity();

const auto kSlots = slots_of<float>("sExpm1", orx_vml_kernel_sExpm1_ttab,
                                    [](double x) { return std::expm1(x); }, {{1}, {1}, {1}});

TEST(SingleExpm1, SharedChecksInEverySlot) {
  const float overflow_last = with_bits<float>(0x42B17217u);  // largest x with finite expm1
  std::vector<Probe<float>> p = nan_probes<float>();
  // e^-17.5 < 2^-25: rounds to -1.
  p.insert(
      p.end(),
      {exact(kInf, kInf), exact(-kInf, -1.0f), exact(F::max(), kInf, 3), exact(-F::max(), -1.0f),
       accurate(overflow_last), accurate(toward_zero(overflow_last)),
       exact(away_from_zero(overflow_last), kInf, 3), exact(-17.5f, -1.0f), exact(-100.0f, -1.0f)});
  for (float x : {0.0f, F::denorm_min(), 0x1p-100f, 0x1p-30f})
    p.insert(p.end(), {exact(x, x), exact(-x, -x)});  // e^x - 1 rounds to x
  // The element path's -700 bound, the first k != 0 (ln2/2), 1, and the
  // last exponent before overflow.
  for (float edge : {-700.0f, 0.34657359f, -0.34657359f, 1.0f, 88.0f, -88.0f}) add_edge(p, edge);
  check_unary(kSlots, {.pool = {0.5f, -0.5f, 1e-30f, 80.0f, -80.0f, 3.0f, 1e-7f, -0.3f},
                       .probes = p,
                       .error_modes = {{1.0f, {{100.0f, kInf}, {89.0f, kInf}}, 3}},
                       .length_special = 200.0f,
                       .denormal = {{-3 * F::denorm_min(), -0.0f, 0, 0}}});
}

TEST(SingleExpm1, DenseSweepAgainstDoubleExpm1) {
  check_sweep(kSlots[1], 0, 0x42B17217, "0 <= x <= 88.72");
  check_sweep(kSlots[1], 0x80000000, 0xC2D00000, "-104 <= x <= -0");
}

}  // namespace
