// Uniform bits over every registry record: the raw words, the 32-bit and
// 64-bit words of each record (twin streams' raw words, a scalar model of
// MCG59, the published SFMT19937 outputs), refusals that consume nothing,
// SFMT19937's carry-over chunks through splits, copies and images, and the
// argument checks.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <vector>

#include "orx/rng.h"
#include "tests/rng/sfmt19937_reference.h"

namespace {

using Words = std::vector<uint32_t>;
using Words64 = std::vector<uint64_t>;

constexpr uint32_t kSeed = 20240517;
constexpr uint32_t kDimension = 3;  // the seed word of the quasi-random engines
bool quasi(uint32_t id) { return id == 0x600000 || id == 0x700000 || id == 277 || id == 278; }
constexpr size_t kHeaderBytes = 16;  // the stream header before the engine state

enum class Bits { Unsupported, RawWords, Mcg59, Sfmt };
struct Row {
  const char* name;
  uint32_t id;
  Bits kind;  // what 32/64-bit requests give once the record's engine is built
};
const Row kRows[] = {
    {"MCG31M1", 0x100000, Bits::Unsupported},
    {"R250", 0x200000, Bits::Unsupported},
    {"MRG32K3A", 0x300000, Bits::Unsupported},
    {"MCG59", 0x400000, Bits::Mcg59},
    {"WH", 0x500000 + 17, Bits::Unsupported},
    {"Sobol", 0x600000, Bits::Unsupported},
    {"Niederr", 0x700000, Bits::Unsupported},
    {"MT19937", 0x800000, Bits::RawWords},
    {"MT2203", 0x900000 + 5, Bits::RawWords},
    {"iAbstract", 0xA00000, Bits::Unsupported},
    {"dAbstract", 0xB00000, Bits::Unsupported},
    {"sAbstract", 0xC00000, Bits::Unsupported},
    {"SFMT19937", 0xD00000, Bits::Sfmt},
    {"TRNG", 0xE00000, Bits::RawWords},
    {"MCG59 (earlier id 3)", 3, Bits::Mcg59},
    {"WH (earlier id 100)", 100, Bits::Unsupported},
    {"Sobol (earlier id 277)", 277, Bits::Unsupported},
};

BrngProperties record_of(uint32_t id) {
  BrngProperties p{};
  EXPECT_EQ(__vslGetBrngProperties(static_cast<int32_t>(id), &p), 0) << id;
  return p;
}

// Refills that give the same values on every call, so that two abstract
// streams over different buffers are twins.
int refill_words(orx_rng_stream*, uint32_t* b, int32_t n) {
  for (int32_t k = 0; k < n; ++k) b[k] = 2654435761u * static_cast<uint32_t>(k + 1);
  return 0;
}
int refill_doubles(orx_rng_stream*, double* b, int32_t n) {
  for (int32_t k = 0; k < n; ++k) b[k] = (k + 0.5) / n;
  return 0;
}
int refill_floats(orx_rng_stream*, float* b, int32_t n) {
  for (int32_t k = 0; k < n; ++k) b[k] = (k + 0.5f) / static_cast<float>(n);
  return 0;
}

// Streams of a row's generator, seeded alike. A record whose engine is not
// built yet has no constructor: its stream comes from an image of zero state
// (the stream exists, nothing may call its engine).
struct Streams {
  std::deque<std::vector<uint64_t>> buffers;  // abstract streams' buffers
  std::vector<orx_rng_stream*> all;
  ~Streams() {
    for (orx_rng_stream*& s : all) __vslDeleteStream(&s);
  }
  orx_rng_stream* make(uint32_t id) {
    orx_rng_stream* s = nullptr;
    const BrngProperties p = record_of(id);
    auto* buffer = buffers.emplace_back(64).data();
    int status;
    if (id == ORX_BRNG_IABSTRACT)
      status = __vsliNewAbstractStream(&s, 64, reinterpret_cast<uint32_t*>(buffer), refill_words);
    else if (id == ORX_BRNG_DABSTRACT)
      status =
          __vsldNewAbstractStream(&s, 64, reinterpret_cast<double*>(buffer), refill_doubles, 0, 1);
    else if (id == ORX_BRNG_SABSTRACT)
      status =
          __vslsNewAbstractStream(&s, 64, reinterpret_cast<float*>(buffer), refill_floats, 0, 1);
    else if (p.InitStreamFn != nullptr)
      status = __vslNewStreamEx(&s, id, 1, quasi(id) ? &kDimension : &kSeed);
    else
      status = load_zero_state(&s, id, p);
    EXPECT_EQ(status, 0) << "no stream for id " << id;
    all.push_back(s);
    return s;
  }
  static int load_zero_state(orx_rng_stream** s, uint32_t id, const BrngProperties& p) {
    std::vector<char> image(static_cast<size_t>(p.StateBytes), 0);
    const uint16_t header = 16, state = static_cast<uint16_t>(p.StateBytes - 16);
    std::memcpy(image.data(), "\x01RNG", 4);
    std::memcpy(image.data() + 4, &header, 2);
    std::memcpy(image.data() + 6, &state, 2);
    std::memcpy(image.data() + 12, &id, 4);
    return __vslLoadStreamM(s, image.data());
  }
};

// The stream's state bytes and chunk count, to see that nothing moved.
std::vector<unsigned char> snapshot(const orx_rng_stream* s) {
  const BrngProperties p = record_of(__vslGetStreamStateBrng(s));
  const auto* bytes = reinterpret_cast<const unsigned char*>(s);
  std::vector<unsigned char> copy(bytes + kHeaderBytes, bytes + p.StateBytes);
  copy.push_back(static_cast<unsigned char>(__vslGetNumChunks(s)));
  return copy;
}

Words64 pairs(const Words& w) {
  Words64 out;
  for (size_t k = 0; k + 1 < w.size(); k += 2) out.push_back(w[k] | (uint64_t{w[k + 1]} << 32));
  return out;
}

TEST(UniformBits, EveryRecordByItsRow) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    Streams streams;
    orx_rng_stream* s = streams.make(row.id);
    orx_rng_stream* twin = streams.make(row.id);
    ASSERT_TRUE(s != nullptr && twin != nullptr);
    const BrngProperties p = record_of(row.id);
    const bool built = p.iBRngFn != nullptr;
    if (!built) std::printf("  [%s: engine not built, expecting refusals]\n", row.name);

