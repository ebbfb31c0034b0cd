// The generator registry: built-in records of both numberings, identifier
// validation, registration of user generators and their use through streams.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <vector>

#include "orx/host.h"
#include "orx/rng.h"
#include "orx_serv.h"

namespace {

struct BuiltinRow {
  const char* name;
  int32_t id;
  int32_t state_bytes, state_words, includes_zero, word_bytes, bits, sub_generators;
  // Engines not built yet have null functions; the abstract records are not
  // checked for functions here (their constructors live elsewhere).
  bool check_functions;
  orx_rng_init_fn init;
  orx_rng_sfill_fn sfill;
  orx_rng_dfill_fn dfill;
  orx_rng_ifill_fn ifill;
};

#define ENGINE_FUNCTIONS(E) \
  true, __vslBRng##E##InitStream, __vslsBRng##E, __vsldBRng##E, __vsliBRng##E
#define NO_FUNCTIONS true, nullptr, nullptr, nullptr, nullptr
#define UNCHECKED_FUNCTIONS false, nullptr, nullptr, nullptr, nullptr

const BuiltinRow kBuiltins[14] = {
    {"MCG31M1", 0x100000, 24, 1, 0, 4, 31, 1, ENGINE_FUNCTIONS(MCG31M1)},
    {"R250", 0x200000, 1024, 252, 1, 4, 32, 1, ENGINE_FUNCTIONS(R250)},
    {"MRG32K3A", 0x300000, 40, 6, 1, 4, 32, 1, ENGINE_FUNCTIONS(MRG32K3A)},
    {"MCG59", 0x400000, 32, 1, 0, 8, 59, 1, ENGINE_FUNCTIONS(MCG59)},
    {"WH", 0x500000, 48, 4, 1, 16, 24, 273, ENGINE_FUNCTIONS(WH)},
    {"Sobol", 0x600000, 11648, 2604, 0, 4, 32, 1, NO_FUNCTIONS},
    {"Niederr", 0x700000, 43280, 10498, 0, 4, 32, 1, NO_FUNCTIONS},
    {"MT19937", 0x800000, 2520, 625, 1, 4, 32, 1, NO_FUNCTIONS},
    {"MT2203", 0x900000, 312, 70, 1, 4, 32, 6024, NO_FUNCTIONS},
    {"iAbstract", 0xA00000, 48, 0, 1, 4, 32, 1, UNCHECKED_FUNCTIONS},
    {"dAbstract", 0xB00000, 64, 0, 1, 4, 32, 1, UNCHECKED_FUNCTIONS},
    {"sAbstract", 0xC00000, 56, 0, 1, 4, 32, 1, UNCHECKED_FUNCTIONS},
    {"SFMT19937", 0xD00000, 2536, 625, 1, 16, 128, 1, NO_FUNCTIONS},
    {"TRNG", 0xE00000, 24, 1, 1, 4, 32, 1, NO_FUNCTIONS},
};

// Row of the earlier numbering's record `id` (0..278).
const BuiltinRow& earlier_row(int32_t id) {
  if (id <= 3) return kBuiltins[id];
  if (id <= 276) return kBuiltins[4];
  return kBuiltins[id == 277 ? 5 : 6];
}

void expect_record(const BrngProperties& got, const BuiltinRow& row) {
  EXPECT_EQ(got.StateBytes, row.state_bytes);
  EXPECT_EQ(got.StateWords, row.state_words);
  EXPECT_EQ(got.IncludesZero, row.includes_zero);
  EXPECT_EQ(got.WordBytes, row.word_bytes);
  EXPECT_EQ(got.Bits, row.bits);
  if (row.check_functions) {
    EXPECT_EQ(got.InitStreamFn, row.init);
    EXPECT_EQ(got.sBRngFn, row.sfill);
    EXPECT_EQ(got.dBRngFn, row.dfill);
    EXPECT_EQ(got.iBRngFn, row.ifill);
  }
}

bool same_record(const BrngProperties& a, const BrngProperties& b) {
  return a.StateBytes == b.StateBytes && a.StateWords == b.StateWords &&
         a.IncludesZero == b.IncludesZero && a.WordBytes == b.WordBytes && a.Bits == b.Bits &&
         a.InitStreamFn == b.InitStreamFn && a.sBRngFn == b.sBRngFn && a.dBRngFn == b.dBRngFn &&
         a.iBRngFn == b.iBRngFn;
}

// Properties lookup that must fail: -1000 and the output left as it was.
void expect_invalid_id(int32_t id) {
  SCOPED_TRACE(testing::Message() << "id=" << id << " (0x" << std::hex << id << ")");
  BrngProperties out;
  std::memset(&out, 0xA5, sizeof out);
  BrngProperties pattern;
  std::memset(&pattern, 0xA5, sizeof pattern);
  EXPECT_EQ(__vslGetBrngProperties(id, &out), ORX_RNG_ERROR_INVALID_BRNG);
  EXPECT_EQ(std::memcmp(&out, &pattern, sizeof out), 0) << "output written on failure";
}

TEST(RngRegistry, BuiltinRecordsOfCurrentNumbering) {
  ASSERT_EQ(__vslGetNumRegBrngs(), 14);
  const BrngProperties* current_table = nullptr;
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
    int32_t index = -7, offset = -7;
    const BrngProperties* table = __vslGetBrngBaseOffset(last, &index, &offset);
    EXPECT_EQ(index, k);
    EXPECT_EQ(offset, row.sub_generators - 1);
    EXPECT_EQ(__vslIsBrngValid(table, index, offset), 0);
    EXPECT_EQ(__vslIsBrngValid(table, index, offset + 1), ORX_RNG_ERROR_INVALID_BRNG);
    if (current_table == nullptr) current_table = table;
    EXPECT_EQ(table, current_table);
    expect_invalid_id(row.id + row.sub_generators);
  }
  EXPECT_EQ(__vslIsBrngValid(current_table, 14, 0), ORX_RNG_ERROR_INVALID_BRNG);
  EXPECT_EQ(__vslIsBrngValid(current_table, -1, 0), ORX_RNG_ERROR_INVALID_BRNG);
}

