// Sobol against scipy's unscrambled Sobol points (tests/rng/data, made by
// tools/rng/extract_sobol_directions.py), net properties, user data of every
// kind and its shared chunk; then the checks both quasi-random engines share
// (count limit, split requests, conversions, refusals), run for each.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "orx/rng.h"
#include "tests/rng/quasi_nets.h"

namespace {

namespace tables {
#include "vsl/rng/engines/sobol_tables.inc"
}

using quasi::Words;

constexpr int kD = 40;

// scipy's points by index (the origin is point 0).
const std::map<uint32_t, Words>& scipy_points() {
  static const std::map<uint32_t, Words> points = [] {
    std::map<uint32_t, Words> read;
    std::ifstream in(ORX_RNG_TESTDATA "/sobol_scipy_d40.txt");
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
      std::istringstream fields(line);
      uint64_t index;
      char colon;
      fields >> index >> colon;
      Words& p = read[static_cast<uint32_t>(index)];
      for (uint64_t c; fields >> c;) p.push_back(static_cast<uint32_t>(c));
    }
    return read;
  }();
  return points;
}

Words scipy_range(uint32_t first, uint32_t count, int d = kD) {
  Words out;
  for (uint32_t i = first; i < first + count; ++i) {
    const Words& p = scipy_points().at(i);
    out.insert(out.end(), p.begin(), p.begin() + d);
  }
  return out;
}

// Direction row r (counter bit r) of scipy's dimensions: point 2^r XOR
// point 2^r - 1, the step that crosses bit r.
std::vector<Words> scipy_rows() {
  std::vector<Words> rows;
  for (uint32_t r = 0; r < 32; ++r) {
    const Words& a = scipy_points().at(uint32_t{1} << r);
    const Words& b = scipy_points().at((uint32_t{1} << r) - 1);
    Words row(kD);
    for (int k = 0; k < kD; ++k) row[k] = a[k] ^ b[k];
    rows.push_back(row);
  }
  return rows;
}

Words kind4_seed(const std::vector<Words>& rows) {
  const uint32_t d = static_cast<uint32_t>(rows[0].size());
  Words s = {d, 1, 4};
  for (uint32_t k = 0; k < d; ++k)
    for (const Words& row : rows) s.push_back(row[k]);
  return s;
}

Words kind3_seed(int d, uint32_t length, bool ones) {
  Words s = {static_cast<uint32_t>(d), 1, 3, length};
  for (int k = 1; k < d; ++k) s.push_back(tables::uSobolIrredPoly[k - 1]);
  for (int k = 1; k < d; ++k)
    for (uint32_t i = 0; i < length; ++i) s.push_back(ones ? 1u : (i < 8 ? tables::uSobolMInit[k - 1][i] : 0u));
  return s;
}

Words kind11_seed(int d) {
  Words s = {static_cast<uint32_t>(d), 1, 11};
  for (int k = 1; k < d; ++k) {
    const int e = tables::iSobolIrredPolyDeg[k - 1];
    s.push_back(static_cast<uint32_t>(e));
    s.push_back(tables::uSobolIrredPoly[k - 1]);
    for (int i = 0; i < e; ++i) s.push_back(tables::uSobolMInit[k - 1][i]);
  }
  return s;
}

TEST(Sobol, MatchesScipyFromTheStartAndFarAlong) {
  orx_rng_stream* s = quasi::make(ORX_BRNG_SOBOL, {kD});
  EXPECT_EQ(quasi::raw(s, 299 * kD), scipy_range(1, 299));
  // Points 2^k - 1 .. 2^k + 1 (k = 9..31) after setting the state at 2^k - 2:
  // every direction row of every dimension takes part.
  for (int k = 9; k < 32; ++k) {
    const uint32_t q = (uint32_t{1} << k) - 2;
    if (uint64_t{q} * kD + 3 * kD > 0xFFFFFFFFu) break;  // beyond the value count
    quasi::state(s)[0] = q * kD;
    const Words& held = scipy_points().at(q);
    std::copy(held.begin(), held.end(), quasi::state(s) + 2);
    EXPECT_EQ(quasi::raw(s, 3 * kD), scipy_range(q + 1, 3)) << "point " << q;
  }
  __vslDeleteStream(&s);
  // Dimension 1 at the end of the count: value t is point t + 1, whose word
  // is the bit reversal of the Gray code of t + 1 (van der Corput).
  orx_rng_stream* one = quasi::make(ORX_BRNG_SOBOL, {1});
  const auto vdc = [](uint32_t i) {
    uint32_t g = i ^ (i >> 1), reversed = 0;
    for (int b = 0; b < 32; ++b) reversed |= ((g >> b) & 1u) << (31 - b);
    return reversed;
  };
  quasi::state(one)[0] = 0xFFFFFFFFu - 6;
  quasi::state(one)[2] = vdc(0xFFFFFFFFu - 6);
  const Words last = quasi::raw(one, 6);
  for (uint32_t i = 0; i < 6; ++i) EXPECT_EQ(last[i], vdc(0xFFFFFFFFu - 5 + i)) << i;
  __vslDeleteStream(&one);
}

