// MCG31M1: x <- a*x mod (2^31 - 1), a = 1132489760. A step hands out x as it
// stands, then advances.
//
// The fills compute sixteen values serially, then advance sixteen lanes at a
// time by a^16 (64-bit products, Mersenne reduction), and finish the last
// n mod 16 serially; every value equals the serial recurrence's.
#include <emmintrin.h>

#include "orx/rng.h"
#include "vsl/rng/engines/engine_params.h"
#include "vsl/rng/engines/lane_sinks.h"
#include "vsl/rng/engines/mod_arith.h"
#include "vsl/rng/engines/uniform_map.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

// Lanes advanced together: enough independent products to hide the
// multiplier's latency.
constexpr int kLanes = 16;

struct Mcg31State {
  uint32_t x;
  uint32_t a;
};

constexpr uint32_t kMultiplier = 1132489760;
constexpr double dbInv2P31M1 = 0x1.0000000200000p-31;  // bits 0x3E00000000200000

// x*A mod 2^31 - 1 in the low dword of each 64-bit lane. The sum of the two
// parts is below 2M and never 2M (the residue is never 0), so one
// subtraction, decided by the sign of the 32-bit difference, completes it.
inline __m128i mul_mod_lanes(__m128i x, __m128i a) {
  const __m128i m = _mm_set_epi32(0, kMersenne31, 0, kMersenne31);
  const __m128i p = _mm_mul_epu32(x, a);
  const __m128i r = _mm_add_epi64(_mm_and_si128(p, m), _mm_srli_epi64(p, 31));
  const __m128i t = _mm_sub_epi32(r, m);
  return _mm_add_epi32(t, _mm_and_si128(_mm_srai_epi32(t, 31), m));
}

// The first kLanes values serially, then blocks of kLanes lanes advanced by
// a^kLanes, the rest serially; each value goes to the sink.
template <class Sink>
void generate(Mcg31State& s, int n, const Sink& out) {
  uint32_t x = s.x;
  int i = 0;
  if (n >= 2 * kLanes) {
    alignas(16) uint64_t first[kLanes];
    for (; i < kLanes; ++i) {
      first[i] = x;
      out.one(i, x);
      x = mul_mod_mersenne31(s.a, x);
    }
    const uint32_t step = __vsliPowMod2P31M1(s.a, kLanes);
    const __m128i a = _mm_set_epi32(0, step, 0, step);
    __m128i v[kLanes / 2];
    for (int k = 0; k < kLanes / 2; ++k)
      v[k] = _mm_load_si128(reinterpret_cast<const __m128i*>(first) + k);
    for (; i + kLanes <= n; i += kLanes) {
      for (int k = 0; k < kLanes / 2; ++k) v[k] = mul_mod_lanes(v[k], a);
      out.block8(i, v);
      out.block8(i + 8, v + 4);
    }
    // The last lane holds value i - 1; the next is one step on.
    const uint32_t last = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(v[kLanes / 2 - 1], 2)));
    x = mul_mod_mersenne31(s.a, last);
  }
  for (; i < n; ++i) {
    out.one(i, x);
    x = mul_mod_mersenne31(s.a, x);
  }
  s.x = x;
}

}  // namespace

int __vslBRngMCG31M1InitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  if (method < 0 || method > 2) return ORX_RNG_ERROR_BAD_METHOD;
  if (params_missing(method, n, params)) return ORX_RNG_ERROR_NULL_POINTER;
  Mcg31State& s = *state_of<Mcg31State>(stream);
  if (method == ORX_RNG_INIT_SEED) {
    const uint32_t x = n >= 1 ? params[0] % kMersenne31 : 1;
    s.x = x == 0 ? 1 : x;
    s.a = kMultiplier;
  } else if (method == ORX_RNG_INIT_LEAPFROG) {
    s.x = mul_mod_mersenne31(s.x, __vsliPowMod2P31M1(s.a, params[0]));
    s.a = __vsliPowMod2P31M1(s.a, static_cast<uint32_t>(n));
  } else {
    s.x = mul_mod_mersenne31(__vsliPowMod2P31M1(s.a, skip_count(params)), s.x);
  }
  return 0;
}

int __vsliBRngMCG31M1(orx_rng_stream* stream, int n, uint32_t* r) {
  generate(*state_of<Mcg31State>(stream), n, Raw32Sink{r});
  return 0;
}

int __vsldBRngMCG31M1(orx_rng_stream* stream, int n, double* r, double a, double b) {
  generate(*state_of<Mcg31State>(stream), n,
           DoubleSink<U32Lanes>{r, double_map(a, b, dbInv2P31M1)});
  return 0;
}

int __vslsBRngMCG31M1(orx_rng_stream* stream, int n, float* r, float a, float b) {
  generate(*state_of<Mcg31State>(stream), n, FloatSink<U32Lanes>{r, float_map(a, b, dbInv2P31M1)});
  return 0;
}
