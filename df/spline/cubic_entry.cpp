// Entry points of the cubic construction: the checks shared by the five
// kinds, the kind's own checks, then the kernel of the task's storage, grid
// and condition slot from the kind's table. The default kind (s_type 0) runs
// the natural kernels.
#include <type_traits>

#include "df/spline/boundary_slot.h"
#include "df/spline/cubic_tables.h"
#include "df/spline/spline_task_checks.h"
#include "orx/df_cubic.h"

namespace orx::df {
namespace {

// Spline types whose periodic condition still asks for bc (the Hermite kind
// reads its end derivative there; the default kind keeps the same check).
bool periodic_needs_values(int64_t s_type) {
  return s_type == DF_CUBIC_DEFAULT || s_type == DF_CUBIC_HERMITE;
}

int check_condition(const Task1D& task, int* slot) {
  *slot = boundary_slot(task.bc_type);
  if (*slot < 0) return DF_ERR_BAD_BC_TYPE;
  const bool needs =
      slot_needs_values(*slot) || (*slot == kSlotPeriodic && periodic_needs_values(task.s_type));
  if (needs && task.bc == nullptr) return DF_ERR_NULL_BC;
  return DF_STATUS_OK;
}

template <class Kind>
int check_kind(const Task1D& task) {
  if constexpr (std::is_same_v<Kind, HermiteKind>) {
    if (task.ic_type != DF_IC_1ST_DER) return DF_ERR_BAD_IC_TYPE;
    if (task.ic == nullptr) return DF_ERR_NULL_IC;
  }
  return DF_STATUS_OK;
}

template <class T, class Kind>
int cubic_spline(const Task1D* task, int64_t method, const void* const* services) {
  if (task == nullptr) return DF_ERR_NULL_TASK;
  if (method != 0) return DF_ERR_BAD_METHOD;
  if (task->nx < 3) return DF_ERR_BAD_NX;
  if (!storage_hint_valid(task->yhint)) return DF_ERR_BAD_YHINT;
  int slot = 0;
  int status = check_condition(*task, &slot);
  if (status == DF_STATUS_OK) status = check_kind<Kind>(*task);
  if (status == DF_STATUS_OK) status = check_function_pointers(*task);
  if (status != DF_STATUS_OK) return status;
  const CubicKernel kernel = cubic_kernel<T, Kind>(storage_index(*task), grid_index(*task), slot);
  return kernel(task, 0, services);
}

}  // namespace
}  // namespace orx::df

using orx::df::AkimaKind;
using orx::df::BesselKind;
using orx::df::cubic_spline;
using orx::df::HermiteKind;
using orx::df::NaturalKind;

extern "C" {

int orx_df_kernel_dDFNaturalCubicSpline1D(Task1D* task, void*, int64_t method,
                                          const void* const* services) {
  return cubic_spline<double, NaturalKind>(task, method, services);
}
int orx_df_kernel_sDFNaturalCubicSpline1D(Task1D* task, void*, int64_t method,
                                          const void* const* services) {
  return cubic_spline<float, NaturalKind>(task, method, services);
}
int orx_df_kernel_dDFDefaultCubicSpline1D(Task1D* task, void*, int64_t method,
                                          const void* const* services) {
  return cubic_spline<double, NaturalKind>(task, method, services);
}
int orx_df_kernel_sDFDefaultCubicSpline1D(Task1D* task, void*, int64_t method,
                                          const void* const* services) {
  return cubic_spline<float, NaturalKind>(task, method, services);
}
int orx_df_kernel_dDFBesselCubicSpline1D(Task1D* task, void*, int64_t method,
                                         const void* const* services) {
  return cubic_spline<double, BesselKind>(task, method, services);
}
int orx_df_kernel_sDFBesselCubicSpline1D(Task1D* task, void*, int64_t method,
                                         const void* const* services) {
  return cubic_spline<float, BesselKind>(task, method, services);
}
int orx_df_kernel_dDFAkimaCubicSpline1D(Task1D* task, void*, int64_t method,
                                        const void* const* services) {
  return cubic_spline<double, AkimaKind>(task, method, services);
}
int orx_df_kernel_sDFAkimaCubicSpline1D(Task1D* task, void*, int64_t method,
                                        const void* const* services) {
  return cubic_spline<float, AkimaKind>(task, method, services);
}
int orx_df_kernel_dDFHermiteCubicSpline1D(Task1D* task, void*, int64_t method,
                                          const void* const* services) {
  return cubic_spline<double, HermiteKind>(task, method, services);
}
int orx_df_kernel_sDFHermiteCubicSpline1D(Task1D* task, void*, int64_t method,
                                          const void* const* services) {
  return cubic_spline<float, HermiteKind>(task, method, services);
}

}  // extern "C"
