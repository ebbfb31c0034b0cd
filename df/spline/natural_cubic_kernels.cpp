// Natural cubic spline kernels: one template over precision, storage, grid
// and condition, instantiated as the 28 named kernels of each precision's
// table. The knot derivatives solve the tridiagonal system of
// natural_cubic_system.h; the cells follow from them (cubic_cells.h).
//
// One work block from the host allocator holds, with P = T in parallel mode
// and P = max(ny, 1) otherwise, (P + 2) nx + (2P + 3)(nx - 1) + 2 nx - 2
// elements, of which the kernel uses: widths and reciprocals (2 (nx - 1)),
// the band (dl, d, du: 3 nx), the Sherman-Morrison vector z (nx) and one
// right-hand side of nx per P. The host caches large blocks, so repeated
// constructions do not fault the pages in again.
//
// The matrix is factored once (or, for one function off the periodic
// condition, factored and solved in one call). Sequential mode then builds
// every function's right-hand side and solves them all in one call, and the
// threader only writes cells; parallel mode hands each function to the
// threader, which builds, solves and writes in its thread's right-hand side.
// Both paths do the same operations per function, so they agree to the bit.
#include <cstdint>

#include "df/spline/cubic_cells.h"
#include "df/spline/cubic_tables.h"
#include "df/spline/cubic_threads.h"
#include "df/spline/natural_cubic_system.h"
#include "df/spline/tridiagonal_solver.h"

