// The host allocator: alignment, bad requests, large-block reuse, threads, fault hook.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "host_services.h"
#include "orx/host.h"
#include "orx_serv.h"

namespace {

constexpr size_t kMiB = size_t{1} << 20;

struct AllocatorPair {
  const char* name;
  void* (*allocate)(size_t, size_t);
  void (*deallocate)(void*);
};

// Every way a block can be obtained; each is freed by a different pair's free,
// since blocks of either pair may go to either free function.
std::vector<AllocatorPair> allocator_pairs() {
  return {
      {"orx_serv_allocate", [](size_t b, size_t a) { return orx_serv_allocate(b, a); },
       [](void* p) { orx_serv_orx_free(p); }},
      {"orx_serv_orx_malloc", [](size_t b, size_t a) { return orx_serv_orx_malloc(b, a); },
       [](void* p) { orx_serv_deallocate(p); }},
      {"service table", host_service<orx_host_allocate_fn>(ORX_HOST_ALLOCATE),
       host_service<orx_host_deallocate_fn>(ORX_HOST_DEALLOCATE)},
  };
}

TEST(HostAllocator, HonoursAlignmentAndLengthForManyRequests) {
  const size_t byte_counts[] = {0, 1, 7, 64, 1000, 4096, kMiB - 1, kMiB, 3 * kMiB + 5};
  const size_t alignments[] = {0, 1, 2, 8, 16, 32, 64, 128, 4096, 8192, 2 * kMiB};
  for (const AllocatorPair& pair : allocator_pairs()) {
    for (size_t bytes : byte_counts) {
      for (size_t alignment : alignments) {
        SCOPED_TRACE(testing::Message()
                     << pair.name << " bytes=" << bytes << " alignment=" << alignment);
        auto* block = static_cast<unsigned char*>(pair.allocate(bytes, alignment));
        ASSERT_NE(block, nullptr);
        const size_t effective = alignment == 0 ? 64 : alignment;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % effective, 0u);
        std::memset(block, 0xA5, bytes);  // faults (or trips the sanitizer) if too short
        pair.deallocate(block);
      }
    }
    pair.deallocate(nullptr);
  }
}

TEST(HostAllocator, ZeroBytesGiveDistinctBlocks) {
  void* first = orx_serv_allocate(0, 0);
  void* second = orx_serv_allocate(0, 0);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);
  orx_serv_deallocate(first);
  orx_serv_deallocate(second);
}

TEST(HostAllocator, RejectsBadAlignmentsAndOverflowingSizes) {
  struct Case {
    size_t bytes;
    size_t alignment;
  };
  const Case cases[] = {
      {16, 3},
      {16, 6},
      {16, 100},
      {16, SIZE_MAX},
      {2 * kMiB, 48},
      {SIZE_MAX, 0},
      {SIZE_MAX - 8, 8},
      {SIZE_MAX - 4096, 1},
      {SIZE_MAX / 2 + 1, SIZE_MAX / 2 + 1},
  };
  for (const AllocatorPair& pair : allocator_pairs()) {
    for (const Case& c : cases) {
      EXPECT_EQ(pair.allocate(c.bytes, c.alignment), nullptr)
          << pair.name << " bytes=" << c.bytes << " alignment=" << c.alignment;
    }
  }
}

// Each test uses its own odd size so that blocks cached by other tests do not
// compete for the request. The kernel often maps a fresh block at the address
// just unmapped, so reuse shows in the contents: a fresh mapping reads as zeros.
TEST(HostAllocator, ReusesAFreedLargeBlockOverItsFullLength) {
  const size_t bytes = 8 * kMiB + 12345;
  auto* first = static_cast<unsigned char*>(orx_serv_allocate(bytes, 64));
  ASSERT_NE(first, nullptr);
  std::memset(first, 0x5A, bytes);
  orx_serv_deallocate(first);

  auto* again = static_cast<unsigned char*>(orx_serv_orx_malloc(bytes, 64));
  EXPECT_EQ(again, first);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again[0], 0x5A);
  EXPECT_EQ(again[bytes - 1], 0x5A);
  std::memset(again, 2, bytes);
  EXPECT_EQ(again[bytes - 1], 2);
  orx_serv_orx_free(again);
}

