// MCG59: x <- a*x mod 2^59, a = 13^13. A step hands out x as it stands, then
// advances.
//
// The fills advance sixteen lanes at a time by a^16 (after computing the
// first sixteen values serially) and finish the last n mod 16 serially; the
// 64-bit products are built from 32x32-bit halves, and only the low 59 bits
// are kept, so every value equals the serial recurrence's.
#include <emmintrin.h>

#include "orx/rng.h"
#include "vsl/rng/engines/congruential_lanes.h"
#include "vsl/rng/engines/engine_params.h"
#include "vsl/rng/engines/lane_sinks.h"
#include "vsl/rng/engines/mod_arith.h"
#include "vsl/rng/engines/uniform_map.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

struct Mcg59State {
  uint64_t x;
  uint64_t a;
};

constexpr uint64_t kMultiplier = 302875106592253;  // 13^13
constexpr double dbInvMax = 0x1p-59;

// (x*a) mod 2^64 from halves: lo*lo + ((hi_x*lo_a + lo_x*hi_a) << 32), then
// the low 59 bits. a_lo holds a's low half, a_hi its high half (low dwords).
inline __m128i mul_mod_lanes(__m128i x, __m128i a_lo, __m128i a_hi) {
  const __m128i low = _mm_mul_epu32(x, a_lo);
  const __m128i cross =
      _mm_add_epi64(_mm_mul_epu32(_mm_srli_epi64(x, 32), a_lo), _mm_mul_epu32(x, a_hi));
  const __m128i p = _mm_add_epi64(low, _mm_slli_epi64(cross, 32));
  return _mm_and_si128(p, _mm_set1_epi64x(static_cast<long long>(kMask59)));
}

// The stream's multiplier, serially and as a^16 in lanes.
struct Mcg59Steps {
  using Word = uint64_t;
  uint64_t a;
  __m128i a_lo, a_hi;
  explicit Mcg59Steps(uint64_t multiplier) : a(multiplier) {
    const uint64_t power = __vsliPowMod2P59(multiplier, kCongruentialLanes);
    a_lo = _mm_set1_epi64x(static_cast<long long>(power & 0xFFFFFFFF));
    a_hi = _mm_set1_epi64x(static_cast<long long>(power >> 32));
  }
  uint64_t next(uint64_t x) const { return (a * x) & kMask59; }
  __m128i advance(__m128i v) const { return mul_mod_lanes(v, a_lo, a_hi); }
};

template <class Sink>
void generate(Mcg59State& s, int n, const Sink& out) {
  if (n > 0) s.x = generate_in_lanes(Mcg59Steps(s.a), s.x, n, out);
}

}  // namespace

int __vslBRngMCG59InitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  if (method < 0 || method > 2) return ORX_RNG_ERROR_BAD_METHOD;
  if (params_missing(method, n, params)) return ORX_RNG_ERROR_NULL_POINTER;
  Mcg59State& s = *state_of<Mcg59State>(stream);
  if (method == ORX_RNG_INIT_SEED) {
    uint64_t x = 1;
    if (n == 1) x = params[0];
    if (n >= 2) x = (params[0] + (uint64_t{params[1]} << 32)) & kMask59;
    s.x = x == 0 ? 1 : x;
    s.a = kMultiplier;
  } else if (method == ORX_RNG_INIT_LEAPFROG) {
    s.x = (s.x * __vsliPowMod2P59(s.a, params[0])) & kMask59;
    s.a = __vsliPowMod2P59(s.a, static_cast<uint32_t>(n));
  } else {
    s.x = (__vsliPowMod2P59(s.a, skip_count(params)) * s.x) & kMask59;
  }
  return 0;
}

// One 64-bit word per value, written as two 32-bit words, low first.
int __vsliBRngMCG59(orx_rng_stream* stream, int n, uint32_t* r) {
  generate(*state_of<Mcg59State>(stream), n, Raw64Sink{r});
  return 0;
}

int __vsldBRngMCG59(orx_rng_stream* stream, int n, double* r, double a, double b) {
  generate(*state_of<Mcg59State>(stream), n, DoubleSink<U63Lanes>{r, double_map(a, b, dbInvMax)});
  return 0;
}

int __vslsBRngMCG59(orx_rng_stream* stream, int n, float* r, float a, float b) {
  generate(*state_of<Mcg59State>(stream), n, FloatSink<U63Lanes>{r, float_map(a, b, dbInvMax)});
  return 0;
}