TEST(RngRegistry, BuiltinRecordsOfEarlierNumbering) {
  int32_t index = 0, offset = 0;
  const BrngProperties* current_table = __vslGetBrngBaseOffset(0x100000, &index, &offset);
  const BrngProperties* earlier_table = nullptr;
  for (int32_t id = 0; id < 279; ++id) {
    const BuiltinRow& row = earlier_row(id);
    SCOPED_TRACE(testing::Message() << "earlier id " << id << " " << row.name);
    BrngProperties got;
    ASSERT_EQ(__vslGetBrngProperties(id, &got), 0);
    expect_record(got, row);
    const BrngProperties* table = __vslGetBrngBaseOffset(id, &index, &offset);
    const bool wh = id >= 4 && id < 277;
    EXPECT_EQ(index, wh ? 4 : id);
    EXPECT_EQ(offset, wh ? id - 4 : 0);
    EXPECT_EQ(__vslIsBrngValid(table, index, offset), 0);
    if (earlier_table == nullptr) earlier_table = table;
    EXPECT_EQ(table, earlier_table);
  }
  EXPECT_NE(earlier_table, current_table);
  EXPECT_EQ(__vslIsBrngValid(earlier_table, 279, 0), ORX_RNG_ERROR_INVALID_BRNG);
  EXPECT_EQ(__vslIsBrngValid(earlier_table, -1, 0), ORX_RNG_ERROR_INVALID_BRNG);
}

TEST(RngRegistry, EdgeIdentifiersResolveAsDocumented) {
  struct Case {
    int32_t id, index, offset;
  };
  for (const Case& c : {Case{4, 4, 0}, Case{100, 4, 96}, Case{276, 4, 272}, Case{277, 277, 0},
                        Case{278, 278, 0}, Case{0x900000 + 6023, 8, 6023},
                        Case{0x500000 + 272, 4, 272}, Case{0x500000 + 273, 4, 273}}) {
    int32_t index = -1, offset = -1;
    __vslGetBrngBaseOffset(c.id, &index, &offset);
    EXPECT_EQ(index, c.index) << "id=" << c.id;
    EXPECT_EQ(offset, c.offset) << "id=" << c.id;
  }
  BrngProperties got;
  ASSERT_EQ(__vslGetBrngProperties(278, &got), 0);
  expect_record(got, kBuiltins[6]);  // Niederr
  ASSERT_EQ(__vslGetBrngProperties(0x900000 + 6023, &got), 0);
  ASSERT_EQ(__vslGetBrngProperties(0x500000 + 272, &got), 0);
}

