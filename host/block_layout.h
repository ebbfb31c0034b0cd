// Layout of a host-allocated block: a header just below the aligned pointer.
#ifndef ORX_HOST_BLOCK_LAYOUT_H
#define ORX_HOST_BLOCK_LAYOUT_H

#include <cstddef>
#include <cstdint>

namespace orx::host {

// Stored immediately before the pointer handed out, so one free function
// serves malloc'd and mapped blocks alike.
struct BlockHeader {
  void* base;           // what malloc or mmap returned
  size_t mapped_bytes;  // length of the mapping; 0 for a malloc'd block
};

inline constexpr size_t kHeaderBytes = sizeof(BlockHeader);
static_assert(kHeaderBytes == 16, "the aligned pointer sits at least 16 bytes past the base");

// A base aligned to 16 (malloc) or to a page (mmap) plus this many bytes
// always holds the header and an `alignment`-aligned pointer after it.
inline constexpr size_t placement_slack(size_t alignment) {
  return alignment > kHeaderBytes ? alignment : kHeaderBytes;
}

inline void* place_aligned(void* base, size_t alignment) {
  const uintptr_t first = reinterpret_cast<uintptr_t>(base) + kHeaderBytes;
  return reinterpret_cast<void*>((first + alignment - 1) & ~(uintptr_t{alignment} - 1));
}

inline BlockHeader* header_of(void* block) { return static_cast<BlockHeader*>(block) - 1; }

}  // namespace orx::host

#endif
