// The Gray-code walk of the quasi-random engines with SSE2 fills.
//
// Dimension 1: eight points at a time. Points 8j..8j+7 are point 8j XOR the
// Gray-code combinations (0, v0, v0^v1, v1, v1^v2, v0^v1^v2, v0^v2, v2) of
// rows 0..2, so a block is one broadcast and two 128-bit XORs, and point
// 8j + 8 is point 8j XOR v2 XOR row (lowest zero bit of 8j + 7).
// Dimension 2 and up: each point is the previous one XOR a direction row,
// four coordinates per 128-bit XOR, over column segments of at most 256
// coordinates kept in an aligned local copy (rows are read only as far as
// the dimension goes: the tail of a row is loaded 1 to 3 words wide).
// A coordinate word x becomes a double exactly as (x XOR 2^31) - 2^31 + 2^31:
// the signed conversion of the flipped word, then an exact addition.
#include "vsl/rng/engines/quasi_walk.h"

#include <emmintrin.h>

#include <cstddef>
#include <cstring>

namespace orx::rng {

namespace {

constexpr int kSegment = 256;

inline int lowest_zero_bit(uint32_t k) { return __builtin_ctz(~k); }

// The first w (1..4) words at p; the other lanes 0.
inline __m128i load_part(const uint32_t* p, int w) {
  if (w == 4) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i low = w == 1 ? _mm_cvtsi32_si128(static_cast<int>(p[0]))
                             : _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
  return w == 3 ? _mm_unpacklo_epi64(low, _mm_cvtsi32_si128(static_cast<int>(p[2]))) : low;
}

inline void words_to_pd(__m128i x, __m128d& lo, __m128d& hi) {
  const __m128i flipped = _mm_xor_si128(x, _mm_set1_epi32(INT32_MIN));
  const __m128d two31 = _mm_set1_pd(2147483648.0);
  lo = _mm_add_pd(_mm_cvtepi32_pd(flipped), two31);
  hi = _mm_add_pd(_mm_cvtepi32_pd(_mm_shuffle_epi32(flipped, 0xEE)), two31);
}

// Output sinks: one value, four values, or the first w (1..4) of four.
struct RawSink {
  uint32_t* r;
  void one(size_t i, uint32_t x) const { r[i] = x; }
  void four(size_t i, __m128i x) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(r + i), x); }
  void part(size_t i, __m128i x, int w) const {
    if (w == 4) return four(i, x);
    if (w == 1) {
      r[i] = static_cast<uint32_t>(_mm_cvtsi128_si32(x));
      return;
    }
    _mm_storel_epi64(reinterpret_cast<__m128i*>(r + i), x);
    if (w == 3) r[i + 2] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_unpackhi_epi64(x, x)));
  }
};

struct DoubleSink {
  double* r;
  DoubleMap m;
  void one(size_t i, uint32_t x) const { r[i] = map_one(m, static_cast<double>(x)); }
  void four(size_t i, __m128i x) const {
    __m128d lo, hi;
    words_to_pd(x, lo, hi);
    _mm_storeu_pd(r + i, map2(m, lo));
    _mm_storeu_pd(r + i + 2, map2(m, hi));
  }
  void part(size_t i, __m128i x, int w) const {
    if (w == 4) return four(i, x);
    __m128d lo, hi;
    words_to_pd(x, lo, hi);
    lo = map2(m, lo);
    if (w == 1) {
      _mm_store_sd(r + i, lo);
      return;
    }
    _mm_storeu_pd(r + i, lo);
    if (w == 3) _mm_store_sd(r + i + 2, map2(m, hi));
  }
};

struct FloatSink {
  float* r;
  FloatMap m;
  void one(size_t i, uint32_t x) const { r[i] = map_one(m, static_cast<double>(x)); }
  void four(size_t i, __m128i x) const {
    __m128d lo, hi;
    words_to_pd(x, lo, hi);
    _mm_storeu_ps(r + i, map4(m, lo, hi));
  }
  void part(size_t i, __m128i x, int w) const {
    if (w == 4) return four(i, x);
    __m128d lo, hi;
    words_to_pd(x, lo, hi);
    const __m128 v = map4(m, lo, hi);
    if (w == 1) {
      _mm_store_ss(r + i, v);
      return;
    }
    _mm_storel_pi(reinterpret_cast<__m64*>(r + i), v);
    if (w == 3) _mm_store_ss(r + i + 2, _mm_movehl_ps(v, v));
  }
};

// Dimension 1: values count..count+n-1 are points count+1..count+n.
template <class Sink>
void walk_one_dimension(const QuasiSequence& s, uint32_t t, int n, const Sink& out) {
  const uint32_t* v = s.directions;
  const size_t stride = static_cast<size_t>(s.stride);
  uint32_t x = s.point[0];
  int i = 0;
  for (; i < n && ((t + 1) & 7) != 0; ++i, ++t) {
    x ^= v[lowest_zero_bit(t) * stride];
    out.one(i, x);
  }
  if (n - i >= 8) {
    const uint32_t v0 = v[0], v1 = v[stride], v2 = v[2 * stride];
    const __m128i first = _mm_setr_epi32(0, static_cast<int>(v0), static_cast<int>(v0 ^ v1),
                                         static_cast<int>(v1));
    const __m128i second = _mm_xor_si128(_mm_shuffle_epi32(first, 0x1B),
                                         _mm_set1_epi32(static_cast<int>(v2)));
    for (; n - i >= 8; i += 8, t += 8) {
      x ^= v[lowest_zero_bit(t) * stride];  // point t + 1 = 8j
      const __m128i base = _mm_set1_epi32(static_cast<int>(x));
      out.four(i, _mm_xor_si128(base, first));
      out.four(i + 4, _mm_xor_si128(base, second));
      x ^= v2;  // point 8j + 7
    }
  }
  for (; i < n; ++i, ++t) {
    x ^= v[lowest_zero_bit(t) * stride];
    out.one(i, x);
  }
  s.point[0] = x;
}

