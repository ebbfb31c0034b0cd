// Typed reading of a Task1D by the kernels of one precision (T = double or
// float): the partition, the function values in either storage, the
// coefficient blocks, and the facts the kernel choice depends on.
#ifndef ORX_DF_TASK_TASK_VIEW_H
#define ORX_DF_TASK_TASK_VIEW_H

#include <cstdint>

#include "orx/df.h"

namespace orx::df {

template <class T>
struct TaskView {
  const Task1D& task;

  int64_t nx() const { return task.nx; }
  // Functions to process: counts below 1 are taken as 1.
  int64_t ny() const { return task.ny < 1 ? 1 : task.ny; }
  const T* x() const { return static_cast<const T*>(task.x); }
  bool uniform() const { return (task.xhint & DF_UNIFORM_PARTITION) != 0; }
  bool column_storage() const { return task.yhint == DF_MATRIX_STORAGE_COLS; }
  // Row storage: function j's values. Column storage: the shared array.
  const T* values(int64_t j) const {
    return static_cast<const T*>(task.y_table[column_storage() ? 0 : j]);
  }
  T* coefficients(int64_t j) const { return static_cast<T*>(task.coeff_table[j]); }
  const T* bc() const { return static_cast<const T*>(task.bc); }
  const T* ic() const { return static_cast<const T*>(task.ic); }
};

inline bool storage_hint_valid(int64_t hint) {
  return hint == 0 || hint == DF_MATRIX_STORAGE_ROWS || hint == DF_MATRIX_STORAGE_COLS ||
         hint == DF_MATRIX_STORAGE_FUNCS_SEP;
}

}  // namespace orx::df

#endif
