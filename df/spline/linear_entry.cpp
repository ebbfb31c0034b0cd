// Entry points of the linear construction: checks, then the kernel of the
// task's storage and grid.
#include "df/spline/spline_tables.h"
#include "df/spline/spline_task_checks.h"
#include "orx/df_spline.h"

namespace orx::df {
namespace {

template <class T>
int linear_spline(const Task1D* task, int64_t method, const void* const* services) {
  if (task == nullptr) return DF_ERR_NULL_TASK;
  if (method != 0) return DF_ERR_BAD_METHOD;
  if (task->nx < 2) return DF_ERR_BAD_NX;
  if (!storage_hint_valid(task->yhint)) return DF_ERR_BAD_YHINT;
  if (const int status = check_function_pointers(*task); status != DF_STATUS_OK) return status;
  const SplineKernel kernel =
      LinearKernelTable<T>::kernels[storage_index(*task) * 2 + grid_index(*task)];
  return kernel(task, services);
}

}  // namespace
}  // namespace orx::df

extern "C" {

int orx_df_kernel_dDFLinearSpline1D(Task1D* task, void* /*reserved*/, int64_t method,
                                    const void* const* services) {
  return orx::df::linear_spline<double>(task, method, services);
}

int orx_df_kernel_sDFLinearSpline1D(Task1D* task, void* /*reserved*/, int64_t method,
                                    const void* const* services) {
  return orx::df::linear_spline<float>(task, method, services);
}

}  // extern "C"
