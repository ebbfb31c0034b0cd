// MT2203 against a plain serial model written here (key-array seeding,
// modular-index regeneration, tempering with first shift 12) for the given
// rows 0, 1 and 6023: every request length, seeds, double and float outputs,
// refusals, copies and images; every row of the table against the model with
// that row's parameters, and the distinctness of the sub-generators.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "orx/rng.h"
#include "tests/rng/mt_seeding_model.h"
#include "vsl/rng/engines/mt2203_table.h"

namespace {

struct Row {
  int index;
  uint32_t a, b, c;
};
// The parameter sets given for the family (not read from the library's table).
const Row kRows[] = {{0, 0xAF81055Fu, 0xDD7EEF80u, 0xEFD78000u},
                     {1, 0x832604E1u, 0x66AD7F80u, 0xEBD58000u},
                     {6023, 0xE8761D4Bu, 0x72967680u, 0xEFEB0000u}};

struct Model {
  uint32_t mt[69];
  int i = 69;
  Row row;
  Model(const Row& r, std::vector<uint32_t> key) : row(r) {
    model_key_seeding(mt, std::move(key));
  }
  uint32_t next() {
    if (i == 69) {
      for (int k = 0; k < 69; ++k) {
        const uint32_t y = (mt[k] & 0xFFFFFFE0u) | (mt[(k + 1) % 69] & 0x1Fu);
        mt[k] = mt[(k + 34) % 69] ^ (y >> 1) ^ (y & 1 ? row.a : 0u);
      }
      i = 0;
    }
    uint32_t y = mt[i++];
    y ^= y >> 12;
    y ^= (y << 7) & row.b;
    y ^= (y << 15) & row.c;
    return y ^ (y >> 18);
  }
};

orx_rng_stream* make(int row, const std::vector<uint32_t>& key) {
  orx_rng_stream* s = nullptr;
  EXPECT_EQ(__vslNewStreamEx(&s, ORX_BRNG_MT2203 + row, static_cast<uint32_t>(key.size()), key.data()), 0);
  return s;
}

const std::vector<uint32_t> kKeys[] = {{}, {1}, {5489}, {0x123, 0x234, 0x345, 0x456}, std::vector<uint32_t>(100, 0xDEADBEEF)};

TEST(Mt2203, GivenRowsFollowTheModelForEverySeed) {
  for (const Row& row : kRows) {
    for (const std::vector<uint32_t>& key : kKeys) {
      orx_rng_stream* s = make(row.index, key);
      Model model(row, key);
      std::vector<uint32_t> r(1000);
      __vsliBRngMT2203(s, 1000, r.data());
      for (size_t k = 0; k < r.size(); ++k) ASSERT_EQ(r[k], model.next()) << "row " << row.index << " word " << k;
      __vslDeleteStream(&s);
    }
  }
}

TEST(Mt2203, NoSeedWordsIsTheKeyOne) {
  orx_rng_stream* none = make(1, {});
  orx_rng_stream* one = make(1, {1});
  std::vector<uint32_t> a(300), b(300);
  __vsliBRngMT2203(none, 300, a.data());
  __vsliBRngMT2203(one, 300, b.data());
  EXPECT_EQ(a, b);
  for (orx_rng_stream* p : {none, one}) __vslDeleteStream(&p);
}

TEST(Mt2203, RequestsOfEveryLengthFrom1To200) {
  for (const Row& row : kRows) {
    Model reference(row, {7, 8, 9});
    std::vector<uint32_t> expected(700);
    for (uint32_t& w : expected) w = reference.next();
    for (int length = 1; length <= 200; ++length) {
      orx_rng_stream* s = make(row.index, {7, 8, 9});
      std::vector<uint32_t> got(700 + length);
      for (int done = 0; done < 700; done += length) __vsliBRngMT2203(s, length, got.data() + done);
      got.resize(700);
      ASSERT_EQ(got, expected) << "row " << row.index << ", requests of " << length;
      __vslDeleteStream(&s);
    }
  }
}

TEST(Mt2203, DoublesAndFloatsFollowTheConversionRule) {
  struct Interval {
    double a, b;
  };
  for (const Row& row : kRows) {
    for (const Interval& v : {Interval{0, 1}, Interval{-3, 5}, Interval{1e10, 1e10 + 1}}) {
      orx_rng_stream* s = make(row.index, {42});
      Model model(row, {42});
      std::vector<double> r(1000);
      // Uneven requests cross block boundaries at different points.
      for (int done = 0, len = 1; done < 1000; done += len, len = len * 3 % 97 + 1)
        __vsldBRngMT2203(s, std::min(len, 1000 - done), r.data() + done, v.a, v.b);
      for (size_t k = 0; k < r.size(); ++k) {
        double expected = v.a + (v.b - v.a) * (model.next() * 0x1p-32);
        if (expected >= v.b) expected = std::nextafter(v.b, v.a);
        ASSERT_EQ(r[k], expected) << k << " on [" << v.a << ", " << v.b << ")";
      }
      std::vector<float> f(700);
      __vslsBRngMT2203(s, 700, f.data(), -1.0f, 2.0f);
      for (size_t k = 0; k < f.size(); ++k) {
        float expected = -1.0f + static_cast<float>(model.next() * 0x1p-32) * 3.0f;
        if (expected >= 2.0f) expected = std::nextafter(2.0f, -1.0f);
        ASSERT_EQ(f[k], expected) << k;
      }
      __vslDeleteStream(&s);
    }
  }
}

TEST(Mt2203, RowsAndMethodsOutsideTheFamilyAreRefused) {
  orx_rng_stream* s = nullptr;
  EXPECT_EQ(__vslNewStreamEx(&s, ORX_BRNG_MT2203 + 6024, 1, kKeys[2].data()), ORX_RNG_ERROR_INVALID_BRNG);
  EXPECT_EQ(s, nullptr);
  s = make(6023, {5});
  EXPECT_EQ(__vslLeapfrogStream(s, 0, 2), ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED);
  EXPECT_EQ(__vslSkipAheadStream(s, 10), ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED);
  EXPECT_EQ(__vslBRngMT2203InitStream(ORX_RNG_INIT_LEAPFROG, s, 2, nullptr), ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED);
  EXPECT_EQ(__vslBRngMT2203InitStream(ORX_RNG_INIT_SKIPAHEAD, s, 2, nullptr), ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED);
  EXPECT_EQ(__vslBRngMT2203InitStream(5, s, 0, nullptr), ORX_RNG_ERROR_BAD_METHOD);
  EXPECT_EQ(__vslBRngMT2203InitStream(ORX_RNG_INIT_SEED, s, 3, nullptr), ORX_RNG_ERROR_NULL_POINTER);
  // Refusals leave the stream as it was.
  Model model(kRows[2], {5});
  uint32_t w;
  __vsliBRngMT2203(s, 1, &w);
  EXPECT_EQ(w, model.next());
  // Re-seeding in place keeps the row.
  EXPECT_EQ(__vslBRngMT2203InitStream(ORX_RNG_INIT_SEED, s, 0, nullptr), 0);
  Model reseeded(kRows[2], {});
  std::vector<uint32_t> r(100);
  __vsliBRngMT2203(s, 100, r.data());
  for (uint32_t word : r) ASSERT_EQ(word, reseeded.next());
  __vslDeleteStream(&s);
}

TEST(Mt2203, CopiesAndImagesContinueMidBlock) {
  for (const Row& row : kRows) {
    orx_rng_stream* s = make(row.index, {0x123, 0x234});
    std::vector<uint32_t> skip(100);
    __vsliBRngMT2203(s, 100, skip.data());  // position 31 of the second block
    orx_rng_stream* copy = nullptr;
    ASSERT_EQ(__vslCopyStream(&copy, s), 0);
    std::vector<char> image(static_cast<size_t>(__vslGetStreamSize(s)));
    ASSERT_EQ(__vslSaveStreamM(s, image.data()), 0);
    orx_rng_stream* loaded = nullptr;
    ASSERT_EQ(__vslLoadStreamM(&loaded, image.data()), 0);
    Model model(row, {0x123, 0x234});
    for (int k = 0; k < 100; ++k) model.next();
    std::vector<uint32_t> a(300), b(300), c(300), expected(300);
    __vsliBRngMT2203(s, 300, a.data());
    __vsliBRngMT2203(copy, 300, b.data());
    __vsliBRngMT2203(loaded, 300, c.data());
    for (uint32_t& w : expected) w = model.next();
    EXPECT_EQ(a, expected) << "row " << row.index;
    EXPECT_EQ(b, expected) << "row " << row.index;
    EXPECT_EQ(c, expected) << "row " << row.index;
    for (orx_rng_stream* p : {s, copy, loaded}) __vslDeleteStream(&p);
  }
}

TEST(Mt2203, EveryRowUsesItsOwnParameters) {
  // Each stream against the model with its table row, past the first block.
  for (int row = 0; row < kMt2203Rows; ++row) {
    const uint32_t* p = _vsl_mt2203_table[row];
    orx_rng_stream* s = make(row, {static_cast<uint32_t>(row)});
    Model model({row, p[0], p[1], p[2]}, {static_cast<uint32_t>(row)});
    std::vector<uint32_t> r(140);
    __vsliBRngMT2203(s, 140, r.data());
    for (size_t k = 0; k < r.size(); ++k) ASSERT_EQ(r[k], model.next()) << "row " << row << " word " << k;
    __vslDeleteStream(&s);
  }
}

TEST(Mt2203, SubGeneratorsGiveDifferentSequences) {
  const int rows[] = {0, 1, 2, 3, 1000, 3011, 6022, 6023};
  std::vector<std::vector<uint32_t>> outputs;
  for (int row : rows) {
    orx_rng_stream* s = make(row, {5489});
    std::vector<uint32_t> r(200);
    __vsliBRngMT2203(s, 200, r.data());
    outputs.push_back(r);
    __vslDeleteStream(&s);
  }
  // Same seed, same first block of untempered words, different parameters:
  // beyond the first block every pair must differ almost everywhere.
  for (size_t i = 0; i < outputs.size(); ++i) {
    for (size_t j = i + 1; j < outputs.size(); ++j) {
      int equal = 0;
      for (int k = 69; k < 200; ++k) equal += outputs[i][k] == outputs[j][k];
      EXPECT_LT(equal, 3) << "rows " << rows[i] << " and " << rows[j];
    }
  }
}

}  // namespace
