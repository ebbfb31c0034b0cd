// Stream objects: creation, copy, state copy, delete, leapfrog and skip-ahead
// plumbing, sizes, allocation failures and the chunk list. Overruns and leaks
// are reported by the sanitizer build (the host allocator poisons the slack
// after every small block).
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
std::vector<unsigned char> state_of(const orx_rng_stream* stream, size_t bytes) {
  const auto* state = reinterpret_cast<const unsigned char*>(stream) + 16;
  return {state, state + bytes};
}

orx_rng_stream* new_stream(uint32_t id, uint32_t seed) {
  orx_rng_stream* stream = nullptr;
  EXPECT_EQ(__vslNewStreamEx(&stream, id, 1, &seed), 0) << "id=" << id;
  return stream;
}

// `count` raw values as 32-bit words (WordBytes / 4 words per value).
std::vector<uint32_t> draw_words(orx_rng_stream* stream, int count) {
  BrngProperties p{};
  EXPECT_EQ(__vslGetBrngProperties(static_cast<int32_t>(__vslGetStreamStateBrng(stream)), &p), 0);
  std::vector<uint32_t> out(static_cast<size_t>(count) * p.WordBytes / 4);
  EXPECT_EQ(p.iBRngFn(stream, count, out.data()), 0);
  return out;
}

void* host_block(size_t bytes, unsigned char fill) {
  void* block = orx_serv_orx_malloc(bytes, 64);
  if (block != nullptr) std::memset(block, fill, bytes);
  return block;
}

// Runs `call` with its k-th allocation failing.
template <class Call>
int with_failing_allocation(int k, Call call) {
  orx_host_test_fail_allocation(k);
  const int status = call();
  orx_host_test_fail_allocation(0);
  return status;
}

TEST(RngStream, NewAndCopyGiveHeaderSizeAndAnIndependentContinuation) {
  // {id, StateBytes}; id 100 is WH sub-generator 96 in the earlier numbering.
  const uint32_t engines[][2] = {{ORX_BRNG_MCG31M1, 24},
                                 {ORX_BRNG_R250, 1024},
                                 {ORX_BRNG_MRG32K3A, 40},
                                 {ORX_BRNG_MCG59, 32},
                                 {ORX_BRNG_WH + 17, 48},
                                 {ORX_BRNG_WH + 272, 48},
                                 {100, 48}};
  for (const auto& [id, state_bytes] : engines) {
    SCOPED_TRACE(testing::Message() << "id=0x" << std::hex << id);
    const size_t state_size = state_bytes - 16;
    orx_rng_stream* stream = new_stream(id, 12345);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(stream) % 64, 0u);
    EXPECT_EQ(__vslGetStreamSize(stream), static_cast<int>(state_bytes));
    EXPECT_EQ(__vslGetNumChunks(stream), 0);
    draw_words(stream, 37);

    orx_rng_stream* copy = nullptr;
    ASSERT_EQ(__vslCopyStream(&copy, stream), 0);
    ASSERT_NE(copy, stream);
    for (const orx_rng_stream* s : {stream, copy}) {
      EXPECT_EQ(header(s).BrngId, id);
      EXPECT_EQ(header(s).StreamMark, 1);
      EXPECT_EQ(header(s).Chunks, nullptr);
    }
    EXPECT_EQ(state_of(copy, state_size), state_of(stream, state_size));
    EXPECT_EQ(draw_words(copy, 300), draw_words(stream, 300));
    const std::vector<unsigned char> before = state_of(stream, state_size);
    draw_words(copy, 11);
    EXPECT_EQ(state_of(stream, state_size), before) << "drawing from the copy moved the source";
    EXPECT_EQ(__vslDeleteStream(&copy), 0);
    EXPECT_EQ(copy, nullptr);
    __vslDeleteStream(&stream);
  }
}

