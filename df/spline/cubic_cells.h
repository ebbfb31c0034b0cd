// The four coefficients of every cell of one function from its knot
// derivatives m: the cubic Hermite piece through (x[i], y[i], m[i]) and
// (x[i+1], y[i+1], m[i+1]), in the power form of d = t - x[i]:
//   c0 = y[i], c1 = m[i], c2 = (3 s - 2 m[i] - m[i+1]) (1/h),
//   c3 = (m[i] + m[i+1] - 2 s) (1/h)^2,   s = slope of cell i.
// Every construction kind ends here. Two cells (doubles) or four (floats)
// per step; the lanes do the scalar expressions' operations in the same
// order, so the vector and scalar cells agree to the bit.
#ifndef ORX_DF_SPLINE_CUBIC_CELLS_H
#define ORX_DF_SPLINE_CUBIC_CELLS_H

#include <xmmintrin.h>

#include <cstdint>

#include "df/spline/cubic_grid.h"
#include "df/spline/spline_lanes.h"

namespace orx::df {

template <class T, class Grid>
void cubic_cell(T y0, T y1, T m0, T m1, const CubicGrid<T, Grid>& grid, int64_t i, T* cell) {
  const T s = grid.slope(y0, y1, i), r = grid.reciprocal(i);
  cell[0] = y0;
  cell[1] = m0;
  cell[2] = (T(3) * s - T(2) * m0 - m1) * r;
  cell[3] = (m0 + m1 - T(2) * s) * (r * r);
}

namespace cells_detail {

// Writes the kWidth cells whose coefficient vectors are c0 .. c3 (lane k is
// cell k) consecutively at c.
inline void store_cells(double* c, __m128d c0, __m128d c1, __m128d c2, __m128d c3) {
  _mm_storeu_pd(c, _mm_unpacklo_pd(c0, c1));
  _mm_storeu_pd(c + 2, _mm_unpacklo_pd(c2, c3));
  _mm_storeu_pd(c + 4, _mm_unpackhi_pd(c0, c1));
  _mm_storeu_pd(c + 6, _mm_unpackhi_pd(c2, c3));
}
inline void store_cells(float* c, __m128 c0, __m128 c1, __m128 c2, __m128 c3) {
  _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
  _mm_storeu_ps(c, c0);
  _mm_storeu_ps(c + 4, c1);
  _mm_storeu_ps(c + 8, c2);
  _mm_storeu_ps(c + 12, c3);
}

}  // namespace cells_detail

template <class T, class Storage, class Grid>
void cubic_cells(const FunctionValues<T, Storage>& y, const CubicGrid<T, Grid>& grid, int64_t nx,
                 const T* m, T* c) {
  using S = Sse<T>;
  using V = typename S::V;
  const int64_t cells = nx - 1;
  const V three = S::set1(T(3)), two = S::set1(T(2));
  int64_t i = 0;
  for (; i + S::kWidth <= cells; i += S::kWidth) {
    const V y0 = load_values(y, i), y1 = load_values(y, i + 1);
    const V m0 = S::loadu(m + i), m1 = S::loadu(m + i + 1);
    V s, r;
    if constexpr (Grid::kUniform) {
      r = S::set1(grid.r);
      s = S::mul(S::sub(y1, y0), r);
    } else {
      r = S::loadu(grid.rh + i);
      s = S::div(S::sub(y1, y0), S::loadu(grid.h + i));
    }
    const V c2 = S::mul(S::sub(S::sub(S::mul(three, s), S::mul(two, m0)), m1), r);
    const V c3 = S::mul(S::sub(S::add(m0, m1), S::mul(two, s)), S::mul(r, r));
    cells_detail::store_cells(c + 4 * i, y0, m0, c2, c3);
  }
  for (; i < cells; ++i) cubic_cell(y[i], y[i + 1], m[i], m[i + 1], grid, i, c + 4 * i);
}

}  // namespace orx::df

#endif
