// kWidth consecutive values of one function as a register: a plain load in
// row storage, a gather at the function's stride in column storage.
#ifndef ORX_DF_SPLINE_SPLINE_LANES_H
#define ORX_DF_SPLINE_SPLINE_LANES_H

#include <cstdint>

#include "df/spline/linear_sse.h"
#include "df/spline/spline_policies.h"

namespace orx::df {

// Values i .. i + kWidth - 1 of function y.
template <class T, class Storage>
typename Sse<T>::V load_values(const FunctionValues<T, Storage>& y, int64_t i) {
  if constexpr (Storage::kColumns) return Sse<T>::gather(y.base + i * y.stride, y.stride);
  return Sse<T>::loadu(y.base + i);
}

}  // namespace orx::df

#endif
