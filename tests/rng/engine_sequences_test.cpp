// Output sequences of MCG31M1, MCG59, MRG32K3A, WH and R250 against scalar models of their
// recurrences: seeding, raw words, double and float conversion, request lengths and splits.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "orx/rng.h"
#include "orx/wh_params.inc"

namespace {

using Words = std::vector<uint32_t>;

constexpr uint32_t kP31 = 0x7FFFFFFF;  // 2^31 - 1
constexpr uint32_t kMcg31Mult = 1132489760;
constexpr uint64_t kMask59 = (uint64_t{1} << 59) - 1;
constexpr uint64_t kMcg59Mult = 302875106592253;  // 13^13
constexpr int64_t kM1 = 4294967087, kM2 = 4294944443;
constexpr size_t kHeaderBytes = 16;  // the stream header before the engine state

// Correct rounding of a 64-bit integer to double (half to even), done on integers so that the
// model does not lean on the conversion under test.
double round_to_double(uint64_t x) {
  const int drop = std::max(static_cast<int>(std::bit_width(x)) - 53, 0);
  if (drop == 0) return static_cast<double>(x);
  uint64_t q = x >> drop;
  const uint64_t rest = x & ((uint64_t{1} << drop) - 1), half = uint64_t{1} << (drop - 1);
  if (rest > half || (rest == half && (q & 1))) ++q;
  return std::ldexp(static_cast<double>(q), drop);
}

Words halves(uint64_t v) { return {static_cast<uint32_t>(v), static_cast<uint32_t>(v >> 32)}; }

// ---- models: the state area as 32-bit words, seeded and stepped -------------------------------

struct Step {
  Words raw;  // the raw words of this value
  double x;   // the value fed to the conversion (x, z, u or the word)
};

Words seed_mcg31(uint32_t, const Words& s) {
  const uint32_t x = s.empty() ? 1 : s[0] % kP31;
  return {x == 0 ? 1 : x, kMcg31Mult};
}
Step step_mcg31(uint32_t, Words& st) {
  const uint32_t x = st[0];
  st[0] = static_cast<uint32_t>(uint64_t{kMcg31Mult} * x % kP31);
  return {{x}, static_cast<double>(x)};
}

Words seed_mcg59(uint32_t, const Words& s) {
  uint64_t x = s.empty() ? 1 : s.size() == 1 ? s[0] : (s[0] | uint64_t{s[1]} << 32) & kMask59;
  Words st = halves(x == 0 ? 1 : x), a = halves(kMcg59Mult);
  st.insert(st.end(), a.begin(), a.end());
  return st;
}
Step step_mcg59(uint32_t, Words& st) {
  const uint64_t x = st[0] | uint64_t{st[1]} << 32;
  const uint64_t next = x * kMcg59Mult & kMask59;  // the 2^64 wrap-around is a multiple of 2^59
  st[0] = static_cast<uint32_t>(next), st[1] = static_cast<uint32_t>(next >> 32);
  return {halves(x), round_to_double(x)};
}

Words seed_mrg(uint32_t, const Words& s) {
  Words v(6);
  for (size_t i = 0; i < 6; ++i) v[i] = i < s.size() ? s[i] % (i < 3 ? kM1 : kM2) : 1;
  if ((v[0] | v[1] | v[2]) == 0) v[0] = 1;
  if ((v[3] | v[4] | v[5]) == 0) v[3] = 1;
  return v;
}
Step step_mrg(uint32_t, Words& st) {
  const auto mod = [](int64_t v, int64_t m) { return (v % m + m) % m; };
  // x1[n] = 1403580 x1[n-2] - 810728 x1[n-3]; x2[n] = 527612 x2[n-1] - 1370589 x2[n-3].
  const int64_t n1 = mod(1403580 * int64_t{st[1]} - 810728 * int64_t{st[0]}, kM1);
  const int64_t n2 = mod(527612 * int64_t{st[5]} - 1370589 * int64_t{st[3]}, kM2);
  st = {st[1], st[2], static_cast<uint32_t>(n1), st[4], st[5], static_cast<uint32_t>(n2)};
  const int64_t z = n1 >= n2 ? n1 - n2 : n1 - n2 + kM1;
  return {{static_cast<uint32_t>(z)}, static_cast<double>(z)};
}

Words seed_wh(uint32_t id, const Words& s) {
  const uint32_t sub = id - ORX_BRNG_WH;
  Words st(8);
  for (size_t i = 0; i < 4; ++i) {
    st[i] = i < s.size() ? s[i] % _vsl_WH_M[sub][i] : 1;
    if (st[i] == 0) st[i] = 1;
    st[4 + i] = _vsl_WH_A[sub][i];
  }
  return st;
}
Step step_wh(uint32_t id, Words& st) {
  const uint32_t sub = id - ORX_BRNG_WH;
  const double* im = _vsldWH_IM_Tab[sub];
  const double sum = ((st[0] * im[0] + st[1] * im[1]) + st[2] * im[2]) + st[3] * im[3];
  const Step out{Words(st.begin(), st.begin() + 4), sum - std::floor(sum)};
  for (int i = 0; i < 4; ++i)
    st[i] = static_cast<uint32_t>(uint64_t{_vsl_WH_A[sub][i]} * st[i] % _vsl_WH_M[sub][i]);
  return out;
}

Words seed_r250(uint32_t, const Words& s) {
  Words st;
  if (s.size() >= 250) {
    st.assign(s.begin(), s.begin() + 250);
  } else {  // only the first word counts: an LCG fill, then 32 words with a set bit column
    for (uint32_t y = s.empty() || s[0] == 0 ? 1 : s[0]; st.size() < 250;) st.push_back(y *= 69069);
    for (int j = 0; j < 32; ++j) {
      uint32_t& w = st[3 + 7 * j];  // bit 31 - j set, the bits above it cleared
      w = (w & (0xFFFFFFFFu >> j)) | (0x80000000u >> j);
    }
  }
  st.push_back(0);    // position of the oldest word
  st.push_back(103);  // second lag
  return st;
}
Step step_r250(uint32_t, Words& st) {
  uint32_t& oldest = st[250];
  const uint32_t w = st[oldest] ^ st[(oldest + 147) % 250];  // x[n-250] ^ x[n-103]
  st[oldest] = w;
  oldest = (oldest + 1) % 250;
  return {{w}, static_cast<double>(w)};
}

// ---- engines under test -----------------------------------------------------------------------

struct Engine {
  const char* name;
  uint32_t id;
  int raw_words;  // 32-bit words per raw value
  double c;       // factor taking the value to [0, 1)
  int (*ifill)(orx_rng_stream*, int, uint32_t*);
  int (*dfill)(orx_rng_stream*, int, double*, double, double);
  int (*sfill)(orx_rng_stream*, int, float*, float, float);
  Words (*seed)(uint32_t id, const Words& seeds);
  Step (*step)(uint32_t id, Words& state);
};
void PrintTo(const Engine& e, std::ostream* os) { *os << e.name; }

#define ENGINE_FILLS(E) __vsliBRng##E, __vsldBRng##E, __vslsBRng##E
const Engine kEngines[] = {
    {"MCG31M1", ORX_BRNG_MCG31M1, 1, 1.0 / kP31, ENGINE_FILLS(MCG31M1), seed_mcg31, step_mcg31},
    {"MCG59", ORX_BRNG_MCG59, 2, 0x1p-59, ENGINE_FILLS(MCG59), seed_mcg59, step_mcg59},
    {"MRG32K3A", ORX_BRNG_MRG32K3A, 1, 1.0 / kM1, ENGINE_FILLS(MRG32K3A), seed_mrg, step_mrg},
    {"R250", ORX_BRNG_R250, 1, 0x1p-32, ENGINE_FILLS(R250), seed_r250, step_r250},
    {"WH0", ORX_BRNG_WH, 4, 1.0, ENGINE_FILLS(WH), seed_wh, step_wh},
    {"WH1", ORX_BRNG_WH + 1, 4, 1.0, ENGINE_FILLS(WH), seed_wh, step_wh},
    {"WH136", ORX_BRNG_WH + 136, 4, 1.0, ENGINE_FILLS(WH), seed_wh, step_wh},
    {"WH272", ORX_BRNG_WH + 272, 4, 1.0, ENGINE_FILLS(WH), seed_wh, step_wh},
};

using StreamPtr =
    std::unique_ptr<orx_rng_stream, decltype([](orx_rng_stream* s) { __vslDeleteStream(&s); })>;

StreamPtr new_stream(uint32_t id, const Words& seeds) {
  orx_rng_stream* s = nullptr;
  const int status = __vslNewStreamEx(&s, id, static_cast<uint32_t>(seeds.size()), seeds.data());
  EXPECT_EQ(status, 0) << "creating stream 0x" << std::hex << id;
  return StreamPtr(status == 0 ? s : nullptr);
}

Words state_words(const orx_rng_stream* s, size_t count) {
  Words w(count);
  std::memcpy(w.data(), reinterpret_cast<const unsigned char*>(s) + kHeaderBytes, count * 4);
  return w;
}

// ---- drawing and comparing --------------------------------------------------------------------

enum class Mode { kRaw, kDouble, kFloat };
constexpr Mode kModes[] = {Mode::kRaw, Mode::kDouble, Mode::kFloat};
const char* const kModeNames[] = {"raw", "double", "float"};
struct Interval {
  double a, b;
};

// Outputs as bit patterns (raw words, or the bits of each double or float).
uint64_t model_output(Mode mode, const Step& st, double c, Interval iv) {
  if (mode == Mode::kDouble) {
    const double r = iv.a + st.x * ((iv.b - iv.a) * c);
    return std::bit_cast<uint64_t>(iv.a < iv.b && r >= iv.b ? std::nextafter(iv.b, -INFINITY) : r);
  }
  const float a = static_cast<float>(iv.a), b = static_cast<float>(iv.b);
  const float r = a + static_cast<float>(st.x * c) * (b - a);
  return std::bit_cast<uint32_t>(a < b && r >= b ? std::nextafter(b, -INFINITY) : r);
}

// One request into a buffer filled with a sentinel; the words just past the request must keep it.
template <class T, class Fill>
std::vector<uint64_t> guarded_fill(size_t count, Fill fill) {
  using Bits = std::conditional_t<sizeof(T) == 8, uint64_t, uint32_t>;
  const Bits sentinel = static_cast<Bits>(0xA5A5A5A5A5A5A5A5u);
  std::vector<T> r(count + 40, std::bit_cast<T>(sentinel));  // more than a block of 16 values
  EXPECT_EQ(fill(r.data()), 0);
  std::vector<uint64_t> out;
  for (T v : r) out.push_back(std::bit_cast<Bits>(v));
  EXPECT_TRUE(
      std::all_of(out.begin() + count, out.end(), [&](uint64_t v) { return v == sentinel; }))
      << "a request of " << count << " words wrote past its end";
  out.resize(count);
  return out;
}

std::vector<uint64_t> engine_draw(const Engine& e, orx_rng_stream* s, Mode mode, int n,
                                  Interval iv) {
  const size_t count = std::max(n, 0) * static_cast<size_t>(mode == Mode::kRaw ? e.raw_words : 1);
  if (mode == Mode::kRaw)
    return guarded_fill<uint32_t>(count, [&](auto r) { return e.ifill(s, n, r); });
  if (mode == Mode::kDouble)
    return guarded_fill<double>(count, [&](auto r) { return e.dfill(s, n, r, iv.a, iv.b); });
  const float a = static_cast<float>(iv.a), b = static_cast<float>(iv.b);
  return guarded_fill<float>(count, [&](auto r) { return e.sfill(s, n, r, a, b); });
}

std::string show(Mode mode, uint64_t bits) {
  std::ostringstream os;
  os << std::setprecision(17);
  if (mode == Mode::kRaw) os << "0x" << std::hex << bits;
  if (mode == Mode::kDouble) os << std::bit_cast<double>(bits);
  if (mode == Mode::kFloat) os << std::bit_cast<float>(static_cast<uint32_t>(bits));
  return os.str();
}

bool in_interval(Mode mode, uint64_t bits, Interval iv) {
  if (mode == Mode::kRaw) return true;
  const double r = mode == Mode::kDouble ? std::bit_cast<double>(bits)
                                         : std::bit_cast<float>(static_cast<uint32_t>(bits));
  if (mode == Mode::kFloat) iv = {static_cast<float>(iv.a), static_cast<float>(iv.b)};
  return iv.a >= iv.b || (r >= iv.a && r < iv.b);
}

// Draws the requests one after another from a fresh stream and from the model; the sequences
// must agree bit for bit, and converted outputs must lie in [a, b).
::testing::AssertionResult matches_model(const Engine& e, const Words& seeds, Mode mode,
                                         Interval iv, const std::vector<int>& requests) {
  StreamPtr s = new_stream(e.id, seeds);
  if (!s) return ::testing::AssertionFailure() << e.name << ": no stream";
  Words state = e.seed(e.id, seeds);
  size_t done = 0;  // words compared so far
  for (int n : requests) {
    const std::vector<uint64_t> got = engine_draw(e, s.get(), mode, n, iv);
    std::vector<uint64_t> want;
    for (int i = 0; i < n; ++i) {
      const Step st = e.step(e.id, state);
      if (mode == Mode::kRaw) want.insert(want.end(), st.raw.begin(), st.raw.end());
      if (mode != Mode::kRaw) want.push_back(model_output(mode, st, e.c, iv));
    }
    for (size_t i = 0; i < want.size(); ++i)
      if (got[i] != want[i] || !in_interval(mode, got[i], iv))
        return ::testing::AssertionFailure()
               << e.name << " " << kModeNames[static_cast<int>(mode)] << " on [" << iv.a << ", "
               << iv.b << "), " << seeds.size() << " seed(s) from "
               << (seeds.empty() ? 0 : seeds[0]) << ": output word " << done + i << " (request of "
               << n << "): expected " << show(mode, want[i]) << ", got " << show(mode, got[i]);
    done += want.size();
  }
  return ::testing::AssertionSuccess();
}

// Request lengths taken cyclically from `pattern` until `total` values are drawn.
std::vector<int> split(const std::vector<int>& pattern, int total) {
  std::vector<int> requests;
  for (size_t i = 0; total > 0; ++i) {
    requests.push_back(std::min(pattern[i % pattern.size()], total));
    total -= requests.back();
  }
  return requests;
}

Words lcg_words(uint32_t y, int n) {
  Words w;
  while (static_cast<int>(w.size()) < n) w.push_back(y = y * 1664525u + 1013904223u);
  return w;
}

// The long word lists take R250's seeding from 250 words or more.
const std::vector<Words> kSeedSets = [] {
  std::vector<Words> v = {
      {}, {0}, {1}, {12345}, {0xFFFFFFFFu}, {2718281828u, 3141592653u}, {11, 22, 33, 44, 55, 66}};
  v.push_back(lcg_words(20240601, 250));
  v.push_back(lcg_words(7, 300));
  return v;
}();
const Words kSeed = {2718281828u, 3141592653u};

// ---- every engine -----------------------------------------------------------------------------

class EngineSequence : public ::testing::TestWithParam<Engine> {};

TEST_P(EngineSequence, SeedingAndLongRequestsMatchTheModel) {
  const Engine& e = GetParam();
  for (const Words& seeds : kSeedSets) {
    StreamPtr s = new_stream(e.id, seeds);
    ASSERT_TRUE(s);
    const Words want = e.seed(e.id, seeds);
    EXPECT_EQ(state_words(s.get(), want.size()), want)
        << e.name << ", " << seeds.size() << " seeds";
    for (Mode mode : kModes) EXPECT_TRUE(matches_model(e, seeds, mode, {-1, 1}, {10000}));
  }
}

// Vector paths run blocks of 4 to 16 values (MRG32K3A: 8 segments from 128 values on) with
// serial heads and tails; each length must leave the state advanced by exactly that much (and
// a negative one, not at all).
TEST_P(EngineSequence, EveryLengthUpTo70AndSplitRequestsGiveTheSameSequence) {
  const Engine& e = GetParam();
  const std::vector<std::vector<int>> patterns = {
      {1}, {3}, {4, 8, 16}, {7, 9, 15, 17}, {31, 33, 63, 65}, {5, 0, 70, 129}, {127, 128, 257}};
  for (Mode mode : kModes) {
    for (int n = -1; n <= 70; ++n) EXPECT_TRUE(matches_model(e, kSeed, mode, {-1, 1}, {n, 37}));
    for (const auto& pattern : patterns)
      EXPECT_TRUE(matches_model(e, kSeed, mode, {0, 1}, split(pattern, 5000)));
  }
}

// Narrow and far intervals make a + x*((b - a)*c) round to b, which must become the value below b.
TEST_P(EngineSequence, IntervalsIncludingTheClampBelowB) {
  const Engine& e = GetParam();
  const Interval doubles[] = {{0, 1},   {-1, 1},     {1e10, 1e10 + 1}, {1, 1 + 0x1p-52},
                              {-5, -4}, {0, 1e-300}, {0, 0x1p59},      {-3.25, 1e6}};
  const Interval floats[] = {{0, 1}, {-1, 1}, {1e6, 1e6 + 1}, {1, 1 + 0x1p-23}, {-3.5, 2.25}};
  for (const Words& seeds : {kSeed, Words{1}}) {
    for (Interval iv : doubles) EXPECT_TRUE(matches_model(e, seeds, Mode::kDouble, iv, {3000}));
    for (Interval iv : floats) EXPECT_TRUE(matches_model(e, seeds, Mode::kFloat, iv, {3000}));
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, EngineSequence, ::testing::ValuesIn(kEngines),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- seeding and conversion edge cases, spelled out -------------------------------------------

TEST(EngineSeeding, EdgeCasesGiveTheseStates) {
  const uint32_t m1 = kM1, m2 = kM2, mcg31 = kMcg31Mult;
  const Words mcg59 = {0x9B23C5FDu, 0x11376u}, r250 = {69069, 475559465, 2801775573, 3938046609};
  Words r250_many(249, 0xC0FFEEu);
  r250_many[0] = 1;
  const struct {
    uint32_t id;
    Words seeds, state;  // `state`: the leading words of the state area
  } cases[] = {
      {ORX_BRNG_MCG31M1, {0x7FFFFFFFu}, {1, mcg31}},
      {ORX_BRNG_MCG31M1, {0xFFFFFFFEu}, {1, mcg31}},
      {ORX_BRNG_MCG31M1, {0x80000005u}, {6, mcg31}},
      {ORX_BRNG_MCG31M1, {0x7FFFFFFEu, 99}, {0x7FFFFFFE, mcg31}},
      {ORX_BRNG_MCG59, {0xDEADBEEFu}, {0xDEADBEEF, 0}},
      {ORX_BRNG_MCG59, {0xFFFFFFFFu, 0xFFFFFFFFu}, {0xFFFFFFFF, 0x7FFFFFF, mcg59[0], mcg59[1]}},
      {ORX_BRNG_MCG59, {5, 0x08000000u}, {5, 0}},
      {ORX_BRNG_MCG59, {0, 0x08000000u}, {1, 0}},
      {ORX_BRNG_MCG59, {1, 2, 3}, {1, 2}},
      {ORX_BRNG_MRG32K3A, {m1, m1, m1, m1, m1, m1}, {1, 0, 0, 22644, 22644, 22644}},
      {ORX_BRNG_MRG32K3A, {0, 0, 0, 0, 0, 0}, {1, 0, 0, 1, 0, 0}},
      {ORX_BRNG_MRG32K3A, {m1, m1, m1}, {1, 0, 0, 1, 1, 1}},
      {ORX_BRNG_MRG32K3A, {0, 0, 0, m2, m2, m2}, {1, 0, 0, 1, 0, 0}},
      {ORX_BRNG_MRG32K3A,
       {m1 - 1, m1, 0xFFFFFFFFu, m2 - 1, m2, 0xFFFFFFFFu},
       {m1 - 1, 0, 208, m2 - 1, 0, 22852}},
      {ORX_BRNG_MRG32K3A, {1, 2, 3, 4, 5, 6, 7}, {1, 2, 3, 4, 5, 6}},
      // Set 272: m0 -> 0 -> 1, m1 + 3 -> 3, no fourth seed -> 1.
      {ORX_BRNG_WH + 272, {16766363, 16766362, 7}, {1, 3, 7, 1, 126, 127, 125, 124}},
      {ORX_BRNG_R250, {1}, r250},
      {ORX_BRNG_R250, r250_many, r250},
  };
  for (const auto& c : cases) {
    StreamPtr s = new_stream(c.id, c.seeds);
    ASSERT_TRUE(s);
    EXPECT_EQ(state_words(s.get(), c.state.size()), c.state)
        << "0x" << std::hex << c.id << std::dec << ", " << c.seeds.size() << " seed(s)";
  }
}

// On [0, 2^59) the scale is exactly 1, so each output is the value rounded to double; on [0, 1)
// it is that times 2^-59. The value 2^59 - 1 rounds up to b and is clamped below it.
TEST(Mcg59Conversion, ValuesAboveTwoTo53AreCorrectlyRounded) {
  const uint64_t two54 = uint64_t{1} << 54, two58 = uint64_t{1} << 58;
  const struct {
    uint64_t x;
    double rounded;
  } cases[] = {{two54 + 1, 0x1p54},  {two54 + 2, 0x1p54},       {two54 + 6, 0x1p54 + 8},
               {two58 + 32, 0x1p58}, {two58 + 33, 0x1p58 + 64}, {two58 + 96, 0x1p58 + 128},
               {kMask59, 0x1p59}};
  for (const auto& c : cases)
    for (double b : {0x1p59, 1.0}) {
      StreamPtr s = new_stream(ORX_BRNG_MCG59, halves(c.x));
      ASSERT_TRUE(s);
      double r = 0;
      ASSERT_EQ(__vsldBRngMCG59(s.get(), 1, &r, 0.0, b), 0);
      const double want = c.rounded * (b * 0x1p-59);
      EXPECT_EQ(r, want < b ? want : std::nextafter(b, 0.0)) << "x = " << c.x << ", b = " << b;
    }
}

// x1 = (0, 1, 0) makes the next x1 1403580; x2 = (0, 0, c) with 527612 c = 1403580 (mod m2)
// makes the next x2 the same, so z = 0 and every interval gives exactly a.
TEST(Mrg32k3aConversion, ZeroGivesExactlyA) {
  uint64_t c = 1;  // 1403580 / 527612 mod m2, by Fermat: 527612^(m2 - 2)
  for (uint64_t k = kM2 - 2, b = 527612; k; k >>= 1, b = b * b % kM2)
    if (k & 1) c = c * b % kM2;
  c = c * 1403580 % kM2;
  ASSERT_EQ(527612 * c % kM2, 1403580u);
  const Words seeds = {0, 1, 0, 0, 0, static_cast<uint32_t>(c)};
  const Interval intervals[] = {{0, 1}, {-1, 1}, {1e10, 1e10 + 1}, {-3.25, 7}};
  for (int n : {1, 200})  // serial, and past the 128-value threshold of the vector path
    for (Interval iv : intervals) {
      StreamPtr s = new_stream(ORX_BRNG_MRG32K3A, seeds), t = new_stream(ORX_BRNG_MRG32K3A, seeds);
      ASSERT_TRUE(s && t);
      std::vector<double> r(n);
      std::vector<float> f(n);
      ASSERT_EQ(__vsldBRngMRG32K3A(s.get(), n, r.data(), iv.a, iv.b), 0);
      ASSERT_EQ(__vslsBRngMRG32K3A(t.get(), n, f.data(), float(iv.a), float(iv.b)), 0);
      EXPECT_EQ(r[0], iv.a) << n;
      EXPECT_EQ(f[0], float(iv.a)) << n;
    }
}

}  // namespace