TEST(Sobol, DefaultDirectionRowsAreScipys) {
  // State words 42.. hold row r of the 40 dimensions at 42 + 40 r.
  orx_rng_stream* s = quasi::make(ORX_BRNG_SOBOL, {kD});
  const std::vector<Words> rows = scipy_rows();
  for (int r = 0; r < 32; ++r)
    EXPECT_EQ(Words(quasi::state(s) + 42 + kD * r, quasi::state(s) + 42 + kD * (r + 1)), rows[r]) << "row " << r;
  __vslDeleteStream(&s);
}

TEST(Sobol, UserDataOfEveryKindReproducesScipy) {
  struct Case {
    const char* name;
    Words seed;
  };
  const Case cases[] = {{"kind 4", kind4_seed(scipy_rows())},
                        {"kind 3, L = 8", kind3_seed(kD, 8, false)},
                        {"kind 3, L = 11", kind3_seed(kD, 11, false)},
                        {"kind 11", kind11_seed(kD)}};
  for (const Case& c : cases) {
    orx_rng_stream* s = quasi::make(ORX_BRNG_SOBOL, c.seed);
    EXPECT_EQ(quasi::state(s)[1], uint32_t{kD}) << c.name;
    ASSERT_NE(quasi::chunk(s, ORX_RNG_CHUNK_SOBOL_DIRECTIONS), nullptr) << c.name;
    ASSERT_NE(quasi::chunk(s, ORX_RNG_CHUNK_SOBOL_USER), nullptr) << c.name;
    EXPECT_EQ(quasi::chunk(s, ORX_RNG_CHUNK_SOBOL_DIRECTIONS)->Size, 32u * kD * 4) << c.name;
    EXPECT_EQ(quasi::raw(s, 299 * kD), scipy_range(1, 299)) << c.name;
    __vslDeleteStream(&s);
  }
  // Kind 1 takes every initial number 1; kind 4 goes beyond 40 dimensions.
  orx_rng_stream* polys = quasi::make(ORX_BRNG_SOBOL, [] {
    Words s = {12, 1, 1};
    for (int k = 1; k < 12; ++k) s.push_back(tables::uSobolIrredPoly[k - 1]);
    return s;
  }());
  orx_rng_stream* ones = quasi::make(ORX_BRNG_SOBOL, kind3_seed(12, 8, true));
  EXPECT_EQ(quasi::raw(polys, 5000), quasi::raw(ones, 5000));
  std::vector<Words> rows = scipy_rows();
  for (Words& row : rows) row.insert(row.end(), row.begin(), row.begin() + 5);
  orx_rng_stream* wide = quasi::make(ORX_BRNG_SOBOL, kind4_seed(rows));
  EXPECT_EQ(quasi::state(wide)[1], 45u);
  EXPECT_EQ(quasi::raw(wide, 45 * 600), quasi::model_walk(rows, 600));
  for (orx_rng_stream* p : {polys, ones, wide}) __vslDeleteStream(&p);
}

