// Double-precision e^x - 1 kernels (vector LA kernel in slots 0 and 2, x87
// element-by-element HA kernel in slot 1): special values, tiny and
// subnormal inputs, every threshold one ulp either side with its status,
// error modes, lengths and aliasing, the denormal field, the caller's x87
// control word, and accuracy against MPFR where the polynomials switch.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "tests/vml/unary_checks.h"

namespace {

using namespace orx::test;
using D = std::numeric_limits<double>;
constexpr double kInf = D::infinity();

const auto kSlots =
    slots_of<double>("dExpm1", orx_vml_kernel_dExpm1_ttab, mpfr_expm1, {{4}, {1}, {4}});

TEST(DoubleExpm1, SharedChecksInEverySlot) {
  const double overflow =
      with_bits<double>(0x40862E42FEFA39F0);  // the least x whose result overflows
  const double sub = with_bits<double>(0x000123456789ABCD);
  std::vector<Probe<double>> p = nan_probes<double>();
  p.insert(p.end(), {exact(kInf, kInf), exact(-kInf, -1.0), exact(D::max(), kInf, 3),
                     exact(1000.0, kInf, 3), exact(709.79, kInf, 3), exact(-D::max(), -1.0),
                     exact(-1000.0, -1.0), accurate(709.78), accurate(toward_zero(overflow)),
                     exact(overflow, kInf, 3), exact(away_from_zero(overflow), kInf, 3)});
  for (double x : {0.0, D::denorm_min(), D::min() - D::denorm_min(), D::min(), 0x1p-60})
    p.insert(p.end(), {exact(x, x), exact(-x, -x)});  // e^x - 1 rounds to x
  // Ends of the vector path (2^-54 and 708.39599609375, both signs), of the
  // element kernel's -1 (below -40) and of m = 1024.
  for (double edge :
       {0x1p-54, -0x1p-54, 708.39599609375, -708.39599609375, -40.0, 709.7772976810359})
    add_edge(p, edge);
  check_unary(kSlots, {.pool = {0.5, -2.5, 1e-7, 30.0, -0.003, 2.0, -39.0, 0x1p-50, 700.0},
                       .probes = p,
                       .error_modes = {{1.0, {{800.0, kInf}, {710.0, kInf}}, 3}},
                       .length_special = 800.0,
                       .denormal = {{sub, 0.0, 0, 0}, {-sub, -0.0, 0, 0}}});
}

uint16_t x87_control() {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
void set_x87_control(uint16_t cw) { __asm__ volatile("fldcw %0" : : "m"(cw)); }

// The element kernel computes in extended precision whatever the caller's x87
// precision, and gives the caller its control word back.
TEST(DoubleExpm1, ElementKernelSetsAndRestoresX87ControlWord) {
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE, [] {
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> value(-2.0, 2.0);
    std::vector<double> in(2000), extended(in.size()), from_double(in.size());
    for (auto& x : in) x = value(rng);
    const uint16_t caller = x87_control();
    orx_vml_kernel_dExpm1_EXHAynn(static_cast<int>(in.size()), in.data(), extended.data());
    EXPECT_EQ(x87_control(), caller);
    const uint16_t double_precision = static_cast<uint16_t>((caller & ~0x0F00) | 0x0200);
    set_x87_control(double_precision);
    orx_vml_kernel_dExpm1_EXHAynn(static_cast<int>(in.size()), in.data(), from_double.data());
    const uint16_t after = x87_control();
    set_x87_control(caller);
    EXPECT_EQ(after, double_precision);
    for (size_t i = 0; i < in.size(); ++i) EXPECT_EQ(bits(extended[i]), bits(from_double[i]));
  });
}

// Around the element kernel's Taylor range (|r| <= 0.0055) and the vector
// kernel's switches; the wider ranges are the accuracy harness's.
TEST(DoubleExpm1, AccuracyAgainstMpfrWherePolynomialsSwitch) {
  for (const auto& s : kSlots)
    check_random(s, {{-0.0055, 0.0055, false}, {-0.02, 0.02, false}, {-0x1p-30, 0x1p-30, false}},
                 20000);
}

}  // namespace
