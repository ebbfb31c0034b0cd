// R250: x[n] = x[n-250] XOR x[n-103] over 32-bit words. The state is a ring
// of the last 250 words with the oldest at `position`, and the second lag
// (103). A step replaces the oldest word by the new one and hands it out.
//
// Vector form: x[n-103] sits 147 places after the oldest word in the ring,
// and every word a step reads was written at least 103 steps before, so
// four consecutive steps are four independent XORs of contiguous words,
// done in one register wherever neither range wraps around the ring.
#include <emmintrin.h>

#include "orx/rng.h"
#include "vsl/rng/engines/seed_only_word_engine.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

constexpr int kWords = 250;
constexpr int kLag = 103;
constexpr int kTap = kWords - kLag;  // ring distance from the oldest word to x[n-103]
constexpr double dbInv2P32M1 = 0x1p-32;  // 2^-32, which keeps every value below b

struct R250State {
  uint32_t w[kWords];
  int32_t position;
  int32_t lag;
};

// Steps of the ring, new words to r[0..n).
void fill_raw(R250State& s, int n, uint32_t* r) {
  // A position outside the ring (a damaged image) restarts at 0 rather than
  // reading outside the state.
  int p = s.position >= 0 && s.position < kWords ? s.position : 0;
  int done = 0;
  while (done < n) {
    int q = p + kTap < kWords ? p + kTap : p + kTap - kWords;
    // Steps before either the written or the read range wraps.
    int run = n - done;
    if (run > kWords - p) run = kWords - p;
    if (run > kWords - q) run = kWords - q;
    int k = 0;
    for (; k + 4 <= run; k += 4) {
      const __m128i x = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s.w + p + k)),
                                      _mm_loadu_si128(reinterpret_cast<const __m128i*>(s.w + q + k)));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(s.w + p + k), x);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(r + done + k), x);
    }
    for (; k < run; ++k) r[done + k] = s.w[p + k] ^= s.w[q + k];
    done += run;
    p += run;
    if (p == kWords) p = 0;
  }
  s.position = p;
}

void seed(R250State& s, int n, const uint32_t* params) {
  if (n >= kWords) {
    for (int i = 0; i < kWords; ++i) s.w[i] = params[i];
  } else {
    uint32_t y = n > 0 && params[0] != 0 ? params[0] : 1;
    for (int i = 0; i < kWords; ++i) s.w[i] = y = 69069u * y;
    // Make 32 words linearly independent: word 3 + 7j gets bit 31 - j as its
    // leading one.
    for (int j = 0; j < 32; ++j) {
      uint32_t& word = s.w[3 + 7 * j];
      word = (word & (0xFFFFFFFFu >> j)) | (0x80000000u >> j);
    }
  }
  s.position = 0;
  s.lag = kLag;
}

// The engine as SeedOnlyWordEngine sees it.
struct R250Engine {
  using State = R250State;
  static void seed(State& s, int n, const uint32_t* params) { ::seed(s, n, params); }
  static void fill_raw(State& s, int n, uint32_t* r) { ::fill_raw(s, n, r); }
  static constexpr double kUnit = dbInv2P32M1;
};

}  // namespace

using R250Functions = SeedOnlyWordEngine<R250Engine>;

int __vslBRngR250InitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  return R250Functions::init(method, stream, n, params);
}

int __vsliBRngR250(orx_rng_stream* stream, int n, uint32_t* r) {
  return R250Functions::raw(stream, n, r);
}

int __vsldBRngR250(orx_rng_stream* stream, int n, double* r, double a, double b) {
  return R250Functions::uniform(stream, n, r, a, b);
}

int __vslsBRngR250(orx_rng_stream* stream, int n, float* r, float a, float b) {
  return R250Functions::uniform(stream, n, r, a, b);
}
