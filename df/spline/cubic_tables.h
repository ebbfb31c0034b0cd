// The dispatch tables of the cubic construction kernels: one table of
// [storage][grid][condition slot] per construction kind and precision,
// filled in the kind's own kernel file.
#ifndef ORX_DF_SPLINE_CUBIC_TABLES_H
#define ORX_DF_SPLINE_CUBIC_TABLES_H

#include <cstdint>
#include <type_traits>

#include "df/spline/spline_tables.h"

namespace orx::df {

// A cubic construction kernel: (task, method (0), host services) -> status.
using CubicKernel = int (*)(const Task1D* task, int64_t method, const void* const* services);

// The kinds that own kernels. The default kind (s_type 0) runs the natural
// kernels; its table is the natural one.
struct NaturalKind {};
struct BesselKind {};
struct AkimaKind {};
struct HermiteKind {};

// Each kind's table, indexed by [storage_index][grid_index][slot]
// (spline_tables.h).
template <class T>
struct NaturalCubicKernelTable {
  static const CubicKernel kernels[2][2][kBoundarySlots];
};
template <class T>
struct BesselCubicKernelTable {
  static const CubicKernel kernels[2][2][kBoundarySlots];
};
template <class T>
struct AkimaCubicKernelTable {
  static const CubicKernel kernels[2][2][kBoundarySlots];
};
template <class T>
struct HermiteCubicKernelTable {
  static const CubicKernel kernels[2][2][kBoundarySlots];
};

template <class T, class Kind>
CubicKernel cubic_kernel(int storage, int grid, int slot) {
  if constexpr (std::is_same_v<Kind, NaturalKind>)
    return NaturalCubicKernelTable<T>::kernels[storage][grid][slot];
  if constexpr (std::is_same_v<Kind, BesselKind>)
    return BesselCubicKernelTable<T>::kernels[storage][grid][slot];
  if constexpr (std::is_same_v<Kind, AkimaKind>)
    return AkimaCubicKernelTable<T>::kernels[storage][grid][slot];
  return HermiteCubicKernelTable<T>::kernels[storage][grid][slot];
}

}  // namespace orx::df

#endif
