// The process-wide table of shared read-only blocks: lookup, reference counts,
// the 127/128 thresholds, new keys, threads; and the processor probes beside
// it (time-stamp counter, RDRAND).
#include <cpuid.h>
#include <gtest/gtest.h>
#include <x86intrin.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <tuple>
#include <vector>

#include "orx/host.h"
#include "orx/rng.h"
#include "orx_serv.h"

namespace {

// The chunk list head sits after the stream header's id and mark.
const orx_rng_chunk* first_node(const orx_rng_stream* stream) {
  return *reinterpret_cast<orx_rng_chunk* const*>(reinterpret_cast<const char*>(stream) + 8);
}

orx_rng_stream* new_stream(uint32_t seed) {
  orx_rng_stream* stream = nullptr;
  EXPECT_EQ(__vslNewStreamEx(&stream, ORX_BRNG_MCG31M1, 1, &seed), 0);
  return stream;
}

void* host_block(size_t bytes, unsigned char fill) {
  void* block = orx_serv_orx_malloc(bytes, 64);
  if (block != nullptr) std::memset(block, fill, bytes);
  return block;
}

using Key = std::array<uint64_t, 2>;
Key test_key(uint64_t n) { return {0x5AFE000000000000u + n, 0x7E57}; }

orx_rng_shared_entry* find(const Key& key) {
  orx_rng_shared_entry* entry = nullptr;
  return __vslFindGlobRODataTableEntry(&entry, key.data()) == 0 ? entry : nullptr;
}

orx_rng_shared_entry* create(const Key& key, void* data) {
  orx_rng_shared_entry* entry = nullptr;
  EXPECT_EQ(__vslCreateGlobRODataTableEntry(&entry, key.data(), data), 0);
  return entry;
}

void expect_entry(const Key& key, uint32_t references, const void* data) {
  const orx_rng_shared_entry* e = find(key);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(std::tie(e->Key[0], e->Key[1], e->RefCount, e->Data),
            std::make_tuple(key[0], key[1], references, data));
}

TEST(RngSharedTable, FindCreateRegisterUnregister) {
  const int start = __vslGetGlobRODataTableCount();
  orx_rng_shared_entry* entry = nullptr;
  const uint64_t zero[2] = {0, 0};
  EXPECT_EQ(__vslFindGlobRODataTableEntry(&entry, nullptr), ORX_RNG_ERROR_SHARED_KEY_NOT_FOUND);
  EXPECT_EQ(__vslFindGlobRODataTableEntry(&entry, zero), ORX_RNG_ERROR_SHARED_KEY_NOT_FOUND);

  // Keys with one non-zero word are ordinary keys; both words are compared.
  const Key a{1, 0}, b{0, 1}, c = test_key(1);
  void* c_block = host_block(128, 0x5D);
  orx_rng_shared_entry* slot_a = create(a, nullptr);
  ASSERT_EQ(create(b, host_block(32, 0xBB)), slot_a + 1) << "entries are packed in order";
  ASSERT_EQ(create(c, c_block), slot_a + 2);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start + 3);
  EXPECT_EQ(find(Key{1, 1}), nullptr);
  EXPECT_EQ(__vslFindGlobRODataTableEntry(&entry, zero), ORX_RNG_ERROR_SHARED_KEY_NOT_FOUND);
  EXPECT_EQ(find(c), slot_a + 2);
  expect_entry(c, 1, c_block);

  // A reference takes the shared block; an unknown key changes nothing.
  int placeholder = 0;
  orx_rng_chunk node{}, stranger{};
  node.Data = stranger.Data = &placeholder;
  __vslRegisterGlobRODataReference(&node, c.data());
  __vslRegisterGlobRODataReference(&stranger, test_key(2).data());
  __vslUnregisterGlobRODataReference(test_key(2).data());
  EXPECT_EQ(node.Data, c_block);
  EXPECT_EQ(stranger.Data, &placeholder);
  expect_entry(c, 2, c_block);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start + 3);

  // Freeing b moves the last entry, c, into its slot.
  __vslUnregisterGlobRODataReference(b.data());
  EXPECT_EQ(find(b), nullptr);
  EXPECT_EQ(find(a), slot_a);
  EXPECT_EQ(find(c), slot_a + 1);
  expect_entry(c, 2, c_block);
  __vslUnregisterGlobRODataReference(a.data());
  EXPECT_EQ(find(c), slot_a);
  __vslUnregisterGlobRODataReference(c.data());
  EXPECT_EQ(find(c), slot_a) << "freed while referenced";
  EXPECT_EQ(static_cast<unsigned char*>(c_block)[127], 0x5D);
  __vslUnregisterGlobRODataReference(c.data());  // frees the block
  EXPECT_EQ(find(c), nullptr);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
}

