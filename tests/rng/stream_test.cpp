// Stream objects: creation, copy, state copy, delete, leapfrog and skip-ahead
// plumbing, sizes, allocation failures and the chunk list.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include "orx/host.h"
#include "orx/rng.h"
#include "orx_serv.h"

// ---- guarded host memory ----------------------------------------------------
// This program defines the host's two memory services itself, so that every
// block the library takes comes through here: each block gets 64 guard bytes
// after its end (the host allocator's own alignment slack would hide a short
// overrun even from the sanitizer), and live blocks are counted so that a test
// can tell exactly what it leaked. The host's functions do the real work, so
// orx_host_test_fail_allocation still applies.
namespace guarded {
constexpr size_t kGuardBytes = 64;
constexpr unsigned char kGuardByte = 0xFD;

struct Registry {
  std::mutex mutex;
  std::map<void*, size_t> live;  // block -> requested bytes
  int overruns = 0;
};
Registry& registry() {
  static Registry* r = new Registry;  // never destroyed: frees may come late
  return *r;
}

template <class Fn>
Fn host_function(const char* name) {
  return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

bool guard_intact(const void* block, size_t bytes) {
  const auto* tail = static_cast<const unsigned char*>(block) + bytes;
  return std::all_of(tail, tail + kGuardBytes, [](unsigned char b) { return b == kGuardByte; });
}

size_t live_blocks() {
  std::lock_guard<std::mutex> lock(registry().mutex);
  return registry().live.size();
}

// Overruns seen so far, including those of blocks still live.
int overruns() {
  std::lock_guard<std::mutex> lock(registry().mutex);
  int count = registry().overruns;
  for (const auto& [block, bytes] : registry().live) count += !guard_intact(block, bytes);
  return count;
}
}  // namespace guarded

extern "C" void* orx_serv_orx_malloc(size_t bytes, size_t alignment) noexcept {
  static const auto host = guarded::host_function<void* (*)(size_t, size_t)>("orx_serv_orx_malloc");
  void* block = host(bytes + guarded::kGuardBytes, alignment);
  if (block == nullptr) return nullptr;
  std::memset(static_cast<unsigned char*>(block) + bytes, guarded::kGuardByte,
              guarded::kGuardBytes);
  std::lock_guard<std::mutex> lock(guarded::registry().mutex);
  guarded::registry().live[block] = bytes;
  return block;
}

extern "C" void orx_serv_orx_free(void* block) noexcept {
  static const auto host = guarded::host_function<void (*)(void*)>("orx_serv_orx_free");
  if (block != nullptr) {
    std::lock_guard<std::mutex> lock(guarded::registry().mutex);
    auto found = guarded::registry().live.find(block);
    if (found != guarded::registry().live.end()) {
      guarded::registry().overruns += !guarded::guard_intact(block, found->second);
      guarded::registry().live.erase(found);
    }
  }
  host(block);
}

namespace {

// Every case ends with the blocks it started with and no guard overwritten.
class RngStream : public testing::Test {
 protected:
  void SetUp() override {
    live_at_start_ = guarded::live_blocks();
    overruns_at_start_ = guarded::overruns();
  }
  void TearDown() override {
    EXPECT_EQ(guarded::live_blocks(), live_at_start_) << "blocks leaked by the case";
    EXPECT_EQ(guarded::overruns(), overruns_at_start_) << "a block was written past its end";
  }

