// Skip-ahead and leapfrog of MCG31M1, MCG59, MRG32K3A, WH and R250, the statuses of the methods
// they refuse, and the modular-power helpers, against modular arithmetic written here.
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

using Words = std::vector<uint32_t>;

constexpr uint64_t kP31 = 0x7FFFFFFF, kTwo59 = uint64_t{1} << 59;
constexpr uint64_t kM1 = 4294967087, kM2 = 4294944443;
// Skip counts: 64-bit, past the 32-bit boundary, and split into two parts.
constexpr uint64_t kTwo32 = uint64_t{1} << 32, kTwo32Plus5 = kTwo32 + 5;
constexpr uint64_t kTwo39 = uint64_t{1} << 39, kTwo40 = uint64_t{1} << 40;
constexpr uint64_t kTwo63 = uint64_t{1} << 63, kMax63 = kTwo63 - 1, kMax64 = ~uint64_t{0};
constexpr size_t kHeaderBytes = 16;  // the stream header before the engine state

uint64_t mul_mod(uint64_t a, uint64_t b, uint64_t m) {
  return static_cast<uint64_t>(static_cast<unsigned __int128>(a) * b % m);
}

uint64_t pow_mod(uint64_t a, uint64_t k, uint64_t m) {
  uint64_t r = 1 % m;
  for (a %= m; k; k >>= 1, a = mul_mod(a, a, m))
    if (k & 1) r = mul_mod(r, a, m);
  return r;
}

// Advances v = (x[n-3], x[n-2], x[n-1]) of x[n] = r[0] x[n-1] + r[1] x[n-2] + r[2] x[n-3]
// (mod m = r[3]) by k steps, with the k-th power of the matrix of one step.
using Matrix = std::array<std::array<uint64_t, 3>, 3>;
Words advance3(const uint32_t* r, const uint32_t* v, uint64_t k) {
  const uint64_t m = r[3];
  const auto mat_mul = [m](const Matrix& x, const Matrix& y) {
    Matrix z{};
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        for (int l = 0; l < 3; ++l) z[i][j] = (z[i][j] + mul_mod(x[i][l], y[l][j], m)) % m;
    return z;
  };
  Matrix p = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  for (Matrix x = {{{0, 1, 0}, {0, 0, 1}, {r[2], r[1], r[0]}}}; k; k >>= 1) {
    if (k & 1) p = mat_mul(p, x);
    x = mat_mul(x, x);
  }
  Words out(3);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      out[i] = static_cast<uint32_t>((out[i] + mul_mod(p[i][j], v[j], m)) % m);
  return out;
}

// Recurrences {row[0], row[1], row[2], m}: MRG32K3A's two components, then others that stress
// the modular arithmetic (moduli near 2^32, a row with every coefficient set).
const uint32_t kRecurrences[][4] = {{0, 1403580, kM1 - 810728, kM1},
                                    {527612, 0, kM2 - 1370589, kM2},
                                    {0xDEADBEEFu, 12345, 0xFFFFFFFEu, 0xFFFFFFFFu},
                                    {3, 0xFFFFFFFAu, 1, 0xFFFFFFFBu},
                                    {1, 1, 0, 1000000007u}};

// ---- the state area after k steps --------------------------------------------------------------

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
  Words x = advance3(kRecurrences[0], &st[0], k), x2 = advance3(kRecurrences[1], &st[3], k);
  x.insert(x.end(), x2.begin(), x2.end());
  return x;
}

Words jump_wh(uint32_t id, Words st, uint64_t k) {
  const uint32_t* m = _vsl_WH_M[id - ORX_BRNG_WH];
  for (int i = 0; i < 4; ++i)
    st[i] = static_cast<uint32_t>(mul_mod(pow_mod(st[4 + i], k, m[i]), st[i], m[i]));
  return st;
}

// ---- engines and streams -----------------------------------------------------------------------

struct Engine {
  const char* name;
  uint32_t id;
  size_t state_words;  // 32-bit words of the state area
  int raw_words;       // 32-bit words per raw value
  orx_rng_init_fn init;
  int (*ifill)(orx_rng_stream*, int, uint32_t*);
  int (*dfill)(orx_rng_stream*, int, double*, double, double);
  int (*sfill)(orx_rng_stream*, int, float*, float, float);
  Words (*jump)(uint32_t id, Words state, uint64_t k);
  int leapfrog, skip;  // statuses of a valid leapfrog and skip-ahead request
};
void PrintTo(const Engine& e, std::ostream* os) { *os << e.name; }

