// Accuracy goals and special values of every exported kernel the accuracy
// harness knows, one case per function x type x slot; rows the library does
// not export are skipped.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/accuracy/accuracy.h"
#include "vml/catalogue.h"

namespace {

using namespace orx::accuracy;

// Per sub-range; the full program (orx_vml_accuracy) takes 2e5 to 1e6.
constexpr size_t kSamplesPerRange = 5000;
constexpr uint64_t kSeed = 12345;

struct RowSlot {
  const FunctionEntry* entry;
  int slot;
};

std::vector<RowSlot> every_row_slot() {
  std::vector<RowSlot> cases;
  for (const FunctionEntry& entry : registry()) {
    for (int slot = 0; slot < 3; ++slot) cases.push_back({&entry, slot});
  }
  return cases;
}

std::string case_name(const testing::TestParamInfo<RowSlot>& info) {
  return row_name(*info.param.entry) + "_" + kSlotNames[info.param.slot];
}

class KernelAccuracy : public testing::TestWithParam<RowSlot> {};

TEST_P(KernelAccuracy, MeetsItsGoal) {
  const FunctionEntry& entry = *GetParam().entry;
  const int slot = GetParam().slot;
  const void* kernel = exported_kernel(entry, slot);
  if (kernel == nullptr) GTEST_SKIP() << row_name(entry) << " is not exported";
  const Measurement m = measure(entry, kernel, make_samples(entry, kSamplesPerRange, kSeed));
  const Goal goal = goal_for(entry, slot);
  EXPECT_EQ(m.count, kSamplesPerRange * entry.ranges.size());
  EXPECT_TRUE(meets(goal, m)) << row_name(entry) << " " << kSlotNames[slot] << ": max "
                              << m.max_ulp << " ulp at " << format_input(entry, m.worst_re, m.worst_im)
                              << " (" << m.worst_range << "), " << m.correct_bits()
                              << " correct bits at "
                              << format_input(entry, m.worst_rel_re, m.worst_rel_im)
                              << "; goal " << describe(goal);
  RecordProperty("max_ulp", std::to_string(m.max_ulp));
  RecordProperty("correct_bits", std::to_string(m.correct_bits()));
}

TEST_P(KernelAccuracy, SpecialValues) {
  const FunctionEntry& entry = *GetParam().entry;
  const void* kernel = exported_kernel(entry, GetParam().slot);
  if (kernel == nullptr) GTEST_SKIP() << row_name(entry) << " is not exported";
  for (const std::string& failure : check_specials(entry, kernel)) ADD_FAILURE() << failure;
}

INSTANTIATE_TEST_SUITE_P(Registry, KernelAccuracy, testing::ValuesIn(every_row_slot()),
                         case_name);

// Every registry entry names a catalogue row whose kernels take one input of
// the element type (s, d) or a complex input with a real result (c, z).
TEST(AccuracyRegistry, MatchesTheCatalogue) {
  for (const FunctionEntry& entry : registry()) {
    const orx::vml::CatalogueRow* row = nullptr;
    for (const auto& r : orx::vml::kCatalogue) {
      if (r.type == entry.type && std::string(r.function) == entry.function) row = &r;
    }
    ASSERT_NE(row, nullptr) << row_name(entry);
    const bool complex = entry.type == 'c' || entry.type == 'z';
    EXPECT_EQ(std::string(row->shape), complex ? "C2R" : "UN") << row_name(entry);
    EXPECT_EQ(entry.binary != nullptr, complex) << row_name(entry);
    EXPECT_EQ(entry.unary != nullptr, !complex) << row_name(entry);
    EXPECT_FALSE(entry.ranges.empty());
    EXPECT_FALSE(entry.specials.empty());
    for (const SubRange& r : entry.ranges) {
      EXPECT_LE(r.lo, r.hi) << row_name(entry) << " " << r.name;
      if (entry.type == 's' || entry.type == 'c') {
        EXPECT_EQ(static_cast<double>(static_cast<float>(r.lo)), r.lo) << r.name;
        EXPECT_EQ(static_cast<double>(static_cast<float>(r.hi)), r.hi) << r.name;
      }
    }
  }
}

}  // namespace