TEST(HostAllocator, ReusesALargeBlockOnlyWhenNotMuchLarger) {
  const size_t bytes = 10 * kMiB + 777;
  void* big = orx_serv_allocate(bytes, 0);
  ASSERT_NE(big, nullptr);
  orx_serv_deallocate(big);

  // A fifth of the size must not pin the 10 MiB block (which stays mapped in
  // the cache, so a fresh block cannot land at its address).
  void* small = orx_serv_allocate(2 * kMiB + 777, 0);
  ASSERT_NE(small, nullptr);
  EXPECT_NE(small, big);

  // Nine tenths of it may.
  void* close = orx_serv_allocate(9 * kMiB + 777, 0);
  EXPECT_EQ(close, big);
  ASSERT_NE(close, nullptr);
  std::memset(close, 3, 9 * kMiB + 777);
  orx_serv_deallocate(close);
  orx_serv_deallocate(small);
}

#if defined(__SANITIZE_ADDRESS__)
// Under AddressSanitizer the alignment slack after a block is poisoned, so a
// write one byte past the requested length is reported, not absorbed.
TEST(HostAllocatorDeathTest, WritePastTheRequestedLengthIsReported) {
  auto write_past = [](size_t bytes) {
    auto* block = static_cast<volatile unsigned char*>(orx_serv_orx_malloc(bytes, 64));
    block[bytes] = 1;
    orx_serv_orx_free(const_cast<unsigned char*>(block));
  };
  EXPECT_DEATH(write_past(48), "use-after-poison|heap-buffer-overflow");
  EXPECT_DEATH(write_past(1000), "use-after-poison|heap-buffer-overflow");
}
#endif

TEST(HostAllocator, ConcurrentThreadsNeverShareABlock) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 400;
  constexpr int kLive = 6;
  std::vector<int> corrupted(kThreads, 0);
  auto worker = [&](int thread) {
    struct Live {
      unsigned char* block = nullptr;
      size_t bytes = 0;
      unsigned char tag = 0;
    };
    Live live[kLive];
    for (int round = 0; round < kRounds; ++round) {
      Live& slot = live[round % kLive];
      if (slot.block != nullptr) {
        if (slot.block[0] != slot.tag || slot.block[slot.bytes - 1] != slot.tag ||
            slot.block[slot.bytes / 2] != slot.tag) {
          ++corrupted[thread];
        }
        orx_serv_deallocate(slot.block);
      }
      // Every fourth block is large, with sizes that keep the cache busy.
      slot.bytes = round % 4 == 0 ? kMiB + static_cast<size_t>(round % 5) * 300000
                                  : 1 + static_cast<size_t>(round * 37 % 5000);
      slot.tag = static_cast<unsigned char>(thread * 61 + round);
      slot.block = static_cast<unsigned char*>(orx_serv_allocate(slot.bytes, 64));
      if (slot.block == nullptr) {
        ++corrupted[thread];
        continue;
      }
      std::memset(slot.block, slot.tag, slot.bytes);
    }
    for (Live& slot : live) orx_serv_deallocate(slot.block);
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(worker, t);
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(corrupted, std::vector<int>(kThreads, 0));
}

class HostAllocationFault : public testing::Test {
 protected:
  void TearDown() override { orx_host_test_fail_allocation(0); }
};

TEST_F(HostAllocationFault, FailsExactlyTheKthAllocationOfAnyEntry) {
  const auto pairs = allocator_pairs();
  for (int64_t k : {1, 2, 3, 5, 8}) {
    orx_host_test_fail_allocation(k);
    for (int64_t call = 1; call <= k + 3; ++call) {
      const AllocatorPair& pair = pairs[call % pairs.size()];
      const size_t bytes = call % 2 ? 100 : 2 * kMiB;  // small and large paths alike
      void* block = pair.allocate(bytes, 64);
      if (call == k) {
        EXPECT_EQ(block, nullptr) << "k=" << k;
      } else {
        EXPECT_NE(block, nullptr) << "k=" << k << " call=" << call;
      }
      pair.deallocate(block);
    }
  }
}

TEST_F(HostAllocationFault, ZeroDisarms) {
  orx_host_test_fail_allocation(2);
  orx_host_test_fail_allocation(0);
  for (int call = 0; call < 4; ++call) {
    void* block = orx_serv_allocate(32, 0);
    EXPECT_NE(block, nullptr);
    orx_serv_deallocate(block);
  }
}

TEST_F(HostAllocationFault, CountsCallsFromEveryThread) {
  constexpr int kThreads = 4;
  constexpr int kCallsEach = 50;
  orx_host_test_fail_allocation(kThreads * kCallsEach / 2);
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&failures, t] {
      for (int call = 0; call < kCallsEach; ++call) {
        void* block = orx_serv_orx_malloc(48, 16);
        failures[t] += block == nullptr;
        orx_serv_orx_free(block);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  int total = 0;
  for (int f : failures) total += f;
  EXPECT_EQ(total, 1);
}

}  // namespace
