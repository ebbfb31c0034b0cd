// MCG31M1: x <- a*x mod (2^31 - 1), a = 1132489760. A step hands out x as it
// stands, then advances.
//
// The fills compute sixteen values serially, then advance sixteen lanes at a
// time by a^16 (64-bit products, Mersenne reduction), and finish the last
// n mod 16 serially; every value equals the serial recurrence's.
#include <emmintrin.h>

#include <bit>

#include "orx/rng.h"
#include "vsl/rng/engines/congruential_lanes.h"
#include "vsl/rng/engines/engine_params.h"
#include "vsl/rng/engines/lane_sinks.h"
#include "vsl/rng/engines/mod_arith.h"
#include "vsl/rng/engines/uniform_map.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

struct Mcg31State {
  uint32_t x;
  uint32_t a;
};

constexpr uint32_t kMultiplier = 1132489760;
constexpr double dbInv2P31M1 = 0x1.0000000200000p-31;  // bits 0x3E00000000200000
static_assert(std::bit_cast<uint64_t>(dbInv2P31M1) == 0x3E00000000200000);

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

// The stream's multiplier, serially and as a^16 in lanes.
struct Mcg31Steps {
  using Word = uint32_t;
  uint32_t a;
  __m128i power;
  explicit Mcg31Steps(uint32_t multiplier) : a(multiplier) {
    const uint32_t p = __vsliPowMod2P31M1(multiplier, kCongruentialLanes);
    power = _mm_set_epi32(0, static_cast<int>(p), 0, static_cast<int>(p));
  }
  uint32_t next(uint32_t x) const { return mul_mod_mersenne31(a, x); }
  __m128i advance(__m128i v) const { return mul_mod_lanes(v, power); }
};

template <class Sink>
void generate(Mcg31State& s, int n, const Sink& out) {
  if (n > 0) s.x = generate_in_lanes(Mcg31Steps(s.a), s.x, n, out);
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