// A state copy moves WordBytes * StateWords bytes of the source's record,
// bounded by that record, and replaces the destination's chunks by private
// copies of the source's.
TEST(RngStream, CopyStateMovesTheStateAndReplacesTheChunks) {
  orx_rng_stream* source = new_stream(ORX_BRNG_MCG31M1, 1);
  orx_rng_stream* destination = new_stream(ORX_BRNG_MCG31M1, 2);
  draw_words(source, 3);
  void* source_a = host_block(32, 0x11);
  void* source_b = host_block(200, 0x22);
  ASSERT_EQ(__vslAddChunk(source, 21, nullptr, source_a, 32), 0);
  ASSERT_EQ(__vslAddChunk(source, 22, nullptr, source_b, 200), 0);
  ASSERT_EQ(__vslAddChunk(destination, 20, nullptr, host_block(64, 0x33), 64), 0);
  const std::vector<unsigned char> state = state_of(source, 8);
  EXPECT_EQ(__vslCopyStreamState(source, source), 0);  // onto itself: nothing changes
  EXPECT_EQ(state_of(source, 8), state);
  EXPECT_EQ(__vslSearchChunk(source, 21), source_a);
  EXPECT_EQ(__vslGetNumChunks(source), 2);

  ASSERT_EQ(__vslCopyStreamState(destination, source), 0);
  EXPECT_EQ(__vslGetNumChunks(destination), 2);
  EXPECT_EQ(__vslSearchChunk(destination, 20), nullptr) << "old chunk survived";
  auto* copy_a = static_cast<unsigned char*>(__vslSearchChunk(destination, 21));
  auto* copy_b = static_cast<unsigned char*>(__vslSearchChunk(destination, 22));
  ASSERT_TRUE(copy_a != nullptr && copy_b != nullptr);
  EXPECT_TRUE(copy_a != source_a && copy_b != source_b);
  EXPECT_EQ(std::memcmp(copy_a, source_a, 32), 0);
  EXPECT_EQ(std::memcmp(copy_b, source_b, 200), 0);
  EXPECT_EQ(__vslGetStreamSize(destination), 24 + (32 + 24) + (200 + 24));
  EXPECT_EQ(draw_words(destination, 50), draw_words(source, 50));

  // Identifiers are not compared: MCG31M1's 4 bytes land in an MRG32K3A
  // record, whose other 20 state bytes stay.
  orx_rng_stream* large = new_stream(ORX_BRNG_MRG32K3A, 78);
  std::vector<unsigned char> expected = state_of(large, 24);
  std::memcpy(expected.data(), state_of(source, 4).data(), 4);
  ASSERT_EQ(__vslCopyStreamState(large, source), 0);
  EXPECT_EQ(state_of(large, 24), expected);
  EXPECT_EQ(header(large).BrngId, static_cast<uint32_t>(ORX_BRNG_MRG32K3A));
  for (orx_rng_stream** s : {&source, &destination, &large}) __vslDeleteStream(s);

  // WH's WordBytes * StateWords (64) exceeds its 32-byte state area: the copy
  // stays inside the 48-byte record (the sanitizer build checks the bound).
  source = new_stream(ORX_BRNG_WH + 3, 1);
  destination = new_stream(ORX_BRNG_WH + 3, 2);
  draw_words(source, 9);
  ASSERT_EQ(__vslCopyStreamState(destination, source), 0);
  EXPECT_EQ(draw_words(destination, 40), draw_words(source, 40));
  __vslDeleteStream(&source);
  __vslDeleteStream(&destination);
}

// ---- a recording generator: InitStreamFn keeps its last arguments ---------
struct InitCall {
  int calls = 0, method = -1, n = -1;
  uint32_t param0 = 0, param1 = 0;  // leapfrog passes one word (k), seeding n, skip-ahead 2
  int status = 0;                   // what the next call returns
};
InitCall g_init;

int recording_init(int method, orx_rng_stream*, int n, const uint32_t* params) {
  const bool two_words = method != ORX_RNG_INIT_LEAPFROG && n >= 2;
  g_init = {g_init.calls + 1, method, n, params[0], two_words ? params[1] : 0, g_init.status};
  return g_init.status;
}
int recording_ifill(orx_rng_stream*, int, uint32_t*) { return 0; }
int recording_dfill(orx_rng_stream*, int, double*, double, double) { return 0; }
int recording_sfill(orx_rng_stream*, int, float*, float, float) { return 0; }

uint32_t register_recording_engine() {
  const BrngProperties p = {
      32, 4, 0, 4, 32, recording_init, recording_sfill, recording_dfill, recording_ifill};
  const int id = __vslRegisterBrng(&p);
  EXPECT_GT(id, 0);
  return static_cast<uint32_t>(id);
}

