// The process-wide table of shared read-only blocks: entries keyed by two
// 64-bit words, reference counted, packed at the front, every access under a
// test-and-set spin lock.
#include "orx/rng.h"
#include "orx_serv.h"
#include "vsl/rng/shared_table_locked.h"

namespace {

constexpr int kEntries = 128;

}  // namespace

orx_rng_shared_entry _GlobRODataTable[kEntries];
int32_t _GlobRODataTableCount = 0;
int32_t _VSL_GLOB_RO_DATA_TABLE_LOCKER_1 = 0;

void _vslGlobRODataTableLock() {
  int expected = 0;
  while (!__atomic_compare_exchange_n(&_VSL_GLOB_RO_DATA_TABLE_LOCKER_1, &expected, 1, false,
                                      __ATOMIC_ACQUIRE, __ATOMIC_RELAXED))
    expected = 0;
}

void _vslGlobRODataTableUnLock() {
  __atomic_store_n(&_VSL_GLOB_RO_DATA_TABLE_LOCKER_1, 0, __ATOMIC_RELEASE);
}

namespace orx::rng {

orx_rng_shared_entry* find_shared_locked(const uint64_t* key) {
  if (key == nullptr || (key[0] == 0 && key[1] == 0)) return nullptr;
  for (int i = 0; i < _GlobRODataTableCount; ++i)
    if (_GlobRODataTable[i].Key[0] == key[0] && _GlobRODataTable[i].Key[1] == key[1])
      return &_GlobRODataTable[i];
  return nullptr;
}

orx_rng_shared_entry* create_shared_locked(const uint64_t* key, void* data) {
  if (_GlobRODataTableCount >= kEntries) return nullptr;
  orx_rng_shared_entry* created = &_GlobRODataTable[_GlobRODataTableCount++];
  created->Key[0] = key[0];
  created->Key[1] = key[1];
  created->RefCount = 1;
  created->Data = data;
  return created;
}

int shared_count_locked() { return _GlobRODataTableCount; }

}  // namespace orx::rng

using orx::rng::find_shared_locked;
using TableLock = orx::rng::SharedTableLock;

int __vslFindGlobRODataTableEntry(orx_rng_shared_entry** entry, const uint64_t* key) {
  TableLock lock;
  orx_rng_shared_entry* found = find_shared_locked(key);
  if (found == nullptr) return ORX_RNG_ERROR_SHARED_KEY_NOT_FOUND;
  *entry = found;
  return 0;
}

int __vslCreateGlobRODataTableEntry(orx_rng_shared_entry** entry, const uint64_t* key,
                                    void* data) {
  TableLock lock;
  orx_rng_shared_entry* created = orx::rng::create_shared_locked(key, data);
  if (created == nullptr) return ORX_RNG_ERROR_SHARED_TABLE_FULL;
  *entry = created;
  return 0;
}

void __vslRegisterGlobRODataReference(orx_rng_chunk* chunk, const uint64_t* key) {
  TableLock lock;
  orx_rng_shared_entry* entry = find_shared_locked(key);
  if (entry == nullptr) return;
  ++entry->RefCount;
  chunk->Data = entry->Data;
}

void __vslUnregisterGlobRODataReference(const uint64_t* key) {
  TableLock lock;
  orx_rng_shared_entry* entry = find_shared_locked(key);
  if (entry == nullptr || --entry->RefCount != 0) return;
  if (entry->Data != nullptr) orx_serv_orx_free(entry->Data);
  orx_rng_shared_entry* last = &_GlobRODataTable[--_GlobRODataTableCount];
  if (entry != last) *entry = *last;
  *last = orx_rng_shared_entry{};
}

int __vslGenerateNewGlobalRODataTableEntryId(uint64_t* key, uint64_t tag) {
  TableLock lock;
  do {
    key[0] = vsltsRDTSC();
    key[1] = tag;
  } while (find_shared_locked(key) != nullptr);
  return 0;
}

int __vslGetGlobRODataTableCount() {
  TableLock lock;
  return _GlobRODataTableCount;
}
