// The dispatch tables of the linear and quadratic construction kernels, one
// per precision (T = double or float), filled in the kernels' own files.
#ifndef ORX_DF_SPLINE_SPLINE_TABLES_H
#define ORX_DF_SPLINE_SPLINE_TABLES_H

#include "df/spline/spline_policies.h"

namespace orx::df {

// Storage index: 0 column storage, 1 row storage. Grid index: 1 uniform.
inline int storage_index(const Task1D& task) { return task.yhint == DF_MATRIX_STORAGE_COLS ? 0 : 1; }
inline int grid_index(const Task1D& task) { return (task.xhint & DF_UNIFORM_PARTITION) != 0 ? 1 : 0; }

// Indexed by storage_index * 2 + grid_index.
template <class T>
struct LinearKernelTable {
  static const SplineKernel kernels[4];
};
template <class T>
struct StdQuadraticKernelTable {
  static const SplineKernel kernels[4];
};

// Boundary-condition slots, shared with the cubic kernels' tables.
enum BoundarySlot {
  kSlotNotAKnot = 0,
  kSlot1st1st = 2,
  kSlot1st2nd = 3,
  kSlot2nd1st = 4,
  kSlot2nd2nd = 5,
  kSlotPeriodic = 6,
  kSlotFreeEnd = 1,
  kBoundarySlots = 7
};

// [subgrid: 1 uniform][storage][grid][slot]; the not-a-knot, free-end and
// periodic slots are null.
template <class T>
struct SubbotinKernelTable {
  static const SplineKernel kernels[2][2][2][kBoundarySlots];
};

}  // namespace orx::df

#endif
