// Task creation, one implementation for both precisions: the record only
// holds pointers, so the d and s entry points differ in the precision flag.
//
// Decisions where the header leaves a choice:
// - a null out-pointer is refused with SS_ERR_NULL_TASK before any other
//   check;
// - on every later failure the out-pointer receives null, so a caller that
//   deletes the task whatever the status frees nothing it does not own.
#include <cstdint>
#include <cstring>

#include "orx/ss.h"
#include "orx_serv.h"
#include "vsl/ss/task/int_param.h"

namespace orx::ss {
namespace {

constexpr size_t kRecordAlignment = 128;

bool storage_code_known(int64_t code) {
  return code == SS_MATRIX_STORAGE_ROWS || code == SS_MATRIX_STORAGE_COLS;
}

// The creation checks in order; 0 when they all pass. `width_only` is a
// record carrying nothing but the integer width, for read_int.
int check_arguments(const SummaryStatsTask& width_only, const void* dimension,
                    const void* observation_count, const void* storage, const void* observations) {
  if (dimension == nullptr || read_int(width_only, dimension) <= 0) return SS_ERR_BAD_DIMEN;
  // Without observations the task is a shell the editors complete later.
  if (observations == nullptr) return SS_STATUS_OK;
  if (storage == nullptr) return SS_ERR_BAD_STORAGE_ADDR;
  if (!storage_code_known(read_int(width_only, storage))) return SS_ERR_STORAGE_NOT_SUPPORTED;
  if (observation_count == nullptr || read_int(width_only, observation_count) <= 0)
    return SS_ERR_BAD_OBSERV_N;
  return SS_STATUS_OK;
}

int new_task(SummaryStatsTask** out, const void* dimension, const void* observation_count,
             const void* storage, const void* observations, const void* weights,
             const void* indices, int32_t int_width, int32_t precision) {
  if (out == nullptr) return SS_ERR_NULL_TASK;
  *out = nullptr;
  SummaryStatsTask width_only{};
  width_only.int_width = int_width;
  const int status =
      check_arguments(width_only, dimension, observation_count, storage, observations);
  if (status != SS_STATUS_OK) return status;

  auto* task =
      static_cast<SummaryStatsTask*>(orx_serv_allocate(sizeof(SummaryStatsTask), kRecordAlignment));
  if (task == nullptr) return SS_ERR_ALLOC;
  std::memset(task, 0, sizeof *task);  // padding included
  task->int_width = int_width;
  task->kind = 2;
  task->precision = precision;
  task->dimension = dimension;
  task->observation_count = observation_count;
  task->observations = const_cast<void*>(observations);
  task->weights = const_cast<void*>(weights);
  task->indices = indices;
  task->storage = storage;
  *out = task;
  return SS_STATUS_OK;
}

}  // namespace
}  // namespace orx::ss

int __vsldSSNewTask(SummaryStatsTask** task, const void* dimension, const void* observation_count,
                    const void* storage, const double* observations, const double* weights,
                    const void* indices, int32_t int_width) {
  return orx::ss::new_task(task, dimension, observation_count, storage, observations, weights,
                           indices, int_width, 1);
}

int __vslsSSNewTask(SummaryStatsTask** task, const void* dimension, const void* observation_count,
                    const void* storage, const float* observations, const float* weights,
                    const void* indices, int32_t int_width) {
  return orx::ss::new_task(task, dimension, observation_count, storage, observations, weights,
                           indices, int_width, 0);
}