// `points` whole points after point `last`, written from out index `at`,
// for d <= 4 G: the point stays in G registers (a point kept in memory would
// put a store-to-load forwarding on the path from one point to the next).
template <int G, class Sink>
void walk_points_in_registers(const QuasiSequence& s, uint32_t last, int points, size_t at,
                              const Sink& out) {
  const int d = s.dimension;
  const int tail = d - 4 * (G - 1);  // 1..4 coordinates in the last register
  const size_t stride = static_cast<size_t>(s.stride);
  __m128i x[G];
  for (int g = 0; g < G - 1; ++g) x[g] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s.point + 4 * g));
  x[G - 1] = load_part(s.point + 4 * (G - 1), tail);
  for (int k = 0; k < points; ++k) {
    const uint32_t* row = s.directions + lowest_zero_bit(last + k) * stride;
    const size_t o = at + static_cast<size_t>(k) * d;
    for (int g = 0; g < G - 1; ++g) {
      x[g] = _mm_xor_si128(x[g], _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + 4 * g)));
      out.four(o + 4 * g, x[g]);
    }
    x[G - 1] = _mm_xor_si128(x[G - 1], load_part(row + 4 * (G - 1), tail));
    out.part(o + 4 * (G - 1), x[G - 1], tail);
  }
  for (int g = 0; g < G - 1; ++g) _mm_storeu_si128(reinterpret_cast<__m128i*>(s.point + 4 * g), x[g]);
  RawSink{s.point}.part(4 * (G - 1), x[G - 1], tail);
}

// The same for any d, over column segments kept in an aligned local copy.
template <class Sink>
void walk_points(const QuasiSequence& s, uint32_t last, int points, size_t at, const Sink& out) {
  const int d = s.dimension;
  const size_t stride = static_cast<size_t>(s.stride);
  alignas(16) uint32_t local[kSegment];
  for (int c0 = 0; c0 < d; c0 += kSegment) {
    const int width = d - c0 < kSegment ? d - c0 : kSegment;
    const int groups = width / 4;
    const int tail = width % 4;
    std::memset(local, 0, sizeof local);
    std::memcpy(local, s.point + c0, static_cast<size_t>(width) * sizeof(uint32_t));
    auto* lanes = reinterpret_cast<__m128i*>(local);
    for (int k = 0; k < points; ++k) {
      const uint32_t* row = s.directions + lowest_zero_bit(last + k) * stride + c0;
      const size_t o = at + static_cast<size_t>(k) * d + c0;
      for (int g = 0; g < groups; ++g) {
        const __m128i x = _mm_xor_si128(_mm_load_si128(lanes + g),
                                        _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + 4 * g)));
        _mm_store_si128(lanes + g, x);
        out.four(o + 4 * g, x);
      }
      if (tail != 0) {
        const __m128i x = _mm_xor_si128(_mm_load_si128(lanes + groups), load_part(row + 4 * groups, tail));
        _mm_store_si128(lanes + groups, x);
        out.part(o + 4 * groups, x, tail);
      }
    }
    std::memcpy(s.point + c0, local, static_cast<size_t>(width) * sizeof(uint32_t));
  }
}

template <class Sink>
void walk(const QuasiSequence& s, uint32_t count, int n, const Sink& out) {
  const int d = s.dimension;
  if (d == 1) return walk_one_dimension(s, count, n, out);
  uint32_t last = count / static_cast<uint32_t>(d);  // the point held
  const int c = static_cast<int>(count % static_cast<uint32_t>(d));
  int done = 0;
  if (c != 0) {  // the rest of the point held
    ++last;
    done = n < d - c ? n : d - c;
    for (int k = 0; k < done; ++k) out.one(k, s.point[c + k]);
  }
  const int points = (n - done) / d;
  if (points > 0) {
    const size_t at = static_cast<size_t>(done);
    if (d <= 4)
      walk_points_in_registers<1>(s, last, points, at, out);
    else if (d <= 8)
      walk_points_in_registers<2>(s, last, points, at, out);
    else if (d <= 12)
      walk_points_in_registers<3>(s, last, points, at, out);
    else if (d <= 16)
      walk_points_in_registers<4>(s, last, points, at, out);
    else
      walk_points(s, last, points, at, out);
    last += static_cast<uint32_t>(points);
    done += points * d;
  }
  if (done < n) {  // the start of the next point
    const uint32_t* row = s.directions + lowest_zero_bit(last) * static_cast<size_t>(s.stride);
    for (int k = 0; k < d; ++k) s.point[k] ^= row[k];
    for (int k = 0; done + k < n; ++k) out.one(done + k, s.point[k]);
  }
}

}  // namespace

void quasi_fill(const QuasiSequence& s, uint32_t count, int n, uint32_t* r) {
  walk(s, count, n, RawSink{r});
}
void quasi_fill(const QuasiSequence& s, uint32_t count, int n, double* r, const DoubleMap& m) {
  walk(s, count, n, DoubleSink{r, m});
}
void quasi_fill(const QuasiSequence& s, uint32_t count, int n, float* r, const FloatMap& m) {
  walk(s, count, n, FloatSink{r, m});
}

}  // namespace orx::rng
