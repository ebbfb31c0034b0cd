// Output sequences of the congruential and recursive engines (MCG31M1, MCG59,
// MRG32K3A, WH, R250) against plain scalar models of their recurrences:
// seeding, raw words, double and float conversion, request lengths and splits.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "orx/rng.h"
#include "orx/wh_params.inc"

namespace {

constexpr uint32_t kP31 = 0x7FFFFFFF;  // 2^31 - 1
constexpr uint32_t kMcg31Mult = 1132489760;
constexpr uint64_t kMask59 = (uint64_t{1} << 59) - 1;
constexpr uint64_t kMcg59Mult = 302875106592253;  // 13^13
constexpr int64_t kM1 = 4294967087, kM2 = 4294944443;
constexpr size_t kHeaderBytes = 16;  // the stream header before the engine state

using Seeds = std::vector<uint32_t>;

// Correct rounding of a 64-bit integer to double (half to even), done on
// integers so that the model does not lean on a conversion under test.
double round_to_double(uint64_t x) {
  const int width = std::bit_width(x);
  if (width <= 53) return static_cast<double>(x);
  const int drop = width - 53;
  uint64_t q = x >> drop;
  const uint64_t rest = x & ((uint64_t{1} << drop) - 1), half = uint64_t{1} << (drop - 1);
  if (rest > half || (rest == half && (q & 1))) ++q;
  return std::ldexp(static_cast<double>(q), drop);
}

uint64_t pow_mod(uint64_t a, uint64_t k, uint64_t m) {
  unsigned __int128 r = 1 % m, b = a % m;
  for (; k; k >>= 1, b = b * b % m)
    if (k & 1) r = r * b % m;
  return static_cast<uint64_t>(r);
}

// ---- models ----------------------------------------------------------------

struct Step {
  std::array<uint32_t, 4> raw;  // the raw words written for this value
  double x;                     // the value fed to the conversion (x, z, u or the word)
};

class Model {
 public:
  virtual ~Model() = default;
  virtual Step next() = 0;
  // The state area as 32-bit words (R250: only right after seeding).
  virtual std::vector<uint32_t> state() const = 0;
};

class Mcg31Model final : public Model {
 public:
  explicit Mcg31Model(const Seeds& s) : x_(s.empty() ? 1 : s[0] % kP31) {
    if (x_ == 0) x_ = 1;
  }
  Step next() override {
    const Step st{{x_}, static_cast<double>(x_)};
    x_ = static_cast<uint32_t>(uint64_t{kMcg31Mult} * x_ % kP31);
    return st;
  }
  std::vector<uint32_t> state() const override { return {x_, kMcg31Mult}; }

 private:
  uint32_t x_;
};

class Mcg59Model final : public Model {
 public:
  explicit Mcg59Model(const Seeds& s) {
    x_ = s.empty() ? 1 : s.size() == 1 ? s[0] : (s[0] + (uint64_t{s[1]} << 32)) & kMask59;
    if (x_ == 0) x_ = 1;
  }
  Step next() override {
    const Step st{{lo(x_), hi(x_)}, round_to_double(x_)};
    x_ = (x_ * kMcg59Mult) & kMask59;  // the product wraps mod 2^64, a multiple of 2^59
    return st;
  }
  std::vector<uint32_t> state() const override {
    return {lo(x_), hi(x_), lo(kMcg59Mult), hi(kMcg59Mult)};
  }

