// Where element (i, k) of a p x p symmetric result lives under its storage
// code: full (both triangles), upper triangle packed by columns (bit 0x1) or
// lower triangle packed by columns (bit 0x2, checked first).
#ifndef ORX_SS_BASIC_SYMMETRIC_STORAGE_H
#define ORX_SS_BASIC_SYMMETRIC_STORAGE_H

#include <cstdint>

#include "orx/ss.h"

namespace orx::ss {

struct SymmetricStorage {
  int64_t code = SS_MATRIX_STORAGE_FULL;
  int64_t p = 0;

  bool full() const { return (code & 3) == 0; }
  // Offset of element (i, k); for packed codes either order of i, k.
  int64_t offset(int64_t i, int64_t k) const {
    const int64_t lo = i < k ? i : k;
    const int64_t hi = i < k ? k : i;
    if (code & SS_MATRIX_STORAGE_L_PACKED) return (hi - lo) + lo * (2 * p - lo + 1) / 2;
    if (code & SS_MATRIX_STORAGE_U_PACKED) return lo + hi * (hi + 1) / 2;
    return i + k * p;
  }
  // Writes v at (i, k) and, in full storage, at (k, i).
  template <class T>
  void store(T* out, int64_t i, int64_t k, double v) const {
    out[offset(i, k)] = static_cast<T>(v);
    if (full()) out[offset(k, i)] = static_cast<T>(v);
  }
};

}  // namespace orx::ss

#endif
