// Operations on the shared read-only table for callers that already hold
// its lock (a chunk addition finds and creates under one lock, so that two
// threads adding the same key cannot create two entries).
#ifndef ORX_VSL_RNG_SHARED_TABLE_LOCKED_H
#define ORX_VSL_RNG_SHARED_TABLE_LOCKED_H

#include "orx/rng.h"

namespace orx::rng {

// Entries below which a new key may still become shared: one slot of the
// 128 always stays free.
inline constexpr int kShareableEntries = 127;

orx_rng_shared_entry* find_shared_locked(const uint64_t* key);
// Appends an entry with RefCount 1; null when the table is full.
orx_rng_shared_entry* create_shared_locked(const uint64_t* key, void* data);
int shared_count_locked();

class SharedTableLock {
 public:
  SharedTableLock() { _vslGlobRODataTableLock(); }
  ~SharedTableLock() { _vslGlobRODataTableUnLock(); }
  SharedTableLock(const SharedTableLock&) = delete;
  SharedTableLock& operator=(const SharedTableLock&) = delete;
};

}  // namespace orx::rng

#endif
