// The process-wide table of shared read-only blocks: lookup, reference counts,
// the 127/128 thresholds, slot reuse, new keys, threads; and the processor
// probes beside it (time-stamp counter, RDRAND).
#include <gtest/gtest.h>

#include <cpuid.h>
#include <x86intrin.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "orx/host.h"
#include "orx/rng.h"
#include "orx_serv.h"

namespace {

struct StreamHeader {
  uint32_t BrngId;
  int32_t StreamMark;
  orx_rng_chunk* Chunks;
};

const orx_rng_chunk* first_node(const orx_rng_stream* stream) {
  return reinterpret_cast<const StreamHeader*>(stream)->Chunks;
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

struct Key {
  uint64_t words[2];
  const uint64_t* get() const { return words; }
};
Key test_key(uint64_t n) { return Key{{0x5AFE000000000000u + n, 0x7E57}}; }

orx_rng_shared_entry* find(const Key& key) {
  orx_rng_shared_entry* entry = nullptr;
  return __vslFindGlobRODataTableEntry(&entry, key.get()) == 0 ? entry : nullptr;
}

TEST(RngSharedTable, FindRefusesNullAndZeroKeys) {
  orx_rng_shared_entry* entry = nullptr;
  const uint64_t zero[2] = {0, 0};
  EXPECT_EQ(__vslFindGlobRODataTableEntry(&entry, nullptr), ORX_RNG_ERROR_SHARED_KEY_NOT_FOUND);
  EXPECT_EQ(__vslFindGlobRODataTableEntry(&entry, zero), ORX_RNG_ERROR_SHARED_KEY_NOT_FOUND);
  // Keys with one non-zero word are ordinary keys; both words are compared.
  const Key low{{1, 0}}, high{{0, 1}}, both{{1, 1}};
  for (const Key& k : {low, high, both})
    EXPECT_EQ(__vslFindGlobRODataTableEntry(&entry, k.get()), ORX_RNG_ERROR_SHARED_KEY_NOT_FOUND);
  ASSERT_EQ(__vslCreateGlobRODataTableEntry(&entry, low.get(), nullptr), 0);
  ASSERT_EQ(__vslCreateGlobRODataTableEntry(&entry, high.get(), nullptr), 0);
  EXPECT_NE(find(low), nullptr);
  EXPECT_NE(find(high), nullptr);
  EXPECT_NE(find(low), find(high));
  EXPECT_EQ(find(both), nullptr);
  EXPECT_EQ(__vslFindGlobRODataTableEntry(&entry, zero), ORX_RNG_ERROR_SHARED_KEY_NOT_FOUND);
  __vslUnregisterGlobRODataReference(low.get());
  __vslUnregisterGlobRODataReference(high.get());
  EXPECT_EQ(find(low), nullptr);
  EXPECT_EQ(find(high), nullptr);
}

TEST(RngSharedTable, CreateFindRegisterUnregister) {
  const int start = __vslGetGlobRODataTableCount();
  const Key key = test_key(1);
  void* block = host_block(128, 0x5D);
  orx_rng_shared_entry* created = nullptr;
  ASSERT_EQ(__vslCreateGlobRODataTableEntry(&created, key.get(), block), 0);
  ASSERT_NE(created, nullptr);
  EXPECT_EQ(created->Key[0], key.words[0]);
  EXPECT_EQ(created->Key[1], key.words[1]);
  EXPECT_EQ(created->RefCount, 1u);
  EXPECT_EQ(created->Data, block);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start + 1);
  EXPECT_EQ(find(key), created);

  orx_rng_chunk node{};
  node.Id = 9;
  int placeholder = 0;
  node.Data = &placeholder;
  __vslRegisterGlobRODataReference(&node, key.get());
  EXPECT_EQ(created->RefCount, 2u);
  EXPECT_EQ(node.Data, block);

  orx_rng_chunk stranger{};
  stranger.Data = &placeholder;
  __vslRegisterGlobRODataReference(&stranger, test_key(2).get());  // not in the table
  EXPECT_EQ(stranger.Data, &placeholder);
  EXPECT_EQ(created->RefCount, 2u);

  __vslUnregisterGlobRODataReference(key.get());
  EXPECT_EQ(find(key), created);
  EXPECT_EQ(created->RefCount, 1u);
  EXPECT_EQ(static_cast<unsigned char*>(block)[127], 0x5D);  // still alive
  __vslUnregisterGlobRODataReference(test_key(2).get());     // unknown: no effect
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start + 1);
  __vslUnregisterGlobRODataReference(key.get());  // frees the block
  EXPECT_EQ(find(key), nullptr);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
}

