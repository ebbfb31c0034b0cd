// MT19937: the 19937-bit Mersenne twister. State: 624 words and the position
// of the next word to hand out (624 after seeding: the next output
// regenerates the block). Seeding always runs the key-array initialisation
// (n <= 0 uses the key {1}). Leapfrog and skip-ahead are refused.
//
// Vector form: the block regeneration twists four words per register (every
// word it reads ahead is still the old one, and the words it reads 227 back
// are already new, as in the serial order), and tempering runs four words at
// a time; the values equal the serial generator's.
#include <emmintrin.h>

#include "orx/rng.h"
#include "vsl/rng/engines/mt_key_seeding.h"
#include "vsl/rng/engines/seed_only_word_engine.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

constexpr int kN = 624;
constexpr int kM = 397;
constexpr uint32_t vector_a = 0x9908B0DF;
constexpr uint32_t mask_b4 = 0x9D2C5680;
constexpr uint32_t mask_c4 = 0xEFC60000;
constexpr uint32_t u4 = 0x80000000;
constexpr uint32_t l4 = 0x7FFFFFFF;
constexpr double dbInv2P32 = 0x1p-32;

struct Mt19937State {
  uint32_t mt[kN];
  int32_t position;
};

inline uint32_t twist(uint32_t upper, uint32_t lower, uint32_t far) {
  const uint32_t y = (upper & u4) | (lower & l4);
  return far ^ (y >> 1) ^ ((y & 1u) ? vector_a : 0u);
}

inline __m128i twist4(__m128i upper, __m128i lower, __m128i far) {
  const __m128i y = _mm_or_si128(_mm_and_si128(upper, _mm_set1_epi32(static_cast<int>(u4))),
                                 _mm_and_si128(lower, _mm_set1_epi32(l4)));
  const __m128i odd = _mm_sub_epi32(_mm_setzero_si128(), _mm_and_si128(y, _mm_set1_epi32(1)));
  return _mm_xor_si128(_mm_xor_si128(far, _mm_srli_epi32(y, 1)),
                       _mm_and_si128(odd, _mm_set1_epi32(static_cast<int>(vector_a))));
}

inline __m128i load(const uint32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

// Twists words [from, to) with the far word at offset `far` (mod N).
void twist_run(uint32_t* mt, int from, int to, int far) {
  int i = from;
  for (; i + 4 <= to; i += 4)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(mt + i),
                     twist4(load(mt + i), load(mt + i + 1), load(mt + i + far)));
  for (; i < to; ++i) mt[i] = twist(mt[i], mt[i + 1], mt[i + far]);
}

void regenerate(uint32_t* mt) {
  twist_run(mt, 0, kN - kM, kM);       // far words ahead, still old
  twist_run(mt, kN - kM, kN - 1, kM - kN);  // far words behind, already new
  mt[kN - 1] = twist(mt[kN - 1], mt[0], mt[kM - 1]);
}

inline uint32_t temper(uint32_t y) {
  y ^= y >> 11;
  y ^= (y << 7) & mask_b4;
  y ^= (y << 15) & mask_c4;
  return y ^ (y >> 18);
}

inline __m128i temper4(__m128i y) {
  y = _mm_xor_si128(y, _mm_srli_epi32(y, 11));
  y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 7), _mm_set1_epi32(static_cast<int>(mask_b4))));
  y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 15), _mm_set1_epi32(static_cast<int>(mask_c4))));
  return _mm_xor_si128(y, _mm_srli_epi32(y, 18));
}

void fill_raw(Mt19937State& s, int n, uint32_t* r) {
  int p = s.position >= 0 && s.position <= kN ? s.position : kN;  // a damaged image regenerates
  for (int done = 0; done < n;) {
    if (p == kN) {
      regenerate(s.mt);
      p = 0;
    }
    const int count = n - done < kN - p ? n - done : kN - p;
    int k = 0;
    for (; k + 4 <= count; k += 4)
      _mm_storeu_si128(reinterpret_cast<__m128i*>(r + done + k), temper4(load(s.mt + p + k)));
    for (; k < count; ++k) r[done + k] = temper(s.mt[p + k]);
    done += count;
    p += count;
  }
  s.position = p;
}

void seed(Mt19937State& s, int n, const uint32_t* params) {
  mt_key_seeding(s.mt, n, params);
  s.position = kN;
}

// The engine as SeedOnlyWordEngine sees it.
struct Mt19937Engine {
  using State = Mt19937State;
  static void seed(State& s, int n, const uint32_t* params) { ::seed(s, n, params); }
  static void fill_raw(State& s, int n, uint32_t* r) { ::fill_raw(s, n, r); }
  // u = y 2^-32 exactly, so a + y((b - a) 2^-32) is a + (b - a) u.
  static constexpr double kUnit = dbInv2P32;
};

}  // namespace

using Mt19937Functions = SeedOnlyWordEngine<Mt19937Engine>;

int __vslBRngMT19937InitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  return Mt19937Functions::init(method, stream, n, params);
}

int __vsliBRngMT19937(orx_rng_stream* stream, int n, uint32_t* r) {
  return Mt19937Functions::raw(stream, n, r);
}

int __vsldBRngMT19937(orx_rng_stream* stream, int n, double* r, double a, double b) {
  return Mt19937Functions::uniform(stream, n, r, a, b);
}

int __vslsBRngMT19937(orx_rng_stream* stream, int n, float* r, float a, float b) {
  return Mt19937Functions::uniform(stream, n, r, a, b);
}
