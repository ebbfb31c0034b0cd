// _vSSBasicThreader: the work item the host's parallel runner calls, one per
// share of the observations, each folding its share into its own state.
#ifndef ORX_SS_BASIC_BASIC_THREADER_H
#define ORX_SS_BASIC_BASIC_THREADER_H

#include <cstdint>

#include "vsl/ss/basic/basic_range.h"

namespace orx::ss {

// Shares of one compute: share t folds observations [bounds[t], bounds[t+1])
// into states[t], using the working buffer at bases[t].
template <class T>
struct BasicShares {
  const BasicPlan<T>* plan;
  BasicState* states;
  double* const* bases;
  const int64_t* bounds;
};

template <class T>
void _vSSBasicThreader(int64_t item, int64_t /*thread*/, void* context) {
  const auto& shares = *static_cast<const BasicShares<T>*>(context);
  BasicRange<T>(*shares.plan, shares.states[item], shares.bases[item])
      .run(shares.bounds[item], shares.bounds[item + 1]);
}

}  // namespace orx::ss

#endif