TEST(RngRegistry, InvalidIdentifiersAreRefusedWithoutWritingTheOutput) {
  const int32_t ids[] = {
      279,       280,        1000,       0xFFFFF,         -1,       -4,        -277,
      -0x100000, INT32_MIN,  INT32_MAX,  0x900000 + 6024, 0x500000 + 273,     0x100001,
      0x600001,  0xE00001,   0xF00000,   0x1000000,       0x20000000,         0x7FF00000};
  for (int32_t id : ids) expect_invalid_id(id);
}

// Unbuilt engines and the abstract generators cannot be made into streams by
// __vslNewStreamEx, and no memory is touched for them: the armed allocation
// failure is still pending afterwards.
TEST(RngRegistry, NewStreamRefusesUnbuiltAndAbstractGeneratorsWithoutAllocating) {
  const uint32_t ids[] = {0x600000, 0x700000, 0x800000, 0x900000, 0x900000 + 6023, 0xA00000,
                          0xB00000, 0xC00000, 0xD00000, 0xE00000, 277, 278, 279, 0xF00000,
                          0xFFFFFFFFu};
  const uint32_t seed = 1;
  for (uint32_t id : ids) {
    SCOPED_TRACE(testing::Message() << "id=0x" << std::hex << id);
    orx_rng_stream* stream = nullptr;
    orx_host_test_fail_allocation(1);
    EXPECT_EQ(__vslNewStreamEx(&stream, id, 1, &seed), ORX_RNG_ERROR_INVALID_BRNG);
    EXPECT_EQ(stream, nullptr);
    void* probe = orx_serv_orx_malloc(16, 64);
    EXPECT_EQ(probe, nullptr) << "an allocation was made for an invalid generator";
    orx_serv_orx_free(probe);
    orx_host_test_fail_allocation(0);
  }
}

// Streams of the earlier numbering use the same engines as the current ids.
TEST(RngRegistry, EarlierIdentifiersMakeTheSameStreams) {
  struct Pair {
    uint32_t earlier, current;
  };
  const uint32_t seed = 20240607;
  for (const Pair& p : {Pair{0, 0x100000}, Pair{2, 0x300000}, Pair{3, 0x400000},
                        Pair{4 + 96, 0x500000 + 96}, Pair{276, 0x500000 + 272}}) {
    SCOPED_TRACE(testing::Message() << "earlier id " << p.earlier);
    orx_rng_stream* a = nullptr;
    orx_rng_stream* b = nullptr;
    ASSERT_EQ(__vslNewStreamEx(&a, p.earlier, 1, &seed), 0);
    ASSERT_EQ(__vslNewStreamEx(&b, p.current, 1, &seed), 0);
    EXPECT_EQ(__vslGetStreamStateBrng(a), p.earlier);
    BrngProperties props;
    ASSERT_EQ(__vslGetBrngProperties(static_cast<int32_t>(p.current), &props), 0);
    std::vector<double> ra(64), rb(64);
    EXPECT_EQ(props.dBRngFn(a, 64, ra.data(), 0.0, 1.0), 0);
    EXPECT_EQ(props.dBRngFn(b, 64, rb.data(), 0.0, 1.0), 0);
    EXPECT_EQ(ra, rb);
    __vslDeleteStream(&a);
    __vslDeleteStream(&b);
  }
  // The sub-generator index matters: earlier id 100 is WH+96, not WH+0.
  orx_rng_stream* sub96 = nullptr;
  orx_rng_stream* sub0 = nullptr;
  ASSERT_EQ(__vslNewStreamEx(&sub96, 100, 1, &seed), 0);
  ASSERT_EQ(__vslNewStreamEx(&sub0, ORX_BRNG_WH, 1, &seed), 0);
  std::vector<double> r96(8), r0(8);
  __vsldBRngWH(sub96, 8, r96.data(), 0.0, 1.0);
  __vsldBRngWH(sub0, 8, r0.data(), 0.0, 1.0);
  EXPECT_NE(r96, r0);
  __vslDeleteStream(&sub96);
  __vslDeleteStream(&sub0);
}

