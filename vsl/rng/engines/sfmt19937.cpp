// SFMT19937: the SIMD-oriented fast Mersenne twister of Saito and Matsumoto,
// period 2^19937 - 1, parameters 122-18-1-11-1 (POS1, SL1, SL2 bytes, SR1,
// SR2 bytes), masks DFFFFFEF DDFECB7F BFFAFFFF BFFFFFF6, period-certification
// parity 1 0 0 13C9E684.
//
// State (the first 2504 of the record's 2520 state bytes; the last 16 stay
// unused):
//   uint32 w[624]  the 156 128-bit words of the recursion; 32-bit word 4i+k
//                  is lane k (bits 32k..32k+31) of 128-bit word i;
//   int32 left     32-bit words of the current block not yet handed out; the
//                  next one is w[624 - left]; 0 (after seeding, or when the
//                  block is used up) makes the next output regenerate the
//                  block and start at w[0];
//   int32 reserved always 0. Every output form counts in 32-bit words, so
//                  one position field is enough (64-bit uniform bits keep
//                  their own carry-over, see uniform_bits_sfmt19937.cpp).
// A value outside 0..624 in `left` (a damaged image) counts as 0.
//
// The value of a step is the next 32-bit word of the authors' 32-bit output
// sequence (w[0..623] of each regenerated block, in order).
// - Seeding: the authors' key-array initialisation over the seed words
//   (n <= 0: the key {1}): fill w with the byte 0x8B, mix the key in with the
//   multipliers 1664525 and 1566083941, certify the period with the parity
//   words, zero `left` and `reserved`. Leapfrog -1002, skip-ahead -1003,
//   other methods -2.
// - Raw (WordBytes 16): n 128-bit words written as 4n 32-bit words, the next
//   4n words of the sequence in order. They are whole words of the recursion
//   (lanes 0..3, low first) whenever the position is a multiple of 4, which
//   only a double or float fill of a count not divisible by 4 changes.
// - double / float on [a, b): one 32-bit word x per value, a + x*((b - a)*2^-32)
//   by the shared conversion (uniform_map.h).
// The state copy of this record is bounded by the state area (its WordBytes *
// StateWords, 10000, exceeds the 2520 bytes), so a copy moves the whole state.
//
// Fills convert straight out of the regenerated block: no intermediate buffer.
#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "orx/rng.h"
#include "vsl/rng/engines/seed_only_word_engine.h"
#include "vsl/rng/engines/uniform_map.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

constexpr int kN = 156;       // 128-bit words
constexpr int kN32 = kN * 4;  // 32-bit words
constexpr int kPos1 = 122;
constexpr int kSl1 = 18;  // bits, per 32-bit lane
constexpr int kSl2 = 1;   // bytes, whole 128-bit word
constexpr int kSr1 = 11;  // bits, per 32-bit lane
constexpr int kSr2 = 1;   // bytes, whole 128-bit word
constexpr uint32_t kMask[4] = {0xDFFFFFEF, 0xDDFECB7F, 0xBFFAFFFF, 0xBFFFFFF6};
constexpr uint32_t kParity[4] = {0x00000001, 0x00000000, 0x00000000, 0x13C9E684};
constexpr double dbInv2P32 = 0x1p-32;

struct Sfmt19937State {
  uint32_t w[kN32];
  int32_t left;
  int32_t reserved;
};
static_assert(sizeof(Sfmt19937State) <= 2536 - kHeaderBytes, "state must fit the record");

