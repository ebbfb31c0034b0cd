// Chunk helpers of the quasi-random engines.
#include "vsl/rng/engines/quasi_chunks.h"

#include <cstring>

#include "orx_serv.h"
#include "vsl/rng/stream_record.h"

namespace orx::rng {

const orx_rng_chunk* find_chunk(const orx_rng_stream* stream, uint32_t id) {
  for (const orx_rng_chunk* node = stream->Chunks; node != nullptr; node = node->Next)
    if (node->Id == id) return node;
  return nullptr;
}

bool chunk_holds(const orx_rng_chunk* chunk, uint64_t words) {
  return chunk != nullptr && chunk->Data != nullptr && chunk->Size / sizeof(uint32_t) >= words;
}

void drop_chunks(orx_rng_stream* stream, uint32_t id) {
  orx_rng_chunk** link = &stream->Chunks;
  while (*link != nullptr) {
    orx_rng_chunk* node = *link;
    if (node->Id != id) {
      link = &node->Next;
      continue;
    }
    *link = node->Next;
    orx_rng_shared_entry* entry;
    if (__vslFindGlobRODataTableEntry(&entry, node->Key) == 0)
      __vslUnregisterGlobRODataReference(node->Key);
    else if (node->Data != nullptr)
      orx_serv_orx_free(node->Data);
    orx_serv_orx_free(node);
  }
}

uint32_t* allocate_words(uint64_t words) {
  const uint64_t bytes = words * sizeof(uint32_t);
  if (words == 0 || bytes > UINT32_MAX) return nullptr;
  void* block = orx_serv_orx_malloc(static_cast<size_t>(bytes), kStreamAlignment);
  if (block != nullptr) std::memset(block, 0, static_cast<size_t>(bytes));
  return static_cast<uint32_t*>(block);
}

void free_words(uint32_t* block) { orx_serv_orx_free(block); }

int attach_words(orx_rng_stream* stream, uint32_t id, const uint64_t* key, uint32_t* block,
                 uint64_t words) {
  const int status = __vslAddChunk(stream, id, key, block, static_cast<uint32_t>(words * sizeof(uint32_t)));
  if (status != 0) orx_serv_orx_free(block);
  return status;
}

}  // namespace orx::rng