 private:
  static uint32_t lo(uint64_t v) { return static_cast<uint32_t>(v); }
  static uint32_t hi(uint64_t v) { return static_cast<uint32_t>(v >> 32); }
  uint64_t x_;
};

class Mrg32k3aModel final : public Model {
 public:
  explicit Mrg32k3aModel(const Seeds& s) {
    int64_t v[6] = {1, 1, 1, 1, 1, 1};
    for (size_t i = 0; i < std::min<size_t>(s.size(), 6); ++i) v[i] = s[i];
    for (int i = 0; i < 3; ++i)
      if (v[i] >= kM1) v[i] -= kM1;
    for (int i = 3; i < 6; ++i)
      if (v[i] >= kM2) v[i] -= kM2;
    if (v[0] == 0 && v[1] == 0 && v[2] == 0) v[0] = 1;
    if (v[3] == 0 && v[4] == 0 && v[5] == 0) v[3] = 1;
    std::copy(v, v + 3, x1_);
    std::copy(v + 3, v + 6, x2_);
  }
  Step next() override {
    // x1[n] = 1403580 x1[n-2] - 810728 x1[n-3], x2[n] = 527612 x2[n-1] - 1370589 x2[n-3].
    const int64_t n1 = mod(1403580 * x1_[1] - 810728 * x1_[0], kM1);
    const int64_t n2 = mod(527612 * x2_[2] - 1370589 * x2_[0], kM2);
    x1_[0] = x1_[1], x1_[1] = x1_[2], x1_[2] = n1;
    x2_[0] = x2_[1], x2_[1] = x2_[2], x2_[2] = n2;
    const int64_t z = n1 - n2 < 0 ? n1 - n2 + kM1 : n1 - n2;
    return {{static_cast<uint32_t>(z)}, static_cast<double>(z)};
  }
  std::vector<uint32_t> state() const override {
    std::vector<uint32_t> w;
    for (int64_t v : x1_) w.push_back(static_cast<uint32_t>(v));
    for (int64_t v : x2_) w.push_back(static_cast<uint32_t>(v));
    return w;
  }

 private:
  static int64_t mod(int64_t v, int64_t m) { return (v % m + m) % m; }
  int64_t x1_[3], x2_[3];  // oldest first
};

class WhModel final : public Model {
 public:
  WhModel(int sub, const Seeds& s) : sub_(sub) {
    for (size_t i = 0; i < 4; ++i) {
      x_[i] = i < s.size() ? s[i] % _vsl_WH_M[sub_][i] : 1;
      if (x_[i] == 0) x_[i] = 1;
    }
  }
  Step next() override {
    const double* im = _vsldWH_IM_Tab[sub_];
    const double sum = ((x_[0] * im[0] + x_[1] * im[1]) + x_[2] * im[2]) + x_[3] * im[3];
    const Step st{{x_[0], x_[1], x_[2], x_[3]}, sum - std::floor(sum)};
    for (int i = 0; i < 4; ++i)
      x_[i] = static_cast<uint32_t>(uint64_t{_vsl_WH_A[sub_][i]} * x_[i] % _vsl_WH_M[sub_][i]);
    return st;
  }
  std::vector<uint32_t> state() const override {
    std::vector<uint32_t> w(x_, x_ + 4);
    for (int i = 0; i < 4; ++i) w.push_back(_vsl_WH_A[sub_][i]);
    return w;
  }

 private:
  int sub_;
  uint32_t x_[4];
};

class R250Model final : public Model {
 public:
  explicit R250Model(const Seeds& s) {
    if (s.size() >= 250) {
      words_.assign(s.begin(), s.begin() + 250);
      return;
    }
    uint32_t y = s.empty() || s[0] == 0 ? 1 : s[0];
    for (int i = 0; i < 250; ++i) words_.push_back(y *= 69069u);
    for (int j = 0; j < 32; ++j) {
      uint32_t& w = words_[3 + 7 * j];
      w = (w & (0xFFFFFFFFu >> j)) | (0x80000000u >> j);
    }
  }
  Step next() override {
    const size_t n = words_.size();
    const uint32_t w = words_[n - 250] ^ words_[n - 103];
    words_.push_back(w);
    return {{w}, static_cast<double>(w)};
  }
  std::vector<uint32_t> state() const override {
    std::vector<uint32_t> w(words_.begin(), words_.begin() + 250);
    w.push_back(0);    // position of the oldest word
    w.push_back(103);  // second lag
    return w;
  }

