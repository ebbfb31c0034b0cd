// The variant axes of the spline construction kernels, as policy types named
// by the words of the kernel names (YCols/YRows, NoUniformGrid/UniformGrid,
// NoUniformSubgrid/UniformSubgrid), and the readers they give a kernel: one
// function's values and the knots.
#ifndef ORX_DF_SPLINE_SPLINE_POLICIES_H
#define ORX_DF_SPLINE_SPLINE_POLICIES_H

#include <cstdint>

#include "df/task/task_view.h"

namespace orx::df {

// A construction kernel: (task, host services) -> status.
using SplineKernel = int (*)(const Task1D* task, const void* const* services);

struct YCols {
  static constexpr bool kColumns = true;
};
struct YRows {
  static constexpr bool kColumns = false;
};
struct NoUniformGrid {
  static constexpr bool kUniform = false;
};
struct UniformGrid {
  static constexpr bool kUniform = true;
};

// Function j's values: y[i] reads y_table[j][i] (rows) or
// y_table[0][i*ny + j] (columns).
template <class T, class Storage>
struct FunctionValues {
  const T* base;
  int64_t stride;

  FunctionValues(const TaskView<T>& task, int64_t j)
      : base(Storage::kColumns ? task.values(0) + j : task.values(j)),
        stride(Storage::kColumns ? task.ny() : 1) {}
  T operator[](int64_t i) const {
    if constexpr (Storage::kColumns) return base[i * stride];
    return base[i];
  }
};

// The knots. A uniform partition is read only at x[0] and x[1]: knot i is
// x[0] + i*step, step = (x[1] - x[0]) / (nx - 1), and reciprocal_step is
// (nx - 1) / (x[1] - x[0]). An explicit partition is read as given.
template <class T, class Grid>
struct Knots {
  const T* x;
  T step = 0;
  T reciprocal_step = 0;

  explicit Knots(const TaskView<T>& task) : x(task.x()) {
    if constexpr (Grid::kUniform) {
      const T count = static_cast<T>(task.nx() - 1);
      step = (x[1] - x[0]) / count;
      reciprocal_step = count / (x[1] - x[0]);
    }
  }
  T operator[](int64_t i) const {
    if constexpr (Grid::kUniform) return x[0] + static_cast<T>(i) * step;
    return x[i];
  }
  // Width of cell i.
  T width(int64_t i) const {
    if constexpr (Grid::kUniform) return step;
    return x[i + 1] - x[i];
  }
};

}  // namespace orx::df

#endif
