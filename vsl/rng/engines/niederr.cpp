// Niederr: the Niederreiter sequence in base 2 (Bratley-Fox-Niederreiter
// construction), 32-bit coordinates, built on the shared Gray-code walk
// (quasi_walk.h: values are coordinates point after point, starting with
// point 1; the origin is never handed out).
//
// State (after the 16-byte header; within StateWords 10498 of 4 bytes):
//   uint32 count                 values handed out so far
//   int32  dimension             d
//   uint32 point[318]            the point holding the last value handed out
//   uint32 directions[32][318]   row r: the direction words of counter bit r,
//                                column k for dimension k + 1
// A stream of d >= 319 dimensions (user data only) keeps its sequence in a
// chunk of kind 10 of 33 d words: 32 direction rows of d words (row r at word
// r*d), then the point (d words); the output functions walk it when present.
//
// Seeding (method 0), seed words s[0..n-1]:
// - n < 1, or s[0] < 1: d = 1. Otherwise d = s[0] when s[0] <= 318, else 1.
// - User data when n >= 3, s[1] = 1 and s[0] = d >= 1:
//   s[2] = 1: s[3..d+2]: the polynomials of dimensions 1..d (bit k =
//             coefficient of x^k, degree >= 1, irreducible and distinct for
//             the sequence to have its net properties), n >= d + 3;
//   s[2] = 4: s[3 + 32k + r]: direction word of counter bit r of dimension
//             k + 1, taken as given, n >= 32 d + 3.
//   d <= 318 puts the sequence in the state, d >= 319 in the kind-10 chunk
//   (-4 when it cannot be allocated). Too few words, another kind or a
//   polynomial of degree 0: the default table with d as in the first rule.
// - Defaults: dimension k from the k-th irreducible polynomial over GF(2)
//   in increasing order (x, x + 1, x^2 + x + 1, ...).
// Generation: before n values, count + n <= 2^32 - 1 or -1012 with nothing
// written. A state whose dimension its storage cannot hold gives -3.
// Leapfrog (-1002) and skip-ahead (-1003) are refused.
#include <cstring>

#include "orx/rng.h"
#include "vsl/rng/engines/niederr_directions.h"
#include "vsl/rng/engines/quasi_chunks.h"
#include "vsl/rng/engines/quasi_engine.h"
#include "vsl/rng/engines/sobol_directions.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

constexpr int kMaxDimension = kNiederrDefaultDimensions;
constexpr int kBits = 32;
constexpr uint32_t kUserPolynomials = 1;
constexpr uint32_t kUserDirectionNumbers = 4;

struct NiederrState {
  QuasiCounter counter;
  uint32_t point[kMaxDimension];
  uint32_t directions[kBits][kMaxDimension];
};
static_assert(sizeof(NiederrState) <= 10498 * 4, "a state copy moves StateWords words");
// The whole state area is zeroed at seeding, so that images hold no stale bytes.
constexpr size_t kStateArea = 43280 - kHeaderBytes;
static_assert(sizeof(NiederrState) <= kStateArea);

bool user_words_suffice(const uint32_t* s, int n, int64_t d) {
  if (s[2] == kUserPolynomials) return n >= d + 3;
  if (s[2] == kUserDirectionNumbers) return n >= kBits * d + 3;
  return false;
}

// Direction rows (row r at rows + r*stride); false for a degree-0 polynomial.
bool user_directions(const uint32_t* s, int64_t d, uint32_t* rows, size_t stride) {
  for (int64_t k = 0; k < d; ++k) {
    if (s[2] == kUserDirectionNumbers) {
      for (int r = 0; r < kBits; ++r) rows[r * stride + k] = s[3 + kBits * k + r];
    } else {
      const int e = polynomial_degree(s[3 + k]);
      if (e < 1) return false;
      niederr_directions(s[3 + k], e, rows + k, stride);
    }
  }
  return true;
}

// A sequence of d >= 319 dimensions in a kind-10 chunk.
int seed_user_chunk(orx_rng_stream* stream, const uint32_t* s, int64_t d, bool& used) {
  used = false;
  uint32_t* block = allocate_words((kBits + 1) * static_cast<uint64_t>(d));
  if (block == nullptr) return ORX_RNG_ERROR_MEMORY;
  if (!user_directions(s, d, block, static_cast<size_t>(d))) {
    free_words(block);
    return 0;
  }
  const int status = attach_words(stream, ORX_RNG_CHUNK_NIEDERR_POLYNOMIALS, nullptr, block,
                                  (kBits + 1) * static_cast<uint64_t>(d));
  used = status == 0;
  return status;
}

struct Niederr {
  static int seed(orx_rng_stream* stream, int n, const uint32_t* s) {
    drop_chunks(stream, ORX_RNG_CHUNK_NIEDERR_POLYNOMIALS);
    NiederrState& state = *state_of<NiederrState>(stream);
    std::memset(state_bytes(stream), 0, kStateArea);
    const int32_t first = n >= 1 ? static_cast<int32_t>(s[0]) : 1;
    if (n >= 3 && s[1] == 1 && first >= 1 && user_words_suffice(s, n, first)) {
      bool used = false;
      int status = 0;
      if (first <= kMaxDimension)
        used = user_directions(s, first, &state.directions[0][0], kMaxDimension);
      else
        status = seed_user_chunk(stream, s, first, used);
      if (used) {
        state.counter.dimension = first;
        return 0;
      }
      std::memset(&state, 0, sizeof state);
      if (status != 0) {  // left usable: one default dimension
        state.counter.dimension = 1;
        niederr_default_directions(1, &state.directions[0][0], kMaxDimension);
        return status;
      }
    }
    const int d = first >= 1 && first <= kMaxDimension ? first : 1;
    state.counter.dimension = d;
    niederr_default_directions(d, &state.directions[0][0], kMaxDimension);
    return 0;
  }

  static int sequence(orx_rng_stream* stream, QuasiSequence& q) {
    NiederrState& state = *state_of<NiederrState>(stream);
    const int d = state.counter.dimension;
    if (const orx_rng_chunk* chunk = find_chunk(stream, ORX_RNG_CHUNK_NIEDERR_POLYNOMIALS)) {
      const uint64_t rows = kBits * static_cast<uint64_t>(d);
      if (d < 1 || !chunk_holds(chunk, rows + d)) return ORX_RNG_ERROR_BAD_ARGUMENT;
      auto* block = static_cast<uint32_t*>(chunk->Data);
      q = {block + rows, block, d, d};
      return 0;
    }
    if (d < 1 || d > kMaxDimension) return ORX_RNG_ERROR_BAD_ARGUMENT;
    q = {state.point, &state.directions[0][0], kMaxDimension, d};
    return 0;
  }
};

using NiederrFunctions = QuasiEngine<Niederr>;

}  // namespace

int __vslBRngNiederrInitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  return NiederrFunctions::init(method, stream, n, params);
}

int __vsliBRngNiederr(orx_rng_stream* stream, int n, uint32_t* r) { return NiederrFunctions::raw(stream, n, r); }

int __vsldBRngNiederr(orx_rng_stream* stream, int n, double* r, double a, double b) {
  return NiederrFunctions::uniform(stream, n, r, a, b);
}

int __vslsBRngNiederr(orx_rng_stream* stream, int n, float* r, float a, float b) {
  return NiederrFunctions::uniform(stream, n, r, a, b);
}