constexpr int kNoLeapfrog = ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED;
#define ENGINE_FNS(E) __vslBRng##E##InitStream, __vsliBRng##E, __vsldBRng##E, __vslsBRng##E
const Engine kEngines[] = {
    {"MCG31M1", ORX_BRNG_MCG31M1, 2, 1, ENGINE_FNS(MCG31M1), jump_mcg31, 0, 0},
    {"MCG59", ORX_BRNG_MCG59, 4, 2, ENGINE_FNS(MCG59), jump_mcg59, 0, 0},
    {"MRG32K3A", ORX_BRNG_MRG32K3A, 6, 1, ENGINE_FNS(MRG32K3A), jump_mrg, kNoLeapfrog, 0},
    {"WH0", ORX_BRNG_WH, 8, 4, ENGINE_FNS(WH), jump_wh, 0, 0},
    {"WH136", ORX_BRNG_WH + 136, 8, 4, ENGINE_FNS(WH), jump_wh, 0, 0},
    {"WH272", ORX_BRNG_WH + 272, 8, 4, ENGINE_FNS(WH), jump_wh, 0, 0},
    {"R250", ORX_BRNG_R250, 252, 1, ENGINE_FNS(R250), nullptr, kNoLeapfrog,
     ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED},
};

using StreamPtr =
    std::unique_ptr<orx_rng_stream, decltype([](orx_rng_stream* s) { __vslDeleteStream(&s); })>;

const Words kSeeds = {2718281828u, 3141592653u, 1618033988u, 1414213562u, 1732050807u, 2236067977u};

StreamPtr new_stream(uint32_t id, const Words& seeds = kSeeds) {
  orx_rng_stream* s = nullptr;
  const int status = __vslNewStreamEx(&s, id, static_cast<uint32_t>(seeds.size()), seeds.data());
  EXPECT_EQ(status, 0) << "creating stream 0x" << std::hex << id;
  return StreamPtr(status == 0 ? s : nullptr);
}

StreamPtr copy_of(const orx_rng_stream* s) {
  orx_rng_stream* c = nullptr;
  EXPECT_EQ(__vslCopyStream(&c, s), 0);
  return StreamPtr(c);
}

Words state_of(const Engine& e, const orx_rng_stream* s) {
  Words w(e.state_words);
  std::memcpy(w.data(), reinterpret_cast<const unsigned char*>(s) + kHeaderBytes, w.size() * 4);
  return w;
}

Words raw(const Engine& e, orx_rng_stream* s, int n) {
  Words r(static_cast<size_t>(n) * e.raw_words);
  EXPECT_EQ(e.ifill(s, n, r.data()), 0);
  return r;
}

// Each value's outputs as bit patterns: its raw words, then a double on [-1, 1) and a float on
// [0, 1) drawn from copies of the stream.
std::vector<std::vector<uint64_t>> outputs(const Engine& e, orx_rng_stream* s, int n) {
  StreamPtr d = copy_of(s), f = copy_of(s);
  const Words w = raw(e, s, n);
  std::vector<double> dr(n);
  std::vector<float> fr(n);
  EXPECT_EQ(e.dfill(d.get(), n, dr.data(), -1.0, 1.0), 0);
  EXPECT_EQ(e.sfill(f.get(), n, fr.data(), 0.0f, 1.0f), 0);
  std::vector<std::vector<uint64_t>> v;
  for (int i = 0; i < n; ++i) {
    v.emplace_back(w.begin() + i * e.raw_words, w.begin() + (i + 1) * e.raw_words);
    v.back().insert(v.back().end(),
                    {std::bit_cast<uint64_t>(dr[i]), std::bit_cast<uint32_t>(fr[i])});
  }
  return v;
}

// ---- per engine: skip-ahead, leapfrog, refusals ---------------------------------------------

class EngineMethods : public ::testing::TestWithParam<Engine> {};

// A skip of k1 then k2 must give the modular model's state for k1 + k2 and, when that is small,
// the stepped state; 2^32 + 5, 2^40 and 2^64 - 1 are also reached in two parts.
TEST_P(EngineMethods, SkipAheadEqualsSteppingAndModularPowers) {
  const Engine& e = GetParam();
  const std::pair<uint64_t, uint64_t> plans[] = {
      {0, 0},           {1, 0},           {2, 0},          {7, 0},      {1000, 0},
      {700, 300},       {kTwo32Plus5, 0}, {kTwo32, 5},     {5, kTwo32}, {kTwo40, 0},
      {kTwo39, kTwo39}, {kMax64, 0},      {kTwo63, kMax63}};
  for (const Words& seeds : {kSeeds, Words{12345}})
    for (auto [k1, k2] : plans) {
      StreamPtr skipped = new_stream(e.id, seeds);
      ASSERT_TRUE(skipped);
      const Words start = state_of(e, skipped.get());
      StreamPtr stepped = copy_of(skipped.get());
      if (e.skip != 0) {  // refused: the state stays as it was
        EXPECT_EQ(__vslSkipAheadStream(skipped.get(), k1), e.skip) << e.name;
        EXPECT_EQ(state_of(e, skipped.get()), start) << e.name;
        continue;
      }
      ASSERT_EQ(__vslSkipAheadStream(skipped.get(), k1), 0);
      ASSERT_EQ(__vslSkipAheadStream(skipped.get(), k2), 0);
      const uint64_t k = k1 + k2;
      EXPECT_EQ(state_of(e, skipped.get()), e.jump(e.id, start, k)) << e.name << " K=" << k;
      if (k > 1000) continue;
      raw(e, stepped.get(), static_cast<int>(k));
      EXPECT_EQ(state_of(e, skipped.get()), state_of(e, stepped.get())) << e.name << " K=" << k;
    }
}