void expect_call(int method, int n, uint32_t param0, uint32_t param1 = 0) {
  EXPECT_EQ(std::tie(g_init.calls, g_init.method, g_init.n, g_init.param0, g_init.param1),
            std::make_tuple(1, method, n, param0, param1));
}

TEST(RngStream, InitStreamReceivesSeedLeapfrogAndSkipAheadArguments) {
  const uint32_t id = register_recording_engine();
  const uint32_t seeds[3] = {9, 8, 7};
  orx_rng_stream* stream = nullptr;
  g_init = InitCall{.status = -77};  // the seeding status is returned, the stream kept
  EXPECT_EQ(__vslNewStreamEx(&stream, id, 3, seeds), -77);
  ASSERT_NE(stream, nullptr);
  expect_call(ORX_RNG_INIT_SEED, 3, 9, 8);

  const struct {
    uint32_t k;
    int32_t nstreams;
    int status;
  } leapfrogs[] = {{5, 7, 0}, {0, 0, 0}, {0xFFFFFFFFu, INT32_MAX, -1002}, {3, 1, -2}};
  for (const auto& c : leapfrogs) {
    g_init = InitCall{.status = c.status};
    EXPECT_EQ(__vslLeapfrogStream(stream, c.k, c.nstreams), c.status);
    expect_call(ORX_RNG_INIT_LEAPFROG, c.nstreams, c.k);
  }
  for (int32_t negative : {-1, INT32_MIN}) {
    g_init = InitCall{};
    EXPECT_EQ(__vslLeapfrogStream(stream, 0, negative), ORX_RNG_ERROR_BAD_NSTREAMS);
    EXPECT_EQ(g_init.calls, 0) << "generator consulted for nstreams " << negative;
  }
  for (uint64_t skip : {uint64_t{0}, uint64_t{1}, uint64_t{0x123456789ABCDEF0}, ~uint64_t{0}}) {
    g_init = InitCall{.status = -1003};
    EXPECT_EQ(__vslSkipAheadStream(stream, skip), -1003);
    expect_call(ORX_RNG_INIT_SKIPAHEAD, 2, static_cast<uint32_t>(skip),
                static_cast<uint32_t>(skip >> 32));
  }
  __vslDeleteStream(&stream);
}

// Failed allocations give -4 and leave nothing behind: no stream, no chunk,
// no engine call (and, in the sanitizer build, no leak).
TEST(RngStream, AllocationFailuresLeaveNothing) {
  const uint32_t id = register_recording_engine();
  const uint32_t seed = 1;
  for (uint32_t brng : {uint32_t{ORX_BRNG_MCG31M1}, id}) {
    orx_rng_stream* stream = nullptr;
    g_init = InitCall{};
    EXPECT_EQ(with_failing_allocation(1, [&] { return __vslNewStreamEx(&stream, brng, 1, &seed); }),
              ORX_RNG_ERROR_MEMORY);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(g_init.calls, 0) << "InitStreamFn ran without a stream";
  }
  orx_rng_stream* source = new_stream(ORX_BRNG_MCG31M1, 2);
  void* block = host_block(16, 9);
  EXPECT_EQ(
      with_failing_allocation(1, [&] { return __vslAddChunk(source, 3, nullptr, block, 16); }),
      ORX_RNG_ERROR_MEMORY);
  EXPECT_EQ(__vslGetNumChunks(source), 0);
  orx_serv_orx_free(block);  // a refused block stays the caller's

  // Copying three private chunks takes six allocations (a data block and a
  // node each); a failure at any of them leaves the destination without chunks.
  ASSERT_EQ(__vslAddChunk(source, 31, nullptr, host_block(8, 1), 8), 0);
  ASSERT_EQ(__vslAddChunk(source, 32, nullptr, host_block(40, 2), 40), 0);
  ASSERT_EQ(__vslAddChunk(source, 33, nullptr, host_block(1000, 3), 1000), 0);
  for (int k = 1; k <= 7; ++k) {
    SCOPED_TRACE(testing::Message() << "failing allocation " << k);
    orx_rng_stream* destination = new_stream(ORX_BRNG_MCG31M1, 3);
    EXPECT_EQ(with_failing_allocation(k, [&] { return __vslCopyChunks(destination, source); }),
              k <= 6 ? ORX_RNG_ERROR_MEMORY : 0);
    EXPECT_EQ(__vslGetNumChunks(destination), k <= 6 ? 0 : 3);
    __vslDeleteStream(&destination);

    orx_rng_stream* copy = nullptr;  // the record itself is the first allocation
    EXPECT_EQ(with_failing_allocation(k, [&] { return __vslCopyStream(&copy, source); }),
              ORX_RNG_ERROR_MEMORY);
    EXPECT_EQ(copy, nullptr);
  }
  EXPECT_EQ(__vslGetNumChunks(source), 3);
  __vslDeleteStream(&source);
}