inline __m128i load(const uint32_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void store(uint32_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// r = a ^ (a <<128 8*SL2) ^ ((b >>32 SR1) & mask) ^ (c >>128 8*SR2) ^ (d <<32 SL1)
inline __m128i recursion(__m128i a, __m128i b, __m128i c, __m128i d, __m128i mask) {
  const __m128i x = _mm_slli_si128(a, kSl2);
  const __m128i y = _mm_srli_si128(c, kSr2);
  const __m128i z = _mm_and_si128(_mm_srli_epi32(b, kSr1), mask);
  const __m128i v = _mm_slli_epi32(d, kSl1);
  return _mm_xor_si128(_mm_xor_si128(_mm_xor_si128(a, x), _mm_xor_si128(z, y)), v);
}

// One block: word i from words i, i + POS1 (mod N) and the two newest words
// i - 2, i - 1 (mod N); the first N - POS1 words read old words ahead, the
// rest read words already renewed in this pass, as in the serial order.
void regenerate(uint32_t* w) {
  const __m128i mask = _mm_setr_epi32(static_cast<int>(kMask[0]), static_cast<int>(kMask[1]),
                                      static_cast<int>(kMask[2]), static_cast<int>(kMask[3]));
  __m128i r1 = load(w + 4 * (kN - 2));
  __m128i r2 = load(w + 4 * (kN - 1));
  int i = 0;
  for (; i < kN - kPos1; ++i) {
    const __m128i r = recursion(load(w + 4 * i), load(w + 4 * (i + kPos1)), r1, r2, mask);
    store(w + 4 * i, r);
    r1 = r2;
    r2 = r;
  }
  for (; i < kN; ++i) {
    const __m128i r = recursion(load(w + 4 * i), load(w + 4 * (i + kPos1 - kN)), r1, r2, mask);
    store(w + 4 * i, r);
    r1 = r2;
    r2 = r;
  }
}

// Hands out the next `count` 32-bit words of the sequence as runs inside the
// block: take(first word, run length, words handed out before the run).
template <class Take>
void hand_out(Sfmt19937State& s, size_t count, Take&& take) {
  int left = s.left >= 0 && s.left <= kN32 ? s.left : 0;
  for (size_t done = 0; done < count;) {
    if (left == 0) {
      regenerate(s.w);
      left = kN32;
    }
    const size_t want = count - done;
    const int run = want < static_cast<size_t>(left) ? static_cast<int>(want) : left;
    take(s.w + (kN32 - left), run, done);
    done += static_cast<size_t>(run);
    left -= run;
  }
  s.left = left;
}

inline uint32_t mix1(uint32_t x) { return (x ^ (x >> 27)) * 1664525u; }
inline uint32_t mix2(uint32_t x) { return (x ^ (x >> 27)) * 1566083941u; }

// Flips the lowest parity bit of the state when the inner product of its
// first 128-bit word with the parity vector is even, which puts the state on
// the orbit of full period.
void certify_period(uint32_t* w) {
  uint32_t inner = 0;
  for (int k = 0; k < 4; ++k) inner ^= w[k] & kParity[k];
  for (int shift = 16; shift > 0; shift >>= 1) inner ^= inner >> shift;
  if (inner & 1u) return;
  for (int k = 0; k < 4; ++k)
    for (uint32_t bit = 1; bit != 0; bit <<= 1)
      if (bit & kParity[k]) {
        w[k] ^= bit;
        return;
      }
}

void seed(Sfmt19937State& s, int n, const uint32_t* key) {
  static constexpr uint32_t kOne = 1;
  if (n <= 0) {
    n = 1;
    key = &kOne;
  }
  constexpr int kLag = 11;                 // the authors' lag for 623 words and more
  constexpr int kMid = (kN32 - kLag) / 2;  // 306
  uint32_t* w = s.w;
  std::memset(w, 0x8B, sizeof s.w);
  const int64_t count = int64_t{n} + 1 > kN32 ? int64_t{n} + 1 : kN32;
  auto at = [](int64_t k) { return static_cast<int>(k % kN32); };

  uint32_t r = mix1(w[0] ^ w[kMid] ^ w[kN32 - 1]);
  w[kMid] += r;
  r += static_cast<uint32_t>(n);
  w[kMid + kLag] += r;
  w[0] = r;
  int i = 1;
  for (int64_t j = 1; j < count; ++j) {  // key words, then the index alone
    r = mix1(w[i] ^ w[at(i + kMid)] ^ w[at(i + kN32 - 1)]);
    w[at(i + kMid)] += r;
    r += (j <= n ? key[j - 1] : 0u) + static_cast<uint32_t>(i);
    w[at(i + kMid + kLag)] += r;
    w[i] = r;
    i = at(i + 1);
  }
  for (int j = 0; j < kN32; ++j) {
    r = mix2(w[i] + w[at(i + kMid)] + w[at(i + kN32 - 1)]);
    w[at(i + kMid)] ^= r;
    r -= static_cast<uint32_t>(i);
    w[at(i + kMid + kLag)] ^= r;
    w[i] = r;
    i = at(i + 1);
  }
  certify_period(w);
  s.left = 0;
  s.reserved = 0;
}

// Seeding as SeedOnlyWordEngine's InitStream sees it.
struct Sfmt19937Engine {
  using State = Sfmt19937State;
  static void seed(State& s, int n, const uint32_t* key) { ::seed(s, n, key); }
};

template <class Out, class Map>
int fill_uniform(orx_rng_stream* stream, int n, Out* r, const Map& map) {
  if (n <= 0) return 0;
  hand_out(
      *state_of<Sfmt19937State>(stream), static_cast<size_t>(n),
      [&](const uint32_t* words, int run, size_t done) { map_values(words, run, r + done, map); });
  return 0;
}

}  // namespace

int __vslBRngSFMT19937InitStream(int method, orx_rng_stream* stream, int n,
                                 const uint32_t* params) {
  return SeedOnlyWordEngine<Sfmt19937Engine>::init(method, stream, n, params);
}

int __vsliBRngSFMT19937(orx_rng_stream* stream, int n, uint32_t* r) {
  if (n <= 0) return 0;
  hand_out(*state_of<Sfmt19937State>(stream), 4 * static_cast<size_t>(n),
           [&](const uint32_t* words, int run, size_t done) {
             std::memcpy(r + done, words, static_cast<size_t>(run) * sizeof(uint32_t));
           });
  return 0;
}

int __vsldBRngSFMT19937(orx_rng_stream* stream, int n, double* r, double a, double b) {
  return fill_uniform(stream, n, r, double_map(a, b, dbInv2P32));
}

int __vslsBRngSFMT19937(orx_rng_stream* stream, int n, float* r, float a, float b) {
  return fill_uniform(stream, n, r, float_map(a, b, dbInv2P32));
}
