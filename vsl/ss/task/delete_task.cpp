// Task deletion: the release callbacks first (they free what the computes
// attached to the record), then the record.
#include <cstdint>
#include <type_traits>

#include "orx/ss.h"
#include "orx_serv.h"

namespace {

constexpr int32_t kReleaseSlots =
    static_cast<int32_t>(std::extent_v<decltype(SummaryStatsTask::release)>);

}  // namespace

int __vslSSDeleteTask(SummaryStatsTask** task) {
  if (task == nullptr) return SS_ERR_NULL_TASK;
  if (*task == nullptr) return SS_STATUS_OK;
  // A callback may change the record, so the task and the count are read
  // again after each; a count beyond the record's slots is not followed.
  for (int32_t k = 0; *task != nullptr && k < (*task)->release_count && k < kReleaseSlots; ++k) {
    if ((*task)->release[k] != nullptr) (*task)->release[k](*task);
  }
  orx_serv_deallocate(*task);
  *task = nullptr;
  return SS_STATUS_OK;
}