TEST(Sobol, DimensionsAndUnusableUserData) {
  Words even_poly = kind3_seed(6, 8, false);
  even_poly[6] &= ~1u;
  Words even_minit = kind3_seed(6, 8, false);
  even_minit[4 + 5 + 8] = 2;  // m_1 of dimension 3
  Words bad_degree = kind11_seed(6);
  bad_degree[3] = 2;  // dimension 2's polynomial x + 1 has degree 1
  Words short4 = kind4_seed(scipy_rows());
  short4.pop_back();
  Words deg_over_length = kind3_seed(6, 3, false);  // dimension 6 has degree 4
  struct Case {
    const char* name;
    Words seed;
    uint32_t dimension;
  };
  const Case cases[] = {
      {"no words", {}, 1},          {"40", {40}, 40},
      {"41", {41}, 1},              {"0", {0}, 1},
      {"-1", {0xFFFFFFFFu}, 1},     {"7 and a word", {7, 9}, 7},
      {"kind 1, 41 dims", [] {
         Words w(43, 3u);
         w[0] = 41, w[1] = 1, w[2] = 1;
         return w;
       }(), 1},
      {"kind 1 too short", {6, 1, 1, 7, 11}, 6},
      {"unknown kind", {6, 1, 7, 1, 1, 1, 1, 1}, 6},
      {"even polynomial", even_poly, 6},
      {"even initial number", even_minit, 6},
      {"degree word wrong", bad_degree, 6},
      {"degree above L", deg_over_length, 6},
      {"kind 4 one word short", short4, kD},
  };
  for (const Case& c : cases) {
    orx_rng_stream* s = quasi::make(ORX_BRNG_SOBOL, c.seed);
    EXPECT_EQ(quasi::state(s)[1], c.dimension) << c.name;
    EXPECT_EQ(__vslGetNumChunks(s), 0) << c.name;
    EXPECT_EQ(quasi::raw(s, 50 * c.dimension), scipy_range(1, 50, static_cast<int>(c.dimension))) << c.name;
    __vslDeleteStream(&s);
  }
}

TEST(Sobol, NetProperties) {
  orx_rng_stream* s = quasi::make(ORX_BRNG_SOBOL, {kD});
  const Words pts = quasi::points_from_origin(s, kD, 1 << 12);
  for (int m = 1; m <= 12; ++m)
    for (int c = 0; c < kD; ++c) ASSERT_TRUE(quasi::is_net(pts, kD, m, 0, c, c)) << "m " << m << " dim " << c + 1;
  // Two dimensions form a (t, 10, 2)-net with t = (e_i - 1) + (e_j - 1), the
  // degrees of their primitive polynomials; dimension 1 (van der Corput) is
  // the polynomial x, of degree 1.
  const auto degree = [](int c) { return c == 0 ? 1 : tables::iSobolIrredPolyDeg[c - 1]; };
  for (int i = 0; i < 10; ++i)
    for (int j = i + 1; j < 10; ++j) {
      const int t = degree(i) - 1 + degree(j) - 1;
      EXPECT_TRUE(quasi::is_net(pts, kD, 10, t, i, j)) << "dims " << i + 1 << ", " << j + 1 << " t " << t;
    }
  __vslDeleteStream(&s);
}

orx_rng_shared_entry* shared_entry(const orx_rng_stream* s) {
  orx_rng_shared_entry* e = nullptr;
  const orx_rng_chunk* c = quasi::chunk(s, ORX_RNG_CHUNK_SOBOL_DIRECTIONS);
  return c != nullptr && __vslFindGlobRODataTableEntry(&e, c->Key) == 0 ? e : nullptr;
}

TEST(Sobol, UserDirectionsAreSharedByCopiesAndImages) {
  const int before = __vslGetGlobRODataTableCount();
  orx_rng_stream* s = quasi::make(ORX_BRNG_SOBOL, kind11_seed(kD));
  EXPECT_EQ(__vslGetGlobRODataTableCount(), before + 1);
  ASSERT_NE(shared_entry(s), nullptr);
  EXPECT_EQ(shared_entry(s)->RefCount, 1u);
  quasi::raw(s, 1234);  // mid-point
  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, s), 0);
  EXPECT_EQ(shared_entry(s)->RefCount, 2u);
  EXPECT_EQ(quasi::chunk(copy, ORX_RNG_CHUNK_SOBOL_DIRECTIONS)->Data,
            quasi::chunk(s, ORX_RNG_CHUNK_SOBOL_DIRECTIONS)->Data);
  EXPECT_NE(quasi::chunk(copy, ORX_RNG_CHUNK_SOBOL_USER)->Data, quasi::chunk(s, ORX_RNG_CHUNK_SOBOL_USER)->Data);
  std::vector<char> image(static_cast<size_t>(__vslGetStreamSize(s)));
  ASSERT_EQ(__vslSaveStreamM(s, image.data()), 0);
  const std::string file = testing::TempDir() + "/orx_sobol_user.stream";
  ASSERT_EQ(__vslSaveStreamF(s, file.c_str(), -1), 0);
  const Words expected = scipy_range(1, 299);
  const Words tail(expected.begin() + 1234, expected.end());
  EXPECT_EQ(quasi::raw(s, static_cast<int>(tail.size())), tail);
  EXPECT_EQ(quasi::raw(copy, static_cast<int>(tail.size())), tail);
  orx_rng_stream* loaded = nullptr;
  ASSERT_EQ(__vslLoadStreamM(&loaded, image.data()), 0);
  EXPECT_EQ(shared_entry(s)->RefCount, 3u);
  EXPECT_EQ(quasi::raw(loaded, static_cast<int>(tail.size())), tail);
  __vslDeleteStream(&s);
  __vslDeleteStream(&copy);
  __vslDeleteStream(&loaded);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), before);
  // Loaded with no stream of that key alive, the image's block is shared anew.
  ASSERT_EQ(__vslLoadStreamF(&loaded, file.c_str(), -1), 0);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), before + 1);
  EXPECT_EQ(quasi::raw(loaded, static_cast<int>(tail.size())), tail);
  // Seeding again with defaults drops the user chunks and the reference.
  ASSERT_EQ(__vslBRngSobolInitStream(ORX_RNG_INIT_SEED, loaded, 1, Words{3}.data()), 0);
  EXPECT_EQ(__vslGetNumChunks(loaded), 0);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), before);
  EXPECT_EQ(quasi::raw(loaded, 30), scipy_range(1, 10, 3));
  __vslDeleteStream(&loaded);
}