namespace orx::df {
namespace {

template <class T, class Storage, class Grid, class Condition>
struct NaturalJob {
  using System = NaturalSystem<T, Grid, Condition>;
  TaskView<T> task;
  CubicGrid<T, Grid> grid;
  int64_t nx;
  const T *dl, *d, *du;
  CyclicCorrection<T> cyclic;
  T* rhs;       // P right-hand sides of nx elements
  bool solved;  // rhs[j] already holds function j's derivatives
  FirstItemStatus status;
};

// One function: its derivatives (solved here in parallel mode), then its cells.
template <class T, class Storage, class Grid, class Condition>
void _v1DCSNaturalThreader(int64_t item, int64_t thread, void* ctx) {
  auto& job = *static_cast<NaturalJob<T, Storage, Grid, Condition>*>(ctx);
  using System = typename NaturalJob<T, Storage, Grid, Condition>::System;
  const FunctionValues<T, Storage> y(job.task, item);
  const int64_t order = System::order(job.nx);
  T* m = job.rhs + (job.solved ? item : thread) * job.nx;
  if (!job.solved) {
    System::rhs(y, job.grid, job.nx, job.task.bc(), m);
    if (Tridiagonal<T>::solve(order, 1, job.dl, job.d, job.du, m, job.nx) != 0)
      return job.status.record(item, DF_ERR_LINEAR_SOLVER);
  }
  if constexpr (Condition::kPeriodic) {
    job.cyclic.apply(m, order);
    m[job.nx - 1] = m[0];
  }
  cubic_cells(y, job.grid, job.nx, m, job.task.coefficients(item));
}

template <class T, class Storage, class Grid, class Condition>
int natural_kernel(const Task1D* record, int64_t /*method*/, const void* const* services) {
  using Job = NaturalJob<T, Storage, Grid, Condition>;
  using System = typename Job::System;
  const TaskView<T> task{*record};
  const int64_t nx = task.nx(), ny = task.ny();
  if (nx < 3) return DF_ERR_BAD_NX;
  const CubicThreadPlan plan = plan_cubic_threads(nx, record->ny, services);
  const int64_t p = plan.parallel ? plan.threads : ny;
  CubicWorkBlock<T> work((p + 2) * nx + (2 * p + 3) * (nx - 1) + 2 * nx - 2);
  if (work.get() == nullptr) return DF_ERR_ALLOC;
  T* const widths = work.get();
  T* const reciprocals = widths + (nx - 1);
  T* const dl = reciprocals + (nx - 1);
  T* const d = dl + nx;
  T* const du = d + nx;
  T* const z = du + nx;
  T* const rhs = z + nx;

  Job job{task,  CubicGrid<T, Grid>(task, widths, reciprocals),
          nx,    dl,
          d,     du,
          {},    rhs,
          false, FirstItemStatus(ny)};
  const int64_t order = System::order(nx);
  System::matrix(job.grid, nx, dl, d, du, &job.cyclic);
  const bool factor_with_solve = !plan.parallel && ny == 1 && !Condition::kPeriodic;
  if (!factor_with_solve && Tridiagonal<T>::factor(order, dl, d, du) != 0)
    return DF_ERR_LINEAR_SOLVER;
  if (job.cyclic.active) {
    job.cyclic.fill_u(order, z);
    if (Tridiagonal<T>::solve(order, 1, dl, d, du, z, nx) != 0) return DF_ERR_LINEAR_SOLVER;
    job.cyclic.set_z(z, order);
  }
  if (!plan.parallel) {
    for (int64_t j = 0; j < ny; ++j)
      System::rhs(FunctionValues<T, Storage>(task, j), job.grid, nx, task.bc(), rhs + j * nx);
    const int64_t info = factor_with_solve
                             ? Tridiagonal<T>::factor_and_solve(order, 1, dl, d, du, rhs, nx)
                             : Tridiagonal<T>::solve(order, ny, dl, d, du, rhs, nx);
    if (info != 0) return DF_ERR_LINEAR_SOLVER;
    job.solved = true;
  }
  run_cubic_items(services, &_v1DCSNaturalThreader<T, Storage, Grid, Condition>, ny, plan.threads,
                  &job);
  return job.status.status();
}

}  // namespace

template <class T>
constexpr CubicKernel _v1DCSNaturalYColsNoUniformGridNotAKnot =
    &natural_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotNotAKnot>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsNoUniformGridFreeEnd =
    &natural_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotFreeEnd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsNoUniformGrid1st1st =
    &natural_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot1st1st>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsNoUniformGrid1st2nd =
    &natural_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot1st2nd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsNoUniformGrid2nd1st =
    &natural_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot2nd1st>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsNoUniformGrid2nd2nd =
    &natural_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot2nd2nd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsNoUniformGridPeriodic =
    &natural_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotPeriodic>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsUniformGridNotAKnot =
    &natural_kernel<T, YCols, UniformGrid, CubicCondition<kSlotNotAKnot>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsUniformGridFreeEnd =
    &natural_kernel<T, YCols, UniformGrid, CubicCondition<kSlotFreeEnd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsUniformGrid1st1st =
    &natural_kernel<T, YCols, UniformGrid, CubicCondition<kSlot1st1st>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsUniformGrid1st2nd =
    &natural_kernel<T, YCols, UniformGrid, CubicCondition<kSlot1st2nd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsUniformGrid2nd1st =
    &natural_kernel<T, YCols, UniformGrid, CubicCondition<kSlot2nd1st>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsUniformGrid2nd2nd =
    &natural_kernel<T, YCols, UniformGrid, CubicCondition<kSlot2nd2nd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYColsUniformGridPeriodic =
    &natural_kernel<T, YCols, UniformGrid, CubicCondition<kSlotPeriodic>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsNoUniformGridNotAKnot =
    &natural_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotNotAKnot>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsNoUniformGridFreeEnd =
    &natural_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotFreeEnd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsNoUniformGrid1st1st =
    &natural_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot1st1st>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsNoUniformGrid1st2nd =
    &natural_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot1st2nd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsNoUniformGrid2nd1st =
    &natural_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot2nd1st>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsNoUniformGrid2nd2nd =
    &natural_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot2nd2nd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsNoUniformGridPeriodic =
    &natural_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotPeriodic>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsUniformGridNotAKnot =
    &natural_kernel<T, YRows, UniformGrid, CubicCondition<kSlotNotAKnot>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsUniformGridFreeEnd =
    &natural_kernel<T, YRows, UniformGrid, CubicCondition<kSlotFreeEnd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsUniformGrid1st1st =
    &natural_kernel<T, YRows, UniformGrid, CubicCondition<kSlot1st1st>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsUniformGrid1st2nd =
    &natural_kernel<T, YRows, UniformGrid, CubicCondition<kSlot1st2nd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsUniformGrid2nd1st =
    &natural_kernel<T, YRows, UniformGrid, CubicCondition<kSlot2nd1st>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsUniformGrid2nd2nd =
    &natural_kernel<T, YRows, UniformGrid, CubicCondition<kSlot2nd2nd>>;
template <class T>
constexpr CubicKernel _v1DCSNaturalYRowsUniformGridPeriodic =
    &natural_kernel<T, YRows, UniformGrid, CubicCondition<kSlotPeriodic>>;

template <class T>
const CubicKernel NaturalCubicKernelTable<T>::kernels[2][2][kBoundarySlots] = {
    {
        {_v1DCSNaturalYColsNoUniformGridNotAKnot<T>, _v1DCSNaturalYColsNoUniformGridFreeEnd<T>,
         _v1DCSNaturalYColsNoUniformGrid1st1st<T>, _v1DCSNaturalYColsNoUniformGrid1st2nd<T>,
         _v1DCSNaturalYColsNoUniformGrid2nd1st<T>, _v1DCSNaturalYColsNoUniformGrid2nd2nd<T>,
         _v1DCSNaturalYColsNoUniformGridPeriodic<T>},
        {_v1DCSNaturalYColsUniformGridNotAKnot<T>, _v1DCSNaturalYColsUniformGridFreeEnd<T>,
         _v1DCSNaturalYColsUniformGrid1st1st<T>, _v1DCSNaturalYColsUniformGrid1st2nd<T>,
         _v1DCSNaturalYColsUniformGrid2nd1st<T>, _v1DCSNaturalYColsUniformGrid2nd2nd<T>,
         _v1DCSNaturalYColsUniformGridPeriodic<T>},
    },
    {
        {_v1DCSNaturalYRowsNoUniformGridNotAKnot<T>, _v1DCSNaturalYRowsNoUniformGridFreeEnd<T>,
         _v1DCSNaturalYRowsNoUniformGrid1st1st<T>, _v1DCSNaturalYRowsNoUniformGrid1st2nd<T>,
         _v1DCSNaturalYRowsNoUniformGrid2nd1st<T>, _v1DCSNaturalYRowsNoUniformGrid2nd2nd<T>,
         _v1DCSNaturalYRowsNoUniformGridPeriodic<T>},
        {_v1DCSNaturalYRowsUniformGridNotAKnot<T>, _v1DCSNaturalYRowsUniformGridFreeEnd<T>,
         _v1DCSNaturalYRowsUniformGrid1st1st<T>, _v1DCSNaturalYRowsUniformGrid1st2nd<T>,
         _v1DCSNaturalYRowsUniformGrid2nd1st<T>, _v1DCSNaturalYRowsUniformGrid2nd2nd<T>,
         _v1DCSNaturalYRowsUniformGridPeriodic<T>},
    },
};

template struct NaturalCubicKernelTable<double>;
template struct NaturalCubicKernelTable<float>;

}  // namespace orx::df
