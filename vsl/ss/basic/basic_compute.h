// The basic compute of one precision: checks, the plan, the working buffer,
// the caller's state in and out, the threads and the finishing.
#ifndef ORX_SS_BASIC_BASIC_COMPUTE_H
#define ORX_SS_BASIC_BASIC_COMPUTE_H

#include <cstdint>

#include "orx/ss.h"
#include "vsl/ss/basic/basic_request.h"
#include "vsl/ss/basic/basic_threader.h"

namespace orx::ss {

template <class T>
int basic_compute(SummaryStatsTask* task, uint64_t estimates, int method);

extern template int basic_compute<double>(SummaryStatsTask*, uint64_t, int);
extern template int basic_compute<float>(SummaryStatsTask*, uint64_t, int);

}  // namespace orx::ss

#endif
