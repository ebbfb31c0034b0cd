// Reading the task's integer parameters with the width its flag gives.
#ifndef ORX_SS_TASK_INT_PARAM_H
#define ORX_SS_TASK_INT_PARAM_H

#include <cstdint>

#include "orx/ss.h"

namespace orx::ss {

// The integer behind `field` (an int parameter or an entry of an integer
// array): int32 sign-extended when the task's int_width is 0, else int64.
inline int64_t read_int(const SummaryStatsTask& task, const void* field, int64_t index = 0) {
  if (task.int_width == 0) return static_cast<const int32_t*>(field)[index];
  return static_cast<const int64_t*>(field)[index];
}

}  // namespace orx::ss

#endif