TEST(RngSharedTable, CopiesOfASharedChunkShareOneBlock) {
  const int start = __vslGetGlobRODataTableCount();
  const Key key = test_key(20);
  orx_rng_stream* stream = new_stream(1);
  auto* block = static_cast<unsigned char*>(host_block(256, 0x42));
  ASSERT_EQ(__vslAddChunk(stream, 9, key.data(), block, 256), 0);
  expect_entry(key, 1, block);
  EXPECT_EQ(std::memcmp(first_node(stream)->Key, key.data(), 16), 0);

  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, stream), 0);
  EXPECT_EQ(__vslSearchChunk(copy, 9), block) << "a shared block was duplicated";
  EXPECT_EQ(__vslGetStreamSize(copy), 24 + 256 + 24);
  // A failed copy (its node allocation) leaves the count as it was.
  orx_rng_stream* failed = nullptr;
  orx_host_test_fail_allocation(2);
  EXPECT_EQ(__vslCopyStream(&failed, stream), ORX_RNG_ERROR_MEMORY);
  orx_host_test_fail_allocation(0);
  EXPECT_EQ(failed, nullptr);
  expect_entry(key, 2, block);

  // The same key added again adopts the shared block; the offered one stays
  // the caller's. A state copy brings a reference along too.
  orx_rng_stream* third = new_stream(3);
  void* offered = host_block(256, 0x43);
  ASSERT_EQ(__vslAddChunk(third, 9, key.data(), offered, 256), 0);
  EXPECT_EQ(__vslSearchChunk(third, 9), block);
  orx_serv_orx_free(offered);
  orx_rng_stream* fourth = new_stream(4);
  ASSERT_EQ(__vslCopyStreamState(fourth, stream), 0);
  EXPECT_EQ(__vslSearchChunk(fourth, 9), block);
  expect_entry(key, 4, block);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start + 1);

  for (orx_rng_stream** s : {&copy, &third, &fourth}) __vslDeleteStream(s);
  expect_entry(key, 1, block);
  EXPECT_EQ(block[255], 0x42);  // still alive (the sanitizer build would flag a free)
  __vslDeleteStream(&stream);   // frees the block, once
  EXPECT_EQ(find(key), nullptr);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
}

// __vslAddChunk shares while fewer than 127 entries are used; the last of the
// 128 slots is reachable only through __vslCreateGlobRODataTableEntry.
TEST(RngSharedTable, AddChunkKeepsTheLastSlotFree) {
  const int start = __vslGetGlobRODataTableCount();
  ASSERT_LT(start, 127);
  orx_rng_stream* stream = new_stream(5);
  uint64_t n = 100;
  for (int used = start; used < 127; ++used, ++n)
    ASSERT_EQ(__vslAddChunk(stream, 100, test_key(n).data(), host_block(8, 1), 8), 0);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), 127);

  // The next new key stays private: zero key, its own block, no entry.
  const Key private_key = test_key(n++);
  void* private_block = host_block(8, 2);
  ASSERT_EQ(__vslAddChunk(stream, 101, private_key.data(), private_block, 8), 0);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), 127);
  EXPECT_TRUE(first_node(stream)->Key[0] == 0 && first_node(stream)->Key[1] == 0);
  EXPECT_EQ(first_node(stream)->Data, private_block);
  EXPECT_EQ(find(private_key), nullptr);

  const Key direct = test_key(n++);
  ASSERT_NE(create(direct, host_block(8, 3)), nullptr);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), 128);
  orx_rng_shared_entry* entry = nullptr;
  EXPECT_EQ(__vslCreateGlobRODataTableEntry(&entry, test_key(n++).data(), nullptr),
            ORX_RNG_ERROR_SHARED_TABLE_FULL);

  // Full table: a known key is still shared.
  orx_rng_stream* other = new_stream(6);
  void* offered = host_block(8, 4);
  ASSERT_EQ(__vslAddChunk(other, 100, test_key(100).data(), offered, 8), 0);
  EXPECT_EQ(find(test_key(100))->RefCount, 2u);
  EXPECT_NE(__vslSearchChunk(other, 100), offered);
  orx_serv_orx_free(offered);

  __vslUnregisterGlobRODataReference(direct.data());
  __vslDeleteStream(&other);
  __vslDeleteStream(&stream);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
}

