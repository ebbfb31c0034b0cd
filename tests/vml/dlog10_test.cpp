// Double-precision base-10 logarithm kernels (HA in slots 0 and 1, EP in
// slot 2): special values and statuses, powers of ten, error modes, lengths
// and aliasing, the denormal field, and accuracy against MPFR near 1.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/vml/unary_checks.h"

namespace {

using namespace orx::test;
using D = std::numeric_limits<double>;

const auto kSlots =
    slots_of<double>("dLog10", orx_vml_kernel_dLog10_ttab, mpfr_log10, {{1}, {1}, {0, 0x1p-26}});

TEST(DoubleLog10, SharedChecksInEverySlot) {
  std::vector<Probe<double>> more = {accurate(D::denorm_min()),
                                     accurate(D::min() / 3),
                                     accurate(D::max()),
                                     accurate(1.4990234375),
                                     accurate(std::nextafter(1.4990234375, 0.0)),
                                     accurate(10.0),
                                     accurate(0.1)};
  for (double edge : {D::min(), 1.0}) add_edge(more, edge);
  check_unary(kSlots, log_cases<double>(
                          {3.0, 0.7, 1e-300, 1e300, 1.0000001, 12345.0, 0.999, 2.5e-5}, more));
}

// 10^e for 0 <= e <= 22 is exact: HA gives e to within an ulp.
TEST(DoubleLog10, PowersOfTen) {
  for (const auto& s : kSlots) {
    with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      std::vector<double> in;
      for (int e = -307; e <= 308; ++e) in.push_back(std::stod("1e" + std::to_string(e)));
      std::vector<double> out(in.size());
      s.kernel(static_cast<int>(in.size()), in.data(), out.data());
      for (size_t i = 0; i < in.size(); ++i) {
        EXPECT_TRUE(within_goal(s, in[i], out[i])) << s.name << " x=" << in[i] << " got " << out[i];
        const int e = static_cast<int>(i) - 307;
        if (s.accuracy != ORX_VML_EP && e >= 0 && e <= 22) {
          EXPECT_LE(std::fabs(out[i] - e), std::ldexp(1.0, std::ilogb(e == 0 ? 1.0 : e) - 52)) << e;
        }
      }
    });
  }
}

// Near 1, where the result is smallest relative to its parts; the wider
// ranges are the accuracy harness's.
TEST(DoubleLog10, AccuracyAgainstMpfrNearOne) {
  for (const auto& s : kSlots)
    check_random(s, {{0x1.ffcp-1, 0x1.002p0, false}, {1.0009765, 1.0009770, false}}, 30000);
}

}  // namespace
