// The floating-point environment of a kernel: denormal field applied inside,
// the caller's MXCSR restored, exception flags kept or dropped accordingly.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cfenv>
#include <cfloat>
#include <cstdint>
#include <limits>

#include "orx/vml.h"
#include "tests/vml/vml_test_support.h"
#include "vml/fp_env.h"

namespace {

using orx::test::with_mode;

constexpr uint32_t kFtzDaz = 0x8040;

// Runs fn with the caller's MXCSR control bits set to `control` (flags clear)
// and returns the MXCSR seen right after fn.
template <class Fn>
uint32_t with_caller_mxcsr(uint32_t control, Fn&& fn) {
  const uint32_t saved = _mm_getcsr();
  _mm_setcsr((0x1F80 | control) & ~0x3Fu);
  fn();
  const uint32_t after = _mm_getcsr();
  _mm_setcsr(saved);
  return after;
}

double z_abs(double re, double im) {
  orx_complex16 z{re, im};
  double r = -1;
  orx_vml_kernel_zAbs_E7HAynn(1, &z, &r);
  return r;
}

struct DenormalCase {
  unsigned denormal_field;
  uint32_t caller_control;
  bool flushed;  // a subnormal modulus comes out as 0
};

class DenormalField : public testing::TestWithParam<DenormalCase> {};

TEST_P(DenormalField, AppliedInsideTheKernelOnly) {
  const DenormalCase c = GetParam();
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE | c.denormal_field, [&] {
    const double tiny = 1000 * std::numeric_limits<double>::denorm_min();
    double result = -1;
    const uint32_t after = with_caller_mxcsr(c.caller_control, [&] { result = z_abs(tiny, 0); });
    EXPECT_EQ(result, c.flushed ? 0.0 : tiny);
    EXPECT_EQ(after & 0xFFC0, (0x1F80 | c.caller_control) & 0xFFC0) << "caller's control bits restored";
  });
}

INSTANTIATE_TEST_SUITE_P(
    Fields, DenormalField,
    // Field 0 means the kernel's own default, no flushing, whatever the caller's.
    testing::Values(DenormalCase{0, 0, false},
                    DenormalCase{0, kFtzDaz, false},
                    DenormalCase{ORX_VML_FTZDAZ_ON, 0, true},
                    DenormalCase{ORX_VML_FTZDAZ_ON, kFtzDaz, true},
                    DenormalCase{ORX_VML_FTZDAZ_OFF, kFtzDaz, false},
                    DenormalCase{ORX_VML_FTZDAZ_OFF, 0, false}));

// Flags raised inside a kernel survive only when the kernel did not have to
// change MXCSR on entry.
TEST(ExceptionFlags, DroppedWhenMxcsrWasChangedKeptOtherwise) {
  struct Case {
    unsigned mode;
    uint32_t caller_control;
    bool overflow_flag_after;
  };
  const double big = std::numeric_limits<double>::max();
  for (const Case& c : {Case{ORX_VML_FTZDAZ_ON, 0, false}, Case{ORX_VML_FTZDAZ_ON, kFtzDaz, true},
                        Case{0, 0, true}, Case{0, kFtzDaz, false},
                        Case{ORX_VML_FTZDAZ_OFF, kFtzDaz, false},
                        Case{ORX_VML_FTZDAZ_OFF, 0, true}}) {
    // EXCEPT mode raises the flag too; both paths are covered by one check.
    with_mode(ORX_VML_HA | ORX_VML_ERRMODE_EXCEPT | c.mode, [&] {
      const uint32_t after = with_caller_mxcsr(c.caller_control, [&] {
        EXPECT_EQ(z_abs(big, big), std::numeric_limits<double>::infinity());
      });
      EXPECT_EQ((after & FE_OVERFLOW) != 0, c.overflow_flag_after)
          << "mode " << std::hex << c.mode << " caller " << c.caller_control;
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_OVERFLOW);
    });
  }
}

TEST(FpEnvGuard, RoundingKernelBitsAndX87ControlWordAreRestored) {
  using orx::vml::FpEnvGuard;
  uint16_t before = 0, inside = 0, after = 0;
  uint32_t mxcsr_inside = 0;
  const uint32_t saved = _mm_getcsr();
  __asm__ volatile("fnstcw %0" : "=m"(before));
  {
    const FpEnvGuard guard(ORX_VML_HA, 0x6000, orx::vml::kX87Double);
    __asm__ volatile("fnstcw %0" : "=m"(inside));
    mxcsr_inside = _mm_getcsr();
  }
  __asm__ volatile("fnstcw %0" : "=m"(after));
  EXPECT_EQ(inside & 0x0F00, 0x0200);
  EXPECT_EQ(inside & ~0x0F00, before & ~0x0F00);
  EXPECT_EQ(after, before);
  EXPECT_EQ(mxcsr_inside & 0xE040, 0x6000u);
  EXPECT_EQ(_mm_getcsr(), saved);
  // The required bits of a mode.
  EXPECT_EQ(orx::vml::required_mxcsr(0x2000, ORX_VML_FTZDAZ_ON), 0xA040u);
  EXPECT_EQ(orx::vml::required_mxcsr(0xE040, ORX_VML_FTZDAZ_OFF), 0x6000u);
  EXPECT_EQ(orx::vml::required_mxcsr(0x4000, 0x3C0000), 0x4000u);  // other values: default
}

}  // namespace