TEST(RngSharedTable, UnregisterMovesTheLastEntryIntoTheFreedSlot) {
  const int start = __vslGetGlobRODataTableCount();
  const Key a = test_key(10), b = test_key(11), c = test_key(12);
  void* c_block = host_block(32, 0xCC);
  orx_rng_shared_entry* entry = nullptr;
  ASSERT_EQ(__vslCreateGlobRODataTableEntry(&entry, a.get(), nullptr), 0);
  ASSERT_EQ(__vslCreateGlobRODataTableEntry(&entry, b.get(), host_block(32, 0xBB)), 0);
  ASSERT_EQ(__vslCreateGlobRODataTableEntry(&entry, c.get(), c_block), 0);
  orx_rng_shared_entry* slot_a = find(a);
  orx_rng_shared_entry* slot_b = find(b);
  orx_rng_shared_entry* slot_c = find(c);
  ASSERT_NE(slot_a, nullptr);
  EXPECT_EQ(slot_b, slot_a + 1) << "entries are packed in creation order";
  EXPECT_EQ(slot_c, slot_a + 2);
  orx_rng_chunk node{};
  __vslRegisterGlobRODataReference(&node, c.get());  // c: RefCount 2

  __vslUnregisterGlobRODataReference(b.get());
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start + 2);
  EXPECT_EQ(find(b), nullptr);
  EXPECT_EQ(find(a), slot_a);
  ASSERT_EQ(find(c), slot_b) << "the last entry moves into the freed slot";
  EXPECT_EQ(slot_b->RefCount, 2u);
  EXPECT_EQ(slot_b->Data, c_block);
  EXPECT_EQ(slot_b->Key[0], c.words[0]);

  __vslUnregisterGlobRODataReference(a.get());  // a first: c moves again
  EXPECT_EQ(find(c), slot_a);
  __vslUnregisterGlobRODataReference(c.get());
  __vslUnregisterGlobRODataReference(c.get());
  EXPECT_EQ(find(c), nullptr);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
}

TEST(RngSharedTable, CopiesOfASharedChunkShareOneBlock) {
  const int start = __vslGetGlobRODataTableCount();
  const Key key = test_key(20);
  orx_rng_stream* stream = new_stream(1);
  auto* block = static_cast<unsigned char*>(host_block(256, 0x42));
  ASSERT_EQ(__vslAddChunk(stream, 9, key.get(), block, 256), 0);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start + 1);
  orx_rng_shared_entry* entry = find(key);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->RefCount, 1u);
  EXPECT_EQ(entry->Data, block);
  EXPECT_EQ(__vslSearchChunk(stream, 9), block);
  EXPECT_EQ(first_node(stream)->Key[0], key.words[0]);
  EXPECT_EQ(first_node(stream)->Key[1], key.words[1]);

  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, stream), 0);
  EXPECT_EQ(entry->RefCount, 2u);
  EXPECT_EQ(__vslSearchChunk(copy, 9), block) << "a shared block was duplicated";
  EXPECT_EQ(__vslGetStreamSize(copy), 24 + 256 + 24);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start + 1);

  // A copy needs the record and one node; failing the node changes no count.
  orx_rng_stream* failed = nullptr;
  orx_host_test_fail_allocation(2);
  EXPECT_EQ(__vslCopyStream(&failed, stream), ORX_RNG_ERROR_MEMORY);
  orx_host_test_fail_allocation(0);
  if (failed != nullptr) __vslDeleteStream(&failed);
  EXPECT_EQ(entry->RefCount, 2u);

  // Adding the same key again adopts the shared block; the offered one stays
  // the caller's.
  orx_rng_stream* third = new_stream(3);
  void* offered = host_block(256, 0x43);
  ASSERT_EQ(__vslAddChunk(third, 9, key.get(), offered, 256), 0);
  EXPECT_EQ(__vslSearchChunk(third, 9), block);
  EXPECT_EQ(entry->RefCount, 3u);
  orx_serv_orx_free(offered);

  // A state copy onto a stream brings a reference along too.
  orx_rng_stream* fourth = new_stream(4);
  ASSERT_EQ(__vslCopyStreamState(fourth, stream), 0);
  EXPECT_EQ(__vslSearchChunk(fourth, 9), block);
  EXPECT_EQ(entry->RefCount, 4u);

  __vslDeleteStream(&copy);
  __vslDeleteStream(&third);
  __vslDeleteStream(&fourth);
  EXPECT_EQ(entry->RefCount, 1u);
  EXPECT_EQ(block[255], 0x42);  // still alive (the sanitizer build would flag a free)
  __vslDeleteStream(&stream);   // frees the block, once
  EXPECT_EQ(find(key), nullptr);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
}