 private:
  size_t live_at_start_ = 0;
  int overruns_at_start_ = 0;
};

// The stream record's 16-byte header, followed by the engine state.
struct StreamHeader {
  uint32_t BrngId;
  int32_t StreamMark;
  orx_rng_chunk* Chunks;
};
static_assert(sizeof(StreamHeader) == 16);

const StreamHeader& header(const orx_rng_stream* stream) {
  return *reinterpret_cast<const StreamHeader*>(stream);
}
unsigned char* state_bytes(orx_rng_stream* stream) {
  return reinterpret_cast<unsigned char*>(stream) + 16;
}
std::vector<unsigned char> state_copy(orx_rng_stream* stream, size_t bytes) {
  return {state_bytes(stream), state_bytes(stream) + bytes};
}

BrngProperties properties(uint32_t id) {
  BrngProperties p{};
  EXPECT_EQ(__vslGetBrngProperties(static_cast<int32_t>(id), &p), 0) << "id=" << id;
  return p;
}

orx_rng_stream* new_stream(uint32_t id, uint32_t seed) {
  orx_rng_stream* stream = nullptr;
  EXPECT_EQ(__vslNewStreamEx(&stream, id, 1, &seed), 0) << "id=" << id;
  return stream;
}

// `count` raw values as 32-bit words (WordBytes / 4 words per value).
std::vector<uint32_t> draw_words(orx_rng_stream* stream, int count) {
  const BrngProperties p = properties(__vslGetStreamStateBrng(stream));
  std::vector<uint32_t> out(static_cast<size_t>(count) * p.WordBytes / 4);
  EXPECT_EQ(p.iBRngFn(stream, count, out.data()), 0);
  return out;
}

// A block from the host allocator holding `bytes` copies of `fill`.
void* host_block(size_t bytes, unsigned char fill) {
  void* block = orx_serv_orx_malloc(bytes, 64);
  if (block != nullptr) std::memset(block, fill, bytes);
  return block;
}

struct EngineCase {
  const char* name;
  uint32_t id;
  int32_t state_bytes;
};
const EngineCase kEngines[] = {
    {"MCG31M1", ORX_BRNG_MCG31M1, 24},  {"R250", ORX_BRNG_R250, 1024},
    {"MRG32K3A", ORX_BRNG_MRG32K3A, 40}, {"MCG59", ORX_BRNG_MCG59, 32},
    {"WH+17", ORX_BRNG_WH + 17, 48},     {"WH+272", ORX_BRNG_WH + 272, 48},
};

TEST_F(RngStream, NewStreamHasHeaderSizeAndAlignment) {
  for (const EngineCase& e : kEngines) {
    SCOPED_TRACE(e.name);
    const size_t live = guarded::live_blocks();
    orx_rng_stream* stream = new_stream(e.id, 7);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(guarded::live_blocks(), live + 1) << "the record did not come from the host";
    EXPECT_EQ(reinterpret_cast<uintptr_t>(stream) % 64, 0u);
    EXPECT_EQ(header(stream).BrngId, e.id);
    EXPECT_EQ(header(stream).StreamMark, 1);
    EXPECT_EQ(header(stream).Chunks, nullptr);
    EXPECT_EQ(__vslGetStreamStateBrng(stream), e.id);
    EXPECT_EQ(__vslGetStreamSize(stream), e.state_bytes);
    EXPECT_EQ(__vslGetNumChunks(stream), 0);
    EXPECT_EQ(__vslDeleteStream(&stream), 0);
    EXPECT_EQ(stream, nullptr);
  }
  orx_rng_stream* earlier = new_stream(100, 7);  // WH sub-generator 96, earlier numbering
  EXPECT_EQ(__vslGetStreamStateBrng(earlier), 100u);
  EXPECT_EQ(__vslGetStreamSize(earlier), 48);
  __vslDeleteStream(&earlier);
}

TEST_F(RngStream, CopyContinuesTheSequenceAndIsIndependent) {
  for (const EngineCase& e : kEngines) {
    SCOPED_TRACE(e.name);
    const size_t state_size = static_cast<size_t>(e.state_bytes) - 16;
    orx_rng_stream* stream = new_stream(e.id, 12345);
    ASSERT_NE(stream, nullptr);
    draw_words(stream, 37);
    orx_rng_stream* copy = nullptr;
    ASSERT_EQ(__vslCopyStream(&copy, stream), 0);
    ASSERT_NE(copy, nullptr);
    ASSERT_NE(copy, stream);
    EXPECT_EQ(header(copy).BrngId, e.id);
    EXPECT_EQ(header(copy).StreamMark, 1);
    EXPECT_EQ(header(copy).Chunks, nullptr);
    EXPECT_EQ(state_copy(copy, state_size), state_copy(stream, state_size));

    EXPECT_EQ(draw_words(copy, 300), draw_words(stream, 300));
    const std::vector<unsigned char> before = state_copy(stream, state_size);
    draw_words(copy, 11);
    EXPECT_EQ(state_copy(stream, state_size), before) << "drawing from the copy moved the source";
    EXPECT_NE(state_copy(copy, state_size), before);
    __vslDeleteStream(&copy);
    __vslDeleteStream(&stream);
  }
}

TEST_F(RngStream, CopyStateOntoItselfKeepsItsChunks) {
  orx_rng_stream* stream = new_stream(ORX_BRNG_MRG32K3A, 5);
  void* block = host_block(48, 0x3C);
  ASSERT_EQ(__vslAddChunk(stream, 40, nullptr, block, 48), 0);
  const std::vector<unsigned char> before = state_copy(stream, 24);
  EXPECT_EQ(__vslCopyStreamState(stream, stream), 0);
  EXPECT_EQ(__vslGetNumChunks(stream), 1);
  EXPECT_EQ(__vslSearchChunk(stream, 40), block);
  EXPECT_EQ(state_copy(stream, 24), before);
  __vslDeleteStream(&stream);
}

TEST_F(RngStream, CopyStateReplacesDestinationChunksWithCopies) {
  orx_rng_stream* source = new_stream(ORX_BRNG_MCG31M1, 1);
  orx_rng_stream* destination = new_stream(ORX_BRNG_MCG31M1, 2);
  draw_words(source, 3);
  void* source_a = host_block(32, 0x11);
  void* source_b = host_block(200, 0x22);
  ASSERT_EQ(__vslAddChunk(source, 21, nullptr, source_a, 32), 0);
  ASSERT_EQ(__vslAddChunk(source, 22, nullptr, source_b, 200), 0);
  ASSERT_EQ(__vslAddChunk(destination, 20, nullptr, host_block(64, 0x33), 64), 0);

  ASSERT_EQ(__vslCopyStreamState(destination, source), 0);
  EXPECT_EQ(header(destination).BrngId, static_cast<uint32_t>(ORX_BRNG_MCG31M1));
  EXPECT_EQ(__vslGetNumChunks(destination), 2);
  EXPECT_EQ(__vslSearchChunk(destination, 20), nullptr) << "old chunk survived";
  auto* copy_a = static_cast<unsigned char*>(__vslSearchChunk(destination, 21));
  auto* copy_b = static_cast<unsigned char*>(__vslSearchChunk(destination, 22));
  ASSERT_NE(copy_a, nullptr);
  ASSERT_NE(copy_b, nullptr);
  EXPECT_NE(copy_a, source_a);
  EXPECT_NE(copy_b, source_b);
  EXPECT_EQ(std::memcmp(copy_a, source_a, 32), 0);
  EXPECT_EQ(std::memcmp(copy_b, source_b, 200), 0);
  std::memset(source_a, 0x77, 32);  // private copies: the destination does not see it
  EXPECT_EQ(copy_a[0], 0x11);
  EXPECT_EQ(__vslGetStreamSize(destination), 24 + (32 + 24) + (200 + 24));
  EXPECT_EQ(draw_words(destination, 50), draw_words(source, 50));
  __vslDeleteStream(&source);
  __vslDeleteStream(&destination);
}

// WordBytes * StateWords of WH is 64 bytes, its state area 32: the copy stays
// inside the 48-byte record (the sanitizer build checks the bounds).
TEST_F(RngStream, CopyStateIsBoundedByTheRecord) {
  orx_rng_stream* source = new_stream(ORX_BRNG_WH + 3, 1);
  orx_rng_stream* destination = new_stream(ORX_BRNG_WH + 3, 2);
  draw_words(source, 9);
  ASSERT_EQ(__vslCopyStreamState(destination, source), 0);
  EXPECT_EQ(state_copy(destination, 32), state_copy(source, 32));
  EXPECT_EQ(draw_words(destination, 40), draw_words(source, 40));
  __vslDeleteStream(&source);
  __vslDeleteStream(&destination);

  // Identifiers are not compared: MCG31M1 moves its 4 state bytes into an
  // MRG32K3A record and leaves the other 20 bytes alone.
  orx_rng_stream* small = new_stream(ORX_BRNG_MCG31M1, 77);
  orx_rng_stream* large = new_stream(ORX_BRNG_MRG32K3A, 78);
  const std::vector<unsigned char> large_before = state_copy(large, 24);
  ASSERT_EQ(__vslCopyStreamState(large, small), 0);
  const std::vector<unsigned char> large_after = state_copy(large, 24);
  EXPECT_EQ(std::memcmp(large_after.data(), state_bytes(small), 4), 0);
  EXPECT_TRUE(std::equal(large_after.begin() + 4, large_after.end(), large_before.begin() + 4));
  EXPECT_EQ(header(large).BrngId, static_cast<uint32_t>(ORX_BRNG_MRG32K3A));
  __vslDeleteStream(&small);
  __vslDeleteStream(&large);
}

TEST_F(RngStream, SizeCountsEveryChunk) {
  orx_rng_stream* stream = new_stream(ORX_BRNG_MCG31M1, 3);
  EXPECT_EQ(__vslGetStreamSize(stream), 24);
  ASSERT_EQ(__vslAddChunk(stream, 11, nullptr, host_block(16, 1), 16), 0);
  EXPECT_EQ(__vslGetStreamSize(stream), 64);
  ASSERT_EQ(__vslAddChunk(stream, 12, nullptr, host_block(100, 2), 100), 0);
  EXPECT_EQ(__vslGetStreamSize(stream), 188);
  ASSERT_EQ(__vslAddChunk(stream, 13, nullptr, nullptr, 0), 0);
  EXPECT_EQ(__vslGetStreamSize(stream), 212);
  __vslDeleteStream(&stream);

  orx_rng_stream* r250 = new_stream(ORX_BRNG_R250, 3);
  ASSERT_EQ(__vslAddChunk(r250, 11, nullptr, host_block(16, 1), 16), 0);
  EXPECT_EQ(__vslGetStreamSize(r250), 1064);
  __vslDeleteStream(&r250);
}

// ---- a recording generator: InitStreamFn keeps its last arguments ---------
struct InitCall {
  int calls = 0;
  int method = -1, n = -1;
  const uint32_t* params = nullptr;
  uint32_t param0 = 0, param1 = 0;
  int status = 0;  // what the next call returns
};
InitCall g_init;

int recording_init(int method, orx_rng_stream*, int n, const uint32_t* params) {
  ++g_init.calls;
  g_init.method = method;
  g_init.n = n;
  g_init.params = params;
  // Leapfrog passes one word (k) whatever n (the stream count) is.
  const int words = method == ORX_RNG_INIT_LEAPFROG ? 1 : n;
  g_init.param0 = params != nullptr && words >= 1 ? params[0] : 0;
  g_init.param1 = params != nullptr && words >= 2 ? params[1] : 0;
  return g_init.status;
}
int recording_ifill(orx_rng_stream*, int, uint32_t*) { return 0; }
int recording_dfill(orx_rng_stream*, int, double*, double, double) { return 0; }
int recording_sfill(orx_rng_stream*, int, float*, float, float) { return 0; }

uint32_t register_recording_engine() {
  BrngProperties p{};
  p.StateBytes = 32;
  p.StateWords = 4;
  p.WordBytes = 4;
  p.Bits = 32;
  p.InitStreamFn = recording_init;
  p.sBRngFn = recording_sfill;
  p.dBRngFn = recording_dfill;
  p.iBRngFn = recording_ifill;
  const int id = __vslRegisterBrng(&p);
  EXPECT_GT(id, 0);
  return static_cast<uint32_t>(id);
}

TEST_F(RngStream, InitStreamReceivesSeedLeapfrogAndSkipAheadArguments) {
  const uint32_t id = register_recording_engine();
  const uint32_t seeds[3] = {9, 8, 7};
  orx_rng_stream* stream = nullptr;
  g_init = InitCall{};
  g_init.status = -77;  // seeding status is returned, the stream stays allocated
  EXPECT_EQ(__vslNewStreamEx(&stream, id, 3, seeds), -77);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(g_init.calls, 1);
  EXPECT_EQ(g_init.method, ORX_RNG_INIT_SEED);
  EXPECT_EQ(g_init.n, 3);
  EXPECT_EQ(g_init.params, seeds);

  struct Leapfrog {
    uint32_t k;
    int32_t nstreams;
    int status;
  };
  for (const Leapfrog& c : {Leapfrog{5, 7, 0}, Leapfrog{0, 0, 0},
                            Leapfrog{0xFFFFFFFFu, INT32_MAX, -1002}, Leapfrog{3, 1, -2}}) {
    g_init = InitCall{};
    g_init.status = c.status;
    EXPECT_EQ(__vslLeapfrogStream(stream, c.k, c.nstreams), c.status);
    EXPECT_EQ(g_init.calls, 1);
    EXPECT_EQ(g_init.method, ORX_RNG_INIT_LEAPFROG);
    EXPECT_EQ(g_init.n, c.nstreams);
    ASSERT_NE(g_init.params, nullptr);
    EXPECT_EQ(g_init.param0, c.k);
  }
  for (int32_t negative : {-1, -2, INT32_MIN}) {
    g_init = InitCall{};
    EXPECT_EQ(__vslLeapfrogStream(stream, 0, negative), ORX_RNG_ERROR_BAD_NSTREAMS);
    EXPECT_EQ(g_init.calls, 0) << "generator consulted for nstreams " << negative;
  }
  for (uint64_t skip : {uint64_t{0}, uint64_t{1}, uint64_t{0x123456789ABCDEF0}, ~uint64_t{0}}) {
    g_init = InitCall{};
    g_init.status = -1003;
    EXPECT_EQ(__vslSkipAheadStream(stream, skip), -1003);
    EXPECT_EQ(g_init.calls, 1);
    EXPECT_EQ(g_init.method, ORX_RNG_INIT_SKIPAHEAD);
    EXPECT_EQ(g_init.n, 2);
    EXPECT_EQ(g_init.param0, static_cast<uint32_t>(skip));
    EXPECT_EQ(g_init.param1, static_cast<uint32_t>(skip >> 32));
  }
  EXPECT_EQ(__vslDeleteStream(&stream), 0);
  EXPECT_EQ(stream, nullptr);
}

// Leapfrog and skip-ahead of a real engine against its own plain sequence.
TEST_F(RngStream, LeapfrogAndSkipAheadSelectTheRightValues) {
  for (uint32_t id : {uint32_t{ORX_BRNG_MCG31M1}, uint32_t{ORX_BRNG_MCG59}}) {
    SCOPED_TRACE(testing::Message() << "id=0x" << std::hex << id);
    const size_t words = id == ORX_BRNG_MCG59 ? 2 : 1;
    orx_rng_stream* base = new_stream(id, 4242);
    orx_rng_stream* frog = nullptr;
    orx_rng_stream* skipped = nullptr;
    ASSERT_EQ(__vslCopyStream(&frog, base), 0);
    ASSERT_EQ(__vslCopyStream(&skipped, base), 0);
    const std::vector<uint32_t> plain = draw_words(base, 200);
    ASSERT_EQ(__vslLeapfrogStream(frog, 2, 5), 0);
    const std::vector<uint32_t> leap = draw_words(frog, 30);
    ASSERT_EQ(__vslSkipAheadStream(skipped, 123), 0);
    const std::vector<uint32_t> skip = draw_words(skipped, 40);
    for (size_t i = 0; i < 30; ++i)
      for (size_t w = 0; w < words; ++w)
        EXPECT_EQ(leap[i * words + w], plain[(2 + 5 * i) * words + w]) << "leapfrog value " << i;
    for (size_t i = 0; i < 40 * words; ++i)
      EXPECT_EQ(skip[i], plain[123 * words + i]) << "skip-ahead word " << i;
    __vslDeleteStream(&base);
    __vslDeleteStream(&frog);
    __vslDeleteStream(&skipped);
  }
}

TEST_F(RngStream, AllocationFailureAtCreationLeavesNothing) {
  const uint32_t id = register_recording_engine();
  const uint32_t seed = 1;
  for (uint32_t brng : {uint32_t{ORX_BRNG_MCG31M1}, uint32_t{ORX_BRNG_R250}, id}) {
    orx_rng_stream* stream = nullptr;
    g_init = InitCall{};
    const size_t live = guarded::live_blocks();
    orx_host_test_fail_allocation(1);
    EXPECT_EQ(__vslNewStreamEx(&stream, brng, 1, &seed), ORX_RNG_ERROR_MEMORY);
    orx_host_test_fail_allocation(0);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(guarded::live_blocks(), live);
    EXPECT_EQ(g_init.calls, 0) << "InitStreamFn ran without a stream";
  }
  orx_rng_stream* source = new_stream(ORX_BRNG_MCG31M1, 2);
  orx_rng_stream* copy = nullptr;
  orx_host_test_fail_allocation(1);
  EXPECT_EQ(__vslCopyStream(&copy, source), ORX_RNG_ERROR_MEMORY);
  orx_host_test_fail_allocation(0);
  EXPECT_EQ(copy, nullptr);

  void* block = host_block(16, 9);
  orx_host_test_fail_allocation(1);
  EXPECT_EQ(__vslAddChunk(source, 3, nullptr, block, 16), ORX_RNG_ERROR_MEMORY);
  orx_host_test_fail_allocation(0);
  EXPECT_EQ(__vslGetNumChunks(source), 0);
  orx_serv_orx_free(block);  // the refused block is still the caller's
  __vslDeleteStream(&source);
}

// Copying three private chunks takes six allocations (a data block and a node
// each); a failure at any of them leaves the destination without chunks.
TEST_F(RngStream, AllocationFailureDuringChunkCopyLeavesNoPartialChunks) {
  orx_rng_stream* source = new_stream(ORX_BRNG_MCG31M1, 2);
  ASSERT_EQ(__vslAddChunk(source, 31, nullptr, host_block(8, 1), 8), 0);
  ASSERT_EQ(__vslAddChunk(source, 32, nullptr, host_block(40, 2), 40), 0);
  ASSERT_EQ(__vslAddChunk(source, 33, nullptr, host_block(1000, 3), 1000), 0);
  for (int k = 1; k <= 6; ++k) {
    SCOPED_TRACE(testing::Message() << "failing allocation " << k);
    orx_rng_stream* destination = new_stream(ORX_BRNG_MCG31M1, 3);
    const size_t live = guarded::live_blocks();
    orx_host_test_fail_allocation(k);
    EXPECT_EQ(__vslCopyChunks(destination, source), ORX_RNG_ERROR_MEMORY);
    orx_host_test_fail_allocation(0);
    EXPECT_EQ(guarded::live_blocks(), live) << "blocks of the failed copy remain";
    EXPECT_EQ(__vslGetNumChunks(destination), 0);
    EXPECT_EQ(header(destination).Chunks, nullptr);
    __vslDeleteStream(&destination);

    orx_rng_stream* copy = nullptr;
    orx_host_test_fail_allocation(k + 1);  // the record itself comes first
    EXPECT_EQ(__vslCopyStream(&copy, source), ORX_RNG_ERROR_MEMORY);
    orx_host_test_fail_allocation(0);
    if (copy != nullptr) {
      EXPECT_EQ(__vslGetNumChunks(copy), 0);
      __vslDeleteStream(&copy);
    }
  }
  orx_rng_stream* destination = new_stream(ORX_BRNG_MCG31M1, 3);
  orx_host_test_fail_allocation(7);
  EXPECT_EQ(__vslCopyChunks(destination, source), 0);
  orx_host_test_fail_allocation(0);
  EXPECT_EQ(__vslGetNumChunks(destination), 3);
  EXPECT_EQ(__vslGetNumChunks(source), 3);
  __vslDeleteStream(&destination);
  __vslDeleteStream(&source);
}

TEST_F(RngStream, ChunkListAddSearchCountDelete) {
  const int shared_before = __vslGetGlobRODataTableCount();
  orx_rng_stream* stream = new_stream(ORX_BRNG_MCG59, 8);
  EXPECT_EQ(__vslSearchChunk(stream, 5), nullptr);
  void* a = host_block(24, 0xA);
  void* b = host_block(24, 0xB);
  void* c = host_block(24, 0xC);
  const uint64_t zero_key[2] = {0, 0};
  ASSERT_EQ(__vslAddChunk(stream, 5, nullptr, a, 24), 0);
  ASSERT_EQ(__vslAddChunk(stream, 6, zero_key, b, 24), 0);
  ASSERT_EQ(__vslAddChunk(stream, 5, nullptr, c, 24), 0);
  EXPECT_EQ(__vslGetNumChunks(stream), 3);
  EXPECT_EQ(__vslSearchChunk(stream, 5), c) << "the newest chunk is found first";
  EXPECT_EQ(__vslSearchChunk(stream, 6), b);
  EXPECT_EQ(__vslSearchChunk(stream, 7), nullptr);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), shared_before) << "private chunks were shared";