    // Raw words: the record's raw function, whatever its word.
    const size_t raw_words = 7 * static_cast<size_t>(p.WordBytes) / 4;
    Words plain(raw_words, 0xDEAD), direct(raw_words, 0xDEAD);
    const int plain_status = _vsliRngUniformBits(0, s, 7, plain.data());
    if (built) {
      EXPECT_EQ(plain_status, p.iBRngFn(twin, 7, direct.data()));
      EXPECT_EQ(plain, direct);
    } else {
      EXPECT_EQ(plain_status, ORX_RNG_ERROR_BITS_UNSUPPORTED);
    }

    const Bits kind = built ? row.kind : Bits::Unsupported;
    if (kind == Bits::Unsupported) {
      const auto before = snapshot(s);
      Words r32(5, 0xDEAD);
      Words64 r64(5, 0xDEAD);
      EXPECT_EQ(_vsliRngUniformBits32(0, s, 5, r32.data()), ORX_RNG_ERROR_BITS_UNSUPPORTED);
      EXPECT_EQ(_vsliRngUniformBits64(0, s, 5, r64.data()), ORX_RNG_ERROR_BITS_UNSUPPORTED);
      EXPECT_EQ(snapshot(s), before) << "a refusal consumed or changed something";
      EXPECT_EQ(r32, Words(5, 0xDEAD));
      EXPECT_EQ(r64, Words64(5, 0xDEAD));
    } else if (kind == Bits::RawWords) {
      // 32-bit words are the raw words; a 64-bit word is two, the first low.
      Words r32(9), expected32(9);
      const int status = p.iBRngFn(twin, 9, expected32.data());
      EXPECT_EQ(_vsliRngUniformBits32(0, s, 9, r32.data()), status);
      Words64 r64(6);
      Words expected64(12);
      EXPECT_EQ(p.iBRngFn(twin, 12, expected64.data()), status);
      EXPECT_EQ(_vsliRngUniformBits64(0, s, 6, r64.data()), status);
      if (status == 0) {
        EXPECT_EQ(r32, expected32);
        EXPECT_EQ(r64, pairs(expected64));
        uint32_t next = 0, twin_next = 1;  // exactly 2n words were consumed
        p.iBRngFn(s, 1, &next);
        p.iBRngFn(twin, 1, &twin_next);
        EXPECT_EQ(next, twin_next);
      }
    }
    // Mcg59 and Sfmt: their own tests below.
  }
}

