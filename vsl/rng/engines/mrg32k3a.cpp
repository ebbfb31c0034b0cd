// MRG32K3A: x1[n] = (1403580 x1[n-2] - 810728 x1[n-3]) mod m1,
// x2[n] = (527612 x2[n-1] - 1370589 x2[n-3]) mod m2, value z = x1[n] - x2[n]
// (+ m1 when negative). The state holds each component oldest first:
// (x[n-3], x[n-2], x[n-1]). A step advances, then hands out its z.
//
// Vector form: a request of n values is cut into eight segments of
// L = n / 8 values; each segment's starting state is the state advanced by a
// multiple of L (products of precomputed matrix powers A^(2^k)), and the
// eight segments run as the lanes of four registers, so every value equals
// the serial recurrence's. The last n mod 8 values are computed serially.
#include <emmintrin.h>

#include <bit>

#include "orx/rng.h"
#include "vsl/rng/engines/engine_params.h"
#include "vsl/rng/engines/mod_arith.h"
#include "vsl/rng/engines/uniform_map.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

constexpr uint32_t ModX = 4294967087u;  // m1 = 2^32 - 209
constexpr uint32_t ModY = 4294944443u;  // m2 = 2^32 - 22853
constexpr uint32_t SX1 = 1403580, SX0 = 810728;
constexpr uint32_t SY2 = 527612, SY0 = 1370589;
constexpr double InvModX = 0x1.000000d10000bp-32;  // bits 0x3DF000000D10000B
static_assert(std::bit_cast<uint64_t>(InvModX) == 0x3DF000000D10000B);
// Coefficient rows of x[n-1], x[n-2], x[n-3], negatives held modulo m.
constexpr uint32_t kRowX[3] = {0, SX1, ModX - SX0};
constexpr uint32_t kRowY[3] = {SY2, 0, ModY - SY0};

struct MrgState {
  uint32_t x1[3];
  uint32_t x2[3];
};

// A^(2^k) for both components: a skip by L multiplies the powers of L's bits.
struct PowerTable {
  Matrix3 x[64], y[64];
};
constexpr PowerTable make_powers() {
  PowerTable t{};
  t.x[0] = companion(kRowX);
  t.y[0] = companion(kRowY);
  for (int k = 1; k < 64; ++k) {
    t.x[k] = multiply(t.x[k - 1], t.x[k - 1], ModX);
    t.y[k] = multiply(t.y[k - 1], t.y[k - 1], ModY);
  }
  return t;
}
constexpr PowerTable kPowers = make_powers();

void skip(MrgState& s, uint64_t steps) {
  for (int k = 0; steps != 0; ++k, steps >>= 1)
    if (steps & 1) {
      apply(kPowers.x[k], s.x1, ModX);
      apply(kPowers.y[k], s.x2, ModY);
    }
}

// One serial step; returns z.
inline uint32_t step(MrgState& s) {
  uint64_t p1 = uint64_t{SX1} * s.x1[1] + uint64_t{SX0} * (ModX - s.x1[0]);
  const uint32_t y1 = static_cast<uint32_t>(p1 % ModX);
  uint64_t p2 = uint64_t{SY2} * s.x2[2] + uint64_t{SY0} * (ModY - s.x2[0]);
  const uint32_t y2 = static_cast<uint32_t>(p2 % ModY);
  s.x1[0] = s.x1[1], s.x1[1] = s.x1[2], s.x1[2] = y1;
  s.x2[0] = s.x2[1], s.x2[1] = s.x2[2], s.x2[2] = y2;
  return y1 >= y2 ? y1 - y2 : y1 - y2 + ModX;
}

// ---- two lanes of 64-bit words, values in the low dwords ----

inline __m128i broadcast(uint32_t v) { return _mm_set1_epi64x(v); }

