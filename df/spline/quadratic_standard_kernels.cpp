// Standard quadratic spline kernels: one template over precision, storage
// and grid, instantiated into the four-slot table of each precision.
//
// Cell i (origin x[i]) carries a parabola through y[i], y[i+1] and through
// m[i] at its midpoint. m[0] = bc[0]; the others follow from C1 continuity at
// the inner knots by the forward recurrence, with h the width of cell i and
// hp that of cell i-1,
//   m[i] = 0.25*h*((y[i-1] + 3*y[i])/hp + (3*y[i] + y[i+1])/h) - (h/hp)*m[i-1],
// and each cell then stores, with e = h*0.5,
//   c2 = (y[i] - 2*m[i] + y[i+1])*0.5/(e*e),  c0 = y[i],
//   c1 = (m[i] - y[i] - e*e*c2)/e.
// The expressions are kept in this form so that results agree to the last
// bit with any other implementation of them. The recurrence is run only up
// to the last cell, i = nx-2: its next step would read x[nx] and y[nx].
// On a uniform partition h = hp = (x[1] - x[0])/(nx - 1), the divisions by
// the width become multiplications by r = (nx - 1)/(x[1] - x[0]) and
// h/hp = 1; only x[0] and x[1] are read.
//
// The midpoint values live in a work array of nx + 1 elements: on the stack
// below 4095 knots (32 KB of doubles), else from the host allocator
// (8*nx + 8 bytes for doubles), so that small problems never allocate.
#include <cstdint>

#include "df/spline/spline_tables.h"
#include "orx_serv.h"

namespace orx::df {
namespace {

constexpr int64_t kStackKnots = 4095;

template <class T, class Storage, class Grid>
void midpoint_values(const FunctionValues<T, Storage>& y, const Knots<T, Grid>& knots,
                     int64_t nx, T first_midpoint, T* m) {
  const T quarter = static_cast<T>(0.25);
  m[0] = first_midpoint;
  if constexpr (Grid::kUniform) {
    const T h = knots.step, r = knots.reciprocal_step;
    for (int64_t i = 1; i <= nx - 2; ++i)
      m[i] = quarter * h * ((y[i - 1] + 3 * y[i]) * r + (3 * y[i] + y[i + 1]) * r) - m[i - 1];
  } else {
    T hp = knots.x[1] - knots.x[0];
    for (int64_t i = 1; i <= nx - 2; ++i) {
      const T h = knots.x[i + 1] - knots.x[i];
      m[i] = quarter * h * ((y[i - 1] + 3 * y[i]) / hp + (3 * y[i] + y[i + 1]) / h) -
             (h / hp) * m[i - 1];
      hp = h;
    }
  }
}

template <class T, class Storage, class Grid>
void cell_coefficients(const FunctionValues<T, Storage>& y, const Knots<T, Grid>& knots,
                       int64_t nx, const T* m, T* c) {
  const T half = static_cast<T>(0.5);
  for (int64_t i = 0; i <= nx - 2; ++i) {
    const T e = knots.width(i) * half;
    T* cell = c + 3 * i;
    cell[2] = (y[i] - 2 * m[i] + y[i + 1]) * half / (e * e);
    cell[0] = y[i];
    cell[1] = (m[i] - y[i] - e * e * cell[2]) / e;
  }
}

// Owns the work array when it had to come from the host allocator.
template <class T>
struct WorkArray {
  T on_stack[kStackKnots];
  T* heap = nullptr;
  ~WorkArray() { orx_serv_deallocate(heap); }
  T* get(int64_t nx) {
    if (nx < kStackKnots) return on_stack;
    heap = static_cast<T*>(orx_serv_allocate(sizeof(T) * static_cast<size_t>(nx) + sizeof(T), 128));
    return heap;
  }
};

}  // namespace

template <class T, class Storage, class Grid>
int _v1DQSStd(const Task1D* record, const void* const* /*services*/) {
  const TaskView<T> task{*record};
  const int64_t nx = task.nx();
  if (nx < 2) return DF_STATUS_OK;
  WorkArray<T> work;
  T* m = work.get(nx);
  if (m == nullptr) return DF_ERR_ALLOC;
  const Knots<T, Grid> knots(task);
  for (int64_t j = 0; j < task.ny(); ++j) {
    const FunctionValues<T, Storage> y(task, j);
    midpoint_values(y, knots, nx, task.bc()[0], m);
    cell_coefficients(y, knots, nx, m, task.coefficients(j));
  }
  return DF_STATUS_OK;
}

template <class T>
const SplineKernel StdQuadraticKernelTable<T>::kernels[4] = {
    &_v1DQSStd<T, YCols, NoUniformGrid>,
    &_v1DQSStd<T, YCols, UniformGrid>,
    &_v1DQSStd<T, YRows, NoUniformGrid>,
    &_v1DQSStd<T, YRows, UniformGrid>,
};

template struct StdQuadraticKernelTable<double>;
template struct StdQuadraticKernelTable<float>;

}  // namespace orx::df