// __vslAddChunk shares while fewer than 127 entries are used; the last slot is
// reachable only through __vslCreateGlobRODataTableEntry.
TEST(RngSharedTable, AddChunkKeepsTheLastSlotFree) {
  const int start = __vslGetGlobRODataTableCount();
  ASSERT_LT(start, 127);
  orx_rng_stream* stream = new_stream(5);
  uint64_t n = 100;
  for (int used = start; used < 127; ++used, ++n) {
    ASSERT_EQ(__vslAddChunk(stream, 100, test_key(n).get(), host_block(8, 1), 8), 0);
    ASSERT_EQ(__vslGetGlobRODataTableCount(), used + 1);
  }
  // The next distinct key stays private: zero key, its own block, no entry.
  const Key private_key = test_key(n++);
  void* private_block = host_block(8, 2);
  ASSERT_EQ(__vslAddChunk(stream, 101, private_key.get(), private_block, 8), 0);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), 127);
  EXPECT_EQ(first_node(stream)->Key[0], 0u);
  EXPECT_EQ(first_node(stream)->Key[1], 0u);
  EXPECT_EQ(first_node(stream)->Data, private_block);
  EXPECT_EQ(find(private_key), nullptr);

  // Its copy is private too, a new block.
  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, stream), 0);
  EXPECT_NE(__vslSearchChunk(copy, 101), private_block);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), 127);

  orx_rng_shared_entry* entry = nullptr;
  const Key direct = test_key(n++);
  ASSERT_EQ(__vslCreateGlobRODataTableEntry(&entry, direct.get(), host_block(8, 3)), 0);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), 128);
  orx_rng_shared_entry* untouched = nullptr;
  EXPECT_EQ(__vslCreateGlobRODataTableEntry(&untouched, test_key(n++).get(), nullptr),
            ORX_RNG_ERROR_SHARED_TABLE_FULL);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), 128);

  // Full table: a known key is still shared, an unknown one becomes private.
  orx_rng_stream* other = new_stream(6);
  void* offered = host_block(8, 4);
  ASSERT_EQ(__vslAddChunk(other, 100, test_key(100).get(), offered, 8), 0);
  EXPECT_EQ(find(test_key(100))->RefCount, 3u);  // stream, its copy, other
  EXPECT_NE(__vslSearchChunk(other, 100), offered);
  orx_serv_orx_free(offered);
  ASSERT_EQ(__vslAddChunk(other, 102, test_key(n++).get(), host_block(8, 5), 8), 0);
  EXPECT_EQ(first_node(other)->Key[0], 0u);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), 128);

  __vslUnregisterGlobRODataReference(direct.get());
  __vslDeleteStream(&other);
  __vslDeleteStream(&copy);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), 127);
  __vslDeleteStream(&stream);
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
}

TEST(RngSharedTable, NewKeysCarryTheTagAndAreUnused) {
  const int start = __vslGetGlobRODataTableCount();
  std::vector<Key> made;
  for (uint64_t tag : {uint64_t{0}, uint64_t{9}, uint64_t{0xDEADBEEF}, ~uint64_t{0}, uint64_t{9}}) {
    Key key{};
    ASSERT_EQ(__vslGenerateNewGlobalRODataTableEntryId(key.words, tag), 0);
    EXPECT_EQ(key.words[1], tag);
    EXPECT_NE(key.words[0], 0u) << "the first word is the time-stamp counter";
    EXPECT_EQ(find(key), nullptr);
    for (const Key& old : made)
      EXPECT_FALSE(old.words[0] == key.words[0] && old.words[1] == key.words[1]);
    orx_rng_shared_entry* entry = nullptr;
    ASSERT_EQ(__vslCreateGlobRODataTableEntry(&entry, key.get(), nullptr), 0);
    made.push_back(key);
  }
  for (const Key& key : made) __vslUnregisterGlobRODataReference(key.get());
  EXPECT_EQ(__vslGetGlobRODataTableCount(), start);
}

