// The generator registry: built-in records of both numberings, identifier
// validation, registration of user generators and their use through streams.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <vector>

#include "orx/host.h"
#include "orx/rng.h"
#include "orx_serv.h"

namespace {

struct BuiltinRow {
  const char* name;
  int32_t id;
  int32_t state_bytes, state_words, includes_zero, word_bytes, bits, sub_generators;
  bool check_functions;  // the abstract records' functions are not checked here
  orx_rng_init_fn init;
  orx_rng_sfill_fn sfill;
  orx_rng_dfill_fn dfill;
  orx_rng_ifill_fn ifill;
};

#define ENGINE(E) true, __vslBRng##E##InitStream, __vslsBRng##E, __vsldBRng##E, __vsliBRng##E
#define NO_FUNCTIONS nullptr, nullptr, nullptr, nullptr
#define ABSTRACT false, NO_FUNCTIONS

const BuiltinRow kBuiltins[14] = {
    {"MCG31M1", 0x100000, 24, 1, 0, 4, 31, 1, ENGINE(MCG31M1)},
    {"R250", 0x200000, 1024, 252, 1, 4, 32, 1, ENGINE(R250)},
    {"MRG32K3A", 0x300000, 40, 6, 1, 4, 32, 1, ENGINE(MRG32K3A)},
    {"MCG59", 0x400000, 32, 1, 0, 8, 59, 1, ENGINE(MCG59)},
    {"WH", 0x500000, 48, 4, 1, 16, 24, 273, ENGINE(WH)},
    {"Sobol", 0x600000, 11648, 2604, 0, 4, 32, 1, ENGINE(Sobol)},
    {"Niederr", 0x700000, 43280, 10498, 0, 4, 32, 1, ENGINE(Niederr)},
    {"MT19937", 0x800000, 2520, 625, 1, 4, 32, 1, ENGINE(MT19937)},
    {"MT2203", 0x900000, 312, 70, 1, 4, 32, 6024, ENGINE(MT2203)},
    {"iAbstract", 0xA00000, 48, 0, 1, 4, 32, 1, ABSTRACT},
    {"dAbstract", 0xB00000, 64, 0, 1, 4, 32, 1, ABSTRACT},
    {"sAbstract", 0xC00000, 56, 0, 1, 4, 32, 1, ABSTRACT},
    {"SFMT19937", 0xD00000, 2536, 625, 1, 16, 128, 1, ENGINE(SFMT19937)},
    {"TRNG", 0xE00000, 24, 1, 1, 4, 32, 1, ENGINE(TRNG)},
};

void expect_record(const BrngProperties& got, const BuiltinRow& row) {
  EXPECT_EQ(
      std::tie(got.StateBytes, got.StateWords, got.IncludesZero, got.WordBytes, got.Bits),
      std::tie(row.state_bytes, row.state_words, row.includes_zero, row.word_bytes, row.bits));
  if (!row.check_functions) return;
  EXPECT_TRUE(got.InitStreamFn == row.init && got.sBRngFn == row.sfill &&
              got.dBRngFn == row.dfill && got.iBRngFn == row.ifill);
}

// A lookup that must fail with -1000 and leave the output as it was.
void expect_invalid_id(int32_t id) {
  BrngProperties out, pattern;
  std::memset(&out, 0xA5, sizeof out);
  std::memset(&pattern, 0xA5, sizeof pattern);
  EXPECT_EQ(__vslGetBrngProperties(id, &out), ORX_RNG_ERROR_INVALID_BRNG) << "id=" << id;
  EXPECT_EQ(std::memcmp(&out, &pattern, sizeof out), 0) << "output written for id " << id;
}

void expect_resolves(int32_t id, const BrngProperties* table, int32_t index, int32_t offset) {
  int32_t got_index = -7, got_offset = -7;
  EXPECT_EQ(__vslGetBrngBaseOffset(id, &got_index, &got_offset), table) << "id=" << id;
  EXPECT_EQ(got_index, index) << "id=" << id;
  EXPECT_EQ(got_offset, offset) << "id=" << id;
}

TEST(RngRegistry, BuiltinRecordsOfBothNumberings) {
  ASSERT_EQ(__vslGetNumRegBrngs(), 14);
  int32_t index, offset;
  const BrngProperties* current = __vslGetBrngBaseOffset(0x100000, &index, &offset);
  const BrngProperties* earlier = __vslGetBrngBaseOffset(0, &index, &offset);
  ASSERT_NE(current, earlier);
  for (int k = 0; k < 14; ++k) {
    const BuiltinRow& row = kBuiltins[k];
    SCOPED_TRACE(row.name);
    ASSERT_EQ(row.id, (k + 1) << 20);
    const int32_t last = row.id + row.sub_generators - 1;
    for (int32_t id : {row.id, last, row.id + row.sub_generators / 2}) {
      BrngProperties got;
      ASSERT_EQ(__vslGetBrngProperties(id, &got), 0) << "id=" << id;
      expect_record(got, row);
    }
    expect_resolves(last, current, k, row.sub_generators - 1);
    EXPECT_EQ(__vslIsBrngValid(current, k, row.sub_generators - 1), 0);
    EXPECT_EQ(__vslIsBrngValid(current, k, row.sub_generators), ORX_RNG_ERROR_INVALID_BRNG);
    expect_invalid_id(row.id + row.sub_generators);
  }
  // Earlier numbering: 0..3 the first four engines, 4..276 the 273 WH
  // sub-generators, 277 Sobol, 278 Niederr.
  for (int32_t id = 0; id < 279; ++id) {
    const bool wh = id >= 4 && id < 277;
    const BuiltinRow& row = kBuiltins[id < 4 ? id : wh ? 4 : id - 272];
    SCOPED_TRACE(testing::Message() << "earlier id " << id << " " << row.name);
    BrngProperties got;
    ASSERT_EQ(__vslGetBrngProperties(id, &got), 0);
    expect_record(got, row);
    expect_resolves(id, earlier, wh ? 4 : id, wh ? id - 4 : 0);
  }
  for (const BrngProperties* table : {current, earlier})
    EXPECT_EQ(__vslIsBrngValid(table, -1, 0), ORX_RNG_ERROR_INVALID_BRNG);
  EXPECT_EQ(__vslIsBrngValid(current, 14, 0), ORX_RNG_ERROR_INVALID_BRNG);
  EXPECT_EQ(__vslIsBrngValid(earlier, 279, 0), ORX_RNG_ERROR_INVALID_BRNG);
}

// Invalid ids and abstract generators are refused before any
// allocation: the armed allocation failure is still pending afterwards.
void expect_no_stream(int32_t id) {
  const uint32_t seed = 1;
  orx_rng_stream* stream = nullptr;
  orx_host_test_fail_allocation(1);
  EXPECT_EQ(__vslNewStreamEx(&stream, static_cast<uint32_t>(id), 1, &seed),
            ORX_RNG_ERROR_INVALID_BRNG)
      << "id=" << id;
  EXPECT_EQ(stream, nullptr);
  void* probe = orx_serv_orx_malloc(16, 64);
  EXPECT_EQ(probe, nullptr) << "an allocation was made for id " << id;
  orx_serv_orx_free(probe);
  orx_host_test_fail_allocation(0);
}

TEST(RngRegistry, RefusedIdentifiersWriteAndAllocateNothing) {
  for (int32_t id :
       {279, 280, 1000, 0xFFFFF, -1, -4, -277, -0x100000, INT32_MIN, INT32_MAX, 0x900000 + 6024,
        0x500000 + 273, 0x100001, 0x600001, 0xE00001, 0xF00000, 0x1000000, 0x7FF00000}) {
    expect_invalid_id(id);
    expect_no_stream(id);
  }
  // Abstract streams are made only by their own constructors.
  for (int32_t id : {0xA00000, 0xB00000, 0xC00000}) expect_no_stream(id);
}

// Earlier ids make the same streams as the current ones, sub-generator included.
TEST(RngRegistry, EarlierIdentifiersMakeTheSameStreams) {
  auto first_values = [](uint32_t id) {
    const uint32_t seed = 20240607;
    orx_rng_stream* stream = nullptr;
    BrngProperties props;
    std::vector<double> r(64);
    if (__vslNewStreamEx(&stream, id, 1, &seed) != 0 ||
        __vslGetBrngProperties(static_cast<int32_t>(id), &props) != 0) {
      ADD_FAILURE() << "no stream for id " << id;
      return r;
    }
    EXPECT_EQ(__vslGetStreamStateBrng(stream), id);
    EXPECT_EQ(props.dBRngFn(stream, 64, r.data(), 0.0, 1.0), 0);
    __vslDeleteStream(&stream);
    return r;
  };
  const uint32_t pairs[][2] = {
      {0, 0x100000}, {1, 0x200000}, {3, 0x400000}, {100, 0x500000 + 96}, {276, 0x500000 + 272}};
  for (const auto& p : pairs) EXPECT_EQ(first_values(p[0]), first_values(p[1])) << p[0];
  EXPECT_NE(first_values(100), first_values(ORX_BRNG_WH));
}

// ---- a user generator: x <- 69069 x + 1 (mod 2^32), value the new x ----
constexpr int32_t kUserStateBytes = 16 + 4;

uint32_t* user_state(orx_rng_stream* stream) {
  return reinterpret_cast<uint32_t*>(reinterpret_cast<unsigned char*>(stream) + 16);
}
uint32_t step(uint32_t& x) { return x = x * 69069u + 1u; }

int user_init(int method, orx_rng_stream* stream, int, const uint32_t* params) {
  uint32_t& x = *user_state(stream);
  if (method == ORX_RNG_INIT_SEED) x = params[0];
  if (method == ORX_RNG_INIT_LEAPFROG) return ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED;
  if (method == ORX_RNG_INIT_SKIPAHEAD)
    for (uint64_t i = params[0] | uint64_t{params[1]} << 32; i > 0; --i) step(x);
  return 0;
}
int user_ifill(orx_rng_stream* stream, int n, uint32_t* r) {
  for (int i = 0; i < n; ++i) r[i] = step(user_state(stream)[0]);
  return 0;
}
// Registration needs all four functions; only the raw fill is drawn from here.
int user_dfill(orx_rng_stream*, int, double*, double, double) { return 0; }
int user_sfill(orx_rng_stream*, int, float*, float, float) { return 0; }

#define USER_FUNCTIONS user_init, user_sfill, user_dfill, user_ifill

BrngProperties user_record(int32_t word_bytes = 4) {
  return {kUserStateBytes, 1, 0, word_bytes, 32, USER_FUNCTIONS};
}

void expect_user_record(int32_t id) {
  BrngProperties got;
  ASSERT_EQ(__vslGetBrngProperties(id, &got), 0);
  expect_record(got, {"user", id, kUserStateBytes, 1, 0, 4, 32, 1, true, USER_FUNCTIONS});
}

std::vector<uint32_t> expected_values(uint32_t seed, int skip, int count) {
  std::vector<uint32_t> out;
  for (int i = 0; i < skip; ++i) step(seed);
  for (int i = 0; i < count; ++i) out.push_back(step(seed));
  return out;
}

std::vector<uint32_t> draw(orx_rng_stream* stream, int count) {
  std::vector<uint32_t> out(count);
  EXPECT_EQ(user_ifill(stream, count, out.data()), 0);
  return out;
}

// Registration changes the process-wide registry. CTest runs each case in its
// own process; the order below also suits one run of the whole program.
TEST(RngRegistration, ChecksInOrderThenFirstIdentifierIsF00000) {
  ASSERT_EQ(__vslGetNumRegBrngs(), 14);
  // Rows without functions break every later check too: only the order gives their status.
  const struct {
    BrngProperties record;
    int expected;
  } cases[] = {
      {{-1, 0, 0, 12, 0, NO_FUNCTIONS}, ORX_RNG_ERROR_BAD_STATE_SIZE},
      {{24, 0, 0, 12, 0, NO_FUNCTIONS}, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {{24, 1, 0, 0, 32, USER_FUNCTIONS}, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {{24, 1, 0, 2, 32, USER_FUNCTIONS}, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {{24, 1, 0, 32, 32, USER_FUNCTIONS}, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {{24, 0, 0, 8, 0, NO_FUNCTIONS}, ORX_RNG_ERROR_BAD_STATE_WORDS},
      {{24, -3, 0, 16, 32, USER_FUNCTIONS}, ORX_RNG_ERROR_BAD_STATE_WORDS},
      {{24, 1, 0, 4, 0, NO_FUNCTIONS}, ORX_RNG_ERROR_BAD_BITS},
      {{24, 1, 0, 4, 32, NO_FUNCTIONS}, ORX_RNG_ERROR_NULL_POINTER},
      {{24, 1, 0, 4, 32, nullptr, user_sfill, user_dfill, user_ifill}, ORX_RNG_ERROR_NULL_POINTER},
      {{24, 1, 0, 4, 32, user_init, nullptr, user_dfill, user_ifill}, ORX_RNG_ERROR_NULL_POINTER},
      {{24, 1, 0, 4, 32, user_init, user_sfill, nullptr, user_ifill}, ORX_RNG_ERROR_NULL_POINTER},
      {{24, 1, 0, 4, 32, user_init, user_sfill, user_dfill, nullptr}, ORX_RNG_ERROR_NULL_POINTER},
  };
  for (const auto& c : cases)
    EXPECT_EQ(__vslRegisterBrng(&c.record), c.expected) << "row " << (&c - cases);
  EXPECT_EQ(__vslRegisterBrng(nullptr), ORX_RNG_ERROR_NULL_POINTER);
  ASSERT_EQ(__vslGetNumRegBrngs(), 14) << "a refused registration changed the count";
  expect_invalid_id(0xF00000);

  BrngProperties record = user_record();
  ASSERT_EQ(__vslRegisterBrng(&record), 0xF00000);
  EXPECT_EQ(__vslGetNumRegBrngs(), 15);
  record.StateBytes = 999;  // the registry holds its own copy
  expect_user_record(0xF00000);
  expect_invalid_id(0xF00001);  // a user generator has one sub-generator
  const BrngProperties word8 = user_record(8), word16 = user_record(16);
  EXPECT_EQ(__vslRegisterBrng(&word8), 0x1000000);
  EXPECT_EQ(__vslRegisterBrng(&word16), 0x1100000);
}

// Seeding, drawing, copy, skip-ahead, leapfrog status, memory image, delete.
TEST(RngRegistration, UserGeneratorRunsThroughStreams) {
  const BrngProperties record = user_record();
  const uint32_t id = static_cast<uint32_t>(__vslRegisterBrng(&record));
  ASSERT_GT(static_cast<int32_t>(id), 0);
  const uint32_t seed = 0x12345678;
  orx_rng_stream *stream = nullptr, *copy = nullptr, *loaded = nullptr;
  ASSERT_EQ(__vslNewStreamEx(&stream, id, 1, &seed), 0);
  EXPECT_EQ(__vslGetStreamStateBrng(stream), id);
  EXPECT_EQ(__vslGetStreamSize(stream), kUserStateBytes);
  EXPECT_EQ(draw(stream, 10), expected_values(seed, 0, 10));
  ASSERT_EQ(__vslCopyStream(&copy, stream), 0);
  EXPECT_EQ(__vslGetStreamStateBrng(copy), id);
  EXPECT_EQ(draw(copy, 20), expected_values(seed, 10, 20));
  EXPECT_EQ(draw(stream, 20), expected_values(seed, 10, 20));
  EXPECT_EQ(__vslSkipAheadStream(stream, 1000), 0);
  EXPECT_EQ(draw(stream, 5), expected_values(seed, 1030, 5));
  EXPECT_EQ(__vslLeapfrogStream(stream, 0, 2), ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED);
  std::vector<char> image(kUserStateBytes);
  ASSERT_EQ(__vslSaveStreamM(stream, image.data()), 0);
  ASSERT_EQ(__vslLoadStreamM(&loaded, image.data()), 0);
  EXPECT_EQ(__vslGetStreamStateBrng(loaded), id);
  EXPECT_EQ(draw(loaded, 7), expected_values(seed, 1035, 7));
  for (orx_rng_stream** s : {&stream, &copy, &loaded}) __vslDeleteStream(s);
}

TEST(RngRegistration, FillsToCapacityThenReportsFull) {
  const BrngProperties record = user_record();
  for (int i = __vslGetNumRegBrngs(); i < ORX_RNG_REGISTRY_CAPACITY; ++i)
    ASSERT_EQ(__vslRegisterBrng(&record), (i + 1) << 20) << "registration " << i;
  EXPECT_EQ(__vslGetNumRegBrngs(), 512);
  expect_user_record(512 << 20);
  const BrngProperties bad_words = user_record(12);  // checks still come before the capacity
  EXPECT_EQ(__vslRegisterBrng(&bad_words), ORX_RNG_ERROR_BAD_WORD_SIZE);
  EXPECT_EQ(__vslRegisterBrng(&record), ORX_RNG_ERROR_REGISTRY_FULL);
  EXPECT_EQ(__vslGetNumRegBrngs(), 512);
  expect_invalid_id(513 << 20);

  orx_rng_stream* stream = nullptr;  // the last record still makes working streams
  const uint32_t seed = 99;
  ASSERT_EQ(__vslNewStreamEx(&stream, 512u << 20, 1, &seed), 0);
  EXPECT_EQ(draw(stream, 4), expected_values(seed, 0, 4));
  __vslDeleteStream(&stream);
}

}  // namespace
