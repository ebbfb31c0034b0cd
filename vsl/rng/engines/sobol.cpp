// Sobol: the quasi-random sequence of Sobol in base 2, 32-bit coordinates,
// built on the shared Gray-code walk (quasi_walk.h: values are coordinates
// point after point, starting with point 1; the origin is never handed out).
//
// State (after the 16-byte header; within StateWords 2604 of 4 bytes):
//   uint32 count                values handed out so far
//   int32  dimension            d
//   uint32 point[40]            the point holding the last value handed out
//   uint32 directions[32][40]   row r: the direction words of counter bit r,
//                               column k for dimension k + 1
// A stream seeded with user data keeps its direction rows (32 rows of d
// words, row r at word r*d) in a chunk of kind 9, shared under a key from
// __vslGenerateNewGlobalRODataTableEntryId (tag 0x600000), and its point (d
// words) in a private chunk of kind 13; its state's point and rows are then
// unused. The output functions walk the chunks when both are present.
//
// Seeding (method 0), seed words s[0..n-1]:
// - n < 1: d = 1. Otherwise d = s[0] when 1 <= s[0] <= 40, else 1.
// - User data when n >= 4, s[1] = 1 and s[0] = d >= 1 describes d
//   dimensions in one of the layouts below; dimension 1 is then
//   2^-1, 2^-2, ... (van der Corput) except for kind 4. Polynomials are bit
//   masks (bit k = coefficient of x^k) of degree e >= 1 with constant term
//   1; initial numbers m_1..m_e must be odd with m_k < 2^k.
//   s[2] = 1:  d <= 40, s[3..d+1]: polynomials of dimensions 2..d; all
//              initial numbers 1 (n >= d + 2).
//   s[2] = 3:  s[3] = L (1 <= L <= 32), s[4..d+2]: polynomials of
//              dimensions 2..d (degree <= L), then d - 1 groups of L
//              initial numbers, of which each dimension uses the first e
//              (n >= 4 + (d - 1)(L + 1)).
//   s[2] = 11: for each dimension 2..d in turn: its degree e (1..31), its
//              polynomial (of degree e), its e initial numbers
//              (n >= 3 + sum of (e + 2)).
//   s[2] = 4:  s[3 + 32k + r]: direction word of counter bit r of dimension
//              k + 1, taken as given (n >= 32 d + 3).
//   Too few words, another kind, or a polynomial or initial number that
//   breaks the conditions above: the default tables with d as in the first
//   rule. Chunks that cannot be allocated: -4.
// - Defaults: dimension 1 as above, dimension k >= 2 from primitive
//   polynomial k - 1 of the Joe-Kuo tables with its initial numbers.
// Generation: before n values, count + n <= 2^32 - 1 or -1012 with nothing
// written. A state whose dimension its storage cannot hold gives -3.
// Leapfrog (-1002) and skip-ahead (-1003) are refused.
#include <cstring>

#include "orx/rng.h"
#include "vsl/rng/engines/quasi_chunks.h"
#include "vsl/rng/engines/quasi_engine.h"
#include "vsl/rng/engines/sobol_directions.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

constexpr int kMaxDimension = kSobolDefaultDimensions;
constexpr int kBits = 32;

struct SobolState {
  QuasiCounter counter;
  uint32_t point[kMaxDimension];
  uint32_t directions[kBits][kMaxDimension];
};
static_assert(sizeof(SobolState) <= 2604 * 4, "a state copy moves StateWords words");
// The whole state area is zeroed at seeding, so that images hold no stale bytes.
constexpr size_t kStateArea = 11648 - kHeaderBytes;
static_assert(sizeof(SobolState) <= kStateArea);

enum UserKind : uint32_t {
  kPolynomials = 1,
  kPolynomialsAndInitialNumbers = 3,
  kDirectionNumbers = 4,
  kPolynomialsWithDegrees = 11,
};

// Whether s[0..n) holds a whole description of kind s[2] for d dimensions.
bool user_words_suffice(const uint32_t* s, int n, int64_t d) {
  switch (s[2]) {
    case kPolynomials:
      return d <= kMaxDimension && n >= d + 2;
    case kPolynomialsAndInitialNumbers:
      return s[3] >= 1 && s[3] <= kBits && n >= 4 + (d - 1) * (int64_t{s[3]} + 1);
    case kPolynomialsWithDegrees: {
      int64_t at = 3;
      for (int64_t k = 1; k < d; ++k) {
        if (at >= n || s[at] < 1 || s[at] >= kBits) return false;
        at += 2 + s[at];
      }
      return at <= n;
    }
    case kDirectionNumbers:
      return n >= 32 * d + 3;
    default:
      return false;
  }
}

