// Single-precision common logarithm kernels (LA, HA, EP): special values and
// the edges of the fast path one ulp either side with their statuses, error
// modes, lengths and aliasing, the denormal field, and a dense sweep of every
// 61st positive float against double log10.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/vml/single_unary_checks.h"

namespace {

using namespace orx::test::single;

double log10_ref(double x) { return std::log10(x); }

// EP: 11 correct bits; 4096 ulps of the float result is at most 2^-11
// relative.
const Kind kKinds[] = {{"LA", orx_vml_kernel_sLog10_ttab[0], ORX_VML_LA, 4.0},
                       {"HA", orx_vml_kernel_sLog10_ttab[1], ORX_VML_HA, 1.0},
                       {"EP", orx_vml_kernel_sLog10_ttab[2], ORX_VML_EP, 4096.0}};

std::vector<Probe> probes() {
  const float split = std::bit_cast<float>(0x3F3504F3u);  // sqrt(2)/2, the mantissa split
  std::vector<Probe> p = {
      {1.0f, Expect::kExact, 0.0f, 0},
      {F::quiet_NaN(), Expect::kNaN, 0, 0},
      {-F::quiet_NaN(), Expect::kNaN, 0, 0},
      {F::signaling_NaN(), Expect::kNaN, 0, 0},
      {kInf, Expect::kExact, kInf, 0},
      {0.0f, Expect::kExact, -kInf, 2},
      {-0.0f, Expect::kExact, -kInf, 2},
      {-kInf, Expect::kIndefinite, 0, 1},
      {-1.0f, Expect::kIndefinite, 0, 1},
      {-F::denorm_min(), Expect::kIndefinite, 0, 1},
      {-F::max(), Expect::kIndefinite, 0, 1},
      {F::denorm_min(), Expect::kNear, 0, 0},
      {F::max(), Expect::kNear, 0, 0},
      {10.0f, Expect::kNear, 0, 0},
      {0.1f, Expect::kNear, 0, 0},
  };
  for (float edge : {1.0f, split, 2 * split, F::min(), F::max() / 2}) {
    for (float x : {std::nextafter(edge, 0.0f), edge, std::nextafter(edge, kInf)})
      p.push_back({x, Expect::kNear, 0, 0});
  }
  return p;
}

TEST(SingleLog10, SpecialValuesAndEdgesInEverySlot) {
  for (const Kind& k : kKinds) check_probes(k, log10_ref, probes(), 3.0f);
}

TEST(SingleLog10, CallbackChangesResultIgnoreKeepsKernelValue) {
  for (const Kind& k : kKinds) {
    check_error_modes(k, 2.0f, -2.0f, std::bit_cast<float>(0xFFC00000u), ORX_VML_STATUS_DOMAIN);
    check_error_modes(k, 2.0f, 0.0f, -kInf, ORX_VML_STATUS_SINGULARITY);
  }
}

TEST(SingleLog10, EveryLengthUnalignedAndInPlace) {
  const std::vector<float> pool = {0.5f, 3.0f, 1e-30f, 7e20f, 1.0f, 0.99f, 1.01f, 123.0f, 2e-40f};
  for (const Kind& k : kKinds) check_lengths(k, pool, -1.0f);
}

TEST(SingleLog10, DenormalFieldAndCallerMxcsr) {
  for (const Kind& k : kKinds) check_denormal_field(k, log10_ref, 5 * F::denorm_min(), -kInf);
}

TEST(SingleLog10, DenseSweepAgainstDoubleLog10) {
  for (const Kind& k : kKinds) check_sweep(k, log10_ref, 1, 0x7F7FFFFF, kSweepStride, "positive floats");
}

}  // namespace
