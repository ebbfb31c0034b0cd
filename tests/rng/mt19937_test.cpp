// MT19937 against the authors' published output (key {0x123, 0x234, 0x345,
// 0x456}, first 1000 words) and against a plain serial model written here:
// every request length and split, double outputs, seeding and refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "orx/rng.h"
#include "tests/rng/mt_seeding_model.h"

namespace {

std::vector<uint32_t> published_words() {
  std::ifstream in(ORX_RNG_TESTDATA "/mt19937-32bit-reference.txt");
  std::string title;
  std::getline(in, title);
  std::vector<uint32_t> words;
  for (uint64_t w; in >> w;) words.push_back(static_cast<uint32_t>(w));
  return words;
}

// The generator as its authors describe it, one word at a time.
struct Model {
  uint32_t mt[624];
  int i = 624;
  explicit Model(std::vector<uint32_t> key) {
    model_key_seeding(mt, std::move(key));
  }
  uint32_t next() {
    if (i == 624) {
      for (int k = 0; k < 624; ++k) {
        const uint32_t y = (mt[k] & 0x80000000u) | (mt[(k + 1) % 624] & 0x7FFFFFFFu);
        mt[k] = mt[(k + 397) % 624] ^ (y >> 1) ^ (y & 1 ? 0x9908B0DFu : 0u);
      }
      i = 0;
    }
    uint32_t y = mt[i++];
    y ^= y >> 11;
    y ^= (y << 7) & 0x9D2C5680u;
    y ^= (y << 15) & 0xEFC60000u;
    return y ^ (y >> 18);
  }
};

orx_rng_stream* make(const std::vector<uint32_t>& key) {
  orx_rng_stream* s = nullptr;
  EXPECT_EQ(__vslNewStreamEx(&s, ORX_BRNG_MT19937, static_cast<uint32_t>(key.size()), key.data()), 0);
  return s;
}

const std::vector<uint32_t> kPublishedKey = {0x123, 0x234, 0x345, 0x456};

TEST(Mt19937, PublishedOutputInRequestsOfEveryLength) {
  const std::vector<uint32_t> expected = published_words();
  ASSERT_EQ(expected.size(), 1000u);
  for (int length = 1; length <= 700; ++length) {
    orx_rng_stream* s = make(kPublishedKey);
    std::vector<uint32_t> got(1000 + length);
    for (int done = 0; done < 1000; done += length) __vsliBRngMT19937(s, length, got.data() + done);
    got.resize(1000);
    ASSERT_EQ(got, expected) << "requests of " << length;
    __vslDeleteStream(&s);
  }
}

TEST(Mt19937, DoublesAndFloatsFollowTheModel) {
  struct Interval {
    double a, b;
  };
  for (const Interval& v : {Interval{0, 1}, Interval{-3, 5}, Interval{1e10, 1e10 + 1}}) {
    orx_rng_stream* s = make({5489});
    Model model({5489});
    std::vector<double> r(5000);
    __vsldBRngMT19937(s, 5000, r.data(), v.a, v.b);
    for (size_t k = 0; k < r.size(); ++k) {
      double expected = v.a + (v.b - v.a) * (model.next() * 0x1p-32);
      if (expected >= v.b) expected = std::nextafter(v.b, v.a);
      ASSERT_EQ(r[k], expected) << k << " on [" << v.a << ", " << v.b << ")";
    }
    std::vector<float> f(3000);
    __vslsBRngMT19937(s, 3000, f.data(), 0.0f, 1.0f);
    for (size_t k = 0; k < f.size(); ++k) {
      float expected = static_cast<float>(model.next() * 0x1p-32);
      if (expected >= 1.0f) expected = std::nextafter(1.0f, 0.0f);
      ASSERT_EQ(f[k], expected) << k;
    }
    __vslDeleteStream(&s);
  }
}

TEST(Mt19937, SeedingAndRefusals) {
  // No seed words is the key {1}; one word 5489 goes through the key array.
  for (const std::vector<uint32_t>& key : {std::vector<uint32_t>{}, {5489}, std::vector<uint32_t>(700, 7)}) {
    orx_rng_stream* s = make(key);
    Model model(key);
    std::vector<uint32_t> r(1300);
    __vsliBRngMT19937(s, 1300, r.data());
    for (uint32_t word : r) ASSERT_EQ(word, model.next()) << key.size() << " seed words";
    EXPECT_EQ(__vslLeapfrogStream(s, 0, 2), ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED);
    EXPECT_EQ(__vslSkipAheadStream(s, 10), ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED);
    EXPECT_EQ(__vslBRngMT19937InitStream(5, s, 0, nullptr), ORX_RNG_ERROR_BAD_METHOD);
    __vslDeleteStream(&s);
  }
  // The classic single-seed initialisation is not what one seed word means.
  orx_rng_stream* s = make({5489});
  uint32_t first;
  __vsliBRngMT19937(s, 1, &first);
  EXPECT_NE(first, 3499211612u);  // the single-seed generator's first word for 5489
  __vslDeleteStream(&s);
}

TEST(Mt19937, CopiesAndImagesContinueMidBlock) {
  orx_rng_stream* s = make(kPublishedKey);
  std::vector<uint32_t> skip(1000);
  __vsliBRngMT19937(s, 1000, skip.data());  // position 376 of the second block
  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, s), 0);
  std::vector<char> image(static_cast<size_t>(__vslGetStreamSize(s)));
  ASSERT_EQ(__vslSaveStreamM(s, image.data()), 0);
  orx_rng_stream* loaded = nullptr;
  ASSERT_EQ(__vslLoadStreamM(&loaded, image.data()), 0);
  std::vector<uint32_t> a(900), b(900), c(900);
  __vsliBRngMT19937(s, 900, a.data());
  __vsliBRngMT19937(copy, 900, b.data());
  __vsliBRngMT19937(loaded, 900, c.data());
  EXPECT_EQ(a, b);
  EXPECT_EQ(a, c);
  for (orx_rng_stream* p : {s, copy, loaded}) __vslDeleteStream(&p);
}

}  // namespace
