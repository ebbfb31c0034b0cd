// The per-thread record of vector math: mode word, last status, callback and
// the base of the caller's whole input vector.
#pragma once

#include <cstdint>

#include "orx/vml.h"

namespace orx::vml {

// Zero-initialised on the thread's first touch; a mode of 0 means "not yet
// read from the environment".
struct VmlThreadState {
  const void* input_base;
  VmlErrorCallBack error_callback;
  int32_t error_status;
  uint64_t mode;
};

VmlThreadState& thread_state() noexcept;

}  // namespace orx::vml