TEST(RngSharedTable, NewKeysCarryTheTagAndAreUnused) {
  const int start = __vslGetGlobRODataTableCount();
  std::vector<Key> made;
  for (uint64_t tag : {uint64_t{0}, uint64_t{9}, ~uint64_t{0}, uint64_t{9}}) {
    Key key{};
    ASSERT_EQ(__vslGenerateNewGlobalRODataTableEntryId(key.data(), tag), 0);
    EXPECT_EQ(key[1], tag);
    EXPECT_NE(key[0], 0u) << "the first word is the time-stamp counter";
    EXPECT_EQ(find(key), nullptr);  // keys made before are in the table by now
    create(key, nullptr);
    made.push_back(key);
  }
  for (const Key& key : made) __vslUnregisterGlobRODataReference(key.data());
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
}

// Threads add chunks under three shared keys (and private ones), copy and
// delete streams; every access to the table goes through its spin lock.
TEST(RngSharedTable, ThreadsShareEntriesWithoutLosingCounts) {
  const int start = __vslGetGlobRODataTableCount();
  constexpr int kThreads = 4, kIterations = 2000, kSharedKeys = 3, kBytes = 64;
  std::vector<int> failures(kThreads, 0);
  auto worker = [&](int thread) {
    int& failed = failures[thread];
    for (int i = 0; i < kIterations; ++i) {
      const uint32_t seed = static_cast<uint32_t>(thread * kIterations + i + 1);
      orx_rng_stream* stream = new_stream(seed);
      const int j = (i + thread) % kSharedKeys;
      // Every creator of key j offers the same contents, so the shared block
      // reads the same whichever offer was kept.
      void* offered = host_block(kBytes, static_cast<unsigned char>(j + 1));
      failed += __vslAddChunk(stream, 50, test_key(1000 + j).data(), offered, kBytes) != 0;
      auto* shared = static_cast<unsigned char*>(__vslSearchChunk(stream, 50));
      if (shared != offered) orx_serv_orx_free(offered);
      failed += shared == nullptr || shared[0] != j + 1 || shared[kBytes - 1] != j + 1;
      failed += __vslAddChunk(stream, 51, nullptr, host_block(32, 7), 32) != 0;
      if (i % 2 == 0) {
        orx_rng_stream* copy = nullptr;
        failed += __vslCopyStream(&copy, stream) != 0;
        failed += copy == nullptr || __vslSearchChunk(copy, 50) != shared ||
                  __vslSearchChunk(copy, 51) == __vslSearchChunk(stream, 51);
        __vslDeleteStream(&copy);
      }
      __vslDeleteStream(&stream);
    }
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(worker, t);
  for (std::thread& t : threads) t.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
  for (int j = 0; j < kSharedKeys; ++j) EXPECT_EQ(find(test_key(1000 + j)), nullptr);
}

// A table operation of another thread waits while the lock is held.
TEST(RngSharedTable, LockExcludesOtherThreads) {
  std::atomic<int> stage{0};
  _vslGlobRODataTableLock();
  std::thread other([&] {
    stage = 1;
    __vslGetGlobRODataTableCount();
    stage = 2;
  });
  while (stage.load() == 0) std::this_thread::yield();
  for (int i = 0; i < 100; ++i) std::this_thread::yield();
  EXPECT_EQ(stage.load(), 1) << "a table operation ran while the lock was held";
  _vslGlobRODataTableUnLock();
  other.join();
  EXPECT_EQ(stage.load(), 2);
}

TEST(RngProcessorProbes, TimeStampCounterAndRdrand) {
  const uint64_t before = __rdtsc();
  const uint64_t first = vsltsRDTSC();
  volatile uint64_t sink = 0;
  for (int i = 0; i < 10000; ++i) sink = sink + static_cast<uint64_t>(i);
  const uint64_t second = vsltsRDTSC();
  EXPECT_LE(before, first);
  EXPECT_GT(second, first);
  EXPECT_LE(second, __rdtsc());

  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  const bool has_rdrand = __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && ((ecx >> 30) & 1u);
  unsetenv("ORX_RNG_DISABLE_RDRAND");
  EXPECT_EQ(__vslCPUisRDRAND() != 0, has_rdrand);
  setenv("ORX_RNG_DISABLE_RDRAND", "0", 1);  // only "1" disables
  EXPECT_EQ(__vslCPUisRDRAND() != 0, has_rdrand);
  setenv("ORX_RNG_DISABLE_RDRAND", "1", 1);
  EXPECT_EQ(__vslCPUisRDRAND(), 0);
  unsetenv("ORX_RNG_DISABLE_RDRAND");
}

}  // namespace