// Direction rows (row r at rows + r*d) of a description that
// user_words_suffice accepted; false when a dimension is unusable.
bool user_directions(const uint32_t* s, int64_t d, uint32_t* rows) {
  const size_t stride = static_cast<size_t>(d);
  if (s[2] == kDirectionNumbers) {
    for (int64_t k = 0; k < d; ++k)
      for (int r = 0; r < kBits; ++r) rows[r * stride + k] = s[3 + kBits * k + r];
    return true;
  }
  static constexpr uint32_t kOnes[kBits] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                            1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  sobol_first_directions(rows, stride);
  int64_t at = 3;  // kind 11: the next dimension's degree word
  for (int64_t k = 1; k < d; ++k) {
    uint32_t poly;
    const uint32_t* minit;
    if (s[2] == kPolynomials) {
      poly = s[2 + k];
      minit = kOnes;
    } else if (s[2] == kPolynomialsAndInitialNumbers) {
      poly = s[3 + k];
      minit = s + 3 + d + (k - 1) * s[3];
      if (polynomial_degree(poly) > static_cast<int>(s[3])) return false;
    } else {
      poly = s[at + 1];
      minit = s + at + 2;
      if (polynomial_degree(poly) != static_cast<int>(s[at])) return false;
      at += 2 + s[at];
    }
    if (!sobol_dimension_valid(poly, minit)) return false;
    sobol_directions(poly, polynomial_degree(poly), minit, rows + k, stride);
  }
  return true;
}

// Attaches the user description's chunks; `used` tells whether it was usable.
int seed_user(orx_rng_stream* stream, const uint32_t* s, int64_t d, bool& used) {
  used = false;
  uint32_t* rows = allocate_words(kBits * static_cast<uint64_t>(d));
  if (rows == nullptr) return ORX_RNG_ERROR_MEMORY;
  if (!user_directions(s, d, rows)) {
    free_words(rows);
    return 0;
  }
  uint32_t* point = allocate_words(static_cast<uint64_t>(d));
  if (point == nullptr) {
    free_words(rows);
    return ORX_RNG_ERROR_MEMORY;
  }
  uint64_t key[2];
  __vslGenerateNewGlobalRODataTableEntryId(key, ORX_BRNG_SOBOL);
  int status = attach_words(stream, ORX_RNG_CHUNK_SOBOL_DIRECTIONS, key, rows, kBits * static_cast<uint64_t>(d));
  if (status != 0) {
    free_words(point);
    return status;
  }
  status = attach_words(stream, ORX_RNG_CHUNK_SOBOL_USER, nullptr, point, static_cast<uint64_t>(d));
  if (status != 0) {
    drop_chunks(stream, ORX_RNG_CHUNK_SOBOL_DIRECTIONS);
    return status;
  }
  used = true;
  return 0;
}

struct Sobol {
  static int seed(orx_rng_stream* stream, int n, const uint32_t* s) {
    drop_chunks(stream, ORX_RNG_CHUNK_SOBOL_DIRECTIONS);
    drop_chunks(stream, ORX_RNG_CHUNK_SOBOL_USER);
    SobolState& state = *state_of<SobolState>(stream);
    std::memset(state_bytes(stream), 0, kStateArea);
    const int32_t first = n >= 1 ? static_cast<int32_t>(s[0]) : 1;
    const int d = first >= 1 && first <= kMaxDimension ? first : 1;
    state.counter.dimension = d;
    sobol_default_directions(d, &state.directions[0][0], kMaxDimension);
    if (n >= 4 && s[1] == 1 && first >= 1 && user_words_suffice(s, n, first)) {
      bool used;
      const int status = seed_user(stream, s, first, used);
      if (used) state.counter.dimension = first;
      return status;
    }
    return 0;
  }

  static int sequence(orx_rng_stream* stream, QuasiSequence& q) {
    SobolState& state = *state_of<SobolState>(stream);
    const int d = state.counter.dimension;
    const orx_rng_chunk* rows = find_chunk(stream, ORX_RNG_CHUNK_SOBOL_DIRECTIONS);
    const orx_rng_chunk* point = find_chunk(stream, ORX_RNG_CHUNK_SOBOL_USER);
    if (rows != nullptr || point != nullptr) {
      if (d < 1 || !chunk_holds(rows, kBits * static_cast<uint64_t>(d)) ||
          !chunk_holds(point, static_cast<uint64_t>(d)))
        return ORX_RNG_ERROR_BAD_ARGUMENT;
      q = {static_cast<uint32_t*>(point->Data), static_cast<const uint32_t*>(rows->Data), d, d};
      return 0;
    }
    if (d < 1 || d > kMaxDimension) return ORX_RNG_ERROR_BAD_ARGUMENT;
    q = {state.point, &state.directions[0][0], kMaxDimension, d};
    return 0;
  }
};

using SobolFunctions = QuasiEngine<Sobol>;

}  // namespace

int __vslBRngSobolInitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  return SobolFunctions::init(method, stream, n, params);
}

int __vsliBRngSobol(orx_rng_stream* stream, int n, uint32_t* r) { return SobolFunctions::raw(stream, n, r); }

int __vsldBRngSobol(orx_rng_stream* stream, int n, double* r, double a, double b) {
  return SobolFunctions::uniform(stream, n, r, a, b);
}

int __vslsBRngSobol(orx_rng_stream* stream, int n, float* r, float a, float b) {
  return SobolFunctions::uniform(stream, n, r, a, b);
}
