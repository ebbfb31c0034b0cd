// A small thread-safe cache of freed large mappings, reused to skip page faults.
#ifndef ORX_HOST_LARGE_BLOCK_CACHE_H
#define ORX_HOST_LARGE_BLOCK_CACHE_H

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace orx::host {

struct MappedRegion {
  void* base;
  size_t bytes;
};

// Keeps at most kMaxBlocks regions totalling at most kMaxTotalBytes; the
// least recently freed region goes first when either limit is exceeded.
// A region is handed out for a request of R bytes when its length L satisfies
// R <= L <= R + R/2 (best fit first), so a small request never pins a much
// larger block that the next big request would then have to fault in anew.
// The cache only does bookkeeping: it never touches or unmaps the memory.
class LargeBlockCache {
 public:
  static constexpr int kMaxBlocks = 8;
  static constexpr size_t kMaxTotalBytes = size_t{256} << 20;

  struct Evicted {
    MappedRegion regions[kMaxBlocks + 1];
    int count = 0;
  };

  constexpr LargeBlockCache() = default;

  // Removes and returns the best-fitting region for `bytes`; {nullptr, 0} if none fits.
  MappedRegion take(size_t bytes);

  // Caches `region` as the most recently freed one. Returns the regions the
  // caller must release: those pushed out by the limits, or `region` itself
  // when it alone exceeds kMaxTotalBytes.
  Evicted put(MappedRegion region);

 private:
  struct Slot {
    MappedRegion region;
    uint64_t freed_at;  // position in the free order; smallest is the oldest
  };

  void remove_slot(int i);

  std::mutex mutex_;
  Slot slots_[kMaxBlocks] = {};
  int count_ = 0;
  size_t total_bytes_ = 0;
  uint64_t clock_ = 0;
};

}  // namespace orx::host

#endif
