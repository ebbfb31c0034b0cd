// Service table entries 1 and 4: ORX_NUM_THREADS, the hardware default, the override.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

#include "host_services.h"
#include "orx/host.h"

namespace {

int64_t num_threads() { return host_service<orx_host_num_threads_fn>(ORX_HOST_NUM_THREADS)(); }

void set_num_threads(int64_t n) {
  host_service<orx_host_set_num_threads_fn>(ORX_HOST_SET_NUM_THREADS)(n);
}

int64_t hardware_threads() {
  const unsigned hardware = std::thread::hardware_concurrency();
  return hardware > 0 ? hardware : 1;
}

// Entry 4 reads the variable on every call, so the tests change it in place
// and put back what the process started with.
class HostThreadCount : public testing::Test {
 protected:
  void SetUp() override {
    if (const char* value = std::getenv("ORX_NUM_THREADS")) saved_ = value;
    unsetenv("ORX_NUM_THREADS");
    set_num_threads(0);
  }
  void TearDown() override {
    set_num_threads(0);
    if (saved_) {
      setenv("ORX_NUM_THREADS", saved_->c_str(), 1);
    } else {
      unsetenv("ORX_NUM_THREADS");
    }
  }

 private:
  std::optional<std::string> saved_;
};

TEST_F(HostThreadCount, DefaultsToTheHardwareConcurrency) {
  EXPECT_EQ(num_threads(), hardware_threads());
}

TEST_F(HostThreadCount, TakesOnlyPositiveIntegersFromTheEnvironment) {
  struct Case {
    const char* value;
    int64_t expected;  // 0: the hardware default
  };
  const Case cases[] = {
      {"3", 3},
      {"1", 1},
      {"64", 64},
      {"0", 0},
      {"-2", 0},
      {"abc", 0},
      {"4x", 0},
      {"", 0},
      {" 4", 0},
      {"+4", 0},
      {"99999999999999999999999", 0},
  };
  for (const Case& c : cases) {
    setenv("ORX_NUM_THREADS", c.value, 1);
    EXPECT_EQ(num_threads(), c.expected ? c.expected : hardware_threads()) << '"' << c.value << '"';
  }
}

TEST_F(HostThreadCount, OverrideWinsUntilReset) {
  setenv("ORX_NUM_THREADS", "3", 1);
  set_num_threads(5);
  EXPECT_EQ(num_threads(), 5);
  unsetenv("ORX_NUM_THREADS");
  EXPECT_EQ(num_threads(), 5);
  setenv("ORX_NUM_THREADS", "3", 1);
  set_num_threads(0);
  EXPECT_EQ(num_threads(), 3);
  set_num_threads(7);
  set_num_threads(-1);
  EXPECT_EQ(num_threads(), 3);
}

}  // namespace
