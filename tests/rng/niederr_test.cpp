// Niederreiter against GSL's gsl_qrng_niederreiter_2 (d = 1..12; GSL hands
// out the origin first and keeps 31 bits), the generated polynomial table,
// net properties, dimensions, and user polynomials and direction numbers in
// the state and in the kind-10 chunk through copies and images.
#include <gtest/gtest.h>
#include <gsl/gsl_qrng.h>

#include <cstdint>
#include <string>
#include <vector>

#include "orx/host.h"
#include "orx/rng.h"
#include "tests/rng/quasi_nets.h"

namespace {

namespace tables {
#include "orx/niederr_polys.inc"
}

using quasi::Words;

constexpr int kTable = 318;

int degree(uint32_t p) { return 31 - __builtin_clz(p); }

bool irreducible(uint32_t p) {
  for (uint32_t f = 2; 2 * degree(f) <= degree(p); ++f) {
    uint32_t r = p;
    while (r != 0 && degree(r) >= degree(f)) r ^= f << (degree(r) - degree(f));
    if (r == 0) return false;
  }
  return true;
}

// The first `count` irreducible polynomials over GF(2), by trial division.
Words irreducibles(int count) {
  Words out;
  for (uint32_t p = 2; static_cast<int>(out.size()) < count; ++p)
    if (irreducible(p)) out.push_back(p);
  return out;
}

Words user_polynomials(const Words& polys) {
  Words s = {static_cast<uint32_t>(polys.size()), 1, 1};
  s.insert(s.end(), polys.begin(), polys.end());
  return s;
}

TEST(Niederr, TableIsTheFirstIrreduciblePolynomials) {
  const Words expected = irreducibles(kTable);
  for (int i = 0; i < kTable; ++i) {
    EXPECT_EQ(tables::uNiederrIrredPoly[i], expected[i]) << i;
    EXPECT_EQ(tables::iNiederrIrredPolyDeg[i], degree(expected[i])) << i;
  }
}

TEST(Niederr, MatchesGslForDimensions1To12) {
  constexpr int kPoints = 1 << 14;
  for (uint32_t d = 1; d <= 12; ++d) {
    gsl_qrng* q = gsl_qrng_alloc(gsl_qrng_niederreiter_2, d);
    std::vector<double> x(d);
    gsl_qrng_get(q, x.data());
    for (double c : x) ASSERT_EQ(c, 0.0);  // GSL's point 0, the origin
    orx_rng_stream* s = quasi::make(ORX_BRNG_NIEDERR, {d});
    const Words ours = quasi::raw(s, kPoints * static_cast<int>(d));
    for (int i = 0; i < kPoints; ++i) {
      gsl_qrng_get(q, x.data());
      for (uint32_t c = 0; c < d; ++c)
        ASSERT_EQ(ours[i * d + c] >> 1, static_cast<uint32_t>(x[c] * 0x1p31)) << "d " << d << " point " << i + 1;
    }
    gsl_qrng_free(q);
    __vslDeleteStream(&s);
  }
}

// Dimension i of polynomial degree e_i is a (t, m, 1)-net with t = e_i - 1,
// two dimensions a (t, m, 2)-net with t = (e_i - 1) + (e_j - 1). The
// stronger one point per interval of 2^-m does not hold beyond degree 2
// (dimension 4, x^3 + x + 1, puts two of its first four points in [0, 1/4)),
// for GSL's sequence as for this one.
TEST(Niederr, NetPropertiesAt318Dimensions) {
  orx_rng_stream* s = quasi::make(ORX_BRNG_NIEDERR, {kTable});
  const Words pts = quasi::points_from_origin(s, kTable, 1 << 12);
  for (int c = 0; c < kTable; ++c) {
    const int t = tables::iNiederrIrredPolyDeg[c] - 1;
    for (int m = t; m <= 12; ++m) ASSERT_TRUE(quasi::is_net(pts, kTable, m, t, c, c)) << "m " << m << " dim " << c + 1;
  }
  EXPECT_FALSE(quasi::is_net(pts, kTable, 2, 0, 3, 3));
  for (int i = 0; i < 10; ++i)
    for (int j = i + 1; j < 10; ++j) {
      const int t = tables::iNiederrIrredPolyDeg[i] - 1 + tables::iNiederrIrredPolyDeg[j] - 1;
      EXPECT_TRUE(quasi::is_net(pts, kTable, 12, t, i, j)) << "dims " << i + 1 << ", " << j + 1;
    }
  __vslDeleteStream(&s);
}

TEST(Niederr, Dimensions) {
  struct Case {
    Words seed;
    uint32_t dimension;
  };
  const Case cases[] = {{{}, 1},         {{318}, 318},    {{319}, 1},         {{0}, 1},
                        {{0, 5}, 1},     {{7, 0, 1}, 7},  {{7, 1, 2, 3}, 7},  {{4, 1, 1, 2, 3, 1, 7}, 4},
                        {{4, 1, 1, 2, 3, 7}, 4}};
  orx_rng_stream* reference = quasi::make(ORX_BRNG_NIEDERR, {kTable});
  const Words expected = quasi::raw(reference, 40 * kTable);
  for (const Case& c : cases) {
    orx_rng_stream* s = quasi::make(ORX_BRNG_NIEDERR, c.seed);
    EXPECT_EQ(quasi::state(s)[1], c.dimension);
    EXPECT_EQ(__vslGetNumChunks(s), 0);
    // Unusable user data ({4, 1, 1, ..., 1, ...}: polynomial 1 has degree 0;
    // one word short) leaves the default sequence.
    const Words got = quasi::raw(s, 40 * static_cast<int>(c.dimension));
    for (int i = 0; i < 40; ++i)
      for (uint32_t k = 0; k < c.dimension; ++k)
        ASSERT_EQ(got[i * c.dimension + k], expected[i * kTable + k]) << c.seed.size() << " words";
    __vslDeleteStream(&s);
  }
  __vslDeleteStream(&reference);
}

TEST(Niederr, UserPolynomialsInTheState) {
  // The table's polynomials given as user data make the default sequence;
  // others make the sequence of those polynomials.
  const Words polys = irreducibles(20);
  orx_rng_stream* user = quasi::make(ORX_BRNG_NIEDERR, user_polynomials(Words(polys.begin(), polys.begin() + 12)));
  orx_rng_stream* defaults = quasi::make(ORX_BRNG_NIEDERR, {12});
  EXPECT_EQ(quasi::raw(user, 12 * 3000), quasi::raw(defaults, 12 * 3000));
  orx_rng_stream* later = quasi::make(ORX_BRNG_NIEDERR, user_polynomials({polys[19], polys[4]}));
  orx_rng_stream* wide = quasi::make(ORX_BRNG_NIEDERR, {20});
  const Words a = quasi::raw(later, 2 * 500), b = quasi::raw(wide, 20 * 500);
  for (int i = 0; i < 500; ++i) {
    ASSERT_EQ(a[2 * i], b[20 * i + 19]) << i;
    ASSERT_EQ(a[2 * i + 1], b[20 * i + 4]) << i;
  }
  for (orx_rng_stream* p : {user, defaults, later, wide}) __vslDeleteStream(&p);
}

TEST(Niederr, UserDirectionNumbersFollowTheGrayCodeWalk) {
  for (uint32_t d : {5u, 319u}) {
    std::vector<Words> rows(32, Words(d));
    Words seed = {d, 1, 4};
    uint32_t x = 99;
    for (uint32_t k = 0; k < d; ++k)
      for (int r = 0; r < 32; ++r) seed.push_back(rows[r][k] = x = x * 69069u + 1u);
    orx_rng_stream* s = quasi::make(ORX_BRNG_NIEDERR, seed);
    EXPECT_EQ(quasi::state(s)[1], d);
    EXPECT_EQ(__vslGetNumChunks(s), d > kTable ? 1 : 0);
    EXPECT_EQ(quasi::raw(s, static_cast<int>(d) * 700), quasi::model_walk(rows, 700)) << d;
    __vslDeleteStream(&s);
  }
}

TEST(Niederr, FourHundredDimensionsLiveInAChunkThatCopiesAndImagesKeep) {
  const Words polys = irreducibles(400);
  orx_rng_stream* s = quasi::make(ORX_BRNG_NIEDERR, user_polynomials(polys));
  ASSERT_EQ(quasi::state(s)[1], 400u);
  ASSERT_EQ(__vslGetNumChunks(s), 1);
  const orx_rng_chunk* chunk = quasi::chunk(s, ORX_RNG_CHUNK_NIEDERR_POLYNOMIALS);
  ASSERT_NE(chunk, nullptr);
  EXPECT_EQ(chunk->Size, 13200u * 4);
  EXPECT_EQ(chunk->Key[0] | chunk->Key[1], 0u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(chunk->Data) % 32, 0u);

  // Dimensions 1..318 are the default ones, 319..400 those of a stream of
  // the same 82 polynomials held in the state.
  const Words pts = quasi::points_from_origin(s, 400, 1 << 12);
  orx_rng_stream* table = quasi::make(ORX_BRNG_NIEDERR, {kTable});
  const Words head = quasi::raw(table, kTable * 4095);
  orx_rng_stream* rest = quasi::make(ORX_BRNG_NIEDERR, user_polynomials(Words(polys.begin() + kTable, polys.end())));
  const Words tail = quasi::raw(rest, 82 * 4095);
  for (int i = 1; i < 1 << 12; ++i)
    for (int k = 0; k < 400; ++k)
      ASSERT_EQ(pts[i * 400 + k], k < kTable ? head[(i - 1) * kTable + k] : tail[(i - 1) * 82 + k - kTable])
          << i << " " << k;
  for (int c = kTable; c < 400; ++c) ASSERT_TRUE(quasi::is_net(pts, 400, 12, degree(polys[c]) - 1, c, c)) << c;
  __vslDeleteStream(&rest);

  quasi::raw(s, 1357);  // mid-point
  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, s), 0);
  EXPECT_NE(quasi::chunk(copy, ORX_RNG_CHUNK_NIEDERR_POLYNOMIALS)->Data, chunk->Data);
  EXPECT_EQ(__vslGetStreamSize(s), 43280 + 13200 * 4 + 24);
  std::vector<char> image(static_cast<size_t>(__vslGetStreamSize(s)));
  ASSERT_EQ(__vslSaveStreamM(s, image.data()), 0);
  const std::string file = testing::TempDir() + "/orx_niederr_400.stream";
  ASSERT_EQ(__vslSaveStreamF(s, file.c_str(), -1), 0);
  const Words expected = quasi::raw(s, 5000);
  orx_rng_stream* from_memory = nullptr;
  orx_rng_stream* from_file = nullptr;
  ASSERT_EQ(__vslLoadStreamM(&from_memory, image.data()), 0);
  ASSERT_EQ(__vslLoadStreamF(&from_file, file.c_str(), -1), 0);
  __vslDeleteStream(&s);
  for (orx_rng_stream* p : {copy, from_memory, from_file}) {
    EXPECT_EQ(quasi::chunk(p, ORX_RNG_CHUNK_NIEDERR_POLYNOMIALS)->Size, 13200u * 4);
    EXPECT_EQ(quasi::raw(p, 5000), expected);
    __vslDeleteStream(&p);
  }
  // Seeding again with defaults drops the chunk.
  orx_rng_stream* again = quasi::make(ORX_BRNG_NIEDERR, user_polynomials(polys));
  ASSERT_EQ(__vslBRngNiederrInitStream(ORX_RNG_INIT_SEED, again, 1, Words{12}.data()), 0);
  EXPECT_EQ(__vslGetNumChunks(again), 0);
  Words first12;
  for (int i = 0; i < 10; ++i) first12.insert(first12.end(), head.begin() + i * kTable, head.begin() + i * kTable + 12);
  EXPECT_EQ(quasi::raw(again, 12 * 10), first12);
  __vslDeleteStream(&again);
  __vslDeleteStream(&table);
}

}  // namespace

// The kind-10 chunk's block (second allocation of the seeding, after the
// stream) or its list node (third) cannot be had: -4, no chunk left behind,
// and the stream the caller deletes.
TEST(NiederrChunkAllocation, FailureReportsMemoryAndLeavesNoChunk) {
  const Words seed = user_polynomials(irreducibles(400));
  for (int64_t failing : {2, 3}) {
    SCOPED_TRACE(failing);
    orx_rng_stream* s = nullptr;
    orx_host_test_fail_allocation(failing);
    EXPECT_EQ(__vslNewStreamEx(&s, ORX_BRNG_NIEDERR, static_cast<uint32_t>(seed.size()), seed.data()),
              ORX_RNG_ERROR_MEMORY);
    orx_host_test_fail_allocation(0);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(__vslGetNumChunks(s), 0);
    __vslDeleteStream(&s);
  }
}
