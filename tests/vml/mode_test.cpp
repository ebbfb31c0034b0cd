// The mode word: field replacement by SetMode, slots, per-thread independence.
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "orx/vml.h"
#include "tests/vml/vml_test_support.h"

namespace {

using orx::test::in_fresh_thread;
using orx::test::ScopedModeVariable;

struct SetModeCase {
  const char* variable;  // the thread's first mode comes from it
  unsigned new_mode;
  unsigned previous;     // SetMode's result
  unsigned after;        // GetMode afterwards
};

class SetModeFields : public testing::TestWithParam<SetModeCase> {};

TEST_P(SetModeFields, ReplacesOnlyNonZeroFields) {
  const SetModeCase& c = GetParam();
  ScopedModeVariable variable(std::string(c.variable));
  unsigned previous = 0, after = 0;
  in_fresh_thread([&] {
    previous = orx_vml_kernel_SetMode(c.new_mode);
    after = orx_vml_kernel_GetMode();
  });
  EXPECT_EQ(previous, c.previous);
  EXPECT_EQ(after, c.after);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, SetModeFields,
    testing::Values(
        // "bad" is invalid, so the thread starts from the default 0x1A02.
        SetModeCase{"bad", 0x0, 0x1A02, 0x1A02},
        SetModeCase{"bad", 0x30, 0x1A02, 0x1A02},        // FPU field ignored
        SetModeCase{"bad", 0x3, 0x1A02, 0x1A03},
        SetModeCase{"bad", 0x100, 0x1A02, 0x0102},       // error field replaced whole
        SetModeCase{"bad", 0x0600, 0x1A02, 0x0602},
        SetModeCase{"bad", 0x280000, 0x1A02, 0x281A02},  // denormal field
        SetModeCase{"bad", 0x140401, 0x1A02, 0x140401},
        SetModeCase{"bad", 0xFF000000u, 0x1A02, 0x1A02}, // bits outside every field
        SetModeCase{"bad", 0x3000F, 0x1A02, 0x1A0F},      // accuracy 0xF kept as given
        SetModeCase{"VML_EP,VML_RESTORE", 0x1, 0x33, 0x31},  // FPU field survives
        SetModeCase{"VML_LA,VML_ERRMODE_STDERR", 0x1A00, 0x401, 0x1A01}));

TEST(SetMode, DenormalFieldIsReplacedNotOred) {
  ScopedModeVariable variable(std::nullopt);
  in_fresh_thread([] {
    orx_vml_kernel_SetMode(0x280000);
    EXPECT_EQ(orx_vml_kernel_SetMode(0x140000), 0x281A02u);
    EXPECT_EQ(orx_vml_kernel_GetMode(), 0x141A02u);
  });
}

TEST(SetMode, ForwardersReachTheSameWord) {
  ScopedModeVariable variable(std::nullopt);
  in_fresh_thread([] {
    EXPECT_EQ(_vmlSetMode(0x1), 0x1A02u);
    EXPECT_EQ(_vmlGetMode(), 0x1A01u);
    EXPECT_EQ(orx_vml_kernel_GetMode(), 0x1A01u);
    int data[4];
    EXPECT_EQ(_vmlSetInterfInputVectorPointer(data), data);
    EXPECT_EQ(orx_vml_kernel_SetInterfInputVectorPointer(nullptr), nullptr);
  });
}

TEST(SetMode, ModesAreIndependentPerThread) {
  ScopedModeVariable variable(std::nullopt);
  unsigned seen_a = 0, seen_b = 0;
  std::thread a([&] {
    orx_vml_kernel_SetMode(ORX_VML_LA | ORX_VML_ERRMODE_IGNORE);
    std::this_thread::yield();
    seen_a = orx_vml_kernel_GetMode();
  });
  std::thread b([&] {
    orx_vml_kernel_SetMode(ORX_VML_EP | ORX_VML_ERRMODE_STDERR | ORX_VML_FTZDAZ_ON);
    std::this_thread::yield();
    seen_b = orx_vml_kernel_GetMode();
  });
  a.join();
  b.join();
  EXPECT_EQ(seen_a, 0x0101u);
  EXPECT_EQ(seen_b, 0x280403u);
}

TEST(Slots, AccuracyFieldSelectsTheSlot) {
  ScopedModeVariable variable(std::nullopt);
  in_fresh_thread([] {
    EXPECT_EQ(orx_vml_kernel_GetTTableIndex(), 1);  // default HA
    orx_vml_kernel_SetMode(ORX_VML_LA);
    EXPECT_EQ(orx_vml_kernel_GetTTableIndex(), 0);
    orx_vml_kernel_SetMode(ORX_VML_EP);
    EXPECT_EQ(orx_vml_kernel_GetTTableIndex(), 2);
  });
  // An accuracy field of 0 gives -1, unclamped.
  ScopedModeVariable zero_accuracy(std::string("VML_ERRMODE_ERRNO"));
  in_fresh_thread([] { EXPECT_EQ(orx_vml_kernel_GetTTableIndex(), -1); });
}

TEST(Slots, ExplicitModeIgnoresFirstArgument) {
  EXPECT_EQ(orx_vml_kernel_GetTTableIndexM(12345, 0x1A01), 0);
  EXPECT_EQ(orx_vml_kernel_GetTTableIndexM(-1, 0x2), 1);
  EXPECT_EQ(orx_vml_kernel_GetTTableIndexM(0, 0xFFFFFFFF00000003ull), 2);
  EXPECT_EQ(orx_vml_kernel_GetTTableIndexM(0, 0x1A00), -1);
  EXPECT_EQ(dll_cpu_version(), 0);
}

}  // namespace
