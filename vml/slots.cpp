// Accuracy slot of a mode word, and the processor generation of the kernels.
#include "orx/vml.h"

// No clamping: an accuracy field of 0 gives -1.
int orx_vml_kernel_GetTTableIndex() noexcept {
  return static_cast<int>(orx_vml_kernel_GetMode() & ORX_VML_ACCURACY_MASK) - 1;
}

int orx_vml_kernel_GetTTableIndexM(int64_t, uint64_t mode) noexcept {
  return static_cast<int>(mode & ORX_VML_ACCURACY_MASK) - 1;
}

// One generation of kernels (SSE2 baseline) exists.
int dll_cpu_version() noexcept { return 0; }