// t + m when the 64-bit t is negative (|t| < 2^32), else t.
inline __m128i add_if_negative(__m128i t, __m128i m) {
  const __m128i negative = _mm_shuffle_epi32(t, _MM_SHUFFLE(3, 3, 1, 1));
  return _mm_add_epi64(t, _mm_and_si128(negative, m));
}
// p (below 2^64) folded once: high*c + low, where 2^32 = c modulo m.
inline __m128i fold(__m128i p, __m128i c) {
  return _mm_add_epi64(_mm_mul_epu32(_mm_srli_epi64(p, 32), c),
                       _mm_and_si128(p, _mm_set1_epi64x(0xFFFFFFFF)));
}

struct Lanes {
  __m128i x1[3], x2[3];
};

// One step of two lanes; returns z in the low dwords.
inline __m128i step_lanes(Lanes& v) {
  const __m128i m1 = broadcast(ModX), m2 = broadcast(ModY);
  const __m128i p1 = _mm_add_epi64(_mm_mul_epu32(v.x1[1], broadcast(SX1)),
                                   _mm_mul_epu32(_mm_sub_epi64(m1, v.x1[0]), broadcast(SX0)));
  // p1 < 2^54: one fold leaves less than 2 m1.
  const __m128i y1 = add_if_negative(_mm_sub_epi64(fold(p1, broadcast(209)), m1), m1);
  const __m128i p2 = _mm_add_epi64(_mm_mul_epu32(v.x2[2], broadcast(SY2)),
                                   _mm_mul_epu32(_mm_sub_epi64(m2, v.x2[0]), broadcast(SY0)));
  // p2 < 2^54: two folds leave less than 2 m2.
  const __m128i c2 = broadcast(22853);
  const __m128i y2 = add_if_negative(_mm_sub_epi64(fold(fold(p2, c2), c2), m2), m2);
  v.x1[0] = v.x1[1], v.x1[1] = v.x1[2], v.x1[2] = y1;
  v.x2[0] = v.x2[1], v.x2[1] = v.x2[2], v.x2[2] = y2;
  return add_if_negative(_mm_sub_epi64(y1, y2), m1);
}

Lanes load_lanes(const MrgState& a, const MrgState& b) {
  Lanes v;
  for (int i = 0; i < 3; ++i) {
    v.x1[i] = _mm_set_epi64x(b.x1[i], a.x1[i]);
    v.x2[i] = _mm_set_epi64x(b.x2[i], a.x2[i]);
  }
  return v;
}

constexpr int kRegisters = 4;
constexpr int kSegments = 2 * kRegisters;

// Writers of one step's values, one per segment of length L; z[k] holds the
// values of segments 2k and 2k + 1.
struct RawOut {
  uint32_t* r;
  void put(int t, int L, const __m128i z[kRegisters]) const {
    for (int k = 0; k < kRegisters; ++k) {
      r[2 * k * L + t] = static_cast<uint32_t>(_mm_cvtsi128_si32(z[k]));
      r[(2 * k + 1) * L + t] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(z[k], 2)));
    }
  }
  void put_one(int i, uint32_t z) const { r[i] = z; }
};
struct DoubleOut {
  double* r;
  DoubleMap map;
  void put(int t, int L, const __m128i z[kRegisters]) const {
    for (int k = 0; k < kRegisters; ++k) {
      const __m128d d = map2(map, u32_lanes_to_pd(z[k]));
      _mm_storel_pd(r + 2 * k * L + t, d);
      _mm_storeh_pd(r + (2 * k + 1) * L + t, d);
    }
  }
  void put_one(int i, uint32_t z) const { r[i] = map_one(map, z); }
};
struct FloatOut {
  float* r;
  FloatMap map;
  void put(int t, int L, const __m128i z[kRegisters]) const {
    for (int k = 0; k < kRegisters; k += 2) {
      const __m128 f = map4(map, u32_lanes_to_pd(z[k]), u32_lanes_to_pd(z[k + 1]));
      float* base = r + 2 * k * L + t;
      _mm_store_ss(base, f);
      _mm_store_ss(base + L, _mm_shuffle_ps(f, f, 1));
      _mm_store_ss(base + 2 * L, _mm_shuffle_ps(f, f, 2));
      _mm_store_ss(base + 3 * L, _mm_shuffle_ps(f, f, 3));
    }
  }
  void put_one(int i, uint32_t z) const { r[i] = map_one(map, z); }
};

