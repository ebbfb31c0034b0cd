// Cell widths of a cubic construction: on an explicit partition the widths
// h[i] = x[i+1] - x[i] and their reciprocals, computed once into the work
// memory two at a time; on a uniform one the step and its reciprocal
// r = (nx - 1)/(x[1] - x[0]). The slope of cell i is (y[i+1] - y[i])/h[i],
// or (y[i+1] - y[i])*r on a uniform partition.
#ifndef ORX_DF_SPLINE_CUBIC_GRID_H
#define ORX_DF_SPLINE_CUBIC_GRID_H

#include <cstdint>

#include "df/spline/linear_sse.h"
#include "df/spline/spline_policies.h"

namespace orx::df {

template <class T, class Grid>
struct CubicGrid {
  const T* h = nullptr;   // explicit partition: nx - 1 widths
  const T* rh = nullptr;  // and their reciprocals
  T step = 0, r = 0;      // uniform partition

  // widths and reciprocals: work arrays of nx - 1 elements each (unused on
  // a uniform partition).
  CubicGrid(const TaskView<T>& task, T* widths, T* reciprocals) {
    const Knots<T, Grid> knots(task);
    if constexpr (Grid::kUniform) {
      step = knots.step, r = knots.reciprocal_step;
    } else {
      fill_widths(task.x(), task.nx() - 1, widths, reciprocals);
      h = widths, rh = reciprocals;
    }
  }
  T width(int64_t i) const {
    if constexpr (Grid::kUniform) return step;
    return h[i];
  }
  T reciprocal(int64_t i) const {
    if constexpr (Grid::kUniform) return r;
    return rh[i];
  }
  T slope(T y0, T y1, int64_t i) const {
    if constexpr (Grid::kUniform) return (y1 - y0) * r;
    return (y1 - y0) / h[i];
  }

 private:
  static void fill_widths(const T* x, int64_t cells, T* widths, T* reciprocals) {
    using S = Sse<T>;
    const typename S::V one = S::set1(T(1));
    int64_t i = 0;
    for (; i + S::kWidth <= cells; i += S::kWidth) {
      const typename S::V w = S::sub(S::loadu(x + i + 1), S::loadu(x + i));
      S::storeu(widths + i, w);
      S::storeu(reciprocals + i, S::div(one, w));
    }
    for (; i < cells; ++i) {
      widths[i] = x[i + 1] - x[i];
      reciprocals[i] = T(1) / widths[i];
    }
  }
};

}  // namespace orx::df

#endif