// MCG59 by a scalar model: x <- 13^13 x mod 2^59 from the seed, each 32-bit
// word the top 32 of a value's 59 bits.
TEST(UniformBits, Mcg59TakesTheHighBitsOfEachValue) {
  for (uint32_t id : {uint32_t{ORX_BRNG_MCG59}, uint32_t{3}}) {
    Streams streams;
    orx_rng_stream* s32 = streams.make(id);
    orx_rng_stream* s64 = streams.make(id);
    Words expected(2000);
    uint64_t x = kSeed;
    for (uint32_t& w : expected) {
      w = static_cast<uint32_t>(x >> 27);
      x = (x * 302875106592253u) & ((uint64_t{1} << 59) - 1);
    }
    Words got32;
    Words64 got64;
    for (int length = 1; got32.size() < 2000; length = length % 300 + 7) {
      Words part(static_cast<size_t>(length));
      ASSERT_EQ(_vsliRngUniformBits32(0, s32, length, part.data()), 0);
      got32.insert(got32.end(), part.begin(), part.end());
      Words64 part64(static_cast<size_t>(length));
      ASSERT_EQ(_vsliRngUniformBits64(0, s64, length, part64.data()), 0);
      got64.insert(got64.end(), part64.begin(), part64.end());
    }
    got32.resize(2000);
    got64.resize(1000);
    EXPECT_EQ(got32, expected) << id;
    EXPECT_EQ(got64, pairs(expected)) << id;
  }
}

// A user's record is refused for 32/64-bit words but gives its raw words.
TEST(UniformBits, UserRecordsGiveRawWordsOnly) {
  const BrngProperties mt = record_of(ORX_BRNG_MT19937);
  const int id = __vslRegisterBrng(&mt);
  ASSERT_GT(id, 0);
  Streams streams;
  orx_rng_stream* user = streams.make(static_cast<uint32_t>(id));
  orx_rng_stream* reference = streams.make(ORX_BRNG_MT19937);
  Words got(20), expected(20);
  EXPECT_EQ(_vsliRngUniformBits(0, user, 20, got.data()), 0);
  EXPECT_EQ(__vsliBRngMT19937(reference, 20, expected.data()), 0);
  EXPECT_EQ(got, expected);
  const auto before = snapshot(user);
  uint64_t r64[3];
  EXPECT_EQ(_vsliRngUniformBits32(0, user, 3, got.data()), ORX_RNG_ERROR_BITS_UNSUPPORTED);
  EXPECT_EQ(_vsliRngUniformBits64(0, user, 3, r64), ORX_RNG_ERROR_BITS_UNSUPPORTED);
  EXPECT_EQ(snapshot(user), before);
}

TEST(UniformBits, ArgumentsCheckedBeforeAnythingMoves) {
  Streams streams;
  orx_rng_stream* s = streams.make(ORX_BRNG_MT19937);
  const auto before = snapshot(s);
  uint32_t r32[2] = {7, 7};
  uint64_t r64[2] = {7, 7};
  for (int n : {0, -1, -1000}) {  // nothing is looked at, not even the pointers
    EXPECT_EQ(_vsliRngUniformBits(0, nullptr, n, nullptr), 0);
    EXPECT_EQ(_vsliRngUniformBits32(5, nullptr, n, nullptr), 0);
    EXPECT_EQ(_vsliRngUniformBits64(0, s, n, r64), 0);
    EXPECT_EQ(_vsliRngUniformBits32(0, s, n, r32), 0);
  }
  EXPECT_EQ(_vsliRngUniformBits(0, nullptr, 2, r32), ORX_RNG_ERROR_NULL_POINTER);
  EXPECT_EQ(_vsliRngUniformBits32(0, nullptr, 2, r32), ORX_RNG_ERROR_NULL_POINTER);
  EXPECT_EQ(_vsliRngUniformBits64(0, nullptr, 2, r64), ORX_RNG_ERROR_NULL_POINTER);
  EXPECT_EQ(_vsliRngUniformBits(0, s, 2, nullptr), ORX_RNG_ERROR_NULL_POINTER);
  EXPECT_EQ(_vsliRngUniformBits32(0, s, 2, nullptr), ORX_RNG_ERROR_NULL_POINTER);
  EXPECT_EQ(_vsliRngUniformBits64(0, s, 2, nullptr), ORX_RNG_ERROR_NULL_POINTER);
  for (int method : {1, -1, 0x40000000}) {
    EXPECT_EQ(_vsliRngUniformBits(method, s, 2, r32), ORX_RNG_ERROR_BAD_METHOD);
    EXPECT_EQ(_vsliRngUniformBits32(method, s, 2, r32), ORX_RNG_ERROR_BAD_METHOD);
    EXPECT_EQ(_vsliRngUniformBits64(method, s, 2, r64), ORX_RNG_ERROR_BAD_METHOD);
  }
  EXPECT_EQ(snapshot(s), before);
  EXPECT_EQ(r32[0], 7u);
  EXPECT_EQ(r64[0], 7u);
}

