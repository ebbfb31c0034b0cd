// Chunk helpers of the quasi-random engines: finding a chunk node with its
// size, dropping a kind of chunk when a stream is seeded again, and attaching
// a freshly allocated block.
#ifndef ORX_VSL_RNG_ENGINES_QUASI_CHUNKS_H
#define ORX_VSL_RNG_ENGINES_QUASI_CHUNKS_H

#include <cstddef>
#include <cstdint>

#include "orx/rng.h"

namespace orx::rng {

// The first node of kind `id`, or null.
const orx_rng_chunk* find_chunk(const orx_rng_stream* stream, uint32_t id);

// True when the node exists and holds at least `words` 32-bit words.
bool chunk_holds(const orx_rng_chunk* chunk, uint64_t words);

// Unlinks and releases every node of kind `id` (a shared block loses one
// reference, a private one is freed).
void drop_chunks(orx_rng_stream* stream, uint32_t id);

// A zeroed block of `words` 32-bit words (64-byte aligned), or null when it
// cannot be allocated or its byte size does not fit a chunk's 32-bit size.
uint32_t* allocate_words(uint64_t words);
void free_words(uint32_t* block);

// Attaches `block` of `words` words as a chunk of kind `id` under `key`
// (null: private). On failure the block is freed and the status returned.
int attach_words(orx_rng_stream* stream, uint32_t id, const uint64_t* key, uint32_t* block,
                 uint64_t words);

}  // namespace orx::rng

#endif
