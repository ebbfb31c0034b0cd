// The thread's error status and error callback.
#include "orx/vml.h"
#include "vml/thread_state.h"

using orx::vml::thread_state;

// The status is sticky: reporters overwrite it, only these calls reset it.
int orx_vml_kernel_SetErrStatus(int status) noexcept {
  auto& state = thread_state();
  const int previous = state.error_status;
  state.error_status = status;
  return previous;
}

int orx_vml_kernel_GetErrStatus() noexcept { return thread_state().error_status; }

int orx_vml_kernel_ClearErrStatus() noexcept { return orx_vml_kernel_SetErrStatus(0); }

// Installing a callback turns the CALLBACK error bit on, removing it turns the
// bit off, both through SetMode; so when CALLBACK is the only error bit,
// clearing the callback leaves it set (SetMode never clears a field to zero).
VmlErrorCallBack orx_vml_kernel_SetErrorCallBack(VmlErrorCallBack callback) noexcept {
  auto& state = thread_state();
  const VmlErrorCallBack previous = state.error_callback;
  state.error_callback = callback;
  const unsigned int mode = orx_vml_kernel_GetMode();
  orx_vml_kernel_SetMode(callback != nullptr ? mode | ORX_VML_ERRMODE_CALLBACK
                                             : mode & ~ORX_VML_ERRMODE_CALLBACK);
  return previous;
}

VmlErrorCallBack orx_vml_kernel_GetErrorCallBack() noexcept { return thread_state().error_callback; }

VmlErrorCallBack orx_vml_kernel_ClearErrorCallBack() noexcept {
  return orx_vml_kernel_SetErrorCallBack(nullptr);
}

int _vmlSetErrStatus(int status) noexcept { return orx_vml_kernel_SetErrStatus(status); }
int _vmlGetErrStatus() noexcept { return orx_vml_kernel_GetErrStatus(); }
int _vmlClearErrStatus() noexcept { return orx_vml_kernel_ClearErrStatus(); }
VmlErrorCallBack _vmlSetErrorCallBack(VmlErrorCallBack callback) noexcept {
  return orx_vml_kernel_SetErrorCallBack(callback);
}
VmlErrorCallBack _vmlGetErrorCallBack() noexcept { return orx_vml_kernel_GetErrorCallBack(); }
VmlErrorCallBack _vmlClearErrorCallBack() noexcept { return orx_vml_kernel_ClearErrorCallBack(); }