// Threads create streams with chunks under three shared keys and private ones,
// copy and delete them; every access to the table goes through its lock.
TEST(RngSharedTable, ThreadsShareEntriesWithoutLosingCounts) {
  const int start = __vslGetGlobRODataTableCount();
  constexpr int kThreads = 4, kIterations = 2000, kSharedKeys = 3, kBytes = 64;
  std::vector<int> failures(kThreads, 0);
  auto worker = [&](int thread) {
    int& failed = failures[thread];
    for (int i = 0; i < kIterations; ++i) {
      orx_rng_stream* stream = nullptr;
      const uint32_t seed = static_cast<uint32_t>(thread * kIterations + i + 1);
      if (__vslNewStreamEx(&stream, ORX_BRNG_MCG31M1, 1, &seed) != 0) {
        ++failed;
        continue;
      }
      const int j = (i + thread) % kSharedKeys;
      const Key key = test_key(1000 + j);
      // Every creator of key j offers the same contents, so the shared block
      // reads the same whichever offer was kept.
      void* offered = host_block(kBytes, static_cast<unsigned char>(j + 1));
      failed += __vslAddChunk(stream, 50, key.get(), offered, kBytes) != 0;
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
      if (i % 3 == 0) {
        orx_rng_stream* target = nullptr;
        failed += __vslNewStreamEx(&target, ORX_BRNG_MCG31M1, 1, &seed) != 0;
        failed += __vslCopyStreamState(target, stream) != 0;
        failed += __vslGetNumChunks(target) != 2;
        __vslDeleteStream(&target);
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

// Holding the lock keeps other threads out of the table until it is released.
TEST(RngSharedTable, LockExcludesOtherThreads) {
  const Key key = test_key(3000);
  orx_rng_shared_entry* entry = nullptr;
  ASSERT_EQ(__vslCreateGlobRODataTableEntry(&entry, key.get(), nullptr), 0);
  std::atomic<int> stage{0};
  _vslGlobRODataTableLock();
  std::thread other([&] {
    stage = 1;
    orx_rng_shared_entry* found = nullptr;
    __vslFindGlobRODataTableEntry(&found, key.get());  // waits for the unlock
    stage = 2;
  });
  while (stage.load() == 0) std::this_thread::yield();
  for (int i = 0; i < 1000; ++i) std::this_thread::yield();
  EXPECT_EQ(stage.load(), 1) << "a table operation ran while the lock was held";
  _vslGlobRODataTableUnLock();
  other.join();
  EXPECT_EQ(stage.load(), 2);
  __vslUnregisterGlobRODataReference(key.get());
}

TEST(RngProcessorProbes, TimeStampCounterAdvances) {
  const uint64_t before = __rdtsc();
  const uint64_t first = vsltsRDTSC();
  volatile uint64_t sink = 0;
  for (int i = 0; i < 10000; ++i) sink = sink + static_cast<uint64_t>(i);
  const uint64_t second = vsltsRDTSC();
  const uint64_t after = __rdtsc();
  EXPECT_LE(before, first);
  EXPECT_GT(second, first);
  EXPECT_LE(second, after);
}

bool cpu_has_rdrand() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) return false;
  return (ecx >> 30) & 1u;
}

TEST(RngProcessorProbes, RdrandAgreesWithCpuid) {
  unsetenv("ORX_RNG_DISABLE_RDRAND");
  EXPECT_EQ(__vslCPUisRDRAND() != 0, cpu_has_rdrand());
}

TEST(RngProcessorProbes, RdrandCanBeDisabledFromTheEnvironment) {
  setenv("ORX_RNG_DISABLE_RDRAND", "1", 1);
  EXPECT_EQ(__vslCPUisRDRAND(), 0);
  unsetenv("ORX_RNG_DISABLE_RDRAND");
}

}  // namespace
