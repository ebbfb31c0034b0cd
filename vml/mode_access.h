// File-local access to the mode word for a group of kernels: each file that
// includes this header gets its own copy of the forwarder.
#pragma once

#include "orx/vml.h"

[[maybe_unused]] static unsigned int _vml_static_wrapper32e_GetMode() noexcept {
  return orx_vml_kernel_GetMode();
}
