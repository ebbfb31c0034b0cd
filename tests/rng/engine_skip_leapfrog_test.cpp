// Skip-ahead and leapfrog of the congruential and recursive engines, the
// statuses of the methods they refuse, and the modular-power helpers behind
// skip-ahead, all against plain modular arithmetic written here.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "orx/rng.h"
#include "orx/wh_params.inc"

namespace {

constexpr uint64_t kP31 = 0x7FFFFFFF;
constexpr uint64_t kTwo59 = uint64_t{1} << 59;
constexpr uint64_t kM1 = 4294967087, kM2 = 4294944443;
constexpr size_t kHeaderBytes = 16;  // the stream header before the engine state
constexpr uint64_t kMax64 = ~uint64_t{0};

using Words = std::vector<uint32_t>;

// ---- modular arithmetic models -----------------------------------------------

uint64_t mul_mod(uint64_t a, uint64_t b, uint64_t m) {
  return static_cast<uint64_t>(static_cast<unsigned __int128>(a) * b % m);
}

uint64_t pow_mod(uint64_t a, uint64_t k, uint64_t m) {
  uint64_t r = 1 % m;
  for (a %= m; k; k >>= 1, a = mul_mod(a, a, m))
    if (k & 1) r = mul_mod(r, a, m);
  return r;
}

using Matrix = std::array<std::array<uint64_t, 3>, 3>;

Matrix mat_mul(const Matrix& x, const Matrix& y, uint64_t m) {
  Matrix z{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int l = 0; l < 3; ++l) z[i][j] = (z[i][j] + mul_mod(x[i][l], y[l][j], m)) % m;
  return z;
}

Matrix mat_pow(Matrix x, uint64_t k, uint64_t m) {
  Matrix r = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  for (; k; k >>= 1, x = mat_mul(x, x, m))
    if (k & 1) r = mat_mul(r, x, m);
  return r;
}

// Takes (x[n-3], x[n-2], x[n-1]) to (x[n-2], x[n-1], x[n]) for
// x[n] = row[0] x[n-1] + row[1] x[n-2] + row[2] x[n-3].
Matrix companion(const uint32_t* row) { return {{{0, 1, 0}, {0, 0, 1}, {row[2], row[1], row[0]}}}; }

std::array<uint32_t, 3> apply(const Matrix& x, const uint32_t* v, uint64_t m) {
  std::array<uint32_t, 3> r{};
  for (int i = 0; i < 3; ++i) {
    uint64_t s = 0;
    for (int j = 0; j < 3; ++j) s = (s + mul_mod(x[i][j], v[j], m)) % m;
    r[i] = static_cast<uint32_t>(s);
  }
  return r;
}

void step3(uint32_t* v, const uint32_t* row, uint64_t m) {
  const unsigned __int128 next = static_cast<unsigned __int128>(row[0]) * v[2] +
                                 static_cast<unsigned __int128>(row[1]) * v[1] +
                                 static_cast<unsigned __int128>(row[2]) * v[0];
  v[0] = v[1], v[1] = v[2], v[2] = static_cast<uint32_t>(next % m);
}

const uint32_t kMrgRow1[3] = {0, 1403580, static_cast<uint32_t>(kM1 - 810728)};
const uint32_t kMrgRow2[3] = {527612, 0, static_cast<uint32_t>(kM2 - 1370589)};

// ---- the state after K steps, from the state area -------------------------------

Words jump_mcg31(uint32_t, Words st, uint64_t k) {
  st[0] = static_cast<uint32_t>(mul_mod(pow_mod(st[1], k, kP31), st[0], kP31));
  return st;
}

Words jump_mcg59(uint32_t, Words st, uint64_t k) {
  const uint64_t x = st[0] | uint64_t{st[1]} << 32, a = st[2] | uint64_t{st[3]} << 32;
  const uint64_t y = mul_mod(pow_mod(a, k, kTwo59), x, kTwo59);
  st[0] = static_cast<uint32_t>(y), st[1] = static_cast<uint32_t>(y >> 32);
  return st;
}

Words jump_mrg(uint32_t, Words st, uint64_t k) {
  const auto x1 = apply(mat_pow(companion(kMrgRow1), k, kM1), &st[0], kM1);
  const auto x2 = apply(mat_pow(companion(kMrgRow2), k, kM2), &st[3], kM2);
  return {x1[0], x1[1], x1[2], x2[0], x2[1], x2[2]};
}

Words jump_wh(uint32_t id, Words st, uint64_t k) {
  const uint32_t* m = _vsl_WH_M[id - ORX_BRNG_WH];
  for (int i = 0; i < 4; ++i)
    st[i] = static_cast<uint32_t>(mul_mod(pow_mod(st[4 + i], k, m[i]), st[i], m[i]));
  return st;
}

// ---- streams -------------------------------------------------------------------

struct StreamDeleter {
  void operator()(orx_rng_stream* s) const { __vslDeleteStream(&s); }
};
using StreamPtr = std::unique_ptr<orx_rng_stream, StreamDeleter>;

StreamPtr new_stream(uint32_t id, const Words& seeds) {
  orx_rng_stream* s = nullptr;
  const int status = __vslNewStreamEx(&s, id, static_cast<uint32_t>(seeds.size()), seeds.data());
  EXPECT_EQ(status, 0) << "creating stream 0x" << std::hex << id;
  return StreamPtr(status == 0 ? s : nullptr);
}

StreamPtr copy_of(const orx_rng_stream* s) {
  orx_rng_stream* c = nullptr;
  const int status = __vslCopyStream(&c, s);
  EXPECT_EQ(status, 0);
  return StreamPtr(status == 0 ? c : nullptr);
}

Words state_words(const orx_rng_stream* s, size_t count) {
  Words w(count);
  std::memcpy(w.data(), reinterpret_cast<const unsigned char*>(s) + kHeaderBytes, count * 4);
  return w;
}

struct Engine {
  const char* name;
  uint32_t id;
  size_t state_words;  // 32-bit words of the state area
  int raw_words;       // 32-bit words per raw value
  int (*ifill)(orx_rng_stream*, int, uint32_t*);
  int (*dfill)(orx_rng_stream*, int, double*, double, double);
  int (*sfill)(orx_rng_stream*, int, float*, float, float);
  Words (*jump)(uint32_t id, Words state, uint64_t k);
};

// Test names and failure messages show the engine by name.
void PrintTo(const Engine& e, std::ostream* os) { *os << e.name; }

const Engine kMcg31{"MCG31M1",         ORX_BRNG_MCG31M1,  2,         1, __vsliBRngMCG31M1,
                    __vsldBRngMCG31M1, __vslsBRngMCG31M1, jump_mcg31};
const Engine kMcg59{"MCG59",         ORX_BRNG_MCG59,  4,         2, __vsliBRngMCG59,
                    __vsldBRngMCG59, __vslsBRngMCG59, jump_mcg59};
const Engine kMrg{"MRG32K3A",         ORX_BRNG_MRG32K3A,  6,       1, __vsliBRngMRG32K3A,
                  __vsldBRngMRG32K3A, __vslsBRngMRG32K3A, jump_mrg};
Engine wh(const char* name, uint32_t sub) {
  return {name, ORX_BRNG_WH + sub, 8, 4, __vsliBRngWH, __vsldBRngWH, __vslsBRngWH, jump_wh};
}

// Raw values, each as raw_words words.
Words raw(const Engine& e, orx_rng_stream* s, int n) {
  Words r(static_cast<size_t>(n) * e.raw_words);
  EXPECT_EQ(e.ifill(s, n, r.data()), 0);
  return r;
}

// Every output of the three kinds as bit patterns, value by value: raw words,
// then the bits of a double on [-1, 1), then of a float on [0, 1).
std::vector<std::vector<uint64_t>> outputs(const Engine& e, orx_rng_stream* s, int n) {
  std::vector<std::vector<uint64_t>> v(static_cast<size_t>(n));
  StreamPtr d = copy_of(s), f = copy_of(s);
  const Words w = raw(e, s, n);
  std::vector<double> dr(static_cast<size_t>(n));
  std::vector<float> fr(static_cast<size_t>(n));
  EXPECT_EQ(e.dfill(d.get(), n, dr.data(), -1.0, 1.0), 0);
  EXPECT_EQ(e.sfill(f.get(), n, fr.data(), 0.0f, 1.0f), 0);
  for (size_t i = 0; i < v.size(); ++i) {
    v[i].assign(w.begin() + i * e.raw_words, w.begin() + (i + 1) * e.raw_words);
    v[i].push_back(std::bit_cast<uint64_t>(dr[i]));
    v[i].push_back(std::bit_cast<uint32_t>(fr[i]));
  }
  return v;
}

const Words kSeeds = {2718281828u, 3141592653u, 1618033988u, 1414213562u, 1732050807u, 2236067977u};

// ---- skip-ahead --------------------------------------------------------------------

class SkipAhead : public ::testing::TestWithParam<Engine> {};

TEST_P(SkipAhead, EqualsSteppingAndModularPowers) {
  const Engine& e = GetParam();
  for (const Words& seeds : {kSeeds, Words{12345}}) {
    for (uint64_t k : {0, 1, 2, 7, 1000, 12345}) {
      StreamPtr stepped = new_stream(e.id, seeds);
      ASSERT_TRUE(stepped);
      const Words start = state_words(stepped.get(), e.state_words);
      StreamPtr skipped = copy_of(stepped.get());
      ASSERT_EQ(__vslSkipAheadStream(skipped.get(), k), 0);
      raw(e, stepped.get(), static_cast<int>(k));
      const Words after = state_words(skipped.get(), e.state_words);
      EXPECT_EQ(after, state_words(stepped.get(), e.state_words)) << e.name << " K=" << k;
      EXPECT_EQ(after, e.jump(e.id, start, k)) << e.name << " K=" << k;
      EXPECT_EQ(raw(e, skipped.get(), 50), raw(e, stepped.get(), 50)) << e.name << " K=" << k;
    }
  }
}

TEST_P(SkipAhead, LargeSkipsComposeAndMatchModularPowers) {
  const Engine& e = GetParam();
  const struct {
    uint64_t whole, first, second;
  } cases[] = {{uint64_t{1} << 40, uint64_t{1} << 39, uint64_t{1} << 39},
               {(uint64_t{1} << 32) + 5, uint64_t{1} << 32, 5},
               {(uint64_t{1} << 32) + 5, 5, uint64_t{1} << 32},
               {kMax64, uint64_t{1} << 63, (uint64_t{1} << 63) - 1}};
  for (const auto& c : cases) {
    StreamPtr once = new_stream(e.id, kSeeds);
    ASSERT_TRUE(once);
    const Words start = state_words(once.get(), e.state_words);
    StreamPtr twice = copy_of(once.get());
    ASSERT_EQ(__vslSkipAheadStream(once.get(), c.whole), 0);
    ASSERT_EQ(__vslSkipAheadStream(twice.get(), c.first), 0);
    ASSERT_EQ(__vslSkipAheadStream(twice.get(), c.second), 0);
    const Words after = state_words(once.get(), e.state_words);
    EXPECT_EQ(after, state_words(twice.get(), e.state_words)) << e.name << " K=" << c.whole;
    EXPECT_EQ(after, e.jump(e.id, start, c.whole)) << e.name << " K=" << c.whole;
  }
}

INSTANTIATE_TEST_SUITE_P(Engines, SkipAhead,
                         ::testing::Values(kMcg31, kMcg59, kMrg, wh("WH0", 0), wh("WH136", 136),
                                           wh("WH272", 272)),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- leapfrog ----------------------------------------------------------------------

class Leapfrog : public ::testing::TestWithParam<Engine> {};

TEST_P(Leapfrog, YieldsEveryNthValueOfTheParentFromTheKth) {
  const Engine& e = GetParam();
  constexpr int kValues = 150;  // enough for the 8- and 16-lane blocks
  const std::pair<uint32_t, int32_t> splits[] = {{0, 1}, {0, 2}, {1, 2},  {2, 3},   {5, 7},
                                                 {0, 8}, {7, 8}, {3, 16}, {15, 16}, {9, 100}};
  for (auto [k, n] : splits) {
    StreamPtr parent = new_stream(e.id, kSeeds);
    ASSERT_TRUE(parent);
    StreamPtr child = copy_of(parent.get());
    ASSERT_EQ(__vslLeapfrogStream(child.get(), k, n), 0);
    StreamPtr child_copy = copy_of(child.get());
    const auto whole = outputs(e, parent.get(), static_cast<int>(k) + n * kValues);
    const auto part = outputs(e, child.get(), kValues);
    for (int i = 0; i < kValues; ++i)
      ASSERT_EQ(part[i], whole[k + static_cast<size_t>(i) * n])
          << e.name << " k=" << k << " N=" << n << " value " << i;
    // Skip-ahead on a leapfrogged stream moves along the leapfrogged sequence.
    ASSERT_EQ(__vslSkipAheadStream(child_copy.get(), 5), 0);
    EXPECT_EQ(outputs(e, child_copy.get(), 1)[0], whole[k + 5 * static_cast<size_t>(n)]) << e.name;
  }
}

TEST_P(Leapfrog, FirstOfOneLeavesTheStreamUnchanged) {
  const Engine& e = GetParam();
  StreamPtr s = new_stream(e.id, kSeeds);
  ASSERT_TRUE(s);
  const Words before = state_words(s.get(), e.state_words);
  ASSERT_EQ(__vslLeapfrogStream(s.get(), 0, 1), 0);
  EXPECT_EQ(state_words(s.get(), e.state_words), before);
}

INSTANTIATE_TEST_SUITE_P(Engines, Leapfrog,
                         ::testing::Values(kMcg31, kMcg59, wh("WH0", 0), wh("WH136", 136),
                                           wh("WH272", 272)),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- refused methods -------------------------------------------------------------

struct MethodSupport {
  const char* name;
  uint32_t id;
  size_t state_words;
  orx_rng_init_fn init;
  int leapfrog;  // status of a valid leapfrog request
  int skip;      // status of a skip-ahead request
};

const MethodSupport kSupport[] = {
    {"MCG31M1", ORX_BRNG_MCG31M1, 2, __vslBRngMCG31M1InitStream, 0, 0},
    {"MCG59", ORX_BRNG_MCG59, 4, __vslBRngMCG59InitStream, 0, 0},
    {"MRG32K3A", ORX_BRNG_MRG32K3A, 6, __vslBRngMRG32K3AInitStream,
     ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED, 0},
    {"WH", ORX_BRNG_WH + 17, 8, __vslBRngWHInitStream, 0, 0},
    {"R250", ORX_BRNG_R250, 252, __vslBRngR250InitStream, ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED,
     ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED},
};

TEST(EngineMethods, LeapfrogAndSkipAheadStatusesAndRefusalsKeepTheState) {
  for (const auto& m : kSupport) {
    StreamPtr s = new_stream(m.id, kSeeds);
    ASSERT_TRUE(s);
    const Words before = state_words(s.get(), m.state_words);
    EXPECT_EQ(__vslLeapfrogStream(s.get(), 1, 3), m.leapfrog) << m.name;
    if (m.leapfrog != 0) {
      EXPECT_EQ(state_words(s.get(), m.state_words), before) << m.name;
    }
    s = new_stream(m.id, kSeeds);
    EXPECT_EQ(__vslSkipAheadStream(s.get(), 10), m.skip) << m.name;
    if (m.skip != 0) {
      EXPECT_EQ(state_words(s.get(), m.state_words), before) << m.name;
    }
  }
}

TEST(EngineMethods, UnknownMethodsAreRefused) {
  for (const auto& m : kSupport) {
    StreamPtr s = new_stream(m.id, kSeeds);
    ASSERT_TRUE(s);
    const Words before = state_words(s.get(), m.state_words);
    BrngProperties props{};
    ASSERT_EQ(__vslGetBrngProperties(static_cast<int32_t>(m.id), &props), 0) << m.name;
    EXPECT_EQ(props.InitStreamFn, m.init) << m.name;
    const uint32_t params[2] = {1, 0};
    for (int method : {3, 7, -1, 1000}) {
      EXPECT_EQ(m.init(method, s.get(), 0, nullptr), ORX_RNG_ERROR_BAD_METHOD)
          << m.name << " method " << method;
      EXPECT_EQ(props.InitStreamFn(method, s.get(), 2, params), ORX_RNG_ERROR_BAD_METHOD)
          << m.name << " method " << method;
    }
    EXPECT_EQ(state_words(s.get(), m.state_words), before) << m.name;
  }
}

TEST(EngineMethods, NegativeStreamCountIsRefusedBeforeTheEngine) {
  for (const auto& m : kSupport) {
    StreamPtr s = new_stream(m.id, kSeeds);
    ASSERT_TRUE(s);
    const Words before = state_words(s.get(), m.state_words);
    EXPECT_EQ(__vslLeapfrogStream(s.get(), 0, -1), ORX_RNG_ERROR_BAD_NSTREAMS) << m.name;
    EXPECT_EQ(state_words(s.get(), m.state_words), before) << m.name;
  }
}

// ---- modular-power helpers -------------------------------------------------------

const uint64_t kExponents[] = {0,
                               1,
                               2,
                               3,
                               31,
                               1000,
                               1000003,
                               0x7FFFFFFE,
                               (uint64_t{1} << 32) + 5,
                               uint64_t{1} << 40,
                               uint64_t{1} << 63,
                               kMax64};

TEST(PowModHelpers, MersenneModulus) {
  for (uint32_t a : {1u, 2u, 16807u, 48271u, 1132489760u, 0x40000000u, 0x7FFFFFFEu})
    for (uint64_t k : kExponents)
      EXPECT_EQ(__vsliPowMod2P31M1(a, k), pow_mod(a, k, kP31)) << a << "^" << k;
  EXPECT_EQ(__vsliPowMod2P31M1(1132489760u, 0), 1u);
  EXPECT_EQ(__vsliPowMod2P31M1(1132489760u, 0x7FFFFFFE), 1u);  // Fermat
}

TEST(PowModHelpers, PowerOfTwoModulus) {
  for (uint64_t a : {uint64_t{1}, uint64_t{2}, uint64_t{3}, uint64_t{302875106592253}, kTwo59 - 1,
                     (kTwo59 >> 1) + 1, uint64_t{0x5DEECE66D}})
    for (uint64_t k : kExponents)
      EXPECT_EQ(__vsliPowMod2P59(a, k), pow_mod(a, k, kTwo59)) << a << "^" << k;
  EXPECT_EQ(__vsliPowMod2P59(302875106592253, 0), 1u);
  EXPECT_EQ(__vsliPowMod2P59(2, 59), 0u);
}

TEST(PowModHelpers, GeneralModulusUpTo32Bits) {
  for (uint64_t m : {uint64_t{2}, uint64_t{3}, uint64_t{16770647}, kP31, kM2, kM1,
                     uint64_t{0xFFFFFFFB}, uint64_t{0xFFFFFFFF}})
    for (uint64_t base :
         {uint64_t{0}, uint64_t{1}, uint64_t{2}, m - 1, m / 2 + 1, uint64_t{0x9E3779B9}})
      for (uint64_t k : kExponents)
        EXPECT_EQ(__vsliPowMod(static_cast<uint32_t>(base % m), k, static_cast<uint32_t>(m)),
                  pow_mod(base, k, m))
            << base % m << "^" << k << " mod " << m;
  EXPECT_EQ(__vsliPowMod(0, 0, 4294967087u), 1u);
}

struct Recurrence {
  std::array<uint32_t, 3> row;
  uint32_t m;
};

const Recurrence kRecurrences[] = {
    {{kMrgRow1[0], kMrgRow1[1], kMrgRow1[2]}, static_cast<uint32_t>(kM1)},
    {{kMrgRow2[0], kMrgRow2[1], kMrgRow2[2]}, static_cast<uint32_t>(kM2)},
    {{0xDEADBEEFu, 12345, 0xFFFFFFFEu}, 0xFFFFFFFFu},
    {{3, 0xFFFFFFFAu, 1}, 0xFFFFFFFBu},
    {{1, 1, 0}, 1000000007u},  // Fibonacci
};
const uint32_t kStart[3] = {123456789, 3000000000u, 42};

TEST(Vect3PowMod, SmallCountsMatchStepping) {
  for (const auto& r : kRecurrences) {
    uint32_t stepped[3];
    for (int i = 0; i < 3; ++i) stepped[i] = kStart[i] % r.m;
    for (uint64_t k = 0; k <= 10; ++k) {
      uint32_t v[3];
      for (int i = 0; i < 3; ++i) v[i] = kStart[i] % r.m;
      __vsliVect3PowMod(v, r.row.data(), r.m, k);
      EXPECT_EQ(Words(v, v + 3), Words(stepped, stepped + 3)) << "m=" << r.m << " k=" << k;
      step3(stepped, r.row.data(), r.m);
    }
  }
}

TEST(Vect3PowMod, LargeCountsComposeAndMatchMatrixPowers) {
  const std::pair<uint64_t, uint64_t> splits[] = {{uint64_t{1} << 39, uint64_t{1} << 39},
                                                  {uint64_t{1} << 32, 5},
                                                  {uint64_t{1} << 63, (uint64_t{1} << 63) - 1},
                                                  {999983, 20}};
  for (const auto& r : kRecurrences) {
    uint32_t start[3];
    for (int i = 0; i < 3; ++i) start[i] = kStart[i] % r.m;
    for (auto [k1, k2] : splits) {
      uint32_t once[3] = {start[0], start[1], start[2]}, twice[3] = {start[0], start[1], start[2]};
      __vsliVect3PowMod(once, r.row.data(), r.m, k1 + k2);
      __vsliVect3PowMod(twice, r.row.data(), r.m, k1);
      __vsliVect3PowMod(twice, r.row.data(), r.m, k2);
      const auto want = apply(mat_pow(companion(r.row.data()), k1 + k2, r.m), start, r.m);
      EXPECT_EQ(Words(once, once + 3), Words(want.begin(), want.end()))
          << "m=" << r.m << " k=" << k1 + k2;
      EXPECT_EQ(Words(twice, twice + 3), Words(want.begin(), want.end()))
          << "m=" << r.m << " k=" << k1 + k2;
    }
  }
}

}  // namespace
