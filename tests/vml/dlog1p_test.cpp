// Double-precision ln(1 + x) kernel (HA, every slot): special values and
// statuses, the edges of its paths one ulp either side, error modes, lengths
// and aliasing, the denormal field, and accuracy against MPFR for tiny x.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/vml/unary_checks.h"

namespace {

using namespace orx::test;
using D = std::numeric_limits<double>;
constexpr double kInf = D::infinity();

const auto kSlots =
    slots_of<double>("dLog1p", orx_vml_kernel_dLog1p_ttab, mpfr_log1p, {{1}, {1}, {1}});

TEST(DoubleLog1p, SharedChecksInEverySlot) {
  const double nan = indefinite<double>(), sub = D::denorm_min();
  std::vector<Probe<double>> p = nan_probes<double>();
  p.insert(p.end(),
           {exact(kInf, kInf), exact(-kInf, nan, 1), exact(-1.0, -kInf, 2),
            exact(std::nextafter(-1.0, -kInf), nan, 1), exact(-2.0, nan, 1),
            exact(-D::max(), nan, 1), accurate(std::nextafter(-1.0, 0.0)), accurate(D::max()),
            accurate(1.0), accurate(-0.5), accurate(0x1p53), accurate(0x1p-40 + 0x1p-90)});
  for (double x : {0.0, sub, D::min(), 0x1p-61})
    p.insert(p.end(), {exact(x, x), exact(-x, -x)});  // ln(1 + x) rounds to x
  // The switches between the paths: 2^-60 (fast path) and 2^-30 (series).
  for (double edge : {0x1p-60, 0x1p-30, -0x1p-60, -0x1p-30}) add_edge(p, edge);
  check_unary(kSlots, {.pool = {0.75, -0.5, 1e-7, 33.0, -0.9, 1e300, 0x1p-40, 2.0},
                       .probes = p,
                       .error_modes = {{0.0, {{-1.0, -kInf}, {-2.0, nan}}, 1},
                                       {0.5, {{-2.0, nan}, {-1.0, -kInf}}, 2}},
                       .length_special = -1.0,
                       .denormal = {{5 * sub, 0.0, 0, 0}, {-3 * sub, -0.0, 0, 0}}});
}

// Tiny x on both sides of the paths' switches; the wider ranges are the
// accuracy harness's.
TEST(DoubleLog1p, AccuracyAgainstMpfrForTinyX) {
  check_random(kSlots[1],
               {{0x1p-70, 0x1p-20, true}, {-0x1p-20, -0x1p-70, true}, {-0x1p-29, 0x1p-29, false}},
               30000);
}

}  // namespace
