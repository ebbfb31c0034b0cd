// A stream's chunk list: data blocks attached to a stream, private or shared
// through the process-wide read-only table.
#include "orx/rng.h"
#include "orx_serv.h"
#include "vsl/rng/shared_table_locked.h"
#include "vsl/rng/stream_record.h"

#include <cstring>

using orx::rng::kStreamAlignment;

// The node takes over `data`. When the key is already shared, the node refers
// to the shared block instead and `data` stays the caller's (the caller can
// tell by comparing the node's Data, found with __vslSearchChunk, with it).
int __vslAddChunk(orx_rng_stream* stream, uint32_t id, const uint64_t* key, void* data,
                  uint32_t size) {
  if (stream == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  auto* node = static_cast<orx_rng_chunk*>(orx_serv_orx_malloc(sizeof(orx_rng_chunk), kStreamAlignment));
  if (node == nullptr) return ORX_RNG_ERROR_MEMORY;
  node->Id = id;
  node->Size = size;
  node->Data = data;
  node->Key[0] = key != nullptr ? key[0] : 0;
  node->Key[1] = key != nullptr ? key[1] : 0;
  {
    orx::rng::SharedTableLock lock;
    if (orx_rng_shared_entry* shared = orx::rng::find_shared_locked(node->Key)) {
      ++shared->RefCount;
      node->Data = shared->Data;
    } else if (node->Key[0] != 0 || node->Key[1] != 0) {
      // A new key becomes shared while a slot beyond the reserved one is free;
      // otherwise the block stays private to this stream.
      const bool room = orx::rng::shared_count_locked() < orx::rng::kShareableEntries;
      if (!room || orx::rng::create_shared_locked(node->Key, data) == nullptr)
        node->Key[0] = node->Key[1] = 0;
    }
  }
  node->Next = stream->Chunks;
  stream->Chunks = node;
  return 0;
}

void* __vslSearchChunk(const orx_rng_stream* stream, uint32_t id) {
  for (const orx_rng_chunk* node = stream->Chunks; node != nullptr; node = node->Next)
    if (node->Id == id) return node->Data;
  return nullptr;
}

int __vslGetNumChunks(const orx_rng_stream* stream) {
  int count = 0;
  for (const orx_rng_chunk* node = stream->Chunks; node != nullptr; node = node->Next) ++count;
  return count;
}

void __vslDeleteChunks(orx_rng_stream* stream) {
  orx_rng_chunk* node = stream->Chunks;
  while (node != nullptr) {
    orx_rng_chunk* next = node->Next;
    orx_rng_shared_entry* entry;
    if (__vslFindGlobRODataTableEntry(&entry, node->Key) == 0)
      __vslUnregisterGlobRODataReference(node->Key);
    else if (node->Data != nullptr)
      orx_serv_orx_free(node->Data);
    orx_serv_orx_free(node);
    node = next;
  }
  stream->Chunks = nullptr;
}

int __vslCopyChunks(orx_rng_stream* destination, const orx_rng_stream* source) {
  for (const orx_rng_chunk* node = source->Chunks; node != nullptr; node = node->Next) {
    orx_rng_shared_entry* entry;
    void* data = node->Data;
    const bool shared = __vslFindGlobRODataTableEntry(&entry, node->Key) == 0;
    if (!shared) {
      data = orx_serv_orx_malloc(node->Size, kStreamAlignment);
      if (data == nullptr) {
        __vslDeleteChunks(destination);
        return ORX_RNG_ERROR_MEMORY;
      }
      if (node->Size != 0) std::memcpy(data, node->Data, node->Size);
    }
    const int status = __vslAddChunk(destination, node->Id, node->Key, data, node->Size);
    if (status != 0) {
      if (!shared) orx_serv_orx_free(data);
      __vslDeleteChunks(destination);
      return status;
    }
  }
  return 0;
}
