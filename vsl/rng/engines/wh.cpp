// WH: 273 sets of four Wichmann-Hill components x[i] <- a[i]*x[i] mod m[i].
// A step hands out u = frac(((x0/m0 + x1/m1) + x2/m2) + x3/m3) of the state
// as it stands (xi/mi computed as xi times the double 1/mi), then advances.
// The set is the sub-generator index of the stream's identifier.
//
// Vector form: each component runs four lanes of consecutive steps in
// doubles, advanced together by a^4 mod m; the products stay below 2^48, so
// the residues (quotient by the reciprocal, then at most one correction
// either way) are exact and equal the serial integer ones.
#include <emmintrin.h>

#include "orx/rng.h"
#include "vsl/rng/engines/engine_params.h"
#include "vsl/rng/engines/mod_arith.h"
#include "vsl/rng/engines/uniform_map.h"
#include "vsl/rng/engines/wh_params.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

struct WhState {
  uint32_t x[4];
  uint32_t a[4];
};

struct WhSet {
  const uint32_t* m;
  const double* inverse;
};

// The parameter set: the sub-generator index of the stream's identifier
// (validated when the stream was made; anything else falls back to set 0).
int set_index(const orx_rng_stream* stream) {
  int32_t index, offset;
  __vslGetBrngBaseOffset(static_cast<int32_t>(stream->BrngId), &index, &offset);
  return offset >= 0 && offset < kWhSets ? offset : 0;
}

WhSet set_of(const orx_rng_stream* stream) {
  const int s = set_index(stream);
  return {_vsl_WH_M[s], _vsldWH_IM_Tab[s]};
}

inline double unit_value(const uint32_t x[4], const double inverse[4]) {
  const double s = ((x[0] * inverse[0] + x[1] * inverse[1]) + x[2] * inverse[2]) + x[3] * inverse[3];
  return s - static_cast<double>(static_cast<int>(s));
}

inline void step(WhState& s, const WhSet& set) {
  for (int i = 0; i < 4; ++i) s.x[i] = mul_mod(s.a[i], s.x[i], set.m[i]);
}

// x*A mod m for two lanes of doubles (x, A below 2^24).
inline __m128d mul_mod_lanes(__m128d x, __m128d a, __m128d m, __m128d inverse) {
  const __m128d p = _mm_mul_pd(x, a);
  const __m128d q = _mm_cvtepi32_pd(_mm_cvttpd_epi32(_mm_mul_pd(p, inverse)));
  __m128d r = _mm_sub_pd(p, _mm_mul_pd(q, m));
  r = _mm_add_pd(r, _mm_and_pd(_mm_cmplt_pd(r, _mm_setzero_pd()), m));
  return _mm_sub_pd(r, _mm_and_pd(_mm_cmpge_pd(r, m), m));
}

// Runs whole blocks of four steps in lanes, handing each block's states
// (component i, steps 0-1 and 2-3) to emit(block start, x), then the rest
// serially through emit_one(index, state). Leaves the state after n steps.
template <class Block, class One>
void run(WhState& s, const WhSet& set, int n, Block&& emit, One&& emit_one) {
  int i = 0;
  if (n >= 8) {
    __m128d x[4][2], a4[4], m[4], inverse[4];
    WhState t = s;
    double lanes[4][4];
    for (int j = 0; j < 4; ++j) {
      for (int c = 0; c < 4; ++c) lanes[c][j] = t.x[c];
      step(t, set);
    }
    for (int c = 0; c < 4; ++c) {
      x[c][0] = _mm_loadu_pd(lanes[c]);
      x[c][1] = _mm_loadu_pd(lanes[c] + 2);
      a4[c] = _mm_set1_pd(__vsliPowMod(s.a[c], 4, set.m[c]));
      m[c] = _mm_set1_pd(set.m[c]);
      inverse[c] = _mm_set1_pd(set.inverse[c]);
    }
    for (; i + 4 <= n; i += 4) {
      emit(i, x);
      for (int c = 0; c < 4; ++c)
        for (int h = 0; h < 2; ++h) x[c][h] = mul_mod_lanes(x[c][h], a4[c], m[c], inverse[c]);
    }
    for (int c = 0; c < 4; ++c) s.x[c] = static_cast<uint32_t>(_mm_cvtsd_f64(x[c][0]));
  }
  for (; i < n; ++i) {
    emit_one(i, s);
    step(s, set);
  }
}