// ---- SFMT19937 --------------------------------------------------------

using sfmt_reference::kKey32;
using sfmt_reference::kKey64;
Words published32() { return sfmt_reference::words(32, "init_by_array"); }
Words published64_as_words() { return sfmt_reference::words(64, "init_by_array"); }

orx_rng_stream* sfmt(const Words& key) {
  orx_rng_stream* s = sfmt_reference::stream(key);
  EXPECT_NE(s, nullptr);
  return s;
}

template <class Word>
int bits(orx_rng_stream* s, int n, Word* r) {
  if constexpr (sizeof(Word) == 4)
    return _vsliRngUniformBits32(0, s, n, r);
  else
    return _vsliRngUniformBits64(0, s, n, r);
}

template <class Word>
void expect_published_in_every_split(const std::vector<Word>& expected, const Words& key) {
  ASSERT_EQ(expected.size(), 1000u);
  for (int length = 1; length <= 64; ++length) {
    for (int first : {0, 1, 3}) {  // an uneven first request shifts every later one
      orx_rng_stream* s = sfmt(key);
      std::vector<Word> got(1100);
      size_t done = 0;
      for (int n = first; done < 1000; n = length) {
        ASSERT_EQ(bits(s, n, got.data() + done), 0);
        done += static_cast<size_t>(n);
      }
      got.resize(1000);
      ASSERT_EQ(got, expected) << "requests of " << length << " after " << first;
      __vslDeleteStream(&s);
    }
  }
}

TEST(UniformBitsSfmt19937, PublishedWordsInEverySplit) {
  expect_published_in_every_split(published32(), kKey32);
  expect_published_in_every_split(pairs(published64_as_words()), kKey64);
}

// Each word of the engine goes to exactly one of the two carries' sequences.
TEST(UniformBitsSfmt19937, CarriesInterleaveWithoutGapsOrRepeats) {
  const Words w = published32();
  orx_rng_stream* s = sfmt(kKey32);
  uint32_t a[4];
  uint64_t b[2];
  ASSERT_EQ(_vsliRngUniformBits32(0, s, 1, a), 0);  // words 0..3: 0 out, 1-3 wait
  EXPECT_EQ(a[0], w[0]);
  ASSERT_EQ(_vsliRngUniformBits64(0, s, 1, b), 0);  // words 4..7: 4,5 out, 6,7 wait
  EXPECT_EQ(b[0], w[4] | (uint64_t{w[5]} << 32));
  ASSERT_EQ(_vsliRngUniformBits32(0, s, 3, a), 0);
  EXPECT_EQ(Words(a, a + 3), Words(w.begin() + 1, w.begin() + 4));
  double d;
  ASSERT_EQ(__vsldBRngSFMT19937(s, 1, &d, 0.0, 0x1p32), 0);  // word 8, off the 128-bit grid
  EXPECT_EQ(d, w[8]);
  ASSERT_EQ(_vsliRngUniformBits64(0, s, 2, b), 0);  // the waiting 6,7, then 9,10 (11..12 wait)
  EXPECT_EQ(b[0], w[6] | (uint64_t{w[7]} << 32));
  EXPECT_EQ(b[1], w[9] | (uint64_t{w[10]} << 32));
  ASSERT_EQ(_vsliRngUniformBits32(0, s, 4, a), 0);  // the raw words 13..16
  EXPECT_EQ(Words(a, a + 4), Words(w.begin() + 13, w.begin() + 17));
  __vslDeleteStream(&s);
}

