// The stream record: a 16-byte header followed by the engine's state, in one
// 64-byte aligned block of the generator's StateBytes bytes.
#ifndef ORX_VSL_RNG_STREAM_RECORD_H
#define ORX_VSL_RNG_STREAM_RECORD_H

#include <cstddef>
#include <cstdint>

#include "orx/rng.h"

struct orx_rng_stream {
  uint32_t BrngId;
  int32_t StreamMark;
  orx_rng_chunk* Chunks;
};
static_assert(sizeof(orx_rng_stream) == 16, "the saved image relies on a 16-byte header");

namespace orx::rng {

inline constexpr size_t kHeaderBytes = sizeof(orx_rng_stream);
inline constexpr size_t kStreamAlignment = 64;

// The engine state that follows the header.
template <class State>
State* state_of(orx_rng_stream* stream) {
  return reinterpret_cast<State*>(reinterpret_cast<unsigned char*>(stream) + kHeaderBytes);
}
inline unsigned char* state_bytes(orx_rng_stream* stream) {
  return reinterpret_cast<unsigned char*>(stream) + kHeaderBytes;
}
inline const unsigned char* state_bytes(const orx_rng_stream* stream) {
  return reinterpret_cast<const unsigned char*>(stream) + kHeaderBytes;
}

// The registry record of a stream's generator, or null when its identifier
// names none (possible only for a record built by hand).
const BrngProperties* properties_of(uint32_t id);

}  // namespace orx::rng

#endif
