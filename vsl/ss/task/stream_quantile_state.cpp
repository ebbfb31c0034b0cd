// Releasing the streaming-quantile state: the entries' buffers, then each
// variable's entry array, then the variables and the state itself.
#include "vsl/ss/task/stream_quantile_state.h"

#include <cstdint>

#include "orx/ss.h"
#include "orx_serv.h"

void __vslSQuantilesFreeBuffers(SummaryStatsTask* task) {
  if (task == nullptr) return;
  auto* state = static_cast<orx::ss::StreamQuantileState*>(task->stream_quantile_state);
  task->stream_quantile_state = nullptr;
  if (state == nullptr) return;
  if (state->variables != nullptr) {
    for (int64_t i = 0; i < state->variable_count; ++i) {
      const orx::ss::StreamQuantileVariable& variable = state->variables[i];
      if (variable.entries != nullptr)
        for (int64_t k = 0; k < variable.entry_count; ++k)
          orx_serv_deallocate(variable.entries[k].buffer);
      orx_serv_deallocate(variable.entries);
    }
    orx_serv_deallocate(state->variables);
  }
  orx_serv_deallocate(state);
}