// Below this length the segment set-up costs more than the lanes save.
constexpr int kLaneThreshold = 128;

template <class Out>
void generate(MrgState& s, int n, const Out& out) {
  int i = 0;
  if (n >= kLaneThreshold) {
    const int L = n / kSegments;
    MrgState start[kSegments];
    start[0] = s;
    for (int j = 1; j < kSegments; ++j) {
      start[j] = start[j - 1];
      skip(start[j], static_cast<uint64_t>(L));
    }
    Lanes v[kRegisters];
    for (int k = 0; k < kRegisters; ++k) v[k] = load_lanes(start[2 * k], start[2 * k + 1]);
    for (int t = 0; t < L; ++t) {
      __m128i z[kRegisters];
      for (int k = 0; k < kRegisters; ++k) z[k] = step_lanes(v[k]);
      out.put(t, L, z);
    }
    // The last segment ends where the whole kSegments * L steps end.
    const Lanes& last = v[kRegisters - 1];
    for (int k = 0; k < 3; ++k) {
      s.x1[k] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(last.x1[k], 2)));
      s.x2[k] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(last.x2[k], 2)));
    }
    i = kSegments * L;
  }
  for (; i < n; ++i) out.put_one(i, step(s));
}

void seed(MrgState& s, int n, const uint32_t* params) {
  uint32_t w[6] = {1, 1, 1, 1, 1, 1};
  for (int i = 0; i < 6 && i < n; ++i) w[i] = params[i];
  for (int i = 0; i < 3; ++i) {
    s.x1[i] = w[i] >= ModX ? w[i] - ModX : w[i];
    s.x2[i] = w[i + 3] >= ModY ? w[i + 3] - ModY : w[i + 3];
  }
  if (s.x1[0] == 0 && s.x1[1] == 0 && s.x1[2] == 0) s.x1[0] = 1;
  if (s.x2[0] == 0 && s.x2[1] == 0 && s.x2[2] == 0) s.x2[0] = 1;
}

}  // namespace

int __vslBRngMRG32K3AInitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  if (method == ORX_RNG_INIT_LEAPFROG) return ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED;
  if (method != ORX_RNG_INIT_SEED && method != ORX_RNG_INIT_SKIPAHEAD)
    return ORX_RNG_ERROR_BAD_METHOD;
  if (params_missing(method, n, params)) return ORX_RNG_ERROR_NULL_POINTER;
  MrgState& s = *state_of<MrgState>(stream);
  if (method == ORX_RNG_INIT_SEED) {
    seed(s, n, params);
  } else {
    const uint64_t k = skip_count(params);
    __vsliVect3PowMod(s.x1, kRowX, ModX, k);
    __vsliVect3PowMod(s.x2, kRowY, ModY, k);
  }
  return 0;
}

int __vsliBRngMRG32K3A(orx_rng_stream* stream, int n, uint32_t* r) {
  generate(*state_of<MrgState>(stream), n, RawOut{r});
  return 0;
}

int __vsldBRngMRG32K3A(orx_rng_stream* stream, int n, double* r, double a, double b) {
  generate(*state_of<MrgState>(stream), n, DoubleOut{r, double_map(a, b, InvModX)});
  return 0;
}

int __vslsBRngMRG32K3A(orx_rng_stream* stream, int n, float* r, float a, float b) {
  generate(*state_of<MrgState>(stream), n, FloatOut{r, float_map(a, b, InvModX)});
  return 0;
}
