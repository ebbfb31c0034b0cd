// Single-precision log1p kernel (HA in every slot): special values and the
// edges (-1, the split of 1 + x, the tiny range) one ulp either side with
// their statuses, error modes, lengths and aliasing, the denormal field, and
// a dense sweep of (-1, inf) against double log1p.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/vml/single_unary_checks.h"

namespace {

using namespace orx::test::single;

double log1p_ref(double x) { return std::log1p(x); }

const Kind kKinds[] = {{"LA slot", orx_vml_kernel_sLog1p_ttab[0], ORX_VML_LA, 1.0},
                       {"HA", orx_vml_kernel_sLog1p_ttab[1], ORX_VML_HA, 1.0},
                       {"EP slot", orx_vml_kernel_sLog1p_ttab[2], ORX_VML_EP, 1.0}};

std::vector<Probe> probes() {
  const float below_minus_one = std::nextafter(-1.0f, -kInf);
  std::vector<Probe> p = {
      {0.0f, Expect::kExact, 0.0f, 0},
      {-0.0f, Expect::kExact, -0.0f, 0},
      {F::quiet_NaN(), Expect::kNaN, 0, 0},
      {F::signaling_NaN(), Expect::kNaN, 0, 0},
      {kInf, Expect::kExact, kInf, 0},
      {-1.0f, Expect::kExact, -kInf, 2},
      {below_minus_one, Expect::kIndefinite, 0, 1},
      {-2.0f, Expect::kIndefinite, 0, 1},
      {-kInf, Expect::kIndefinite, 0, 1},
      {-F::max(), Expect::kIndefinite, 0, 1},
      {F::denorm_min(), Expect::kExact, F::denorm_min(), 0},
      {-F::denorm_min(), Expect::kExact, -F::denorm_min(), 0},
      {0x1p-100f, Expect::kExact, 0x1p-100f, 0},
      {-0x1p-40f, Expect::kExact, -0x1p-40f, 0},
      {std::nextafter(-1.0f, 0.0f), Expect::kNear, 0, 0},
      {0x1p53f, Expect::kNear, 0, 0},  // 1 + x rounds in double while x - 1 does not
      {F::max(), Expect::kNear, 0, 0},
  };
  // The tiny range (u = 1 + x rounds below 2^-29), the split
  // of 1 + x at sqrt(2)/2 and sqrt(2), 1, and 2^24.
  for (float edge : {0x1p-29f, -0x1p-29f, 0x1p-24f, -0.29289323f,
                     0.41421357f, 1.0f, 0x1p24f}) {
    for (float x : {std::nextafter(edge, -kInf), edge, std::nextafter(edge, kInf)})
      p.push_back({x, Expect::kNear, 0, 0});
  }
  return p;
}

TEST(SingleLog1p, SpecialValuesAndEdgesInEverySlot) {
  for (const Kind& k : kKinds) check_probes(k, log1p_ref, probes(), 0.75f);
}

TEST(SingleLog1p, CallbackChangesResultIgnoreKeepsKernelValue) {
  for (const Kind& k : kKinds) {
    check_error_modes(k, 0.5f, -3.0f, std::bit_cast<float>(0xFFC00000u), ORX_VML_STATUS_DOMAIN);
    check_error_modes(k, 0.5f, -1.0f, -kInf, ORX_VML_STATUS_SINGULARITY);
  }
}

TEST(SingleLog1p, EveryLengthUnalignedAndInPlace) {
  const std::vector<float> pool = {0.5f, -0.5f, 1e-30f, 7e20f, -0.999f, 3.0f, 1e-7f, 0.3f, -2e-40f};
  for (const Kind& k : kKinds) check_lengths(k, pool, -1.5f);
}

TEST(SingleLog1p, DenormalFieldAndCallerMxcsr) {
  for (const Kind& k : kKinds) check_denormal_field(k, log1p_ref, -3 * F::denorm_min(), -0.0f);
}

TEST(SingleLog1p, DenseSweepAgainstDoubleLog1p) {
  const Kind& k = kKinds[1];
  check_sweep(k, log1p_ref, 0, 0x7F7FFFFF, kSweepStride, "x >= 0");
  check_sweep(k, log1p_ref, 0x80000000, 0xBF7FFFFF, kSweepStride, "-1 < x <= -0");
}

}  // namespace
