// The 128 basic-statistics kernels of each precision by name, and the table
// that reaches them: index = 64*columns + 32*weighted + 16*cross-product +
// 8*mean + 4*raw2 + 2*raw3 + raw4 (the catalogue is generated from that rule
// by basic_catalogue.cmake).
#ifndef ORX_SS_BASIC_BASIC_TABLE_H
#define ORX_SS_BASIC_BASIC_TABLE_H

#include "vsl/ss/basic/basic_kernel.h"

namespace orx::ss {

inline constexpr Layout Rows = Layout::Rows;
inline constexpr Layout Columns = Layout::Columns;

// _vSSBasicRWC1234<double> and its 127 siblings: pointers to the instances.
#define ORX_SS_BASIC_KERNEL(index, name, layout, w, c, m1, m2, m3, m4) \
  template <class T>                                                   \
  inline constexpr BasicKernel<T> name = &basic_kernel<T, layout, w, c, m1, m2, m3, m4>;
#include "orx/ss_basic_catalogue.def"
#undef ORX_SS_BASIC_KERNEL

template <class T>
struct BasicKernelEntry {
  const char* name;
  BasicKernel<T> kernel;
};

template <class T>
inline constexpr BasicKernelEntry<T> kBasicKernels[128] = {
#define ORX_SS_BASIC_KERNEL(index, name, ...) {#name, name<T>},
#include "orx/ss_basic_catalogue.def"
#undef ORX_SS_BASIC_KERNEL
};

// Index of the kernel for the given choices.
constexpr int basic_kernel_index(bool columns, bool weighted, bool cross, bool mean, bool raw2,
                                 bool raw3, bool raw4) {
  return 64 * columns + 32 * weighted + 16 * cross + 8 * mean + 4 * raw2 + 2 * raw3 + raw4;
}

}  // namespace orx::ss

#endif