// The carries are chunks of kinds 11 and 12: made only when words are left
// over, and carried by copies, state copies and images.
TEST(UniformBitsSfmt19937, CarriesTravelWithTheStream) {
  orx_rng_stream* s = sfmt(kKey64);
  Words r32(8);
  Words64 r64(8);
  ASSERT_EQ(_vsliRngUniformBits32(0, s, 8, r32.data()), 0);
  ASSERT_EQ(_vsliRngUniformBits64(0, s, 4, r64.data()), 0);
  EXPECT_EQ(__vslGetNumChunks(s), 0) << "whole raw words leave nothing over";
  ASSERT_EQ(_vsliRngUniformBits32(0, s, 5, r32.data()), 0);
  ASSERT_EQ(_vsliRngUniformBits64(0, s, 3, r64.data()), 0);
  EXPECT_EQ(__vslGetNumChunks(s), 2);
  EXPECT_NE(__vslSearchChunk(s, ORX_RNG_CHUNK_BITS32_CARRY), nullptr);
  EXPECT_NE(__vslSearchChunk(s, ORX_RNG_CHUNK_BITS64_CARRY), nullptr);
  EXPECT_EQ(__vslGetStreamSize(s), 2536 + 2 * (16 + 24));

  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, s), 0);
  orx_rng_stream* overwritten = sfmt({77});
  ASSERT_EQ(__vslCopyStreamState(overwritten, s), 0);
  std::vector<char> image(static_cast<size_t>(__vslGetStreamSize(s)));
  ASSERT_EQ(__vslSaveStreamM(s, image.data()), 0);
  orx_rng_stream* loaded = nullptr;
  ASSERT_EQ(__vslLoadStreamM(&loaded, image.data()), 0);

  auto continuation = [](orx_rng_stream* p) {
    Words a(3), b(6);
    Words64 c(1), d(4);
    EXPECT_EQ(_vsliRngUniformBits32(0, p, 3, a.data()), 0);  // exactly the carry
    EXPECT_EQ(_vsliRngUniformBits64(0, p, 1, c.data()), 0);  // exactly the carry
    EXPECT_EQ(_vsliRngUniformBits32(0, p, 6, b.data()), 0);
    EXPECT_EQ(_vsliRngUniformBits64(0, p, 4, d.data()), 0);
    a.insert(a.end(), b.begin(), b.end());
    for (uint64_t v : c)
      a.push_back(static_cast<uint32_t>(v)), a.push_back(static_cast<uint32_t>(v >> 32));
    for (uint64_t v : d)
      a.push_back(static_cast<uint32_t>(v)), a.push_back(static_cast<uint32_t>(v >> 32));
    return a;
  };
  const Words expected = continuation(s);
  for (orx_rng_stream* p : {copy, overwritten, loaded}) EXPECT_EQ(continuation(p), expected);
  // The words themselves. Before the copies: 32-bit requests took words
  // 0..7 and 16..20 (21..23 waiting), 64-bit ones 8..15 and 24..29 (30, 31
  // waiting). After: 21..23; 30, 31; 32..37 (38, 39 wait); 40..47.
  const Words w = published64_as_words();
  auto run = [&](int first, int count) {
    return Words(w.begin() + first, w.begin() + first + count);
  };
  Words in_order = run(21, 3);  // in the order the continuation appends them
  for (const Words& part : {run(32, 6), run(30, 2), run(40, 8)})
    in_order.insert(in_order.end(), part.begin(), part.end());
  EXPECT_EQ(expected, in_order);
  for (orx_rng_stream* p : {s, copy, overwritten, loaded}) __vslDeleteStream(&p);
}

// An image whose carry holds an impossible count hands out no carried words.
TEST(UniformBitsSfmt19937, DamagedCarryCountsAsEmpty) {
  orx_rng_stream* s = sfmt(kKey32);
  uint32_t a[8];
  ASSERT_EQ(_vsliRngUniformBits32(0, s, 1, a), 0);  // carry: words 1..3
  std::vector<char> image(static_cast<size_t>(__vslGetStreamSize(s)));
  ASSERT_EQ(__vslSaveStreamM(s, image.data()), 0);
  ASSERT_EQ(image.size(), 2536u + 16 + 24);
  const uint32_t bad_count = 9;  // the chunk's last word; id, key and size come first
  std::memcpy(image.data() + 2536 + 4 + 16 + 4 + 12, &bad_count, 4);
  orx_rng_stream* loaded = nullptr;
  ASSERT_EQ(__vslLoadStreamM(&loaded, image.data()), 0);
  ASSERT_EQ(_vsliRngUniformBits32(0, loaded, 5, a), 0);
  const Words w = published32();
  EXPECT_EQ(Words(a, a + 5), Words(w.begin() + 4, w.begin() + 9));
  __vslDeleteStream(&s);
  __vslDeleteStream(&loaded);
}

}  // namespace
