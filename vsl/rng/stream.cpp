// Stream lifecycle: creation through the registry, copies, state moves,
// deletion, leapfrog and skip-ahead (both carried out by the engine).
#include <cstring>

#include "orx/rng.h"
#include "orx_serv.h"
#include "vsl/rng/stream_record.h"

using orx::rng::kHeaderBytes;
using orx::rng::kStreamAlignment;
using orx::rng::properties_of;

namespace {

bool is_abstract(uint32_t id) {
  return id == ORX_BRNG_IABSTRACT || id == ORX_BRNG_DABSTRACT || id == ORX_BRNG_SABSTRACT;
}

}  // namespace

int __vslAllocateStream(orx_rng_stream** stream, const BrngProperties* table, uint32_t id,
                        int32_t index, int32_t offset) {
  if (__vslIsBrngValid(table, index, offset) != 0) return ORX_RNG_ERROR_INVALID_BRNG;
  const size_t bytes = static_cast<size_t>(table[index].StateBytes);
  // A user record may declare fewer bytes than the header; the block always
  // holds the header.
  auto* created = static_cast<orx_rng_stream*>(
      orx_serv_orx_malloc(bytes < kHeaderBytes ? kHeaderBytes : bytes, kStreamAlignment));
  if (created == nullptr) return ORX_RNG_ERROR_MEMORY;
  created->BrngId = id;
  created->StreamMark = 1;
  created->Chunks = nullptr;
  *stream = created;
  return 0;
}

// A record without an InitStreamFn (none can be registered, but a table
// entry could be damaged) is refused here (-1000) before anything is
// allocated.
int __vslNewStreamEx(orx_rng_stream** stream, uint32_t id, uint32_t n, const uint32_t* params) {
  if (stream == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  if (is_abstract(id)) return ORX_RNG_ERROR_INVALID_BRNG;
  int32_t index, offset;
  const BrngProperties* table = __vslGetBrngBaseOffset(static_cast<int32_t>(id), &index, &offset);
  if (__vslIsBrngValid(table, index, offset) != 0 || table[index].InitStreamFn == nullptr)
    return ORX_RNG_ERROR_INVALID_BRNG;
  const int status = __vslAllocateStream(stream, table, id, index, offset);
  if (status < 0) return status;
  return table[index].InitStreamFn(ORX_RNG_INIT_SEED, *stream, static_cast<int>(n), params);
}

int __vslCopyStream(orx_rng_stream** copy, const orx_rng_stream* source) {
  if (copy == nullptr || source == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  int32_t index, offset;
  const BrngProperties* table =
      __vslGetBrngBaseOffset(static_cast<int32_t>(source->BrngId), &index, &offset);
  const int status = __vslAllocateStream(copy, table, source->BrngId, index, offset);
  if (status < 0) return status;
  const size_t bytes = static_cast<size_t>(table[index].StateBytes);
  if (bytes > kHeaderBytes) std::memcpy(*copy, source, bytes);
  (*copy)->Chunks = nullptr;
  const int chunks = __vslCopyChunks(*copy, source);
  if (chunks < 0) __vslDeleteStream(copy);
  return chunks;
}

// Moves WordBytes * StateWords bytes of state, bounded by the record (for WH
// and SFMT19937 that product exceeds the state area).
int __vslCopyStreamState(orx_rng_stream* destination, const orx_rng_stream* source) {
  if (destination == nullptr || source == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  if (destination == source) return 0;
  const BrngProperties* p = properties_of(source->BrngId);
  if (p == nullptr) return ORX_RNG_ERROR_INVALID_BRNG;
  const int64_t words = int64_t{p->WordBytes} * p->StateWords;
  const int64_t room = int64_t{p->StateBytes} - int64_t{kHeaderBytes};
  const int64_t bytes = words < room ? words : room;
  if (bytes > 0)
    std::memcpy(orx::rng::state_bytes(destination), orx::rng::state_bytes(source),
                static_cast<size_t>(bytes));
  __vslDeleteChunks(destination);
  return __vslCopyChunks(destination, source);
}

int __vslDeleteStream(orx_rng_stream** stream) {
  if (stream == nullptr || *stream == nullptr) return 0;
  __vslDeleteChunks(*stream);
  orx_serv_orx_free(*stream);
  *stream = nullptr;
  return 0;
}

int __vslLeapfrogStream(orx_rng_stream* stream, uint32_t k, int32_t nstreams) {
  if (stream == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  if (nstreams < 0) return ORX_RNG_ERROR_BAD_NSTREAMS;
  const BrngProperties* p = properties_of(stream->BrngId);
  if (p == nullptr || p->InitStreamFn == nullptr) return ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED;
  const uint32_t params[1] = {k};
  return p->InitStreamFn(ORX_RNG_INIT_LEAPFROG, stream, nstreams, params);
}

int __vslSkipAheadStream(orx_rng_stream* stream, uint64_t nskip) {
  if (stream == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  const BrngProperties* p = properties_of(stream->BrngId);
  if (p == nullptr || p->InitStreamFn == nullptr) return ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED;
  const uint32_t params[2] = {static_cast<uint32_t>(nskip), static_cast<uint32_t>(nskip >> 32)};
  return p->InitStreamFn(ORX_RNG_INIT_SKIPAHEAD, stream, 2, params);
}

uint32_t __vslGetStreamStateBrng(const orx_rng_stream* stream) { return stream->BrngId; }

int __vslGetStreamSize(const orx_rng_stream* stream) {
  const BrngProperties* p = properties_of(stream->BrngId);
  int size = p != nullptr ? p->StateBytes : 0;
  for (const orx_rng_chunk* node = stream->Chunks; node != nullptr; node = node->Next)
    size += static_cast<int>(node->Size) + 24;
  return size;
}
