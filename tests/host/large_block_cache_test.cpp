// The cache's fit rule and its block-count and byte limits, on fake regions.
#include "host/large_block_cache.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using orx::host::LargeBlockCache;
using orx::host::MappedRegion;

constexpr size_t kMiB = size_t{1} << 20;

// The cache never touches memory, so any distinct address serves as a region.
MappedRegion fake(uintptr_t id, size_t bytes) { return {reinterpret_cast<void*>(id << 12), bytes}; }

std::vector<void*> bases(const LargeBlockCache::Evicted& evicted) {
  std::vector<void*> out;
  for (int i = 0; i < evicted.count; ++i) out.push_back(evicted.regions[i].base);
  return out;
}

TEST(HostLargeBlockCache, TakesTheSmallestRegionNotHalfAgainLarger) {
  LargeBlockCache cache;
  EXPECT_EQ(cache.take(kMiB).base, nullptr);
  EXPECT_EQ(cache.put(fake(1, 10 * kMiB)).count, 0);
  EXPECT_EQ(cache.put(fake(2, 16 * kMiB)).count, 0);
  EXPECT_EQ(cache.put(fake(3, 12 * kMiB)).count, 0);

  struct Case {
    size_t wanted;
    uintptr_t expected_id;  // 0: nothing fits
  };
  const Case cases[] = {
      {11 * kMiB, 3},  // 12 and 16 fit; 12 is closer
      {11 * kMiB, 2},  // 16 <= 11 * 1.5
      {11 * kMiB, 0},  // 10 is too small
      {6 * kMiB, 0},   // 10 > 6 * 1.5: too wasteful
      {7 * kMiB, 1},   // 10 <= 7 * 1.5
  };
  for (const Case& c : cases) {
    const MappedRegion got = cache.take(c.wanted);
    EXPECT_EQ(got.base, c.expected_id ? fake(c.expected_id, 0).base : nullptr)
        << "request of " << c.wanted / kMiB << " MiB";
  }
}

TEST(HostLargeBlockCache, EvictsTheLeastRecentlyFreedBeyondEightBlocks) {
  LargeBlockCache cache;
  // Lengths differ by a page so that a request of region 1's length finds it alone.
  auto region = [](uintptr_t id) { return fake(id, 2 * kMiB + id * 4096); };
  for (uintptr_t id = 1; id <= LargeBlockCache::kMaxBlocks; ++id) {
    EXPECT_EQ(cache.put(region(id)).count, 0);
  }
  // Taken and freed again, region 1 becomes the most recent; 2 is now the oldest.
  ASSERT_EQ(cache.take(region(1).bytes).base, region(1).base);
  EXPECT_EQ(cache.put(region(1)).count, 0);
  EXPECT_EQ(bases(cache.put(region(20))), std::vector<void*>{region(2).base});
  EXPECT_EQ(bases(cache.put(region(21))), std::vector<void*>{region(3).base});
  EXPECT_EQ(cache.take(region(1).bytes).base, region(1).base);
}

TEST(HostLargeBlockCache, KeepsTheTotalUnderTheByteCap) {
  LargeBlockCache cache;
  const size_t cap = LargeBlockCache::kMaxTotalBytes;
  for (uintptr_t id = 1; id <= 8; ++id) EXPECT_EQ(cache.put(fake(id, cap / 16)).count, 0);

  // Half the cap is in the cache; a region of 7/8 of it must push out the
  // six oldest so that 2/16 + 14/16 of the cap remain.
  const std::vector<void*> expected = {fake(1, 0).base, fake(2, 0).base, fake(3, 0).base,
                                       fake(4, 0).base, fake(5, 0).base, fake(6, 0).base};
  EXPECT_EQ(bases(cache.put(fake(30, cap / 16 * 14))), expected);

  // A region larger than the cap is not cached at all.
  const LargeBlockCache::Evicted alone = cache.put(fake(40, cap + 4096));
  EXPECT_EQ(bases(alone), std::vector<void*>{fake(40, 0).base});
  EXPECT_EQ(cache.take(cap / 16 * 14).base, fake(30, 0).base);
  EXPECT_NE(cache.take(cap / 16).base, nullptr);
  EXPECT_NE(cache.take(cap / 16).base, nullptr);
  EXPECT_EQ(cache.take(cap / 16).base, nullptr);
}

}  // namespace
