// The mode variable: parsing of its value and the first mode of a thread.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "orx/vml.h"
#include "tests/vml/vml_test_support.h"

namespace {

using orx::test::in_fresh_thread;
using orx::test::ScopedModeVariable;

struct ParseCase {
  std::optional<std::string> value;  // nullopt: variable absent
  int64_t parsed;                    // orx_vml_kernel_ReadEnvVarMode
  unsigned mode;                     // first orx_vml_kernel_GetMode of a thread
};

class ModeVariable : public testing::TestWithParam<ParseCase> {};

TEST_P(ModeVariable, ParsesAndSetsFirstMode) {
  const ParseCase& c = GetParam();
  ScopedModeVariable variable(c.value);
  int64_t parsed = 0;
  unsigned mode = 0;
  in_fresh_thread([&] {
    parsed = orx_vml_kernel_ReadEnvVarMode();
    mode = orx_vml_kernel_GetMode();
  });
  EXPECT_EQ(parsed, c.parsed);
  EXPECT_EQ(mode, c.mode);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ModeVariable,
    testing::Values(
        // Absent, empty and malformed values fall back to the default.
        ParseCase{std::nullopt, -1, 0x1A02}, ParseCase{"", -1, 0x1A02},
        ParseCase{"VML_HA,", -1, 0x1A02}, ParseCase{"VML_HA, VML_LA", -1, 0x1A02},
        ParseCase{" VML_HA", -1, 0x1A02}, ParseCase{"VML_HA ", -1, 0x1A02},
        ParseCase{"vml_HA", -1, 0x1A02}, ParseCase{"VML_ha", -1, 0x1A02},
        ParseCase{"VML_XYZ", -1, 0x1A02}, ParseCase{"VML_", -1, 0x1A02},
        ParseCase{"VML", -1, 0x1A02}, ParseCase{",VML_HA", -1, 0x1A02},
        ParseCase{"VML_HA,,VML_LA", -1, 0x1A02}, ParseCase{"VML_HAX", -1, 0x1A02},
        ParseCase{"VML_HA;VML_LA", -1, 0x1A02}, ParseCase{"VML_LA,VML_XYZ", -1, 0x1A02},
        ParseCase{"VML_LA,HA", -1, 0x1A02},
        // Every keyword alone.
        ParseCase{"VML_LA", 0x1, 0x1}, ParseCase{"VML_HA", 0x2, 0x2},
        ParseCase{"VML_EP", 0x3, 0x3}, ParseCase{"VML_FLOAT_CONSISTENT", 0x10, 0x10},
        ParseCase{"VML_DOUBLE_CONSISTEN", 0x20, 0x20}, ParseCase{"VML_RESTORE", 0x30, 0x30},
        ParseCase{"VML_ERRMODE_IGNORE", 0x100, 0x100}, ParseCase{"VML_ERRMODE_ERRNO", 0x200, 0x200},
        ParseCase{"VML_ERRMODE_STDERR", 0x400, 0x400},
        ParseCase{"VML_ERRMODE_EXCEPT", 0x800, 0x800},
        ParseCase{"VML_ERRMODE_CALLBACK", 0x1000, 0x1000},
        ParseCase{"VML_ERRMODE_DEFAULT", 0x1A00, 0x1A00},
        // The stored keyword has 16 characters: its 17th is not an end.
        ParseCase{"VML_DOUBLE_CONSISTENT", -1, 0x1A02},
        // Values are ORed, with no precedence within a field.
        ParseCase{"VML_LA,VML_HA", 0x3, 0x3},
        ParseCase{"VML_LA,VML_ERRMODE_STDERR", 0x401, 0x401},
        ParseCase{"VML_FLOAT_CONSISTENT,VML_DOUBLE_CONSISTEN", 0x30, 0x30},
        ParseCase{"VML_ERRMODE_IGNORE,VML_ERRMODE_ERRNO", 0x300, 0x300},
        ParseCase{"VML_EP,VML_ERRMODE_DEFAULT,VML_RESTORE", 0x1A33, 0x1A33},
        ParseCase{"VML_HA,VML_HA,VML_HA", 0x2, 0x2},
        // DEFAULT_PRECISION is tried before FLOAT_CONSISTENT; its own value is 0.
        ParseCase{"VML_DEFAULT_PRECISION,VML_LA", 0x1, 0x1}));

// Builds a run of valid tokens, each ending in a comma, exactly `length`
// characters long (7- and 12-character tokens reach every length >= 66).
std::string tokens_of_length(size_t length) {
  for (size_t sevens = 0; sevens * 7 <= length; ++sevens) {
    const size_t rest = length - sevens * 7;
    if (rest % 12 == 0) {
      std::string out;
      for (size_t i = 0; i < sevens; ++i) out += "VML_LA,";
      for (size_t i = 0; i < rest / 12; ++i) out += "VML_RESTORE,";
      return out;
    }
  }
  ADD_FAILURE() << "no token run of length " << length;
  return {};
}

// A keyword is tried only while it ends before character 256 of the value.
TEST(ModeVariableLength, KeywordMustEndBeforeCharacter256) {
  struct Case {
    size_t prefix;
    const char* last;
    int64_t parsed;
  };
  // prefix + 4 + len("HA") = 255: accepted; 256: skipped, so invalid.
  // With a 16-character keyword the limit moves by 14.
  const std::vector<Case> cases = {
      {249, "VML_HA", 0x33},
      {250, "VML_HA", -1},
      {235, "VML_ERRMODE_CALLBACK", 0x1031},
      {236, "VML_ERRMODE_CALLBACK", -1},
  };
  for (const Case& c : cases) {
    const std::string prefix = tokens_of_length(c.prefix);
    ASSERT_EQ(prefix.size(), c.prefix);
    const std::string value = prefix + c.last;
    ScopedModeVariable variable(value);
    int64_t parsed = 0;
    in_fresh_thread([&] { parsed = orx_vml_kernel_ReadEnvVarMode(); });
    // Every prefix used here holds both LA and RESTORE tokens (0x31).
    ASSERT_NE(prefix.find("VML_RESTORE,"), std::string::npos);
    ASSERT_NE(prefix.find("VML_LA,"), std::string::npos);
    EXPECT_EQ(parsed, c.parsed) << "value of " << value.size() << " characters ending in " << c.last;
  }
}

// A value that parses to 0 leaves the word unset: it is read again each call.
TEST(ModeVariableLength, ZeroModeIsReadAgainOnEveryCall) {
  ScopedModeVariable variable(std::string("VML_DEFAULT_PRECISION"));
  in_fresh_thread([] {
    EXPECT_EQ(orx_vml_kernel_GetMode(), 0u);
    EXPECT_EQ(orx_vml_kernel_GetTTableIndex(), -1);
    setenv("ORX_VML_MODE", "VML_LA", 1);
    EXPECT_EQ(orx_vml_kernel_GetMode(), 0x1u);
    // Once non-zero, the word no longer follows the variable.
    setenv("ORX_VML_MODE", "VML_EP", 1);
    EXPECT_EQ(orx_vml_kernel_GetMode(), 0x1u);
  });
}

TEST(ModeVariableLength, EachThreadReadsTheVariableOnItsFirstUse) {
  ScopedModeVariable variable(std::string("VML_LA"));
  unsigned first = 0, second = 0;
  in_fresh_thread([&] { first = orx_vml_kernel_GetMode(); });
  setenv("ORX_VML_MODE", "VML_EP,VML_ERRMODE_ERRNO", 1);
  in_fresh_thread([&] { second = orx_vml_kernel_GetMode(); });
  EXPECT_EQ(first, 0x1u);
  EXPECT_EQ(second, 0x203u);
}

}  // namespace