// ---- a user generator: 32-bit xorshift (13, 17, 5) -------------------------
// State after the 16-byte stream header: {uint32 x, uint32 seeds_used}.
constexpr int32_t kXorshiftStateBytes = 16 + 8;

uint32_t* xorshift_state(orx_rng_stream* stream) {
  return reinterpret_cast<uint32_t*>(reinterpret_cast<unsigned char*>(stream) + 16);
}

uint32_t xorshift_step(uint32_t& x) {
  x ^= x << 13;
  x ^= x >> 17;
  x ^= x << 5;
  return x;
}

int xorshift_init(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  uint32_t* state = xorshift_state(stream);
  switch (method) {
    case ORX_RNG_INIT_SEED:
      state[0] = n >= 1 && params[0] != 0 ? params[0] : 2463534242u;
      state[1] = static_cast<uint32_t>(n);
      return 0;
    case ORX_RNG_INIT_SKIPAHEAD: {
      const uint64_t count = params[0] | uint64_t{params[1]} << 32;
      for (uint64_t i = 0; i < count; ++i) xorshift_step(state[0]);
      return 0;
    }
    case ORX_RNG_INIT_LEAPFROG:
      return ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED;
    default:
      return ORX_RNG_ERROR_BAD_METHOD;
  }
}

int xorshift_ifill(orx_rng_stream* stream, int n, uint32_t* r) {
  for (int i = 0; i < n; ++i) r[i] = xorshift_step(xorshift_state(stream)[0]);
  return 0;
}

int xorshift_dfill(orx_rng_stream* stream, int n, double* r, double a, double b) {
  for (int i = 0; i < n; ++i)
    r[i] = a + (b - a) * (xorshift_step(xorshift_state(stream)[0]) * 0x1p-32);
  return 0;
}

int xorshift_sfill(orx_rng_stream* stream, int n, float* r, float a, float b) {
  for (int i = 0; i < n; ++i)
    r[i] = a + static_cast<float>(xorshift_step(xorshift_state(stream)[0]) * 0x1p-32) * (b - a);
  return 0;
}

BrngProperties xorshift_record() {
  BrngProperties p{};
  p.StateBytes = kXorshiftStateBytes;
  p.StateWords = 2;
  p.IncludesZero = 0;
  p.WordBytes = 4;
  p.Bits = 32;
  p.InitStreamFn = xorshift_init;
  p.sBRngFn = xorshift_sfill;
  p.dBRngFn = xorshift_dfill;
  p.iBRngFn = xorshift_ifill;
  return p;
}

std::vector<uint32_t> xorshift_reference(uint32_t seed, int skip, int count) {
  std::vector<uint32_t> out;
  for (int i = 0; i < skip; ++i) xorshift_step(seed);
  for (int i = 0; i < count; ++i) out.push_back(xorshift_step(seed));
  return out;
}

std::vector<uint32_t> draw(orx_rng_stream* stream, const BrngProperties& record, int count) {
  std::vector<uint32_t> out(count);
  EXPECT_EQ(record.iBRngFn(stream, count, out.data()), 0);
  return out;
}