 private:
  std::vector<uint32_t> words_;  // the whole history, seed words first
};

// ---- engines under test ----------------------------------------------------

struct Engine {
  const char* name;
  uint32_t id;
  int raw_words;  // 32-bit words per raw value
  double c;       // conversion factor of the value to [0, 1)
  int (*ifill)(orx_rng_stream*, int, uint32_t*);
  int (*dfill)(orx_rng_stream*, int, double*, double, double);
  int (*sfill)(orx_rng_stream*, int, float*, float, float);
  std::unique_ptr<Model> (*model)(uint32_t id, const Seeds& seeds);
};

// Test names and failure messages show the engine by name.
void PrintTo(const Engine& e, std::ostream* os) { *os << e.name; }

template <class M>
std::unique_ptr<Model> make(uint32_t, const Seeds& s) {
  return std::make_unique<M>(s);
}
std::unique_ptr<Model> make_wh(uint32_t id, const Seeds& s) {
  return std::make_unique<WhModel>(static_cast<int>(id - ORX_BRNG_WH), s);
}

const Engine kMcg31{"MCG31M1",          ORX_BRNG_MCG31M1,  1,
                    1.0 / 2147483647.0, __vsliBRngMCG31M1, __vsldBRngMCG31M1,
                    __vslsBRngMCG31M1,  make<Mcg31Model>};
const Engine kMcg59{"MCG59",         ORX_BRNG_MCG59,  2, 0x1p-59, __vsliBRngMCG59, __vsldBRngMCG59,
                    __vslsBRngMCG59, make<Mcg59Model>};
const Engine kMrg{"MRG32K3A",         ORX_BRNG_MRG32K3A,  1,
                  1.0 / 4294967087.0, __vsliBRngMRG32K3A, __vsldBRngMRG32K3A,
                  __vslsBRngMRG32K3A, make<Mrg32k3aModel>};
const Engine kR250{"R250",         ORX_BRNG_R250,  1, 0x1p-32, __vsliBRngR250, __vsldBRngR250,
                   __vslsBRngR250, make<R250Model>};
Engine wh(const char* name, uint32_t sub) {
  return {name, ORX_BRNG_WH + sub, 4, 1.0, __vsliBRngWH, __vsldBRngWH, __vslsBRngWH, make_wh};
}

struct StreamDeleter {
  void operator()(orx_rng_stream* s) const { __vslDeleteStream(&s); }
};
using StreamPtr = std::unique_ptr<orx_rng_stream, StreamDeleter>;

StreamPtr new_stream(uint32_t id, const Seeds& seeds) {
  orx_rng_stream* s = nullptr;
  const int status = __vslNewStreamEx(&s, id, static_cast<uint32_t>(seeds.size()), seeds.data());
  EXPECT_EQ(status, 0) << "creating stream 0x" << std::hex << id;
  return StreamPtr(status == 0 ? s : nullptr);
}

std::vector<uint32_t> state_words(const orx_rng_stream* s, size_t count) {
  std::vector<uint32_t> w(count);
  std::memcpy(w.data(), reinterpret_cast<const unsigned char*>(s) + kHeaderBytes, count * 4);
  return w;
}

// ---- drawing and comparing -------------------------------------------------

enum class Mode { kRaw, kDouble, kFloat };
constexpr Mode kModes[] = {Mode::kRaw, Mode::kDouble, Mode::kFloat};
struct Interval {
  double a, b;
};

double to_double(double x, double c, Interval iv) {
  double r = iv.a + x * ((iv.b - iv.a) * c);
  if (iv.a < iv.b && r >= iv.b) r = std::nextafter(iv.b, -INFINITY);
  return r;
}

float to_float(double x, double c, Interval iv) {
  const float a = static_cast<float>(iv.a), b = static_cast<float>(iv.b);
  float r = a + static_cast<float>(x * c) * (b - a);
  if (a < b && r >= b) r = std::nextafter(b, -INFINITY);
  return r;
}

// One request to the engine; outputs come back as bit patterns (raw words, or
// the bits of each double or float). Words past the request must stay as they were.
std::vector<uint64_t> engine_draw(const Engine& e, orx_rng_stream* s, Mode mode, int n,
                                  Interval iv) {
  constexpr size_t kGuard = 9;
  const size_t count = n > 0 ? static_cast<size_t>(n) : 0;
  std::vector<uint64_t> out;
  uint64_t sentinel = 0;
  switch (mode) {
    case Mode::kRaw: {
      sentinel = 0xA5A5A5A5u;
      std::vector<uint32_t> r(count * e.raw_words + kGuard, static_cast<uint32_t>(sentinel));
      EXPECT_EQ(e.ifill(s, n, r.data()), 0);
      out.assign(r.begin(), r.end());
      break;
    }
    case Mode::kDouble: {
      sentinel = std::bit_cast<uint64_t>(-12345.5);
      std::vector<double> r(count + kGuard, -12345.5);
      EXPECT_EQ(e.dfill(s, n, r.data(), iv.a, iv.b), 0);
      for (double v : r) out.push_back(std::bit_cast<uint64_t>(v));
      break;
    }
    case Mode::kFloat: {
      sentinel = std::bit_cast<uint32_t>(-12345.5f);
      std::vector<float> r(count + kGuard, -12345.5f);
      EXPECT_EQ(e.sfill(s, n, r.data(), static_cast<float>(iv.a), static_cast<float>(iv.b)), 0);
      for (float v : r) out.push_back(std::bit_cast<uint32_t>(v));
      break;
    }
  }
  const size_t used = out.size() - kGuard;
  EXPECT_TRUE(std::all_of(out.begin() + used, out.end(), [&](uint64_t v) { return v == sentinel; }))
      << e.name << ": a request of " << n << " wrote past its end";
  out.resize(used);
  return out;
}

std::vector<uint64_t> model_draw(const Engine& e, Model& m, Mode mode, int n, Interval iv) {
  std::vector<uint64_t> out;
  for (int i = 0; i < n; ++i) {
    const Step st = m.next();
    switch (mode) {
      case Mode::kRaw:
        out.insert(out.end(), st.raw.begin(), st.raw.begin() + e.raw_words);
        break;
      case Mode::kDouble:
        out.push_back(std::bit_cast<uint64_t>(to_double(st.x, e.c, iv)));
        break;
      case Mode::kFloat:
        out.push_back(std::bit_cast<uint32_t>(to_float(st.x, e.c, iv)));
        break;
    }
  }
  return out;
}

std::string describe(Mode mode, uint64_t bits) {
  std::ostringstream os;
  os << std::setprecision(17);
  if (mode == Mode::kRaw) os << bits << " (0x" << std::hex << bits << ")";
  if (mode == Mode::kDouble) os << std::bit_cast<double>(bits);
  if (mode == Mode::kFloat)
    os << std::setprecision(9) << std::bit_cast<float>(static_cast<uint32_t>(bits));
  return os.str();
}

const char* mode_name(Mode mode) {
  return mode == Mode::kRaw ? "raw" : mode == Mode::kDouble ? "double" : "float";
}

// Draws the requests one after another from a fresh stream and from the model;
// the two sequences must agree bit for bit.
::testing::AssertionResult matches_model(const Engine& e, const Seeds& seeds, Mode mode,
                                         Interval iv, const std::vector<int>& requests) {
  StreamPtr s = new_stream(e.id, seeds);
  if (!s) return ::testing::AssertionFailure() << e.name << ": no stream";
  auto model = e.model(e.id, seeds);
  const size_t per_value = mode == Mode::kRaw ? e.raw_words : 1;
  size_t done = 0;
  for (int n : requests) {
    const auto got = engine_draw(e, s.get(), mode, n, iv);
    const auto want = model_draw(e, *model, mode, n, iv);
    for (size_t i = 0; i < want.size(); ++i) {
      if (got[i] == want[i]) continue;
      auto failure = ::testing::AssertionFailure();
      failure << e.name << " " << mode_name(mode) << " on [" << iv.a << ", " << iv.b << ") with "
              << seeds.size() << " seed(s) starting " << (seeds.empty() ? 0 : seeds[0])
              << ": first difference at value " << done + i / per_value;
      if (per_value > 1) failure << " word " << i % per_value;
      return failure << " (request of " << n << "): expected " << describe(mode, want[i])
                     << ", got " << describe(mode, got[i]);
    }
    done += want.size() / per_value;
  }
  return ::testing::AssertionSuccess();
}

// Request lengths taken cyclically from `pattern` until `total` values are drawn.
std::vector<int> split(const std::vector<int>& pattern, int total) {
  std::vector<int> requests;
  for (size_t i = 0; total > 0; ++i) {
    const int n = std::min(pattern[i % pattern.size()], total);
    requests.push_back(n);
    total -= n;
  }
  return requests;
}

const std::vector<Seeds>& seed_sets() {
  static const std::vector<Seeds> sets = [] {
    std::vector<Seeds> v = {
        {}, {0}, {1}, {12345}, {0xFFFFFFFFu}, {2718281828u, 3141592653u}, {11, 22, 33, 44, 55, 66}};
    Seeds words;
    for (uint32_t y = 20240601, i = 0; i < 250; ++i)
      words.push_back(y = y * 1664525u + 1013904223u);
    v.push_back(words);
    return v;
  }();
  return sets;
}

const Seeds kSeed = {2718281828u, 3141592653u};
constexpr Interval kUnit{0, 1};

// ---- every engine ------------------------------------------------------------

class EngineSequence : public ::testing::TestWithParam<Engine> {};

TEST_P(EngineSequence, SeedingSetsTheModelState) {
  const Engine& e = GetParam();
  for (const Seeds& seeds : seed_sets()) {
    StreamPtr s = new_stream(e.id, seeds);
    ASSERT_TRUE(s);
    const auto want = e.model(e.id, seeds)->state();
    EXPECT_EQ(state_words(s.get(), want.size()), want)
        << e.name << " with " << seeds.size() << " seed(s)";
  }
}

TEST_P(EngineSequence, LongRequestsMatchTheModelForEverySeedSet) {
  const Engine& e = GetParam();
  for (const Seeds& seeds : seed_sets())
    for (Mode mode : kModes)
      for (Interval iv : {kUnit, Interval{-1, 1}})
        EXPECT_TRUE(matches_model(e, seeds, mode, iv, {10000}));
}

// Vector paths work in blocks of 4, 8 and 16 with serial heads and tails: every
// length up to 70 must give the model's values and leave the state advanced by
// exactly that many steps.
TEST_P(EngineSequence, EveryRequestLengthUpTo70ThenContinues) {
  const Engine& e = GetParam();
  for (Mode mode : kModes)
    for (int n = 0; n <= 70; ++n) EXPECT_TRUE(matches_model(e, kSeed, mode, {-1, 1}, {n, 37}));
}

TEST_P(EngineSequence, SplitRequestsGiveTheSameSequence) {
  const Engine& e = GetParam();
  const std::vector<std::vector<int>> patterns = {
      {1}, {3}, {4, 8, 16}, {7, 9, 15, 17}, {31, 33, 63, 65, 0}, {5, 0, 70, 1, 129, 2}, {1000, 3}};
  for (Mode mode : kModes)
    for (const auto& pattern : patterns)
      EXPECT_TRUE(matches_model(e, kSeed, mode, kUnit, split(pattern, 10000)));
}

TEST_P(EngineSequence, NonPositiveLengthsWriteNothingAndKeepTheState) {
  const Engine& e = GetParam();
  for (Mode mode : kModes) EXPECT_TRUE(matches_model(e, kSeed, mode, kUnit, {-1, 0, -1000, 20}));
}

TEST_P(EngineSequence, OutputsLieInTheInterval) {
  const Engine& e = GetParam();
  const Interval doubles[] = {{0, 1},   {-1, 1},     {1e10, 1e10 + 1}, {1, 1 + 0x1p-52},
                              {-5, -4}, {0, 1e-300}, {0, 0x1p59},      {-3.25, 1e6}};
  const Interval floats[] = {{0, 1}, {-1, 1}, {1e6, 1e6 + 1}, {1, 1 + 0x1p-23}, {-3.5, 2.25}};
  for (const Seeds& seeds : {kSeed, Seeds{1}}) {
    for (Interval iv : doubles) {
      EXPECT_TRUE(matches_model(e, seeds, Mode::kDouble, iv, {3000}));
      StreamPtr s = new_stream(e.id, seeds);
      ASSERT_TRUE(s);
      std::vector<double> r(3000);
      ASSERT_EQ(e.dfill(s.get(), 3000, r.data(), iv.a, iv.b), 0);
      const auto outside =
          std::find_if(r.begin(), r.end(), [&](double v) { return !(v >= iv.a && v < iv.b); });
      EXPECT_EQ(outside, r.end()) << e.name << " double " << *outside << " outside [" << iv.a
                                  << ", " << iv.b << ")";
    }
    for (Interval iv : floats) {
      EXPECT_TRUE(matches_model(e, seeds, Mode::kFloat, iv, {3000}));
      StreamPtr s = new_stream(e.id, seeds);
      ASSERT_TRUE(s);
      const float a = static_cast<float>(iv.a), b = static_cast<float>(iv.b);
      std::vector<float> r(3000);
      ASSERT_EQ(e.sfill(s.get(), 3000, r.data(), a, b), 0);
      const auto outside =
          std::find_if(r.begin(), r.end(), [&](float v) { return !(v >= a && v < b); });
      EXPECT_EQ(outside, r.end()) << e.name << " float " << *outside << " outside [" << a << ", "
                                  << b << ")";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, EngineSequence,
                         ::testing::Values(kMcg31, kMcg59, kMrg, kR250, wh("WH0", 0), wh("WH1", 1),
                                           wh("WH136", 136), wh("WH272", 272)),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- seeding and conversion edge cases of each engine --------------------------

TEST(Mcg31m1Seeding, ReducesTheSeedAndNeverStartsFromZero) {
  const struct {
    Seeds seeds;
    uint32_t x;
  } cases[] = {{{0x7FFFFFFFu}, 1},
               {{0}, 1},
               {{}, 1},
               {{0xFFFFFFFEu}, 1},
               {{0xFFFFFFFFu}, 1},
               {{0x80000005u}, 6},
               {{0x7FFFFFFEu, 99}, 0x7FFFFFFE}};
  for (const auto& c : cases) {
    StreamPtr s = new_stream(ORX_BRNG_MCG31M1, c.seeds);
    ASSERT_TRUE(s);
    EXPECT_EQ(state_words(s.get(), 2), (std::vector<uint32_t>{c.x, 1132489760u}));
  }
  StreamPtr one = new_stream(ORX_BRNG_MCG31M1, {1});
  ASSERT_TRUE(one);
  uint32_t r[2];
  ASSERT_EQ(__vsliBRngMCG31M1(one.get(), 2, r), 0);
  EXPECT_EQ(r[0], 1u);
  EXPECT_EQ(r[1], 1132489760u);
}

TEST(Mcg59Seeding, TakesOneOrTwoWordsMaskedTo59Bits) {
  const struct {
    Seeds seeds;
    uint64_t x;
  } cases[] = {{{0}, 1},
               {{}, 1},
               {{0xDEADBEEFu}, 0xDEADBEEF},
               {{0xFFFFFFFFu, 0xFFFFFFFFu}, (uint64_t{1} << 59) - 1},
               {{5, 0x08000000u}, 5},
               {{0, 0x08000000u}, 1},
               {{0, 0}, 1},
               {{1, 2, 3}, 0x200000001}};
  for (const auto& c : cases) {
    StreamPtr s = new_stream(ORX_BRNG_MCG59, c.seeds);
    ASSERT_TRUE(s);
    const std::vector<uint32_t> x = {static_cast<uint32_t>(c.x), static_cast<uint32_t>(c.x >> 32)};
    EXPECT_EQ(state_words(s.get(), 4), (std::vector<uint32_t>{x[0], x[1], 0x9B23C5FDu, 0x11376u}))
        << "x = " << c.x;
    uint32_t r[2];
    ASSERT_EQ(__vsliBRngMCG59(s.get(), 1, r), 0);
    EXPECT_EQ(std::vector<uint32_t>(r, r + 2), x) << "the first raw value is the seeded state";
  }
}

// On [0, 2^59) the scale is exactly 1, so each output is the value rounded to
// double; on [0, 1) it is that value times 2^-59. The value 2^59 - 1 rounds up to b.
TEST(Mcg59Conversion, ValuesAboveTwoTo53AreCorrectlyRounded) {
  const struct {
    uint64_t x;
    double rounded;
  } cases[] = {{(uint64_t{1} << 54) + 1, 0x1p54},       {(uint64_t{1} << 54) + 2, 0x1p54},
               {(uint64_t{1} << 54) + 6, 0x1p54 + 8},   {(uint64_t{1} << 58) + 32, 0x1p58},
               {(uint64_t{1} << 58) + 33, 0x1p58 + 64}, {(uint64_t{1} << 58) + 96, 0x1p58 + 128},
               {(uint64_t{1} << 59) - 1, 0x1p59}};
  for (const auto& c : cases) {
    const Seeds seeds = {static_cast<uint32_t>(c.x), static_cast<uint32_t>(c.x >> 32)};
    for (double b : {0x1p59, 1.0}) {
      StreamPtr s = new_stream(ORX_BRNG_MCG59, seeds);
      ASSERT_TRUE(s);
      double r = 0;
      ASSERT_EQ(__vsldBRngMCG59(s.get(), 1, &r, 0.0, b), 0);
      const double want = c.rounded * (b * 0x1p-59);
      EXPECT_EQ(r, want < b ? want : std::nextafter(b, 0.0)) << "x = " << c.x << ", b = " << b;
    }
  }
}

TEST(Mrg32k3aSeeding, ReducesOnceAndRepairsZeroComponents) {
  const uint32_t m1 = 4294967087u, m2 = 4294944443u;
  const struct {
    Seeds seeds;
    std::vector<uint32_t> state;
  } cases[] = {
      {{m1, m1, m1, m1, m1, m1}, {1, 0, 0, 22644, 22644, 22644}},
      {{0, 0, 0, 0, 0, 0}, {1, 0, 0, 1, 0, 0}},
      {{}, {1, 1, 1, 1, 1, 1}},
      {{m1, m1, m1}, {1, 0, 0, 1, 1, 1}},
      {{0, 0, 0, m2, m2, m2}, {1, 0, 0, 1, 0, 0}},
      {{m1 - 1, m1, 0xFFFFFFFFu, m2 - 1, m2, 0xFFFFFFFFu}, {m1 - 1, 0, 208, m2 - 1, 0, 22852}},
      {{1, 2, 3, 4, 5, 6, 7}, {1, 2, 3, 4, 5, 6}},
  };
  for (const auto& c : cases) {
    StreamPtr s = new_stream(ORX_BRNG_MRG32K3A, c.seeds);
    ASSERT_TRUE(s);
    EXPECT_EQ(state_words(s.get(), 6), c.state);
  }
}

// x1 = (0, 1, 0) makes the next x1 equal to 1403580; x2 = (0, 0, c) with
// 527612 c = 1403580 (mod m2) makes the next x2 the same, so z = 0.
TEST(Mrg32k3aConversion, EqualComponentsGiveExactlyA) {
  const uint64_t c = 1403580 * pow_mod(527612, kM2 - 2, kM2) % kM2;
  ASSERT_EQ(527612 * c % kM2, 1403580u);
  const Seeds seeds = {0, 1, 0, 0, 0, static_cast<uint32_t>(c)};
  ASSERT_EQ(Mrg32k3aModel(seeds).next().raw[0], 0u);
  StreamPtr s = new_stream(ORX_BRNG_MRG32K3A, seeds);
  ASSERT_TRUE(s);
  uint32_t z = 1;
  ASSERT_EQ(__vsliBRngMRG32K3A(s.get(), 1, &z), 0);
  EXPECT_EQ(z, 0u);
  for (Interval iv : {kUnit, Interval{-1, 1}, Interval{1e10, 1e10 + 1}, Interval{-3.25, 7}}) {
    std::vector<double> r(20);
    s = new_stream(ORX_BRNG_MRG32K3A, seeds);
    ASSERT_EQ(__vsldBRngMRG32K3A(s.get(), 20, r.data(), iv.a, iv.b), 0);  // z = 0 in a vector block
    EXPECT_EQ(r[0], iv.a);
    std::vector<float> f(20);
    s = new_stream(ORX_BRNG_MRG32K3A, seeds);
    ASSERT_EQ(__vslsBRngMRG32K3A(s.get(), 20, f.data(), float(iv.a), float(iv.b)), 0);
    EXPECT_EQ(f[0], float(iv.a));
  }
}

TEST(R250Seeding, TwoHundredFiftyWordsOrMoreAreTakenAsGiven) {
  Seeds words;
  for (uint32_t y = 99, i = 0; i < 300; ++i) words.push_back(y = y * 2891336453u + 12345);
  for (size_t n : {250, 300}) {
    StreamPtr s = new_stream(ORX_BRNG_R250, Seeds(words.begin(), words.begin() + n));
    ASSERT_TRUE(s);
    std::vector<uint32_t> want(words.begin(), words.begin() + 250);
    want.push_back(0);
    want.push_back(103);
    EXPECT_EQ(state_words(s.get(), 252), want) << n << " seed words";
  }
}

TEST(R250Seeding, FewerWordsUseOnlyTheFirst) {
  Seeds many(249, 0xC0FFEEu);
  many[0] = 1;
  const std::vector<Seeds> same_as_one = {many, {1}, {0}, {}};
  for (const Seeds& seeds : same_as_one) {
    StreamPtr s = new_stream(ORX_BRNG_R250, seeds);
    ASSERT_TRUE(s);
    const auto w = state_words(s.get(), 252);
    EXPECT_EQ(w, R250Model({1}).state()) << seeds.size() << " seed words";
    EXPECT_EQ(w[0], 69069u);
    EXPECT_EQ(w[1], 475559465u);  // 69069^2 mod 2^32
    for (int j = 0; j < 32; ++j) EXPECT_EQ(w[3 + 7 * j] >> (31 - j), 1u) << "word " << 3 + 7 * j;
  }
}

TEST(WhParams, KnownSetsAndModuliJustBelowTwoTo24) {
  const uint32_t a0[] = {125, 117, 127, 126}, m0[] = {16770647, 16770643, 16770623, 16770617};
  const uint32_t a272[] = {126, 127, 125, 124}, m272[] = {16766363, 16766359, 16766327, 16766231};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(_vsl_WH_A[0][i], a0[i]);
    EXPECT_EQ(_vsl_WH_M[0][i], m0[i]);
    EXPECT_EQ(_vsl_WH_A[272][i], a272[i]);
    EXPECT_EQ(_vsl_WH_M[272][i], m272[i]);
  }
  for (int s = 0; s < 273; ++s)
    for (int i = 0; i < 4; ++i) {
      EXPECT_GT(_vsl_WH_M[s][i], 1u << 23);
      EXPECT_LT(_vsl_WH_M[s][i], 1u << 24);
      EXPECT_GT(_vsl_WH_A[s][i], 1);
      EXPECT_EQ(_vsldWH_IM_Tab[s][i], 1.0 / _vsl_WH_M[s][i]) << "set " << s << " component " << i;
    }
}

TEST(WhSeeding, ReducesEachSeedByItsModulusAndFillsWithOnes) {
  for (uint32_t sub : {0u, 1u, 136u, 272u}) {
    const uint32_t* m = _vsl_WH_M[sub];
    const std::vector<Seeds> seed_lists = {
        {},           {5},
        {5, 6},       {5, 6, 7},
        {5, 6, 7, 8}, {1, 2, 3, 4, 5},
        {0, 0, 0, 0}, {m[0], m[1] + 3, 0xFFFFFFFFu, 2 * m[3] - 1}};
    for (const Seeds& seeds : seed_lists) {
      StreamPtr s = new_stream(ORX_BRNG_WH + sub, seeds);
      ASSERT_TRUE(s);
      EXPECT_EQ(state_words(s.get(), 8), WhModel(static_cast<int>(sub), seeds).state())
          << "set " << sub << ", " << seeds.size() << " seed(s)";
    }
  }
  // Spelled out for the last set: m0 -> 0 -> 1, m1 + 3 -> 3, no third seed -> 1.
  StreamPtr s = new_stream(ORX_BRNG_WH + 272, {16766363, 16766362, 7});
  ASSERT_TRUE(s);
  EXPECT_EQ(state_words(s.get(), 8), (std::vector<uint32_t>{1, 3, 7, 1, 126, 127, 125, 124}));
}

}  // namespace
