// SFMT19937 against its authors' published outputs (32-bit and 64-bit files,
// both initialisations) and a plain scalar model written here from the
// paper: requests of every length, raw words, doubles and floats, seeding,
// statuses, the saved state's position field, copies and images.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "orx/rng.h"
#include "tests/rng/sfmt19937_reference.h"

namespace {

using Words = std::vector<uint32_t>;

using sfmt_reference::kKey32;
using sfmt_reference::kKey64;
Words published32(const char* section) { return sfmt_reference::words(32, section); }
Words published64_as_words(const char* section) { return sfmt_reference::words(64, section); }

// The generator as the paper describes it, with 128-bit words as 32-bit
// quadruples and the byte shifts done on 64-bit halves.
struct Model {
  static constexpr int N = 156, N32 = 624;
  uint32_t w[N32];
  int next = N32;

  static Model by_array(Words key) {
    if (key.empty()) key = {1};
    Model m;
    const int length = static_cast<int>(key.size()), lag = 11, mid = (N32 - lag) / 2;
    std::memset(m.w, 0x8b, sizeof m.w);
    uint32_t* p = m.w;
    auto f1 = [](uint32_t x) { return (x ^ (x >> 27)) * 1664525u; };
    auto f2 = [](uint32_t x) { return (x ^ (x >> 27)) * 1566083941u; };
    int count = length + 1 > N32 ? length + 1 : N32;
    uint32_t r = f1(p[0] ^ p[mid] ^ p[N32 - 1]);
    p[mid] += r;
    r += length;
    p[mid + lag] += r;
    p[0] = r;
    --count;
    int i = 1, j = 0;
    for (; j < count && j < length; ++j) {
      r = f1(p[i] ^ p[(i + mid) % N32] ^ p[(i + N32 - 1) % N32]);
      p[(i + mid) % N32] += r;
      r += key[j] + i;
      p[(i + mid + lag) % N32] += r;
      p[i] = r;
      i = (i + 1) % N32;
    }
    for (; j < count; ++j) {
      r = f1(p[i] ^ p[(i + mid) % N32] ^ p[(i + N32 - 1) % N32]);
      p[(i + mid) % N32] += r;
      r += i;
      p[(i + mid + lag) % N32] += r;
      p[i] = r;
      i = (i + 1) % N32;
    }
    for (j = 0; j < N32; ++j) {
      r = f2(p[i] + p[(i + mid) % N32] + p[(i + N32 - 1) % N32]);
      p[(i + mid) % N32] ^= r;
      r -= i;
      p[(i + mid + lag) % N32] ^= r;
      p[i] = r;
      i = (i + 1) % N32;
    }
    m.certify();
    return m;
  }
  static Model gen_rand(uint32_t seed) {
    Model m;
    m.w[0] = seed;
    for (int i = 1; i < N32; ++i) m.w[i] = 1812433253u * (m.w[i - 1] ^ (m.w[i - 1] >> 30)) + i;
    m.certify();
    return m;
  }
  void certify() {
    const uint32_t parity[4] = {1, 0, 0, 0x13c9e684};
    uint32_t inner = 0;
    for (int i = 0; i < 4; ++i) inner ^= w[i] & parity[i];
    for (int i = 16; i > 0; i >>= 1) inner ^= inner >> i;
    if (inner & 1) return;
    for (int i = 0; i < 4; ++i)
      for (uint32_t bit = 1; bit; bit <<= 1)
        if (bit & parity[i]) {
          w[i] ^= bit;
          return;
        }
  }
  void regenerate() {
    const uint32_t mask[4] = {0xdfffffef, 0xddfecb7f, 0xbffaffff, 0xbffffff6};
    int r1 = N - 2, r2 = N - 1;
    for (int i = 0; i < N; ++i) {
      const uint32_t* a = w + 4 * i;
      const uint32_t* b = w + 4 * ((i + 122) % N);
      const uint32_t* c = w + 4 * r1;
      const uint32_t* d = w + 4 * r2;
      const uint64_t ah = (uint64_t{a[3]} << 32) | a[2], al = (uint64_t{a[1]} << 32) | a[0];
      const uint64_t ch = (uint64_t{c[3]} << 32) | c[2], cl = (uint64_t{c[1]} << 32) | c[0];
      const uint64_t xh = (ah << 8) | (al >> 56), xl = al << 8;  // a shifted left by one byte
      const uint64_t yh = ch >> 8, yl = (cl >> 8) | (ch << 56);  // c shifted right by one byte
      const uint32_t x[4] = {uint32_t(xl), uint32_t(xl >> 32), uint32_t(xh), uint32_t(xh >> 32)};
      const uint32_t y[4] = {uint32_t(yl), uint32_t(yl >> 32), uint32_t(yh), uint32_t(yh >> 32)};
      uint32_t out[4];
      for (int k = 0; k < 4; ++k)
        out[k] = a[k] ^ x[k] ^ ((b[k] >> 11) & mask[k]) ^ y[k] ^ (d[k] << 18);
      std::memcpy(w + 4 * i, out, sizeof out);
      r1 = r2;
      r2 = i;
    }
  }
  uint32_t next32() {
    if (next == N32) {
      regenerate();
      next = 0;
    }
    return w[next++];
  }
  Words words(size_t n) {
    Words out(n);
    for (uint32_t& x : out) x = next32();
    return out;
  }
};

orx_rng_stream* make(const Words& key) {
  orx_rng_stream* s = sfmt_reference::stream(key);
  EXPECT_NE(s, nullptr);
  return s;
}

// The next n 32-bit words through the double output: on [0, 2^32) the
// conversion is x*1.0 with nothing to round, so each value is its word.
Words words_as_doubles(orx_rng_stream* s, int n) {
  std::vector<double> r(static_cast<size_t>(n));
  EXPECT_EQ(__vsldBRngSFMT19937(s, n, r.data(), 0.0, 0x1p32), 0);
  Words words;
  for (double v : r) words.push_back(static_cast<uint32_t>(v));
  return words;
}

void append(Words& to, const Words& more) { to.insert(to.end(), more.begin(), more.end()); }

TEST(Sfmt19937, ModelReproducesEveryPublishedSection) {
  // The oracle itself, before it judges anything.
  EXPECT_EQ(Model::gen_rand(1234).words(1000), published32("init_gen_rand"));
  EXPECT_EQ(Model::by_array(kKey32).words(1000), published32("init_by_array"));
  EXPECT_EQ(Model::gen_rand(4321).words(2000), published64_as_words("init_gen_rand"));
  EXPECT_EQ(Model::by_array(kKey64).words(2000), published64_as_words("init_by_array"));
}

TEST(Sfmt19937, PublishedWordsInRequestsOfEveryLength) {
  const Words expected = published32("init_by_array");
  ASSERT_EQ(expected.size(), 1000u);
  for (int length = 1; length <= 700; ++length) {  // the block boundary (word 624) at every offset
    orx_rng_stream* s = make(kKey32);
    Words got;
    while (got.size() < 1000) append(got, words_as_doubles(s, length));
    got.resize(1000);
    ASSERT_EQ(got, expected) << "double requests of " << length;
    __vslDeleteStream(&s);
  }
  for (int length = 1; length <= 250; ++length) {  // raw: 4 x length words per request
    orx_rng_stream* s = make(kKey32);
    Words got(1000 + 4 * length);
    for (int done = 0; done < 1000; done += 4 * length)
      ASSERT_EQ(__vsliBRngSFMT19937(s, length, got.data() + done), 0);
    got.resize(1000);
    ASSERT_EQ(got, expected) << "raw requests of " << length << " 128-bit words";
    __vslDeleteStream(&s);
  }
}

TEST(Sfmt19937, Published64BitValuesAreRawWordPairs) {
  const Words expected = published64_as_words("init_by_array");
  ASSERT_EQ(expected.size(), 2000u);
  orx_rng_stream* s = make(kKey64);
  Words got(2000);
  ASSERT_EQ(__vsliBRngSFMT19937(s, 500, got.data()), 0);
  EXPECT_EQ(got, expected);
  __vslDeleteStream(&s);
}

// The recursion alone, from a state written into an image: the published
// init_gen_rand sections, which no seeding of this engine produces.
TEST(Sfmt19937, RecursionFromAStateImage) {
  struct Case {
    uint32_t seed;
    Words expected;
  };
  for (const Case& c : {Case{1234, published32("init_gen_rand")},
                        Case{4321, published64_as_words("init_gen_rand")}}) {
    const Model start = Model::gen_rand(c.seed);
    std::vector<char> image(16 + 2520, 0);
    const uint16_t header_bytes = 16, state_bytes = 2520;
    const uint32_t chunks = 0, id = ORX_BRNG_SFMT19937;
    std::memcpy(image.data(), "\x01RNG", 4);
    std::memcpy(image.data() + 4, &header_bytes, 2);
    std::memcpy(image.data() + 6, &state_bytes, 2);
    std::memcpy(image.data() + 8, &chunks, 4);
    std::memcpy(image.data() + 12, &id, 4);
    std::memcpy(image.data() + 16, start.w, sizeof start.w);  // then left = 0: regenerate first
    orx_rng_stream* s = nullptr;
    ASSERT_EQ(__vslLoadStreamM(&s, image.data()), 0);
    EXPECT_EQ(words_as_doubles(s, static_cast<int>(c.expected.size())), c.expected) << c.seed;
    __vslDeleteStream(&s);
  }
}

TEST(Sfmt19937, SeedingFollowsTheKeyArrayInitialisation) {
  for (const Words& key : {Words{}, Words{1}, Words{0}, Words{5489}, Words(623, 9), Words(624, 9),
                           Words(700, 0xFFFFFFFF)}) {
    orx_rng_stream* s = make(key);
    EXPECT_EQ(words_as_doubles(s, 3000), Model::by_array(key).words(3000))
        << key.size() << " words";
    __vslDeleteStream(&s);
  }
  // Negative counts are the key {1} too.
  orx_rng_stream* s = make({7});
  ASSERT_EQ(__vslBRngSFMT19937InitStream(ORX_RNG_INIT_SEED, s, -5, nullptr), 0);
  EXPECT_EQ(words_as_doubles(s, 700), Model::by_array({1}).words(700));
  __vslDeleteStream(&s);
}

TEST(Sfmt19937, DoublesAndFloatsByTheConversionRule) {
  struct Interval {
    double a, b;
  };
  for (const Interval& v :
       {Interval{0, 1}, Interval{-3, 5}, Interval{1e10, 1e10 + 1}, Interval{2, 2}}) {
    orx_rng_stream* s = make({42, 43});
    Model model = Model::by_array({42, 43});
    std::vector<double> r(2001);
    ASSERT_EQ(__vsldBRngSFMT19937(s, 2001, r.data(), v.a, v.b), 0);
    for (size_t k = 0; k < r.size(); ++k) {
      double expected = v.a + model.next32() * ((v.b - v.a) * 0x1p-32);
      if (v.a < v.b && expected >= v.b) expected = std::nextafter(v.b, v.a);
      ASSERT_EQ(r[k], expected) << k << " on [" << v.a << ", " << v.b << ")";
    }
    std::vector<float> f(1999);
    const float fa = static_cast<float>(v.a), fb = static_cast<float>(v.b);
    ASSERT_EQ(__vslsBRngSFMT19937(s, 1999, f.data(), fa, fb), 0);
    for (size_t k = 0; k < f.size(); ++k) {
      float expected = fa + static_cast<float>(model.next32() * 0x1p-32) * (fb - fa);
      if (fa < fb && expected >= fb) expected = std::nextafter(fb, fa);
      ASSERT_EQ(f[k], expected) << k << " on [" << fa << ", " << fb << ")";
    }
    __vslDeleteStream(&s);
  }
}

TEST(Sfmt19937, MixedOutputsShareOneWordSequence) {
  // Odd double and float counts put raw requests off the 128-bit grid; every
  // form still takes the next words in order.
  orx_rng_stream* s = make(kKey32);
  Model model = Model::by_array(kKey32);
  for (int round = 0; round < 300; ++round) {
    const int doubles = 1 + round % 7, floats = round % 3, raws = round % 5;
    ASSERT_EQ(words_as_doubles(s, doubles), model.words(doubles)) << round;
    std::vector<float> f(static_cast<size_t>(floats));
    ASSERT_EQ(__vslsBRngSFMT19937(s, floats, f.data(), 0.0f, 1.0f), 0);
    for (float value : f) {
      const float expected = static_cast<float>(model.next32() * 0x1p-32);
      ASSERT_EQ(value, expected < 1.0f ? expected : std::nextafter(1.0f, 0.0f)) << round;
    }
    Words raw(4 * static_cast<size_t>(raws));
    ASSERT_EQ(__vsliBRngSFMT19937(s, raws, raw.data()), 0);
    ASSERT_EQ(raw, model.words(raw.size())) << round;
  }
  __vslDeleteStream(&s);
}

TEST(Sfmt19937, StatusesAndEmptyRequests) {
  orx_rng_stream* s = make(kKey32);
  EXPECT_EQ(__vslLeapfrogStream(s, 0, 2), ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED);
  EXPECT_EQ(__vslSkipAheadStream(s, 10), ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED);
  for (int method : {3, -1, 100})
    EXPECT_EQ(__vslBRngSFMT19937InitStream(method, s, 1, kKey32.data()), ORX_RNG_ERROR_BAD_METHOD);
  EXPECT_EQ(__vslBRngSFMT19937InitStream(ORX_RNG_INIT_SEED, s, 2, nullptr),
            ORX_RNG_ERROR_NULL_POINTER);
  uint32_t raw[4] = {7, 7, 7, 7};
  double d = 7;
  float f = 7;
  for (int n : {0, -1}) {
    EXPECT_EQ(__vsliBRngSFMT19937(s, n, raw), 0);
    EXPECT_EQ(__vsldBRngSFMT19937(s, n, &d, 0.0, 1.0), 0);
    EXPECT_EQ(__vslsBRngSFMT19937(s, n, &f, 0.0f, 1.0f), 0);
  }
  EXPECT_EQ(raw[0], 7u);
  EXPECT_EQ(d, 7.0);
  EXPECT_EQ(f, 7.0f);
  // None of this moved the stream.
  const Words first = published32("init_by_array");
  EXPECT_EQ(words_as_doubles(s, 10), Words(first.begin(), first.begin() + 10));
  __vslDeleteStream(&s);
}

// The first int32 after the 624 words counts the words of the block not yet
// handed out (0: the next output regenerates); the second stays 0.
TEST(Sfmt19937, ImageHoldsTheWordsLeftInTheBlock) {
  struct Case {
    int taken, left;
  };
  for (const Case& c :
       {Case{0, 0}, Case{1, 623}, Case{623, 1}, Case{624, 0}, Case{625, 623}, Case{1250, 622}}) {
    orx_rng_stream* s = make(kKey32);
    words_as_doubles(s, c.taken);
    std::vector<char> image(static_cast<size_t>(__vslGetStreamSize(s)));
    ASSERT_EQ(image.size(), 2536u);
    ASSERT_EQ(__vslSaveStreamM(s, image.data()), 0);
    int32_t fields[2];
    std::memcpy(fields, image.data() + 16 + 624 * 4, sizeof fields);
    EXPECT_EQ(fields[0], c.left) << c.taken << " words taken";
    EXPECT_EQ(fields[1], 0) << c.taken << " words taken";
    __vslDeleteStream(&s);
  }
}

TEST(Sfmt19937, CopiesAndImagesContinueMidBlock) {
  orx_rng_stream* s = make(kKey64);
  words_as_doubles(s, 1001);  // word 377 of the second block, off the 128-bit grid
  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, s), 0);
  orx_rng_stream* overwritten = make({99});
  ASSERT_EQ(__vslCopyStreamState(overwritten, s), 0);
  std::vector<char> image(static_cast<size_t>(__vslGetStreamSize(s)));
  ASSERT_EQ(__vslSaveStreamM(s, image.data()), 0);
  orx_rng_stream* loaded = nullptr;
  ASSERT_EQ(__vslLoadStreamM(&loaded, image.data()), 0);
  Model model = Model::by_array(kKey64);
  model.words(1001);
  const Words expected = model.words(3 + 4 * 374);
  for (orx_rng_stream* p : {s, copy, overwritten, loaded}) {
    Words got = words_as_doubles(p, 3);
    Words raw(4 * 374);
    ASSERT_EQ(__vsliBRngSFMT19937(p, 374, raw.data()), 0);
    append(got, raw);
    EXPECT_EQ(got, expected);
  }
  for (orx_rng_stream* p : {s, copy, overwritten, loaded}) __vslDeleteStream(&p);
}

}  // namespace
