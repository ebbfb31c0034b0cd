// Single-precision natural logarithm kernels (LA, HA, EP): special values and
// the edges of the fast path one ulp either side with their statuses, error
// modes, lengths and aliasing, the denormal field, and a dense sweep of the
// positive floats against double log.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/vml/unary_checks.h"

namespace {

using namespace orx::test;
using F = std::numeric_limits<float>;

const auto kSlots = slots_of<float>("sLn", orx_vml_kernel_sLn_ttab,
                                    [](double x) { return std::log(x); }, {{4}, {1}, {0, 0x1p-11}});

TEST(SingleLn, SharedChecksInEverySlot) {
  const float indefinite = orx::test::indefinite<float>();
  std::vector<Probe<float>> more = {exact(-F::min(), indefinite, 1),
                                    accurate(F::denorm_min()),
                                    accurate(2 * F::denorm_min()),
                                    accurate(F::min() / 3),
                                    accurate(2.0f),
                                    accurate(0.5f),
                                    accurate(F::max()),
                                    accurate(toward_zero(F::max()))};
  // The least normal, 1 and the mantissa split at sqrt(2)/2 and sqrt(2),
  // where the exponent changes by one.
  for (float edge : {F::min(), 1.0f, with_bits<float>(0x3F3504F3u), with_bits<float>(0x3FB504F3u)})
    add_edge(more, edge);
  check_unary(
      kSlots,
      log_cases<float>({3.0f, 0.7f, 1e-30f, 7e20f, 1.0000001f, 12345.0f, 0.999f, 2.5e-5f}, more));
}

TEST(SingleLn, DenseSweepAgainstDoubleLog) {
  for (const auto& s : kSlots) check_sweep(s, 1, 0x7F7FFFFF, "positive floats");
}

}  // namespace
