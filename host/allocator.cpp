// Aligned allocation: small blocks from malloc, large ones from cached mappings.
#include "allocator.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <type_traits>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

#include "allocation_fault.h"
#include "block_layout.h"
#include "large_block_cache.h"
#include "orx_serv.h"

namespace orx::host {

namespace {

constexpr size_t kDefaultAlignment = 64;
// Requests from 1 MiB up are mapped and recycled through the cache: a fresh
// 40 MB work buffer costs ~100 ms of first-touch faults on our VMs, which a
// reused, already resident mapping avoids on every later kernel call.
constexpr size_t kLargeBlockBytes = size_t{1} << 20;
constexpr size_t kPageBytes = 4096;

// Never destroyed, so blocks freed during static destruction still find it.
constinit LargeBlockCache g_cache;
static_assert(std::is_trivially_destructible_v<LargeBlockCache>);

// Under AddressSanitizer, the bytes after a block up to the end of the
// underlying allocation (alignment slack) are poisoned, so that writing past
// what was asked for is reported as it would be for a plain allocation.
void poison_tail(const void* block_end, const void* allocation_end) {
#if defined(__SANITIZE_ADDRESS__)
  const auto* from = static_cast<const char*>(block_end);
  const auto* to = static_cast<const char*>(allocation_end);
  if (to > from) ASAN_POISON_MEMORY_REGION(from, static_cast<size_t>(to - from));
#else
  (void)block_end;
  (void)allocation_end;
#endif
}

bool is_power_of_two(size_t v) { return v != 0 && (v & (v - 1)) == 0; }

void unmap_all(const LargeBlockCache::Evicted& evicted) {
  for (int i = 0; i < evicted.count; ++i) munmap(evicted.regions[i].base, evicted.regions[i].bytes);
}

MappedRegion map_region(size_t bytes) {
  MappedRegion region = g_cache.take(bytes);
  if (region.base != nullptr) return region;
  void* base = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) return {nullptr, 0};
  return {base, bytes};
}

void* allocate_unchecked(size_t bytes, size_t alignment) {
  const size_t slack = placement_slack(alignment);
  if (bytes > SIZE_MAX - slack - kPageBytes) return nullptr;
  const size_t total = bytes + slack;

  BlockHeader header{nullptr, 0};
  if (bytes >= kLargeBlockBytes) {
    const MappedRegion region = map_region((total + kPageBytes - 1) & ~(kPageBytes - 1));
    header = {region.base, region.bytes};
  } else {
    header.base = std::malloc(total);
  }
  if (header.base == nullptr) return nullptr;
  void* block = place_aligned(header.base, alignment);
  *header_of(block) = header;
  // Mapped regions return to the cache and are reused; only malloc blocks,
  // whose shadow the sanitizer's free resets, get a poisoned tail.
  if (header.mapped_bytes == 0)
    poison_tail(static_cast<char*>(block) + bytes, static_cast<char*>(header.base) + total);
  return block;
}

}  // namespace

void* allocate(size_t bytes, size_t alignment) noexcept {
  if (allocation_fault_due()) return nullptr;
  if (alignment == 0) alignment = kDefaultAlignment;
  if (!is_power_of_two(alignment)) return nullptr;
  try {
    return allocate_unchecked(bytes, alignment);
  } catch (...) {  // a failed cache lock: treat as out of memory
    return nullptr;
  }
}

void deallocate(void* block) noexcept {
  if (block == nullptr) return;
  const BlockHeader header = *header_of(block);
  if (header.mapped_bytes == 0) {
    std::free(header.base);
    return;
  }
  try {
    unmap_all(g_cache.put({header.base, header.mapped_bytes}));
  } catch (...) {  // a failed cache lock: give the mapping back instead
    munmap(header.base, header.mapped_bytes);
  }
}

}  // namespace orx::host

void* orx_serv_allocate(size_t bytes, size_t alignment) noexcept {
  return orx::host::allocate(bytes, alignment);
}

void orx_serv_deallocate(void* block) noexcept { orx::host::deallocate(block); }

void* orx_serv_orx_malloc(size_t bytes, size_t alignment) noexcept {
  return orx::host::allocate(bytes, alignment);
}

void orx_serv_orx_free(void* block) noexcept { orx::host::deallocate(block); }