// Stream k of N gives values k, k + N, k + 2N, ... of the parent in every output kind, through
// the 8- and 16-lane blocks; skip-ahead then moves along that sequence.
TEST_P(EngineMethods, LeapfrogGivesEveryNthValueOfTheParent) {
  const Engine& e = GetParam();
  constexpr int kValues = 150;
  const std::pair<uint32_t, int32_t> splits[] = {{0, 1}, {0, 2}, {1, 2},  {2, 3},   {5, 7},
                                                 {0, 8}, {7, 8}, {3, 16}, {15, 16}, {9, 100}};
  for (auto [k, n] : splits) {
    StreamPtr parent = new_stream(e.id);
    ASSERT_TRUE(parent);
    const Words start = state_of(e, parent.get());
    StreamPtr child = copy_of(parent.get());
    const int status = __vslLeapfrogStream(child.get(), k, n);
    ASSERT_EQ(status, e.leapfrog) << e.name << " k=" << k << " N=" << n;
    if (status != 0) {  // refused: the state stays as it was
      EXPECT_EQ(state_of(e, child.get()), start) << e.name;
      continue;
    }
    StreamPtr child_copy = copy_of(child.get());
    const auto whole = outputs(e, parent.get(), static_cast<int>(k) + n * kValues);
    const auto part = outputs(e, child.get(), kValues);
    for (int i = 0; i < kValues; ++i)
      ASSERT_EQ(part[i], whole[k + static_cast<size_t>(i) * n])
          << e.name << " k=" << k << " N=" << n << " value " << i;
    ASSERT_EQ(__vslSkipAheadStream(child_copy.get(), 5), 0);
    EXPECT_EQ(outputs(e, child_copy.get(), 1)[0], whole[k + 5 * static_cast<size_t>(n)]) << e.name;
  }
}

TEST_P(EngineMethods, UnknownMethodsAndNegativeStreamCountsAreRefused) {
  const Engine& e = GetParam();
  StreamPtr s = new_stream(e.id);
  ASSERT_TRUE(s);
  const Words before = state_of(e, s.get());
  const uint32_t params[2] = {1, 0};
  for (int method : {3, 7, -1, 1000}) {
    EXPECT_EQ(e.init(method, s.get(), 2, params), ORX_RNG_ERROR_BAD_METHOD) << method;
    EXPECT_EQ(e.init(method, s.get(), 0, nullptr), ORX_RNG_ERROR_BAD_METHOD) << method;
  }
  EXPECT_EQ(__vslLeapfrogStream(s.get(), 0, -1), ORX_RNG_ERROR_BAD_NSTREAMS) << e.name;
  EXPECT_EQ(state_of(e, s.get()), before) << e.name;
}

INSTANTIATE_TEST_SUITE_P(Engines, EngineMethods, ::testing::ValuesIn(kEngines),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- modular-power helpers ----------------------------------------------------------------------

const uint64_t kExponents[] = {0,          1,           2,      3,      4,     5,    6,
                               7,          8,           9,      10,     31,    1000, 1000003,
                               0x7FFFFFFE, kTwo32Plus5, kTwo40, kTwo63, kMax64};

TEST(PowMod, HelpersMatchSquareAndMultiply) {
  const uint64_t bases31[] = {1, 2, 16807, 48271, 1132489760, 0x40000000, 0x7FFFFFFE};
  const uint64_t bases59[] = {1, 2, 3, 302875106592253, kTwo59 - 1, kTwo59 / 2 + 1, 0x5DEECE66D};
  const uint64_t moduli[] = {2, 3, 16770647, kP31, kM2, kM1, 0xFFFFFFFB, 0xFFFFFFFF};
  for (uint64_t k : kExponents) {
    for (uint64_t a : bases31)
      EXPECT_EQ(__vsliPowMod2P31M1(static_cast<uint32_t>(a), k), pow_mod(a, k, kP31))
          << a << "^" << k;
    for (uint64_t a : bases59)
      EXPECT_EQ(__vsliPowMod2P59(a, k), pow_mod(a, k, kTwo59)) << a << "^" << k;
    for (uint64_t m : moduli)
      for (uint64_t a : {uint64_t{0}, uint64_t{1}, uint64_t{2}, m - 1, m / 2 + 1, 0x9E3779B9 % m})
        EXPECT_EQ(__vsliPowMod(static_cast<uint32_t>(a), k, static_cast<uint32_t>(m)),
                  pow_mod(a, k, m))
            << a << "^" << k << " mod " << m;
  }
}

TEST(PowMod, Vect3PowModMatchesMatrixPowers) {
  for (const uint32_t* r : kRecurrences) {
    const uint32_t m = r[3], start[3] = {123456789 % m, 3000000000u % m, 42};
    for (uint64_t k : kExponents) {
      uint32_t v[3] = {start[0], start[1], start[2]};
      __vsliVect3PowMod(v, r, m, k);
      EXPECT_EQ(Words(v, v + 3), advance3(r, start, k)) << "m=" << m << " k=" << k;
    }
  }
}

}  // namespace