// Registration tests change the process-wide registry; CTest runs each case
// in its own process, and the cases below are ordered so that a single run of
// the whole program also works (first registration first, filling last).
TEST(RngRegistration, ChecksInOrderThenFirstIdentifierIsF00000) {
  ASSERT_EQ(__vslGetNumRegBrngs(), 14);
  BrngProperties nulls = xorshift_record();
  nulls.InitStreamFn = nullptr;
  nulls.sBRngFn = nullptr;
  nulls.dBRngFn = nullptr;
  nulls.iBRngFn = nullptr;

  struct Case {
    const char* what;
    int32_t state_bytes, state_words, word_bytes, bits;
    bool with_functions;
    int expected;
  };
  const Case cases[] = {
      {"negative state size first", -1, 0, 12, 0, false, ORX_RNG_ERROR_BAD_STATE_SIZE},
      {"negative state size alone", -24, 2, 4, 32, true, ORX_RNG_ERROR_BAD_STATE_SIZE},
      {"word size 12 before pointers", 24, 0, 12, 0, false, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {"word size 12 with functions", 24, 2, 12, 32, true, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {"word size 0", 24, 2, 0, 32, true, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {"word size 2", 24, 2, 2, 32, true, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {"word size 32", 24, 2, 32, 32, true, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {"word size -4", 24, 2, -4, 32, true, ORX_RNG_ERROR_BAD_WORD_SIZE},
      {"no state words before bits", 24, 0, 8, 0, false, ORX_RNG_ERROR_BAD_STATE_WORDS},
      {"negative state words", 24, -3, 16, 32, true, ORX_RNG_ERROR_BAD_STATE_WORDS},
      {"no bits before pointers", 24, 1, 4, 0, false, ORX_RNG_ERROR_BAD_BITS},
      {"negative bits", 24, 1, 4, -1, true, ORX_RNG_ERROR_BAD_BITS},
      {"all functions null", 24, 1, 4, 32, false, ORX_RNG_ERROR_NULL_POINTER},
  };
  for (const Case& c : cases) {
    BrngProperties p = c.with_functions ? xorshift_record() : nulls;
    p.StateBytes = c.state_bytes;
    p.StateWords = c.state_words;
    p.WordBytes = c.word_bytes;
    p.Bits = c.bits;
    EXPECT_EQ(__vslRegisterBrng(&p), c.expected) << c.what;
  }
  for (int which = 0; which < 4; ++which) {
    BrngProperties p = xorshift_record();
    if (which == 0) p.InitStreamFn = nullptr;
    if (which == 1) p.sBRngFn = nullptr;
    if (which == 2) p.dBRngFn = nullptr;
    if (which == 3) p.iBRngFn = nullptr;
    EXPECT_EQ(__vslRegisterBrng(&p), ORX_RNG_ERROR_NULL_POINTER) << "null function " << which;
  }
  ASSERT_EQ(__vslGetNumRegBrngs(), 14) << "a refused registration changed the count";
  expect_invalid_id(0xF00000);

  BrngProperties record = xorshift_record();
  ASSERT_EQ(__vslRegisterBrng(&record), 0xF00000);
  EXPECT_EQ(__vslGetNumRegBrngs(), 15);
  record.StateBytes = 999;  // the registry holds its own copy
  BrngProperties got;
  ASSERT_EQ(__vslGetBrngProperties(0xF00000, &got), 0);
  EXPECT_TRUE(same_record(got, xorshift_record()));
  expect_invalid_id(0xF00001);  // a user generator has one sub-generator
  int32_t index = 0, offset = 0;
  __vslGetBrngBaseOffset(0xF00000, &index, &offset);
  EXPECT_EQ(index, 14);
  EXPECT_EQ(offset, 0);

  const BrngProperties word8 = [] {
    BrngProperties p = xorshift_record();
    p.WordBytes = 8;
    return p;
  }();
  EXPECT_EQ(__vslRegisterBrng(&word8), 0x1000000);
  EXPECT_EQ(__vslGetNumRegBrngs(), 16);
}

// The user generator through the stream machinery: seeding, drawing, copy,
// skip-ahead, leapfrog status, memory image round trip, delete.
TEST(RngRegistration, UserGeneratorRunsThroughStreams) {
  const BrngProperties record = xorshift_record();
  const int id = __vslRegisterBrng(&record);
  ASSERT_GT(id, 0);
  const uint32_t seed = 0x12345678;
  orx_rng_stream* stream = nullptr;
  ASSERT_EQ(__vslNewStreamEx(&stream, static_cast<uint32_t>(id), 1, &seed), 0);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(__vslGetStreamStateBrng(stream), static_cast<uint32_t>(id));
  EXPECT_EQ(__vslGetStreamSize(stream), kXorshiftStateBytes);
  EXPECT_EQ(xorshift_state(stream)[1], 1u) << "seed count not passed to InitStreamFn";
  EXPECT_EQ(draw(stream, record, 10), xorshift_reference(seed, 0, 10));

  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, stream), 0);
  EXPECT_EQ(__vslGetStreamStateBrng(copy), static_cast<uint32_t>(id));
  EXPECT_EQ(draw(copy, record, 20), xorshift_reference(seed, 10, 20));
  EXPECT_EQ(draw(stream, record, 20), xorshift_reference(seed, 10, 20));

  EXPECT_EQ(__vslSkipAheadStream(stream, 1000), 0);
  EXPECT_EQ(draw(stream, record, 5), xorshift_reference(seed, 1030, 5));
  EXPECT_EQ(__vslLeapfrogStream(stream, 0, 2), ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED);

  std::vector<unsigned char> image(__vslGetStreamSize(stream));
  ASSERT_EQ(__vslSaveStreamM(stream, reinterpret_cast<char*>(image.data())), 0);
  ASSERT_EQ(image.size(), 24u);
  const unsigned char header[12] = {1, 'R', 'N', 'G', 16, 0, 8, 0, 0, 0, 0, 0};
  EXPECT_EQ(std::memcmp(image.data(), header, 12), 0);
  uint32_t saved_id;
  std::memcpy(&saved_id, image.data() + 12, 4);
  EXPECT_EQ(saved_id, static_cast<uint32_t>(id));
  EXPECT_EQ(std::memcmp(image.data() + 16, xorshift_state(stream), 8), 0);
  orx_rng_stream* loaded = nullptr;
  ASSERT_EQ(__vslLoadStreamM(&loaded, reinterpret_cast<const char*>(image.data())), 0);
  EXPECT_EQ(__vslGetStreamStateBrng(loaded), static_cast<uint32_t>(id));
  EXPECT_EQ(draw(loaded, record, 7), xorshift_reference(seed, 1035, 7));
  EXPECT_EQ(draw(stream, record, 7), xorshift_reference(seed, 1035, 7));

  // Seeding status comes back as InitStreamFn returned it (no seeds: default x).
  orx_rng_stream* unseeded = nullptr;
  ASSERT_EQ(__vslNewStreamEx(&unseeded, static_cast<uint32_t>(id), 0, nullptr), 0);
  EXPECT_EQ(draw(unseeded, record, 3), xorshift_reference(2463534242u, 0, 3));

  for (orx_rng_stream** s : {&stream, &copy, &loaded, &unseeded}) {
    EXPECT_EQ(__vslDeleteStream(s), 0);
    EXPECT_EQ(*s, nullptr);
  }
}

TEST(RngRegistration, FillsToCapacityThenReportsFull) {
  const BrngProperties record = xorshift_record();
  const int start = __vslGetNumRegBrngs();
  int registered = 0, last_id = 0;
  for (int i = start; i < ORX_RNG_REGISTRY_CAPACITY; ++i) {
    const int id = __vslRegisterBrng(&record);
    ASSERT_EQ(id, (i + 1) << 20) << "registration " << i;
    last_id = id;
    ++registered;
  }
  if (start == 14) {
    EXPECT_EQ(registered, 498);
  }
  EXPECT_EQ(__vslGetNumRegBrngs(), 512);
  EXPECT_EQ(last_id, 512 << 20);
  BrngProperties got;
  ASSERT_EQ(__vslGetBrngProperties(last_id, &got), 0);
  EXPECT_TRUE(same_record(got, record));

  BrngProperties bad_words = record;
  bad_words.WordBytes = 12;  // checks still come before the capacity
  EXPECT_EQ(__vslRegisterBrng(&bad_words), ORX_RNG_ERROR_BAD_WORD_SIZE);
  for (int attempt = 0; attempt < 3; ++attempt)
    EXPECT_EQ(__vslRegisterBrng(&record), ORX_RNG_ERROR_REGISTRY_FULL);
  EXPECT_EQ(__vslGetNumRegBrngs(), 512);
  expect_invalid_id(513 << 20);

  // The last record still makes working streams.
  orx_rng_stream* stream = nullptr;
  const uint32_t seed = 99;
  ASSERT_EQ(__vslNewStreamEx(&stream, static_cast<uint32_t>(last_id), 1, &seed), 0);
  EXPECT_EQ(draw(stream, record, 4), xorshift_reference(seed, 0, 4));
  __vslDeleteStream(&stream);
}

}  // namespace
