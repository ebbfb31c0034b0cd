// The per-element reporter, generic over the input and result element types.
// The four exported reporters are its instances with In == Out; kernels whose
// result type differs from their input type (complex Abs, Arg, CIS) use the
// mixed instances directly.
#pragma once

#include "orx/vml.h"

namespace orx::vml {

template <class In, class Out>
void report_error(int status, int index, const In* a1, const In* a2, Out* r1, Out* r2,
                  const char* name) noexcept;

extern template void report_error(int, int, const float*, const float*, float*, float*, const char*) noexcept;
extern template void report_error(int, int, const double*, const double*, double*, double*, const char*) noexcept;
extern template void report_error(int, int, const orx_complex8*, const orx_complex8*, orx_complex8*, orx_complex8*, const char*) noexcept;
extern template void report_error(int, int, const orx_complex16*, const orx_complex16*, orx_complex16*, orx_complex16*, const char*) noexcept;
extern template void report_error(int, int, const orx_complex8*, const orx_complex8*, float*, float*, const char*) noexcept;
extern template void report_error(int, int, const orx_complex16*, const orx_complex16*, double*, double*, const char*) noexcept;
extern template void report_error(int, int, const float*, const float*, orx_complex8*, orx_complex8*, const char*) noexcept;
extern template void report_error(int, int, const double*, const double*, orx_complex16*, orx_complex16*, const char*) noexcept;

}  // namespace orx::vml
