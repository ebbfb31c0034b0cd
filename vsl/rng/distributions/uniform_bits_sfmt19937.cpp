// Uniform bits of SFMT19937: the engine's 32-bit words in sequence order, as
// 32-bit words or as 64-bit words of two of them (the first in the low half).
//
// The engine's raw function hands out whole 128-bit words (four 32-bit
// words), so a request for a count that is not a multiple of four 32-bit (two
// 64-bit) words leaves part of its last 128-bit word unused. That part waits
// in a 16-byte carry-over chunk of the stream for the next request, which
// starts with it: requests split in any way give the words of one request.
// Kind 11 serves 32-bit requests and kind 12 64-bit requests, each with its
// own carry, so both sequences stay gap-free when the two are interleaved
// (each word of the engine goes to exactly one of them).
//
// Chunk layout (16 bytes, private): Word words[k] then Word count, with Word
// the output word, k = 3 (kind 11) or 1 (kind 12); words[0..count) are the
// waiting words, next first. The chunk is created by the first request that
// leaves words over, travels with copies and saved images like any chunk, and
// a count outside 0..k (a damaged image) counts as empty. A carry chunk that
// is too small or shared is not written: a fresh private one is added in
// front of it, which hides it from later lookups.
#include <cstdint>
#include <cstring>

#include "orx/rng.h"
#include "orx_serv.h"
#include "vsl/rng/distributions/uniform_bits.h"
#include "vsl/rng/stream_record.h"

namespace orx::rng {

namespace {

template <class Word>
struct Carry {
  static constexpr int kPerRaw = 16 / sizeof(Word);  // output words per raw word
  Word words[kPerRaw - 1];
  Word count;
};
static_assert(sizeof(Carry<uint32_t>) == 16 && sizeof(Carry<uint64_t>) == 16);

template <class Word>
Carry<Word>* find_carry(orx_rng_stream* stream, uint32_t kind) {
  for (orx_rng_chunk* node = stream->Chunks; node != nullptr; node = node->Next) {
    if (node->Id != kind) continue;
    const bool usable = node->Data != nullptr && node->Size >= sizeof(Carry<Word>) &&
                        node->Key[0] == 0 && node->Key[1] == 0;
    return usable ? static_cast<Carry<Word>*>(node->Data) : nullptr;
  }
  return nullptr;
}

template <class Word>
int add_carry(orx_rng_stream* stream, uint32_t kind, Carry<Word>** carry) {
  void* block = orx_serv_orx_malloc(sizeof(Carry<Word>), kStreamAlignment);
  if (block == nullptr) return ORX_RNG_ERROR_MEMORY;
  std::memset(block, 0, sizeof(Carry<Word>));
  const int status = __vslAddChunk(stream, kind, nullptr, block, sizeof(Carry<Word>));
  if (status < 0) {
    orx_serv_orx_free(block);
    return status;
  }
  *carry = static_cast<Carry<Word>*>(block);
  return 0;
}

template <class Word>
int hand_out(const BrngProperties& record, orx_rng_stream* stream, int n, Word* r, uint32_t kind) {
  constexpr int kPerRaw = Carry<Word>::kPerRaw;
  Carry<Word>* carry = find_carry<Word>(stream, kind);
  const int waiting =
      carry != nullptr && carry->count < kPerRaw ? static_cast<int>(carry->count) : 0;
  const int from_carry = waiting < n ? waiting : n;
  const int whole = (n - from_carry) / kPerRaw;
  const int tail = (n - from_carry) % kPerRaw;
  // The chunk is made before anything is consumed, so a failed allocation
  // leaves the stream as it was.
  if (tail != 0 && carry == nullptr) {
    const int status = add_carry(stream, kind, &carry);
    if (status < 0) return status;
  }
  if (carry != nullptr) {
    std::memcpy(r, carry->words, sizeof(Word) * from_carry);
    std::memmove(carry->words, carry->words + from_carry, sizeof(Word) * (waiting - from_carry));
    carry->count = static_cast<Word>(waiting - from_carry);
  }
  Word* out = r + from_carry;
  if (whole > 0) {
    const int status = record.iBRngFn(stream, whole, reinterpret_cast<uint32_t*>(out));
    if (status < 0) return status;
    out += static_cast<size_t>(whole) * kPerRaw;
  }
  if (tail != 0) {
    uint32_t raw[4];
    const int status = record.iBRngFn(stream, 1, raw);
    if (status < 0) return status;
    Word last[kPerRaw];
    std::memcpy(last, raw, sizeof raw);
    std::memcpy(out, last, sizeof(Word) * tail);
    std::memcpy(carry->words, last + tail, sizeof(Word) * (kPerRaw - tail));
    carry->count = static_cast<Word>(kPerRaw - tail);
  }
  return 0;
}

}  // namespace

int _viRngUniformBits32SFMT19937(const BrngProperties& record, orx_rng_stream* stream, int n,
                                 uint32_t* r) {
  return hand_out(record, stream, n, r, ORX_RNG_CHUNK_BITS32_CARRY);
}

int _viRngUniformBits64SFMT19937(const BrngProperties& record, orx_rng_stream* stream, int n,
                                 uint64_t* r) {
  return hand_out(record, stream, n, r, ORX_RNG_CHUNK_BITS64_CARRY);
}

}  // namespace orx::rng
