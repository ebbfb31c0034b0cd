// Entry points of the quadratic construction: checks, then the standard
// kernel (s_type 0) or the Subbotin kernel (s_type 1) of the task's storage,
// grid, subgrid and boundary condition. The method argument is not examined.
//
// Beyond the checks every construction makes: a Subbotin construction on
// explicit break points (ic_type without bit 4) with a null ic gives
// DF_ERR_NULL_IC (the value editor can set the type without the array); a
// boundary condition with no Subbotin kernel (not-a-knot, free end,
// periodic: empty slots) gives DF_ERR_BAD_BC_TYPE.
#include "df/spline/boundary_slot.h"
#include "df/spline/spline_tables.h"
#include "df/spline/spline_task_checks.h"
#include "orx/df_spline.h"

namespace orx::df {
namespace {

constexpr int64_t kSubbotinIcBit = 8;
constexpr int64_t kUniformSubgridBit = 4;

// The kernel for the task, or a failure status in *status.
template <class T>
SplineKernel choose_kernel(const Task1D& task, int* status) {
  const int storage = storage_index(task), grid = grid_index(task);
  if (task.s_type == 0) {
    if (task.bc_type != DF_BC_Q_VAL) return *status = DF_ERR_BAD_BC_TYPE, nullptr;
    if (task.bc == nullptr) return *status = DF_ERR_NULL_BC, nullptr;
    return StdQuadraticKernelTable<T>::kernels[storage * 2 + grid];
  }
  if (task.s_type == 1) {
    if ((task.ic_type & kSubbotinIcBit) == 0) return *status = DF_ERR_BAD_IC_TYPE, nullptr;
    const int slot = boundary_slot(task.bc_type);
    if (slot < 0) return *status = DF_ERR_BAD_BC_TYPE, nullptr;
    if (slot_needs_values(slot) && task.bc == nullptr) return *status = DF_ERR_NULL_BC, nullptr;
    const int subgrid = (task.ic_type & kUniformSubgridBit) != 0 ? 1 : 0;
    const SplineKernel kernel = SubbotinKernelTable<T>::kernels[subgrid][storage][grid][slot];
    if (kernel == nullptr) return *status = DF_ERR_BAD_BC_TYPE, nullptr;
    if (subgrid == 0 && task.ic == nullptr) return *status = DF_ERR_NULL_IC, nullptr;
    return kernel;
  }
  *status = DF_ERR_BAD_METHOD;
  return nullptr;
}

template <class T>
int quadratic_spline(const Task1D* task, const void* const* services) {
  if (task == nullptr) return DF_ERR_NULL_TASK;
  if (!storage_hint_valid(task->yhint)) return DF_ERR_BAD_YHINT;
  int status = DF_STATUS_OK;
  const SplineKernel kernel = choose_kernel<T>(*task, &status);
  if (kernel == nullptr) return status;
  status = check_function_pointers(*task);
  if (status != DF_STATUS_OK) return status;
  return kernel(task, services);
}

}  // namespace
}  // namespace orx::df

extern "C" {

int orx_df_kernel_dDFQuadraticSpline1D(Task1D* task, void* /*reserved*/, int64_t /*method*/,
                                       const void* const* services) {
  return orx::df::quadratic_spline<double>(task, services);
}

int orx_df_kernel_sDFQuadraticSpline1D(Task1D* task, void* /*reserved*/, int64_t /*method*/,
                                       const void* const* services) {
  return orx::df::quadratic_spline<float>(task, services);
}

}  // extern "C"
