// The cell-search entry points: choose the method from the task and the
// hints, compute its parameter, and run it inline (fewer than 32 sites) or
// through its threaded kernel. One template serves both precisions.
#include <cstdint>
#include <type_traits>

#include "df/search/method_table.h"
#include "df/task/task_view.h"
#include "orx/df_search.h"

namespace orx::df::search {
namespace {

inline constexpr int64_t kInlineSites = 32;

template <class T>
using Callback = std::conditional_t<std::is_same_v<T, double>, orx_df_dsearch_callback,
                                    orx_df_ssearch_callback>;
template <class T>
using UserRecord = std::conditional_t<std::is_same_v<T, double>, orx_df_dsearch_user,
                                      orx_df_ssearch_user>;

struct Choice {
  int status;
  int method;
  double parameter;
};

// First match wins: callback, uniform partition, quasi-uniform partition,
// sorted sites, peak hint, hybrid.
template <class T>
Choice choose_method(const Task1D& task, int64_t sitehint, const T* datahint, bool callback) {
  const TaskView<T> view{task};
  const int64_t nx = view.nx();
  const T* x = view.x();
  const bool uniform = task.xhint == DF_UNIFORM_PARTITION;
  if (callback) {
    return uniform ? Choice{0, kUniUserDefSearch, static_cast<T>(nx - 1) / (x[1] - x[0])}
                   : Choice{0, kUserDefSearch, 0};
  }
  if (uniform) return {0, kUniformSearch, static_cast<T>(nx - 1) / (x[1] - x[0])};
  if (task.xhint == DF_QUASI_UNIFORM_PARTITION)
    return {0, kQuasiUniformSearch, static_cast<T>(nx - 1) / (x[nx - 1] - x[0])};
  if (sitehint == DF_SORTED_DATA) return {0, kSortedSearch, 0};
  if (datahint != nullptr) {
    if (datahint[1] == T(1)) {
      const T peak = datahint[4];
      if (!(peak >= T(0) && peak <= static_cast<T>(nx))) return {DF_ERR_BAD_PEAK_HINT, 0, 0};
      return {0, kPeakSearch, peak};
    }
    if (datahint[1] != T(0)) return {DF_ERR_BAD_PEAK_HINT, 0, 0};
  }
  return {0, kHybridSearch, 0};
}

template <class T>
int search1d(Task1D* task, int64_t nsite, const T* site, int64_t sitehint, const T* datahint,
             void* cell, Callback<T> search_cb, const void* search_params,
             const void* const* services) {
  if (task == nullptr) return DF_ERR_NULL_TASK;
  const Choice choice = choose_method(*task, sitehint, datahint, search_cb != nullptr);
  if (choice.status != 0) return choice.status;
  if (nsite <= 0) return DF_STATUS_OK;
  const UserRecord<T> user{search_cb, search_params};
  const int64_t flags = DF_SEARCH_WIDTH_GIVEN | (task->index_width != 0 ? DF_SEARCH_WIDTH_64 : 0);
  const SearchMethodEntry<T>& method = search_methods<T>()[choice.method];
  const T* x = static_cast<const T*>(task->x);
  int64_t start = 0;
  if (nsite < kInlineSites)
    return method.kernel(task->nx, x, nsite, site, &start, &user, cell, flags, choice.parameter);
  return method.threaded(task->nx, x, nsite, site, &start, &user, cell, flags, choice.parameter,
                         services);
}

}  // namespace
}  // namespace orx::df::search

int orx_df_kernel_dDFSearch1D(Task1D* task, const void* /*reserved*/, int64_t nsite,
                              const double* site, int64_t sitehint, const double* datahint,
                              void* cell, orx_df_dsearch_callback search_cb,
                              const void* search_params, const void* const* services) {
  return orx::df::search::search1d<double>(task, nsite, site, sitehint, datahint, cell, search_cb,
                                           search_params, services);
}

int orx_df_kernel_sDFSearch1D(Task1D* task, const void* /*reserved*/, int64_t nsite,
                              const float* site, int64_t sitehint, const float* datahint,
                              void* cell, orx_df_ssearch_callback search_cb,
                              const void* search_params, const void* const* services) {
  return orx::df::search::search1d<float>(task, nsite, site, sitehint, datahint, cell, search_cb,
                                          search_params, services);
}
