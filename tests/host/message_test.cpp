// The message printer: each catalogue message, bad calls, the sink and stderr.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "orx/host.h"
#include "orx_serv.h"

namespace {

struct Captured {
  int number;
  int argc;
  std::optional<std::string> function;
  int index;
  double value;
  std::string text;
};

// Calls to the sink are serialized by the host, so no lock is needed here.
void collect(const orx_host_message* message, void* ctx) {
  auto* out = static_cast<std::vector<Captured>*>(ctx);
  std::optional<std::string> function;
  if (message->function != nullptr) function = message->function;
  out->push_back(
      {message->number, message->argc, function, message->index, message->value, message->text});
}

class HostMessages : public testing::Test {
 protected:
  void SetUp() override { orx_host_test_capture_messages(collect, &captured_); }
  void TearDown() override { orx_host_test_capture_messages(nullptr, nullptr); }
  std::vector<Captured> captured_;
};

// The value printed at the end of a line, read back.
double trailing_value(const std::string& text) {
  const size_t space = text.find_last_of(' ');
  return std::strtod(text.c_str() + space + 1, nullptr);
}

bool same_double(double a, double b) {
  return std::isnan(a) ? std::isnan(b) : std::memcmp(&a, &b, sizeof a) == 0;
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

struct FunctionCase {
  int number;
  const char* phrase;  // what the line must say
};

TEST_F(HostMessages, FunctionMessagesNameTheFunctionAndTheError) {
  const FunctionCase cases[] = {
      {736, "cannot be accessed"}, {737, "domain"},    {738, "singularity"},
      {739, "overflow"},           {740, "underflow"}, {741, "unknown"},
  };
  for (const FunctionCase& c : cases) {
    captured_.clear();
    orx_serv_orx_print(1, c.number, 1, "vdLog10");
    ASSERT_EQ(captured_.size(), 1u);
    const Captured& got = captured_[0];
    EXPECT_EQ(got.number, c.number);
    EXPECT_EQ(got.argc, 1);
    EXPECT_EQ(got.function, "vdLog10");
    EXPECT_EQ(got.index, 0);
    EXPECT_EQ(got.value, 0.0);
    EXPECT_TRUE(contains(got.text, std::to_string(c.number))) << got.text;
    EXPECT_TRUE(contains(got.text, "vdLog10")) << got.text;
    EXPECT_TRUE(contains(got.text, c.phrase)) << got.text;
    EXPECT_FALSE(contains(got.text, "\n"));
  }
}

TEST_F(HostMessages, InvalidArgumentNamesFunctionAndIndex) {
  orx_serv_orx_print(1, 735, 2, "vsPowx", 4);
  ASSERT_EQ(captured_.size(), 1u);
  const Captured& got = captured_[0];
  EXPECT_EQ(got.number, 735);
  EXPECT_EQ(got.argc, 2);
  EXPECT_EQ(got.function, "vsPowx");
  EXPECT_EQ(got.index, 4);
  EXPECT_TRUE(contains(got.text, "vsPowx")) << got.text;
  EXPECT_TRUE(contains(got.text, " 4 ")) << got.text;
  EXPECT_TRUE(contains(got.text, "argument")) << got.text;
}

TEST_F(HostMessages, NullFunctionNameIsPrintedSafely) {
  orx_serv_orx_print(1, 737, 1, static_cast<const char*>(nullptr));
  ASSERT_EQ(captured_.size(), 1u);
  EXPECT_FALSE(captured_[0].function.has_value());
  EXPECT_TRUE(contains(captured_[0].text, "domain")) << captured_[0].text;
}

struct ValueCase {
  int number;
  const char* role;  // which operand or result the line describes
};

TEST_F(HostMessages, ValueLinesCarryIndexAndRoundTripTheValue) {
  const ValueCase cases[] = {
      {742, "argument"},        {743, "result"},        {744, "argument"},
      {745, "first result"},    {746, "second result"}, {747, "first argument"},
      {748, "second argument"}, {749, "result"},        {750, "first argument"},
      {751, "second argument"}, {752, "first result"},  {753, "second result"},
  };
  const double values[] = {0.1,
                           -1.0 / 3.0,
                           5e-324,
                           -0.0,
                           std::nextafter(1.0, 2.0),
                           std::numeric_limits<double>::max(),
                           std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN()};
  int index = 0;
  for (const ValueCase& c : cases) {
    for (double value : values) {
      captured_.clear();
      ++index;
      orx_serv_orx_print(1, c.number, 2, index, value);
      ASSERT_EQ(captured_.size(), 1u);
      const Captured& got = captured_[0];
      EXPECT_EQ(got.number, c.number);
      EXPECT_EQ(got.argc, 2);
      EXPECT_FALSE(got.function.has_value());
      EXPECT_EQ(got.index, index);
      EXPECT_TRUE(same_double(got.value, value)) << got.text;
      EXPECT_TRUE(same_double(trailing_value(got.text), value)) << got.text;
      EXPECT_TRUE(contains(got.text, c.role)) << got.text;
      std::string index_text = " ";
      index_text += std::to_string(index);
      index_text += ':';
      EXPECT_TRUE(contains(got.text, index_text)) << got.text;
      if (!contains(c.role, "first") && !contains(c.role, "second")) {
        EXPECT_FALSE(contains(got.text, "first") || contains(got.text, "second")) << got.text;
      }
    }
  }
}

// The line for a call whose arguments must not be read: the number and no more.
void expect_number_only(const Captured& got, int number, int argc) {
  EXPECT_EQ(got.number, number);
  EXPECT_EQ(got.argc, argc);
  EXPECT_FALSE(got.function.has_value());
  EXPECT_EQ(got.index, 0);
  EXPECT_EQ(got.value, 0.0);
  std::string digits;
  for (char ch : got.text) {
    if ((ch >= '0' && ch <= '9') || ch == '-') digits += ch;
  }
  EXPECT_EQ(digits, std::to_string(number)) << got.text;
}

TEST_F(HostMessages, MismatchedCountPrintsTheNumberWithoutReadingArguments) {
  // Each call passes arguments that would show up in the text if they were read.
  orx_serv_orx_print(1, 735, 1, "vdLeaked");
  orx_serv_orx_print(1, 737, 2, "vdLeaked", 77);
  orx_serv_orx_print(1, 742, 1, 77);
  orx_serv_orx_print(1, 749, 3, 77, 2.5, 99);
  orx_serv_orx_print(1, 739, 0);
  const int expected[][2] = {{735, 1}, {737, 2}, {742, 1}, {749, 3}, {739, 0}};
  ASSERT_EQ(captured_.size(), std::size(expected));
  for (size_t i = 0; i < captured_.size(); ++i) {
    expect_number_only(captured_[i], expected[i][0], expected[i][1]);
    EXPECT_FALSE(contains(captured_[i].text, "Leaked")) << captured_[i].text;
  }
}

TEST_F(HostMessages, UnknownNumbersPrintTheNumberAlone) {
  for (int number : {734, 754, 0, -5, 100000}) {
    captured_.clear();
    orx_serv_orx_print(1, number, 2, "vdLeaked", 1.5);
    ASSERT_EQ(captured_.size(), 1u);
    expect_number_only(captured_[0], number, 2);
  }
}

TEST_F(HostMessages, ConcurrentMessagesAllReachTheSink) {
  constexpr int kThreads = 4;
  constexpr int kEach = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kEach; ++i) orx_serv_orx_print(1, 743, 2, t * kEach + i, 1.0 * i);
    });
  }
  for (std::thread& t : threads) t.join();
  ASSERT_EQ(captured_.size(), size_t{kThreads * kEach});
  std::vector<int> seen(kThreads * kEach, 0);
  for (const Captured& got : captured_) ++seen[got.index];
  EXPECT_EQ(seen, std::vector<int>(kThreads * kEach, 1));
}

// Without a sink, lines go to standard error; with one, nothing does.
TEST(HostMessageStderr, SinkDivertsAndItsRemovalRestoresStderr) {
  testing::internal::CaptureStderr();
  orx_serv_orx_print(1, 739, 1, "vdExp");
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(contains(err, "vdExp")) << err;
  EXPECT_TRUE(contains(err, "overflow")) << err;
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1);
  EXPECT_EQ(err.back(), '\n');

  std::vector<Captured> captured;
  orx_host_test_capture_messages(collect, &captured);
  testing::internal::CaptureStderr();
  orx_serv_orx_print(1, 740, 1, "vdExp");
  err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(err, "");
  EXPECT_EQ(captured.size(), 1u);

  orx_host_test_capture_messages(nullptr, nullptr);
  testing::internal::CaptureStderr();
  orx_serv_orx_print(1, 745, 2, 3, 0.25);
  err = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(contains(err, "0.25")) << err;
  EXPECT_EQ(captured.size(), 1u);
}

}  // namespace