  // Nodes are linked at the head, newest first, with zero keys.
  const orx_rng_chunk* node = header(stream).Chunks;
  const void* expected_data[3] = {c, b, a};
  const uint32_t expected_id[3] = {5, 6, 5};
  for (int i = 0; i < 3; ++i) {
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->Id, expected_id[i]);
    EXPECT_EQ(node->Size, 24u);
    EXPECT_EQ(node->Data, expected_data[i]);
    EXPECT_EQ(node->Key[0], 0u);
    EXPECT_EQ(node->Key[1], 0u);
    node = node->Next;
  }
  EXPECT_EQ(node, nullptr);

  __vslDeleteChunks(stream);  // frees a, b and c (the sanitizer build checks)
  EXPECT_EQ(__vslGetNumChunks(stream), 0);
  EXPECT_EQ(header(stream).Chunks, nullptr);
  EXPECT_EQ(__vslSearchChunk(stream, 5), nullptr);
  EXPECT_EQ(__vslGetStreamSize(stream), 32);

  // Chunks still attached at delete are freed with the stream.
  ASSERT_EQ(__vslAddChunk(stream, 9, nullptr, host_block(4096, 1), 4096), 0);
  ASSERT_EQ(__vslAddChunk(stream, 10, zero_key, host_block(16, 2), 16), 0);
  EXPECT_EQ(__vslDeleteStream(&stream), 0);
  EXPECT_EQ(stream, nullptr);
}

}  // namespace
