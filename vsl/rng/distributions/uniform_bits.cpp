// Uniform bits: the stream's raw words, and uniformly distributed 32-bit and
// 64-bit words through a table of one function per built-in record.
//
// Contract of the three entry points (method, stream, n, r):
// - n <= 0 returns 0 and touches neither the stream nor r. Otherwise a null
//   stream or r gives ORX_RNG_ERROR_NULL_POINTER, and a method other than 0
//   (these generators have one method) ORX_RNG_ERROR_BAD_METHOD, both
//   consuming nothing; an identifier that names no registered generator gives
//   ORX_RNG_ERROR_INVALID_BRNG.
// - _vsliRngUniformBits: the record's raw function with (stream, n, r), so r
//   receives n words of the record's WordBytes, user records included;
//   ORX_RNG_ERROR_BITS_UNSUPPORTED for a record without one.
// - _vsliRngUniformBits32 / 64, by record (earlier-numbering identifiers
//   behave as their engine's current record):
//     MT19937, MT2203, TRNG: the raw 32-bit words; a 64-bit word is two of
//       them, the first in the low half (2n raw words for n outputs);
//     MCG59, SFMT19937: their own packings (uniform_bits.h);
//     every other built-in record and every record registered at run time
//       (its words' width and randomness are unknown here):
//       ORX_RNG_ERROR_BITS_UNSUPPORTED, consuming nothing.
//   A failing raw function's status is returned as it is.
#include "vsl/rng/distributions/uniform_bits.h"

#include <climits>
#include <cstdint>

#include "orx/rng.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

constexpr int kBuiltInRecords = 14;

// The record of the stream's generator and its index in its table, or null.
// Earlier identifiers resolve to indices 0..4, the same engines as current
// records 0..4, or to 277 and 278 (Sobol, Niederreiter), which lie past the
// fourteen rows and are refused as those engines' rows refuse.
struct Resolved {
  const BrngProperties* record;
  int index;
};

Resolved resolve(const orx_rng_stream* stream) {
  int32_t index, offset;
  const BrngProperties* table =
      __vslGetBrngBaseOffset(static_cast<int32_t>(stream->BrngId), &index, &offset);
  if (__vslIsBrngValid(table, index, offset) != 0) return {nullptr, -1};
  return {&table[index], index};
}

int unsupported32(const BrngProperties&, orx_rng_stream*, int, uint32_t*) {
  return ORX_RNG_ERROR_BITS_UNSUPPORTED;
}
int unsupported64(const BrngProperties&, orx_rng_stream*, int, uint64_t*) {
  return ORX_RNG_ERROR_BITS_UNSUPPORTED;
}

int raw_words32(const BrngProperties& record, orx_rng_stream* stream, int n, uint32_t* r) {
  return record.iBRngFn(stream, n, r);
}

// Two raw words per output, in pieces short enough that 2 x piece fits an int.
int raw_words64(const BrngProperties& record, orx_rng_stream* stream, int n, uint64_t* r) {
  constexpr int kPiece = INT_MAX / 2;
  for (int done = 0; done < n;) {
    const int count = n - done < kPiece ? n - done : kPiece;
    const int status = record.iBRngFn(stream, 2 * count, reinterpret_cast<uint32_t*>(r + done));
    if (status < 0) return status;
    done += count;
  }
  return 0;
}

struct BitsRow {
  UniformBits32Fn bits32;
  UniformBits64Fn bits64;
};

// In registry order.
constexpr BitsRow kUnsupported = {unsupported32, unsupported64};
constexpr BitsRow kRawWords = {raw_words32, raw_words64};
constexpr BitsRow kBitsTable[kBuiltInRecords] = {
    kUnsupported,                                                  // 0 MCG31M1
    kUnsupported,                                                  // 1 R250
    kUnsupported,                                                  // 2 MRG32K3A
    {_viRngUniformBits32MCG59, _viRngUniformBits64MCG59},          // 3 MCG59
    kUnsupported,                                                  // 4 WH
    kUnsupported,                                                  // 5 Sobol
    kUnsupported,                                                  // 6 Niederreiter
    kRawWords,                                                     // 7 MT19937
    kRawWords,                                                     // 8 MT2203
    kUnsupported,                                                  // 9 iAbstract
    kUnsupported,                                                  // 10 dAbstract
    kUnsupported,                                                  // 11 sAbstract
    {_viRngUniformBits32SFMT19937, _viRngUniformBits64SFMT19937},  // 12 SFMT19937
    kRawWords,                                                     // 13 TRNG
};

// The checks shared by the entry points: true to go on, else false with the
// status in *out.
template <class Word>
bool ready(int method, const orx_rng_stream* stream, int n, const Word* r, int* out) {
  *out = 0;
  if (n <= 0) return false;
  if (stream == nullptr || r == nullptr)
    *out = ORX_RNG_ERROR_NULL_POINTER;
  else if (method != 0)
    *out = ORX_RNG_ERROR_BAD_METHOD;
  return *out == 0;
}

// The table row of the stream's record, or the status that ends the call.
const BitsRow* row_of(const Resolved& found, int* status) {
  *status = 0;
  if (found.record == nullptr) {
    *status = ORX_RNG_ERROR_INVALID_BRNG;
    return nullptr;
  }
  if (found.index >= kBuiltInRecords || found.record->iBRngFn == nullptr) {
    *status = ORX_RNG_ERROR_BITS_UNSUPPORTED;
    return nullptr;
  }
  return &kBitsTable[found.index];
}

}  // namespace

int _vsliRngUniformBits(int method, orx_rng_stream* stream, int n, uint32_t* r) {
  int status;
  if (!ready(method, stream, n, r, &status)) return status;
  const Resolved found = resolve(stream);
  if (found.record == nullptr) return ORX_RNG_ERROR_INVALID_BRNG;
  if (found.record->iBRngFn == nullptr) return ORX_RNG_ERROR_BITS_UNSUPPORTED;
  return found.record->iBRngFn(stream, n, r);
}

int _vsliRngUniformBits32(int method, orx_rng_stream* stream, int n, uint32_t* r) {
  int status;
  if (!ready(method, stream, n, r, &status)) return status;
  const Resolved found = resolve(stream);
  const BitsRow* row = row_of(found, &status);
  return row != nullptr ? row->bits32(*found.record, stream, n, r) : status;
}

int _vsliRngUniformBits64(int method, orx_rng_stream* stream, int n, uint64_t* r) {
  int status;
  if (!ready(method, stream, n, r, &status)) return status;
  const Resolved found = resolve(stream);
  const BitsRow* row = row_of(found, &status);
  return row != nullptr ? row->bits64(*found.record, stream, n, r) : status;
}
