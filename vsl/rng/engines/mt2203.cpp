// MT2203: a family of 6024 Mersenne twisters of period 2^2203 - 1, one per
// sub-generator (identifier 0x900000 + row). Each has 69 words of 32 bits with
// 5 unused bits (upper mask 0xFFFFFFE0, lower mask 0x1F), middle offset 34,
// and its own matrix vector a and tempering masks b, c (row of
// _vsl_mt2203_table).
//
// State after the 16-byte header: uint32 mt[69]; int32 position (69 after
// seeding, so the next output regenerates the block); uint32 a, b, c, the
// row's parameters, copied at seeding so that a saved image carries them.
// Seeding is the Mersenne-twister key-array initialisation with N = 69
// (mt_key_seeding.h; n <= 0 uses the key {1}). A step twists
// mt[i] = mt[i+34] ^ ((mt[i] & 0xFFFFFFE0 | mt[i+1] & 0x1F) >> 1) ^ (a if that
// value is odd), indices mod 69, block by block, and hands out the word
// tempered with first shift 12: y ^= y >> 12; y ^= (y << 7) & b;
// y ^= (y << 15) & c; y ^= y >> 18. The raw output is that 32-bit word;
// double and float outputs are a + (b - a) y 2^-32 (uniform_map.h).
// Leapfrog (-1002), skip-ahead (-1003) and other methods (-2) are refused.
//
// Vector form: the block is regenerated in three runs, i = 0..34 with the far
// word mt[i+34] (read ahead: still old), i = 35..67 with mt[i-35] (read back:
// already new, all of it from the first run) and i = 68 with the new mt[0] as
// neighbour and mt[33]; four words per register, the same values as the
// serial order. Tempering runs four words at a time.
#include <emmintrin.h>

#include "orx/rng.h"
#include "vsl/rng/engines/mt2203_table.h"
#include "vsl/rng/engines/mt_key_seeding.h"
#include "vsl/rng/engines/seed_only_word_engine.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

constexpr int kN = 69;
constexpr int kM = 34;
constexpr uint32_t kUpper = 0xFFFFFFE0u;
constexpr uint32_t kLower = 0x0000001Fu;
constexpr double dbInv2P32 = 0x1p-32;

struct Mt2203State {
  uint32_t mt[kN];
  int32_t position;
  uint32_t a, b, c;
};
static_assert(kHeaderBytes + sizeof(Mt2203State) <= 312, "MT2203 streams are 312 bytes");

inline uint32_t twist(uint32_t upper, uint32_t lower, uint32_t far, uint32_t a) {
  const uint32_t y = (upper & kUpper) | (lower & kLower);
  return far ^ (y >> 1) ^ ((y & 1u) ? a : 0u);
}

inline __m128i load(const uint32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

inline __m128i twist4(__m128i upper, __m128i lower, __m128i far, __m128i a) {
  const __m128i y = _mm_or_si128(_mm_and_si128(upper, _mm_set1_epi32(static_cast<int>(kUpper))),
                                 _mm_and_si128(lower, _mm_set1_epi32(kLower)));
  const __m128i odd = _mm_sub_epi32(_mm_setzero_si128(), _mm_and_si128(y, _mm_set1_epi32(1)));
  return _mm_xor_si128(_mm_xor_si128(far, _mm_srli_epi32(y, 1)), _mm_and_si128(odd, a));
}

// Twists words [from, to) with the far word at offset `far`; every word a
// group of four reads is either not yet twisted (ahead) or twisted by an
// earlier run (behind), never one of its own group.
void twist_run(uint32_t* mt, int from, int to, int far, uint32_t a) {
  const __m128i a4 = _mm_set1_epi32(static_cast<int>(a));
  int i = from;
  for (; i + 4 <= to; i += 4)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(mt + i), twist4(load(mt + i), load(mt + i + 1), load(mt + i + far), a4));
  for (; i < to; ++i) mt[i] = twist(mt[i], mt[i + 1], mt[i + far], a);
}

void regenerate(uint32_t* mt, uint32_t a) {
  twist_run(mt, 0, kN - kM, kM, a);            // i = 0..34, far mt[i+34]: old
  twist_run(mt, kN - kM, kN - 1, kM - kN, a);  // i = 35..67, far mt[i-35]: new
  mt[kN - 1] = twist(mt[kN - 1], mt[0], mt[kM - 1], a);
}

inline uint32_t temper(uint32_t y, uint32_t b, uint32_t c) {
  y ^= y >> 12;
  y ^= (y << 7) & b;
  y ^= (y << 15) & c;
  return y ^ (y >> 18);
}

inline __m128i temper4(__m128i y, __m128i b, __m128i c) {
  y = _mm_xor_si128(y, _mm_srli_epi32(y, 12));
  y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 7), b));
  y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 15), c));
  return _mm_xor_si128(y, _mm_srli_epi32(y, 18));
}

void fill_raw(Mt2203State& s, int n, uint32_t* r) {
  int p = s.position >= 0 && s.position <= kN ? s.position : kN;  // a damaged image regenerates
  const __m128i b4 = _mm_set1_epi32(static_cast<int>(s.b)), c4 = _mm_set1_epi32(static_cast<int>(s.c));
  for (int done = 0; done < n;) {
    if (p == kN) {
      regenerate(s.mt, s.a);
      p = 0;
    }
    const int count = n - done < kN - p ? n - done : kN - p;
    int k = 0;
    for (; k + 4 <= count; k += 4)
      _mm_storeu_si128(reinterpret_cast<__m128i*>(r + done + k), temper4(load(s.mt + p + k), b4, c4));
    for (; k < count; ++k) r[done + k] = temper(s.mt[p + k], s.b, s.c);
    done += count;
    p += count;
  }
  s.position = p;
}

// The row: the sub-generator index of the stream's identifier (validated
// when the stream was made; anything else falls back to row 0).
int row_of(const orx_rng_stream* stream) {
  int32_t index, offset;
  __vslGetBrngBaseOffset(static_cast<int32_t>(stream->BrngId), &index, &offset);
  return offset >= 0 && offset < kMt2203Rows ? offset : 0;
}

struct Mt2203Engine {
  using State = Mt2203State;
  static void seed(State& s, int n, const uint32_t* params) {
    mt_key_seeding(s.mt, n, params);
    s.position = kN;
  }
  static void fill_raw(State& s, int n, uint32_t* r) { ::fill_raw(s, n, r); }
  // u = y 2^-32 exactly, so a + y((b - a) 2^-32) is a + (b - a) u.
  static constexpr double kUnit = dbInv2P32;
};

using Mt2203Functions = SeedOnlyWordEngine<Mt2203Engine>;

}  // namespace

int __vslBRngMT2203InitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  const int status = Mt2203Functions::init(method, stream, n, params);
  if (status == 0) {
    Mt2203State& s = *state_of<Mt2203State>(stream);
    const uint32_t* row = _vsl_mt2203_table[row_of(stream)];
    s.a = row[0];
    s.b = row[1];
    s.c = row[2];
  }
  return status;
}

int __vsliBRngMT2203(orx_rng_stream* stream, int n, uint32_t* r) { return Mt2203Functions::raw(stream, n, r); }

int __vsldBRngMT2203(orx_rng_stream* stream, int n, double* r, double a, double b) {
  return Mt2203Functions::uniform(stream, n, r, a, b);
}

int __vslsBRngMT2203(orx_rng_stream* stream, int n, float* r, float a, float b) {
  return Mt2203Functions::uniform(stream, n, r, a, b);
}