// ---- checks shared by both quasi-random engines ---------------------------

struct EngineCase {
  const char* name;
  uint32_t id;
  Words seed;
};

void PrintTo(const EngineCase& c, std::ostream* os) { *os << c.name; }

class QuasiEngines : public testing::TestWithParam<EngineCase> {};

BrngProperties properties(uint32_t id) {
  BrngProperties p{};
  EXPECT_EQ(__vslGetBrngProperties(static_cast<int32_t>(id), &p), 0);
  return p;
}

TEST_P(QuasiEngines, SplitRequestsEqualOneCall) {
  const EngineCase& c = GetParam();
  orx_rng_stream* whole = quasi::make(c.id, c.seed);
  const int d = static_cast<int>(quasi::state(whole)[1]);
  const int total = 8 * d + 37;
  const Words expected = quasi::raw(whole, total);
  for (int length = 1; length <= 3 * d + 1; ++length) {
    orx_rng_stream* s = quasi::make(c.id, c.seed);
    Words got;
    for (int done = 0; done < total; done += length) {
      const Words part = quasi::raw(s, std::min(length, total - done));
      got.insert(got.end(), part.begin(), part.end());
    }
    ASSERT_EQ(got, expected) << c.name << ", requests of " << length;
    __vslDeleteStream(&s);
  }
  __vslDeleteStream(&whole);
}

TEST_P(QuasiEngines, DoublesAndFloatsFollowTheRawWords) {
  const EngineCase& c = GetParam();
  const BrngProperties p = properties(c.id);
  struct Interval {
    double a, b;
  };
  for (const Interval& v : {Interval{0, 1}, Interval{-3, 5}, Interval{1, 1 + 0x1p-40}}) {
    orx_rng_stream* s = quasi::make(c.id, c.seed);
    orx_rng_stream* words = quasi::make(c.id, c.seed);
    // Odd lengths, so that requests start inside points.
    for (int length : {1, 7, 1001, 3}) {
      std::vector<double> r(static_cast<size_t>(length));
      ASSERT_EQ(p.dBRngFn(s, length, r.data(), v.a, v.b), 0);
      const Words x = quasi::raw(words, length);
      for (int k = 0; k < length; ++k) {
        double expected = v.a + x[k] * ((v.b - v.a) * 0x1p-32);
        if (expected >= v.b) expected = std::nextafter(v.b, v.a);
        ASSERT_EQ(r[k], expected) << c.name << " " << k;
      }
      std::vector<float> f(static_cast<size_t>(length));
      const float fa = static_cast<float>(v.a), fb = static_cast<float>(v.b);
      ASSERT_EQ(p.sBRngFn(s, length, f.data(), fa, fb), 0);
      const Words y = quasi::raw(words, length);
      for (int k = 0; k < length; ++k) {
        float expected = fa + static_cast<float>(y[k] * 0x1p-32) * (fb - fa);
        if (expected >= fb) expected = std::nextafter(fb, fa);
        ASSERT_EQ(f[k], expected) << c.name << " " << k;
      }
    }
    __vslDeleteStream(&s);
    __vslDeleteStream(&words);
  }
}