TEST(RngStream, ChunkListAddSearchSizeDelete) {
  const int shared_before = __vslGetGlobRODataTableCount();
  orx_rng_stream* stream = new_stream(ORX_BRNG_MCG59, 8);
  EXPECT_EQ(__vslSearchChunk(stream, 5), nullptr);
  void* a = host_block(24, 0xA);
  void* b = host_block(100, 0xB);
  void* c = host_block(16, 0xC);
  const uint64_t zero_key[2] = {0, 0};
  ASSERT_EQ(__vslAddChunk(stream, 5, nullptr, a, 24), 0);
  ASSERT_EQ(__vslAddChunk(stream, 6, zero_key, b, 100), 0);
  ASSERT_EQ(__vslAddChunk(stream, 5, nullptr, c, 16), 0);
  ASSERT_EQ(__vslAddChunk(stream, 7, nullptr, nullptr, 0), 0);
  EXPECT_EQ(__vslGetNumChunks(stream), 4);
  EXPECT_EQ(__vslSearchChunk(stream, 5), c) << "the newest chunk is found first";
  EXPECT_EQ(__vslSearchChunk(stream, 6), b);
  EXPECT_EQ(__vslSearchChunk(stream, 8), nullptr);
  EXPECT_EQ(__vslGetStreamSize(stream), 32 + (24 + 24) + (100 + 24) + (16 + 24) + 24);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), shared_before) << "private chunks were shared";

  // Nodes are linked at the head, newest first, with zero keys.
  const orx_rng_chunk* node = header(stream).Chunks;
  const struct {
    uint32_t id, size;
    void* data;
  } expected[] = {{7, 0, nullptr}, {5, 16, c}, {6, 100, b}, {5, 24, a}};
  for (const auto& e : expected) {
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(std::tie(node->Id, node->Size, node->Data, node->Key[0], node->Key[1]),
              std::make_tuple(e.id, e.size, e.data, uint64_t{0}, uint64_t{0}));
    node = node->Next;
  }
  EXPECT_EQ(node, nullptr);

  __vslDeleteChunks(stream);  // frees a, b and c
  EXPECT_EQ(header(stream).Chunks, nullptr);
  EXPECT_EQ(__vslSearchChunk(stream, 5), nullptr);
  EXPECT_EQ(__vslGetStreamSize(stream), 32);
  // Chunks still attached at delete are freed with the stream.
  ASSERT_EQ(__vslAddChunk(stream, 9, nullptr, host_block(4096, 1), 4096), 0);
  EXPECT_EQ(__vslDeleteStream(&stream), 0);
  EXPECT_EQ(stream, nullptr);
}

TEST(RngStream, NullStreamsAndPointersAreRefused) {
  orx_rng_stream* s = nullptr;
  const uint32_t seed = 1;
  ASSERT_EQ(__vslNewStreamEx(&s, ORX_BRNG_MCG31M1, 1, &seed), 0);
  uint32_t data = 0;
  const int statuses[] = {
      __vslNewStreamEx(nullptr, ORX_BRNG_MCG31M1, 1, &seed), __vslCopyStream(nullptr, s),
      __vslCopyStream(&s, nullptr),        __vslCopyStreamState(nullptr, s),
      __vslCopyStreamState(s, nullptr),    __vslLeapfrogStream(nullptr, 0, 1),
      __vslSkipAheadStream(nullptr, 1),    __vslAddChunk(nullptr, 4, nullptr, &data, 4)};
  for (int status : statuses) EXPECT_EQ(status, ORX_RNG_ERROR_NULL_POINTER);
  EXPECT_EQ(__vslDeleteStream(nullptr), 0);
  __vslDeleteStream(&s);
}

}  // namespace
