// Single-precision log1p kernel (HA in every slot): special values and the
// edges (-1, the split of 1 + x, the tiny range) one ulp either side with
// their statuses, error modes, lengths and aliasing, the denormal field, and
// a dense sweep of (-1, inf) against double log1p.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/vml/unary_checks.h"

namespace {

using namespace orx::test;
using F = std::numeric_limits<float>;
constexpr float kInf = F::infinity();

const auto kSlots = slots_of<float>("sLog1p", orx_vml_kernel_sLog1p_ttab,
                                    [](double x) { return std::log1p(x); }, {{1}, {1}, {1}});

TEST(SingleLog1p, SharedChecksInEverySlot) {
  const float nan = indefinite<float>();
  std::vector<Probe<float>> p = nan_probes<float>();
  // At 2^53, 1 + x rounds in double while x - 1 does not.
  p.insert(p.end(),
           {exact(kInf, kInf), exact(-1.0f, -kInf, 2), exact(std::nextafter(-1.0f, -kInf), nan, 1),
            exact(-2.0f, nan, 1), exact(-kInf, nan, 1), exact(-F::max(), nan, 1),
            accurate(std::nextafter(-1.0f, 0.0f)), accurate(0x1p53f), accurate(F::max())});
  for (float x : {0.0f, F::denorm_min(), 0x1p-100f, 0x1p-40f})
    p.insert(p.end(), {exact(x, x), exact(-x, -x)});  // ln(1 + x) rounds to x
  // The tiny range (u = 1 + x rounds below 2^-29), the split of 1 + x at
  // sqrt(2)/2 and sqrt(2), 1, and 2^24.
  for (float edge : {0x1p-29f, -0x1p-29f, 0x1p-24f, -0.29289323f, 0.41421357f, 1.0f, 0x1p24f})
    add_edge(p, edge);
  check_unary(kSlots, {.pool = {0.5f, -0.5f, 1e-30f, 7e20f, -0.999f, 3.0f, 1e-7f, 0.3f},
                       .probes = p,
                       .error_modes = {{0.5f, {{-1.0f, -kInf}, {-3.0f, nan}}, 1},
                                       {0.5f, {{-3.0f, nan}, {-1.0f, -kInf}}, 2}},
                       .length_special = -1.5f,
                       .denormal = {{-3 * F::denorm_min(), -0.0f, 0, 0}}});
}

TEST(SingleLog1p, DenseSweepAgainstDoubleLog1p) {
  check_sweep(kSlots[1], 0, 0x7F7FFFFF, "x >= 0");
  check_sweep(kSlots[1], 0x80000000, 0xBF7FFFFF, "-1 < x <= -0");
}

}  // namespace
