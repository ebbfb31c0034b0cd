// Single-precision expm1 kernel (HA in every slot): special values and the
// overflow and -1 thresholds one ulp either side with their statuses, error
// modes, lengths and aliasing, the denormal field, and a dense sweep of
// [-104, 88.73] against double expm1.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/vml/single_unary_checks.h"

namespace {

using namespace orx::test::single;

double expm1_ref(double x) { return std::expm1(x); }

const Kind kKinds[] = {{"LA slot", orx_vml_kernel_sExpm1_ttab[0], ORX_VML_LA, 1.0},
                       {"HA", orx_vml_kernel_sExpm1_ttab[1], ORX_VML_HA, 1.0},
                       {"EP slot", orx_vml_kernel_sExpm1_ttab[2], ORX_VML_EP, 1.0}};

std::vector<Probe> probes() {
  const float overflow_last = std::bit_cast<float>(0x42B17217u);  // largest x with finite expm1
  std::vector<Probe> p = {
      {0.0f, Expect::kExact, 0.0f, 0},
      {-0.0f, Expect::kExact, -0.0f, 0},
      {F::quiet_NaN(), Expect::kNaN, 0, 0},
      {F::signaling_NaN(), Expect::kNaN, 0, 0},
      {kInf, Expect::kExact, kInf, 0},
      {-kInf, Expect::kExact, -1.0f, 0},
      {F::max(), Expect::kExact, kInf, 3},
      {-F::max(), Expect::kExact, -1.0f, 0},
      {overflow_last, Expect::kNear, 0, 0},
      {std::nextafter(overflow_last, 0.0f), Expect::kNear, 0, 0},
      {std::nextafter(overflow_last, kInf), Expect::kExact, kInf, 3},
      {F::denorm_min(), Expect::kExact, F::denorm_min(), 0},
      {-F::denorm_min(), Expect::kExact, -F::denorm_min(), 0},
      {0x1p-100f, Expect::kExact, 0x1p-100f, 0},
      {-0x1p-30f, Expect::kExact, -0x1p-30f, 0},
      {-17.5f, Expect::kExact, -1.0f, 0},  // e^-17.5 < 2^-25: rounds to -1
      {-100.0f, Expect::kExact, -1.0f, 0},
  };
  // The element path's -700 bound, the first k != 0 (ln2/2), 1, and the
  // last exponent before overflow.
  for (float edge : {-700.0f, 0.34657359f, -0.34657359f, 1.0f, 88.0f, -88.0f}) {
    for (float x : {std::nextafter(edge, -kInf), edge, std::nextafter(edge, kInf)})
      p.push_back({x, Expect::kNear, 0, 0});
  }
  return p;
}

TEST(SingleExpm1, SpecialValuesAndThresholdsInEverySlot) {
  for (const Kind& k : kKinds) check_probes(k, expm1_ref, probes(), 0.5f);
}

TEST(SingleExpm1, CallbackChangesResultIgnoreKeepsKernelValue) {
  for (const Kind& k : kKinds) check_error_modes(k, 1.0f, 100.0f, kInf, ORX_VML_STATUS_OVERFLOW);
}

TEST(SingleExpm1, EveryLengthUnalignedAndInPlace) {
  const std::vector<float> pool = {0.5f, -0.5f, 1e-30f, 80.0f, -80.0f, 3.0f, 1e-7f, -0.3f, -2e-40f};
  for (const Kind& k : kKinds) check_lengths(k, pool, 200.0f);
}

TEST(SingleExpm1, DenormalFieldAndCallerMxcsr) {
  for (const Kind& k : kKinds) check_denormal_field(k, expm1_ref, -3 * F::denorm_min(), -0.0f);
}

TEST(SingleExpm1, DenseSweepAgainstDoubleExpm1) {
  const Kind& k = kKinds[1];
  check_sweep(k, expm1_ref, 0, 0x42B17217, kSweepStride, "0 <= x <= 88.72");
  check_sweep(k, expm1_ref, 0x80000000, 0xC2D00000, kSweepStride, "-104 <= x <= -0");
}

}  // namespace