// The four unit values of a block, steps 0-1 and 2-3.
inline void unit_values(__m128d x[4][2], const WhSet& set, __m128d u[2]) {
  for (int h = 0; h < 2; ++h) {
    __m128d sum = _mm_add_pd(_mm_mul_pd(x[0][h], _mm_set1_pd(set.inverse[0])),
                             _mm_mul_pd(x[1][h], _mm_set1_pd(set.inverse[1])));
    sum = _mm_add_pd(sum, _mm_mul_pd(x[2][h], _mm_set1_pd(set.inverse[2])));
    sum = _mm_add_pd(sum, _mm_mul_pd(x[3][h], _mm_set1_pd(set.inverse[3])));
    u[h] = _mm_sub_pd(sum, _mm_cvtepi32_pd(_mm_cvttpd_epi32(sum)));
  }
}

void fill_units(WhState& s, const WhSet& set, int n, double* u) {
  run(
      s, set, n,
      [&](int i, __m128d x[4][2]) {
        __m128d v[2];
        unit_values(x, set, v);
        _mm_storeu_pd(u + i, v[0]);
        _mm_storeu_pd(u + i + 2, v[1]);
      },
      [&](int i, const WhState& t) { u[i] = unit_value(t.x, set.inverse); });
}

template <class Out, class Map>
void fill_mapped_units(orx_rng_stream* stream, int n, Out* r, const Map& map) {
  WhState& s = *state_of<WhState>(stream);
  const WhSet set = set_of(stream);
  fill_mapped<double>(n, r, map, [&](int count, double* u) { fill_units(s, set, count, u); });
}

void seed(WhState& s, const orx_rng_stream* stream, int n, const uint32_t* params) {
  const int set = set_index(stream);
  for (int i = 0; i < 4; ++i) {
    const uint32_t x = i < n ? params[i] % _vsl_WH_M[set][i] : 0;
    s.x[i] = x == 0 ? 1 : x;
    s.a[i] = _vsl_WH_A[set][i];
  }
}

}  // namespace

int __vslBRngWHInitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  if (method < 0 || method > 2) return ORX_RNG_ERROR_BAD_METHOD;
  if (params_missing(method, n, params)) return ORX_RNG_ERROR_NULL_POINTER;
  WhState& s = *state_of<WhState>(stream);
  const WhSet set = set_of(stream);
  if (method == ORX_RNG_INIT_SEED) {
    seed(s, stream, n, params);
  } else if (method == ORX_RNG_INIT_LEAPFROG) {
    for (int i = 0; i < 4; ++i) {
      s.x[i] = mul_mod(s.x[i], __vsliPowMod(s.a[i], params[0], set.m[i]), set.m[i]);
      s.a[i] = __vsliPowMod(s.a[i], static_cast<uint32_t>(n), set.m[i]);
    }
  } else {
    const uint64_t k = skip_count(params);
    for (int i = 0; i < 4; ++i) s.x[i] = mul_mod(__vsliPowMod(s.a[i], k, set.m[i]), s.x[i], set.m[i]);
  }
  return 0;
}

// One 16-byte word per value: the four components as they stand.
int __vsliBRngWH(orx_rng_stream* stream, int n, uint32_t* r) {
  WhState& s = *state_of<WhState>(stream);
  run(
      s, set_of(stream), n,
      [&](int i, __m128d x[4][2]) {
        // Lanes hold one component over four steps; transpose to one step's four.
        __m128i c[4];
        for (int k = 0; k < 4; ++k)
          c[k] = _mm_unpacklo_epi64(_mm_cvttpd_epi32(x[k][0]), _mm_cvttpd_epi32(x[k][1]));
        const __m128i t01 = _mm_unpacklo_epi32(c[0], c[1]), t23 = _mm_unpacklo_epi32(c[2], c[3]);
        const __m128i u01 = _mm_unpackhi_epi32(c[0], c[1]), u23 = _mm_unpackhi_epi32(c[2], c[3]);
        auto* out = reinterpret_cast<__m128i*>(r + 4 * i);
        _mm_storeu_si128(out, _mm_unpacklo_epi64(t01, t23));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi64(t01, t23));
        _mm_storeu_si128(out + 2, _mm_unpacklo_epi64(u01, u23));
        _mm_storeu_si128(out + 3, _mm_unpackhi_epi64(u01, u23));
      },
      [&](int i, const WhState& t) {
        for (int k = 0; k < 4; ++k) r[4 * i + k] = t.x[k];
      });
  return 0;
}

int __vsldBRngWH(orx_rng_stream* stream, int n, double* r, double a, double b) {
  fill_mapped_units(stream, n, r, double_map(a, b, 1.0));
  return 0;
}

int __vslsBRngWH(orx_rng_stream* stream, int n, float* r, float a, float b) {
  fill_mapped_units(stream, n, r, float_map(a, b, 1.0));
  return 0;
}
