// Local cubic kernels (Bessel, Akima, Hermite): one template over
// precision, storage, grid, condition and kind, instantiated as the 28 named
// kernels of each kind's table. No system is solved: each function's slopes
// and knot derivatives are computed in its thread's buffers
// (local_cubic_derivatives.h), then its cells (cubic_cells.h).
//
// One work block: widths and reciprocals (2 (nx - 1)) and, per thread, the
// slopes with two extension elements at each end (nx + 3) and the
// derivatives (nx). Functions go to the host's threads by the same rule as
// the natural kind's; each function's result does not depend on the thread.
#include <cstdint>
#include <type_traits>

#include "df/spline/cubic_cells.h"
#include "df/spline/cubic_tables.h"
#include "df/spline/cubic_threads.h"
#include "df/spline/local_cubic_derivatives.h"

namespace orx::df {
namespace {

template <class T, class Grid>
struct LocalJob {
  TaskView<T> task;
  CubicGrid<T, Grid> grid;
  int64_t nx;
  T* buffers;  // per thread: slopes (nx + 3), derivatives (nx)
};

template <class T, class Storage, class Grid, class Condition, class Kind>
void local_threader(int64_t item, int64_t thread, void* ctx) {
  auto& job = *static_cast<LocalJob<T, Grid>*>(ctx);
  const int64_t nx = job.nx;
  const FunctionValues<T, Storage> y(job.task, item);
  T* const s = job.buffers + thread * (2 * nx + 3) + 2;
  T* const m = s + nx + 1;
  for (int64_t i = 0; i + 1 < nx; ++i) s[i] = job.grid.slope(y[i], y[i + 1], i);
  const LocalDerivatives<T, Grid> rule{job.grid, nx, s, m};
  if constexpr (std::is_same_v<Kind, AkimaKind>) {
    rule.extend_slopes(s, Condition::kPeriodic);
    for (int64_t i = 1; i + 1 < nx; ++i) m[i] = rule.akima(i);
  } else if constexpr (std::is_same_v<Kind, BesselKind>) {
    for (int64_t i = 1; i + 1 < nx; ++i) m[i] = rule.bessel_inner(i);
  } else {
    const T* given = job.task.ic() + item * (nx - 2);
    for (int64_t i = 1; i + 1 < nx; ++i) m[i] = given[i - 1];
  }
  rule.template ends<Condition, Kind>(job.task.bc());
  cubic_cells(y, job.grid, nx, m, job.task.coefficients(item));
}

template <class T, class Storage, class Grid, class Condition, class Kind>
int local_kernel(const Task1D* record, int64_t /*method*/, const void* const* services) {
  const TaskView<T> task{*record};
  const int64_t nx = task.nx(), ny = task.ny();
  if (nx < 3) return DF_ERR_BAD_NX;
  const CubicThreadPlan plan = plan_cubic_threads(nx, record->ny, services);
  const int64_t threads = plan.parallel ? plan.threads : 1;
  CubicWorkBlock<T> work(2 * (nx - 1) + threads * (2 * nx + 3));
  if (work.get() == nullptr) return DF_ERR_ALLOC;
  T* const widths = work.get();
  LocalJob<T, Grid> job{task, CubicGrid<T, Grid>(task, widths, widths + (nx - 1)), nx,
                        widths + 2 * (nx - 1)};
  run_cubic_items(services, &local_threader<T, Storage, Grid, Condition, Kind>, ny, threads, &job);
  return DF_STATUS_OK;
}

}  // namespace

template <class T>
constexpr CubicKernel _v1DCSBesselYColsNoUniformGridNotAKnot =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotNotAKnot>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsNoUniformGridFreeEnd =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotFreeEnd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsNoUniformGrid1st1st =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot1st1st>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsNoUniformGrid1st2nd =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot1st2nd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsNoUniformGrid2nd1st =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot2nd1st>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsNoUniformGrid2nd2nd =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot2nd2nd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsNoUniformGridPeriodic =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotPeriodic>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsUniformGridNotAKnot =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlotNotAKnot>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsUniformGridFreeEnd =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlotFreeEnd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsUniformGrid1st1st =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot1st1st>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsUniformGrid1st2nd =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot1st2nd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsUniformGrid2nd1st =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot2nd1st>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsUniformGrid2nd2nd =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot2nd2nd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYColsUniformGridPeriodic =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlotPeriodic>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsNoUniformGridNotAKnot =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotNotAKnot>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsNoUniformGridFreeEnd =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotFreeEnd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsNoUniformGrid1st1st =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot1st1st>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsNoUniformGrid1st2nd =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot1st2nd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsNoUniformGrid2nd1st =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot2nd1st>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsNoUniformGrid2nd2nd =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot2nd2nd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsNoUniformGridPeriodic =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotPeriodic>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsUniformGridNotAKnot =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlotNotAKnot>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsUniformGridFreeEnd =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlotFreeEnd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsUniformGrid1st1st =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot1st1st>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsUniformGrid1st2nd =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot1st2nd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsUniformGrid2nd1st =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot2nd1st>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsUniformGrid2nd2nd =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot2nd2nd>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSBesselYRowsUniformGridPeriodic =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlotPeriodic>, BesselKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsNoUniformGridNotAKnot =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotNotAKnot>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsNoUniformGridFreeEnd =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotFreeEnd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsNoUniformGrid1st1st =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot1st1st>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsNoUniformGrid1st2nd =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot1st2nd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsNoUniformGrid2nd1st =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot2nd1st>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsNoUniformGrid2nd2nd =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot2nd2nd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsNoUniformGridPeriodic =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotPeriodic>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsUniformGridNotAKnot =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlotNotAKnot>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsUniformGridFreeEnd =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlotFreeEnd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsUniformGrid1st1st =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot1st1st>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsUniformGrid1st2nd =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot1st2nd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsUniformGrid2nd1st =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot2nd1st>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsUniformGrid2nd2nd =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot2nd2nd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYColsUniformGridPeriodic =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlotPeriodic>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsNoUniformGridNotAKnot =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotNotAKnot>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsNoUniformGridFreeEnd =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotFreeEnd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsNoUniformGrid1st1st =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot1st1st>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsNoUniformGrid1st2nd =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot1st2nd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsNoUniformGrid2nd1st =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot2nd1st>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsNoUniformGrid2nd2nd =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot2nd2nd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsNoUniformGridPeriodic =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotPeriodic>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsUniformGridNotAKnot =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlotNotAKnot>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsUniformGridFreeEnd =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlotFreeEnd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsUniformGrid1st1st =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot1st1st>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsUniformGrid1st2nd =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot1st2nd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsUniformGrid2nd1st =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot2nd1st>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsUniformGrid2nd2nd =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot2nd2nd>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSAkimaYRowsUniformGridPeriodic =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlotPeriodic>, AkimaKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsNoUniformGridNotAKnot =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotNotAKnot>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsNoUniformGridFreeEnd =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotFreeEnd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsNoUniformGrid1st1st =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot1st1st>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsNoUniformGrid1st2nd =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot1st2nd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsNoUniformGrid2nd1st =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot2nd1st>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsNoUniformGrid2nd2nd =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlot2nd2nd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsNoUniformGridPeriodic =
    &local_kernel<T, YCols, NoUniformGrid, CubicCondition<kSlotPeriodic>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsUniformGridNotAKnot =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlotNotAKnot>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsUniformGridFreeEnd =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlotFreeEnd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsUniformGrid1st1st =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot1st1st>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsUniformGrid1st2nd =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot1st2nd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsUniformGrid2nd1st =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot2nd1st>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsUniformGrid2nd2nd =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlot2nd2nd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYColsUniformGridPeriodic =
    &local_kernel<T, YCols, UniformGrid, CubicCondition<kSlotPeriodic>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsNoUniformGridNotAKnot =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotNotAKnot>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsNoUniformGridFreeEnd =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotFreeEnd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsNoUniformGrid1st1st =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot1st1st>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsNoUniformGrid1st2nd =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot1st2nd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsNoUniformGrid2nd1st =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot2nd1st>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsNoUniformGrid2nd2nd =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlot2nd2nd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsNoUniformGridPeriodic =
    &local_kernel<T, YRows, NoUniformGrid, CubicCondition<kSlotPeriodic>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsUniformGridNotAKnot =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlotNotAKnot>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsUniformGridFreeEnd =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlotFreeEnd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsUniformGrid1st1st =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot1st1st>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsUniformGrid1st2nd =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot1st2nd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsUniformGrid2nd1st =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot2nd1st>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsUniformGrid2nd2nd =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlot2nd2nd>, HermiteKind>;
template <class T>
constexpr CubicKernel _v1DCSHermiteYRowsUniformGridPeriodic =
    &local_kernel<T, YRows, UniformGrid, CubicCondition<kSlotPeriodic>, HermiteKind>;

template <class T>
const CubicKernel BesselCubicKernelTable<T>::kernels[2][2][kBoundarySlots] = {
    {
        {_v1DCSBesselYColsNoUniformGridNotAKnot<T>, _v1DCSBesselYColsNoUniformGridFreeEnd<T>,
         _v1DCSBesselYColsNoUniformGrid1st1st<T>, _v1DCSBesselYColsNoUniformGrid1st2nd<T>,
         _v1DCSBesselYColsNoUniformGrid2nd1st<T>, _v1DCSBesselYColsNoUniformGrid2nd2nd<T>,
         _v1DCSBesselYColsNoUniformGridPeriodic<T>},
        {_v1DCSBesselYColsUniformGridNotAKnot<T>, _v1DCSBesselYColsUniformGridFreeEnd<T>,
         _v1DCSBesselYColsUniformGrid1st1st<T>, _v1DCSBesselYColsUniformGrid1st2nd<T>,
         _v1DCSBesselYColsUniformGrid2nd1st<T>, _v1DCSBesselYColsUniformGrid2nd2nd<T>,
         _v1DCSBesselYColsUniformGridPeriodic<T>},
    },
    {
        {_v1DCSBesselYRowsNoUniformGridNotAKnot<T>, _v1DCSBesselYRowsNoUniformGridFreeEnd<T>,
         _v1DCSBesselYRowsNoUniformGrid1st1st<T>, _v1DCSBesselYRowsNoUniformGrid1st2nd<T>,
         _v1DCSBesselYRowsNoUniformGrid2nd1st<T>, _v1DCSBesselYRowsNoUniformGrid2nd2nd<T>,
         _v1DCSBesselYRowsNoUniformGridPeriodic<T>},
        {_v1DCSBesselYRowsUniformGridNotAKnot<T>, _v1DCSBesselYRowsUniformGridFreeEnd<T>,
         _v1DCSBesselYRowsUniformGrid1st1st<T>, _v1DCSBesselYRowsUniformGrid1st2nd<T>,
         _v1DCSBesselYRowsUniformGrid2nd1st<T>, _v1DCSBesselYRowsUniformGrid2nd2nd<T>,
         _v1DCSBesselYRowsUniformGridPeriodic<T>},
    },
};
template struct BesselCubicKernelTable<double>;
template struct BesselCubicKernelTable<float>;

template <class T>
const CubicKernel AkimaCubicKernelTable<T>::kernels[2][2][kBoundarySlots] = {
    {
        {_v1DCSAkimaYColsNoUniformGridNotAKnot<T>, _v1DCSAkimaYColsNoUniformGridFreeEnd<T>,
         _v1DCSAkimaYColsNoUniformGrid1st1st<T>, _v1DCSAkimaYColsNoUniformGrid1st2nd<T>,
         _v1DCSAkimaYColsNoUniformGrid2nd1st<T>, _v1DCSAkimaYColsNoUniformGrid2nd2nd<T>,
         _v1DCSAkimaYColsNoUniformGridPeriodic<T>},
        {_v1DCSAkimaYColsUniformGridNotAKnot<T>, _v1DCSAkimaYColsUniformGridFreeEnd<T>,
         _v1DCSAkimaYColsUniformGrid1st1st<T>, _v1DCSAkimaYColsUniformGrid1st2nd<T>,
         _v1DCSAkimaYColsUniformGrid2nd1st<T>, _v1DCSAkimaYColsUniformGrid2nd2nd<T>,
         _v1DCSAkimaYColsUniformGridPeriodic<T>},
    },
    {
        {_v1DCSAkimaYRowsNoUniformGridNotAKnot<T>, _v1DCSAkimaYRowsNoUniformGridFreeEnd<T>,
         _v1DCSAkimaYRowsNoUniformGrid1st1st<T>, _v1DCSAkimaYRowsNoUniformGrid1st2nd<T>,
         _v1DCSAkimaYRowsNoUniformGrid2nd1st<T>, _v1DCSAkimaYRowsNoUniformGrid2nd2nd<T>,
         _v1DCSAkimaYRowsNoUniformGridPeriodic<T>},
        {_v1DCSAkimaYRowsUniformGridNotAKnot<T>, _v1DCSAkimaYRowsUniformGridFreeEnd<T>,
         _v1DCSAkimaYRowsUniformGrid1st1st<T>, _v1DCSAkimaYRowsUniformGrid1st2nd<T>,
         _v1DCSAkimaYRowsUniformGrid2nd1st<T>, _v1DCSAkimaYRowsUniformGrid2nd2nd<T>,
         _v1DCSAkimaYRowsUniformGridPeriodic<T>},
    },
};
template struct AkimaCubicKernelTable<double>;
template struct AkimaCubicKernelTable<float>;

template <class T>
const CubicKernel HermiteCubicKernelTable<T>::kernels[2][2][kBoundarySlots] = {
    {
        {_v1DCSHermiteYColsNoUniformGridNotAKnot<T>, _v1DCSHermiteYColsNoUniformGridFreeEnd<T>,
         _v1DCSHermiteYColsNoUniformGrid1st1st<T>, _v1DCSHermiteYColsNoUniformGrid1st2nd<T>,
         _v1DCSHermiteYColsNoUniformGrid2nd1st<T>, _v1DCSHermiteYColsNoUniformGrid2nd2nd<T>,
         _v1DCSHermiteYColsNoUniformGridPeriodic<T>},
        {_v1DCSHermiteYColsUniformGridNotAKnot<T>, _v1DCSHermiteYColsUniformGridFreeEnd<T>,
         _v1DCSHermiteYColsUniformGrid1st1st<T>, _v1DCSHermiteYColsUniformGrid1st2nd<T>,
         _v1DCSHermiteYColsUniformGrid2nd1st<T>, _v1DCSHermiteYColsUniformGrid2nd2nd<T>,
         _v1DCSHermiteYColsUniformGridPeriodic<T>},
    },
    {
        {_v1DCSHermiteYRowsNoUniformGridNotAKnot<T>, _v1DCSHermiteYRowsNoUniformGridFreeEnd<T>,
         _v1DCSHermiteYRowsNoUniformGrid1st1st<T>, _v1DCSHermiteYRowsNoUniformGrid1st2nd<T>,
         _v1DCSHermiteYRowsNoUniformGrid2nd1st<T>, _v1DCSHermiteYRowsNoUniformGrid2nd2nd<T>,
         _v1DCSHermiteYRowsNoUniformGridPeriodic<T>},
        {_v1DCSHermiteYRowsUniformGridNotAKnot<T>, _v1DCSHermiteYRowsUniformGridFreeEnd<T>,
         _v1DCSHermiteYRowsUniformGrid1st1st<T>, _v1DCSHermiteYRowsUniformGrid1st2nd<T>,
         _v1DCSHermiteYRowsUniformGrid2nd1st<T>, _v1DCSHermiteYRowsUniformGrid2nd2nd<T>,
         _v1DCSHermiteYRowsUniformGridPeriodic<T>},
    },
};
template struct HermiteCubicKernelTable<double>;
template struct HermiteCubicKernelTable<float>;

}  // namespace orx::df
