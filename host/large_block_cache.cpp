// Best-fit lookup and least-recently-freed eviction of cached mappings.
#include "large_block_cache.h"

namespace orx::host {

namespace {

bool reusable_for(size_t cached, size_t wanted) {
  return cached >= wanted && cached - wanted <= wanted / 2;
}

}  // namespace

void LargeBlockCache::remove_slot(int i) {
  total_bytes_ -= slots_[i].region.bytes;
  slots_[i] = slots_[--count_];
}

MappedRegion LargeBlockCache::take(size_t bytes) {
  std::lock_guard lock(mutex_);
  int best = -1;
  for (int i = 0; i < count_; ++i) {
    const size_t cached = slots_[i].region.bytes;
    if (reusable_for(cached, bytes) && (best < 0 || cached < slots_[best].region.bytes)) best = i;
  }
  if (best < 0) return {nullptr, 0};
  const MappedRegion region = slots_[best].region;
  remove_slot(best);
  return region;
}

LargeBlockCache::Evicted LargeBlockCache::put(MappedRegion region) {
  Evicted evicted;
  if (region.bytes > kMaxTotalBytes) {
    evicted.regions[evicted.count++] = region;
    return evicted;
  }
  std::lock_guard lock(mutex_);
  while (count_ == kMaxBlocks || total_bytes_ + region.bytes > kMaxTotalBytes) {
    int oldest = 0;
    for (int i = 1; i < count_; ++i) {
      if (slots_[i].freed_at < slots_[oldest].freed_at) oldest = i;
    }
    evicted.regions[evicted.count++] = slots_[oldest].region;
    remove_slot(oldest);
  }
  slots_[count_++] = {region, clock_++};
  total_bytes_ += region.bytes;
  return evicted;
}

}  // namespace orx::host
