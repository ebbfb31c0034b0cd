// Single-precision common logarithm kernels (LA, HA, EP): special values and
// the edges of the fast path one ulp either side with their statuses, error
// modes, lengths and aliasing, the denormal field, and a dense sweep of the
// positive floats against double log10.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/vml/unary_checks.h"

namespace {

using namespace orx::test;
using F = std::numeric_limits<float>;

// EP: 11 correct bits; 4096 ulps of the float result is at most 2^-11
// relative.
const auto kSlots = slots_of<float>("sLog10", orx_vml_kernel_sLog10_ttab,
                                    [](double x) { return std::log10(x); }, {{4}, {1}, {4096}});

TEST(SingleLog10, SharedChecksInEverySlot) {
  std::vector<Probe<float>> more = {accurate(F::denorm_min()), accurate(F::max()), accurate(10.0f),
                                    accurate(0.1f)};
  const float split = with_bits<float>(0x3F3504F3u);  // sqrt(2)/2, the mantissa split
  for (float edge : {1.0f, split, 2 * split, F::min(), F::max() / 2}) add_edge(more, edge);
  check_unary(kSlots,
              log_cases<float>({0.5f, 3.0f, 1e-30f, 7e20f, 1.0f, 0.99f, 1.01f, 123.0f}, more));
}

TEST(SingleLog10, DenseSweepAgainstDoubleLog10) {
  for (const auto& s : kSlots) check_sweep(s, 1, 0x7F7FFFFF, "positive floats");
}

}  // namespace
