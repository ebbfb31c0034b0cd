// The task-owned state of the streaming-quantile estimates, kept in the
// record's stream_quantile_state field between computes. Every block below
// comes from orx_serv_allocate; __vslSQuantilesFreeBuffers gives them all
// back and a compute that builds a state registers it as the task's release
// callback, so that deleting the task frees the state.
#ifndef ORX_SS_TASK_STREAM_QUANTILE_STATE_H
#define ORX_SS_TASK_STREAM_QUANTILE_STATE_H

#include <cstdint>
#include <type_traits>

#include "orx/ss.h"

namespace orx::ss {

struct StreamQuantileEntry {
  void* buffer;  // owned
};

struct StreamQuantileVariable {
  int64_t entry_count;
  StreamQuantileEntry* entries;  // owned, entry_count entries
};

struct StreamQuantileState {
  // The variables the state was built for. Freeing walks this count, not the
  // task's dimension parameter: the caller may have changed that since.
  int64_t variable_count;
  StreamQuantileVariable* variables;  // owned, variable_count entries
};

// Registers __vslSQuantilesFreeBuffers as the task's next release callback.
// False, and nothing changed, when the record has no free slot (it holds one,
// so a second registration is refused).
inline bool register_stream_quantile_release(SummaryStatsTask& task) {
  constexpr int32_t slots =
      static_cast<int32_t>(std::extent_v<decltype(SummaryStatsTask::release)>);
  if (task.release_count < 0 || task.release_count >= slots) return false;
  task.release[task.release_count] = __vslSQuantilesFreeBuffers;
  ++task.release_count;
  return true;
}

}  // namespace orx::ss

#endif
