// The uniform method over a run of sites: SSE2, two doubles (four floats) per
// step, branch-free, with the scalar rule of site_rules.h for the tail and
// as the fallback when the cells overlap the sites or the partition's ends.
//
// The vector step computes, per lane, k = trunc(min((t - x0) r, 2^30)) and
//   cell = [x0 <= t] * (k + 1 < nx ? k + 1 : nx)
// with the mask [x0 <= t] false for NaN. The clamp to 2^30 keeps the 32-bit
// conversion exact and, since the vector path is taken only for nx <= 2^30,
// turns huge and infinite sites into nx as the scalar rule does. The same
// (t - x0) r is computed as in the scalar rule, so both give identical cells.
#ifndef ORX_DF_SEARCH_UNIFORM_VECTOR_H
#define ORX_DF_SEARCH_UNIFORM_VECTOR_H

#include <emmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "df/search/site_rules.h"

namespace orx::df::search {

inline constexpr int64_t kUniformVectorMaxNx = int64_t{1} << 30;

// 32-bit cells of 4 lanes stored as Index (non-negative, so zero-extended).
template <class Index>
inline void store_cells4(Index* out, __m128i c) {
  if constexpr (std::is_same_v<Index, int32_t>) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), c);
  } else {
    const __m128i zero = _mm_setzero_si128();
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi32(c, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2), _mm_unpackhi_epi32(c, zero));
  }
}

template <class Index>
inline void store_cells2(Index* out, __m128i c) {
  if constexpr (std::is_same_v<Index, int32_t>) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), c);
  } else {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi32(c, _mm_setzero_si128()));
  }
}

// k + 1 where below nx, else nx; zero where the mask is clear.
inline __m128i uniform_cells_from_trunc(__m128i k, __m128i nx, __m128i in) {
  const __m128i k1 = _mm_add_epi32(k, _mm_set1_epi32(1));
  const __m128i below = _mm_cmplt_epi32(k1, nx);
  const __m128i cell = _mm_or_si128(_mm_and_si128(below, k1), _mm_andnot_si128(below, nx));
  return _mm_and_si128(cell, in);
}

// Sites [0, n) -> cells; returns how many were done (a multiple of the width).
template <class Index>
inline int64_t uniform_vector(const double* site, int64_t n, double x0, double r, int64_t nx,
                              Index* cell) {
  const __m128d vx0 = _mm_set1_pd(x0), vr = _mm_set1_pd(r), cap = _mm_set1_pd(0x1p30);
  const __m128i vnx = _mm_set1_epi32(static_cast<int32_t>(nx));
  int64_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128d t0 = _mm_loadu_pd(site + i), t1 = _mm_loadu_pd(site + i + 2);
    // min_pd(q, cap) gives cap for a NaN q; such lanes are masked off anyway.
    const __m128i k0 = _mm_cvttpd_epi32(_mm_min_pd(_mm_mul_pd(_mm_sub_pd(t0, vx0), vr), cap));
    const __m128i k1 = _mm_cvttpd_epi32(_mm_min_pd(_mm_mul_pd(_mm_sub_pd(t1, vx0), vr), cap));
    const __m128i in0 = _mm_castpd_si128(_mm_cmple_pd(vx0, t0));
    const __m128i in1 = _mm_castpd_si128(_mm_cmple_pd(vx0, t1));
    // Pack the 2 + 2 lanes (and the 64-bit masks' low halves) into four.
    const __m128i k = _mm_unpacklo_epi64(k0, k1);
    const __m128i in = _mm_castps_si128(
        _mm_shuffle_ps(_mm_castsi128_ps(in0), _mm_castsi128_ps(in1), _MM_SHUFFLE(2, 0, 2, 0)));
    store_cells4(cell + i, uniform_cells_from_trunc(k, vnx, in));
  }
  for (; i + 2 <= n; i += 2) {
    const __m128d t = _mm_loadu_pd(site + i);
    const __m128i k = _mm_cvttpd_epi32(_mm_min_pd(_mm_mul_pd(_mm_sub_pd(t, vx0), vr), cap));
    const __m128i in = _mm_shuffle_epi32(_mm_castpd_si128(_mm_cmple_pd(vx0, t)), _MM_SHUFFLE(2, 0, 2, 0));
    store_cells2(cell + i, uniform_cells_from_trunc(k, vnx, in));
  }
  return i;
}

template <class Index>
inline int64_t uniform_vector(const float* site, int64_t n, float x0, float r, int64_t nx,
                              Index* cell) {
  const __m128 vx0 = _mm_set1_ps(x0), vr = _mm_set1_ps(r), cap = _mm_set1_ps(0x1p30f);
  const __m128i vnx = _mm_set1_epi32(static_cast<int32_t>(nx));
  int64_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128 t = _mm_loadu_ps(site + i);
    const __m128i k = _mm_cvttps_epi32(_mm_min_ps(_mm_mul_ps(_mm_sub_ps(t, vx0), vr), cap));
    const __m128i in = _mm_castps_si128(_mm_cmple_ps(vx0, t));
    store_cells4(cell + i, uniform_cells_from_trunc(k, vnx, in));
  }
  return i;
}

// True when [a, a + an) and [b, b + bn) (byte ranges) share a byte.
inline bool bytes_overlap(const void* a, int64_t an, const void* b, int64_t bn) {
  const auto pa = reinterpret_cast<uintptr_t>(a), pb = reinterpret_cast<uintptr_t>(b);
  return pa < pb + static_cast<uintptr_t>(bn) && pb < pa + static_cast<uintptr_t>(an);
}

// Sites [0, n) of a uniform partition (x[0], x[1]) of nx knots.
template <class T, class Index>
inline void uniform_search(const T* x, int64_t nx, T r, const T* site, int64_t n, Index* cell) {
  const int64_t cell_bytes = n * static_cast<int64_t>(sizeof(Index));
  const bool overlap = bytes_overlap(cell, cell_bytes, site, n * static_cast<int64_t>(sizeof(T))) ||
                       bytes_overlap(cell, cell_bytes, x, 2 * static_cast<int64_t>(sizeof(T)));
  int64_t done = 0;
  if (!overlap && nx <= kUniformVectorMaxNx) {
    done = uniform_vector(site, n, x[0], r, nx, cell);
  } else if (overlap) {
    // Site by site, in order, each cell stored before the next site (and the
    // ends of the partition) are read again: the result of a plain loop over
    // the overlapping arrays. memcpy stores may alias the sites' type.
    for (int64_t i = 0; i < n; ++i) {
      const Index c = static_cast<Index>(uniform_cell(site[i], x[0], r, nx));
      std::memcpy(reinterpret_cast<unsigned char*>(cell) + i * sizeof(Index), &c, sizeof c);
    }
    return;
  }
  const T x0 = x[0];
  for (int64_t i = done; i < n; ++i) cell[i] = static_cast<Index>(uniform_cell(site[i], x0, r, nx));
}

}  // namespace orx::df::search

#endif