TEST_P(QuasiEngines, CountStopsAtTwoToThe32MinusOne) {
  const EngineCase& c = GetParam();
  const BrngProperties p = properties(c.id);
  orx_rng_stream* s = quasi::make(c.id, c.seed);
  quasi::raw(s, 5);
  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, s), 0);
  // Only the count moves: the same point and rows go on, so the values after
  // the refusals are those the copy gives.
  quasi::state(s)[0] = 0xFFFFFFFFu - 4;
  quasi::state(copy)[0] = 0xFFFFFFFFu - 4;
  Words r(8, 0xDEADBEEFu);
  std::vector<double> dr(8, -7.0);
  std::vector<float> fr(8, -7.0f);
  EXPECT_EQ(p.iBRngFn(s, 5, r.data()), ORX_RNG_ERROR_QRNG_PERIOD_ELAPSED);
  EXPECT_EQ(p.dBRngFn(s, 8, dr.data(), 0, 1), ORX_RNG_ERROR_QRNG_PERIOD_ELAPSED);
  EXPECT_EQ(p.sBRngFn(s, 5, fr.data(), 0, 1), ORX_RNG_ERROR_QRNG_PERIOD_ELAPSED);
  EXPECT_EQ(r, Words(8, 0xDEADBEEFu));
  EXPECT_EQ(dr, std::vector<double>(8, -7.0));
  EXPECT_EQ(fr, std::vector<float>(8, -7.0f));
  EXPECT_EQ(quasi::state(s)[0], 0xFFFFFFFFu - 4);
  EXPECT_EQ(p.iBRngFn(s, 4, r.data()), 0);
  EXPECT_EQ(quasi::state(s)[0], 0xFFFFFFFFu);
  EXPECT_EQ(Words(r.begin(), r.begin() + 4), quasi::raw(copy, 4));
  EXPECT_EQ(p.iBRngFn(s, 1, r.data()), ORX_RNG_ERROR_QRNG_PERIOD_ELAPSED);
  EXPECT_EQ(p.iBRngFn(s, 0, r.data()), 0);
  __vslDeleteStream(&s);
  __vslDeleteStream(&copy);
}

TEST_P(QuasiEngines, RefusesLeapfrogSkipAheadAndOtherMethods) {
  const EngineCase& c = GetParam();
  const BrngProperties p = properties(c.id);
  orx_rng_stream* s = quasi::make(c.id, c.seed);
  EXPECT_EQ(__vslLeapfrogStream(s, 0, 2), ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED);
  EXPECT_EQ(__vslSkipAheadStream(s, 10), ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED);
  EXPECT_EQ(p.InitStreamFn(3, s, 0, nullptr), ORX_RNG_ERROR_BAD_METHOD);
  EXPECT_EQ(p.InitStreamFn(ORX_RNG_INIT_SEED, s, 1, nullptr), ORX_RNG_ERROR_NULL_POINTER);
  EXPECT_EQ(p.IncludesZero, 0);
  EXPECT_EQ(p.StateBytes, c.id == ORX_BRNG_SOBOL ? 11648 : 43280);
  __vslDeleteStream(&s);
  // The records of the earlier numbering reach the same engines.
  BrngProperties earlier{};
  ASSERT_EQ(__vslGetBrngProperties(c.id == ORX_BRNG_SOBOL ? 277 : 278, &earlier), 0);
  EXPECT_EQ(earlier.iBRngFn, p.iBRngFn);
}

Words sobol_user45() {
  std::vector<Words> rows = scipy_rows();
  for (Words& row : rows) row.insert(row.end(), row.begin(), row.begin() + 5);
  return kind4_seed(rows);
}

Words niederr_user(uint32_t d) {
  Words s = {d, 1, 4};
  uint32_t x = 12345;
  for (uint32_t i = 0; i < 32 * d; ++i) s.push_back(x = x * 1664525u + 1013904223u);
  return s;
}

INSTANTIATE_TEST_SUITE_P(
    Engines, QuasiEngines,
    testing::Values(EngineCase{"Sobol d=1", ORX_BRNG_SOBOL, {1}}, EngineCase{"Sobol d=3", ORX_BRNG_SOBOL, {3}},
                    EngineCase{"Sobol d=10", ORX_BRNG_SOBOL, {10}},
                    EngineCase{"Sobol d=40", ORX_BRNG_SOBOL, {40}},
                    EngineCase{"Sobol user d=45", ORX_BRNG_SOBOL, sobol_user45()},
                    EngineCase{"Niederr d=1", ORX_BRNG_NIEDERR, {1}},
                    EngineCase{"Niederr d=13", ORX_BRNG_NIEDERR, {13}},
                    EngineCase{"Niederr d=318", ORX_BRNG_NIEDERR, {318}},
                    EngineCase{"Niederr user d=321", ORX_BRNG_NIEDERR, niederr_user(321)}),
    [](const testing::TestParamInfo<EngineCase>& info) {
      std::string name = info.param.name;
      for (char& ch : name)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
      return name;
    });

}  // namespace
