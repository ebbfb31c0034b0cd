// The editors whose arguments carry values of one precision: task creation,
// pointer attributes, per-function pointers and the whole spline description.
// One template per editor; the d and s entry points instantiate it.
//
// Decisions where the record's rules leave a choice:
// - a null out-pointer given to NewTask1D is refused with DF_ERR_NULL_TASK
//   before any other check;
// - a table is allocated with max(count, 1) entries and knows its capacity:
//   a negative ny accepted at creation gives a one-entry table; the
//   per-function editor refuses an index beyond the table's entries with
//   DF_ERR_BAD_INDEX and a table that does not exist with the attribute's
//   null-pointer status;
// - new function values (attribute 2) or coefficients (attribute 5,
//   EditPPSpline1D) with ny < 1 are refused with DF_ERR_BAD_NY before the old
//   table is freed;
// - EditPPSpline1D lays the new coefficient table out with the coeff_hint it
//   is given (and stores that hint last).
#include <cstdint>

#include "df/task/pointer_table.h"
#include "df/task/task_view.h"
#include "orx/df.h"
#include "orx_serv.h"

namespace orx::df {
namespace {

bool partition_hint_valid(int64_t hint) {
  return hint == DF_NO_HINT || hint == DF_UNIFORM_PARTITION || hint == DF_NON_UNIFORM_PARTITION ||
         hint == DF_QUASI_UNIFORM_PARTITION;
}

// Rows (0, 16): function j starts nx values after function j - 1. Columns
// (32) and separate functions (128): entry 0 only. Other hints: unfilled.
template <class T>
int rebuild_value_table(Task1D& task, const T* y, int64_t nx, int64_t ny, int64_t yhint) {
  free_pointer_table(const_cast<void**>(task.y_table));
  void** table = allocate_pointer_table(yhint == DF_MATRIX_STORAGE_COLS ? 1 : ny);
  task.y_table = const_cast<const void**>(table);
  if (table == nullptr) return DF_ERR_ALLOC;
  if (yhint == 0 || yhint == DF_MATRIX_STORAGE_ROWS) {
    for (int64_t j = 0; j < ny; ++j) table[j] = const_cast<T*>(y + j * nx);
  } else if (yhint == DF_MATRIX_STORAGE_COLS || yhint == DF_MATRIX_STORAGE_FUNCS_SEP) {
    table[0] = const_cast<T*>(y);
  }
  return DF_STATUS_OK;
}

// One block of s_order coefficients per cell (s_order * nx per function for
// spline type 1, one block per knot); bit 128 of the hint: entry 0 only.
template <class T>
int rebuild_coefficient_table(Task1D& task, T* scoeff, int64_t coeff_hint) {
  free_pointer_table(task.coeff_table);
  task.coeff_table = allocate_pointer_table(task.ny);
  if (task.coeff_table == nullptr) return DF_ERR_ALLOC;
  if ((coeff_hint & DF_MATRIX_STORAGE_FUNCS_SEP) != 0) {
    task.coeff_table[0] = scoeff;
    return DF_STATUS_OK;
  }
  const int64_t stride = task.s_order * (task.s_type == 1 ? task.nx : task.nx - 1);
  for (int64_t j = 0; j < task.ny; ++j) task.coeff_table[j] = scoeff + j * stride;
  return DF_STATUS_OK;
}

template <class T>
int new_task(Task1D** out, int64_t nx, const T* x, int64_t xhint, int64_t ny, const T* y,
             int64_t yhint, uint32_t index_width) {
  if (out == nullptr) return DF_ERR_NULL_TASK;
  if (nx < 2) return DF_ERR_BAD_NX;
  if (x == nullptr) return DF_ERR_NULL_X;
  if (!partition_hint_valid(xhint)) return DF_ERR_BAD_XHINT;
  if (ny != 0 && y == nullptr) return DF_ERR_NULL_Y;
  if (ny == 0 && y != nullptr) return DF_ERR_BAD_NY;
  if (!storage_hint_valid(yhint)) return DF_ERR_BAD_YHINT;
  *out = nullptr;
  auto* task = static_cast<Task1D*>(orx_serv_allocate(sizeof(Task1D), 128));
  if (task == nullptr) return DF_ERR_ALLOC;
  *task = Task1D{};
  *out = task;  // from here on the caller deletes it, whatever the status
  task->nx = nx;
  task->x = x;
  task->xhint = xhint;
  if (y != nullptr) {
    const int status = rebuild_value_table(*task, y, nx, ny, yhint);
    if (status != DF_STATUS_OK) return status;
  }
  task->yhint = yhint;
  task->ny = ny;
  task->index_width = index_width;
  task->tag = 4;
  task->dimension = 1;
  task->editable = 1;
  return DF_STATUS_OK;
}

template <class T>
int edit_pointer(Task1D* task, int64_t attribute, const T* pointer) {
  if (task == nullptr) return DF_ERR_NULL_TASK;
  if (task->editable != 1) return DF_STATUS_OK;
  switch (attribute) {
    case DF_ATTR_PARTITION:
      if (pointer == nullptr) return DF_ERR_NULL_X;
      task->x = pointer;
      return DF_STATUS_OK;
    case DF_ATTR_FUNC_VALUES:
      if (pointer == nullptr) return DF_ERR_NULL_Y;
      if (task->ny < 1) return DF_ERR_BAD_NY;
      return rebuild_value_table(*task, pointer, task->nx, task->ny, task->yhint);
    case DF_ATTR_INTERNAL_COND:
      if (pointer == nullptr) return DF_ERR_NULL_IC;
      task->ic = pointer;
      return DF_STATUS_OK;
    case DF_ATTR_BOUNDARY_COND:
      if (pointer == nullptr) return DF_ERR_NULL_BC;
      task->bc = pointer;
      return DF_STATUS_OK;
    case DF_ATTR_COEFFS:
      if (pointer == nullptr) return DF_ERR_NULL_COEFF;
      if (task->ny < 1) return DF_ERR_BAD_NY;
      return rebuild_coefficient_table(*task, const_cast<T*>(pointer), task->coeff_hint);
    default:
      return DF_ERR_BAD_ATTR;
  }
}

template <class T>
int edit_function_pointer(Task1D* task, int64_t attribute, int64_t index, const T* pointer) {
  if (task == nullptr) return DF_ERR_NULL_TASK;
  if (task->editable != 1) return DF_STATUS_OK;
  if (index < 0 || index >= task->ny) return DF_ERR_BAD_INDEX;
  void** table;
  int null_status;
  if (attribute == DF_ATTR_FUNC_VALUES) {
    table = const_cast<void**>(task->y_table);
    null_status = DF_ERR_NULL_Y;
  } else if (attribute == DF_ATTR_COEFFS) {
    table = task->coeff_table;
    null_status = DF_ERR_NULL_COEFF;
  } else {
    return DF_ERR_BAD_ATTR;
  }
  if (pointer == nullptr || table == nullptr) return null_status;
  if (index >= pointer_table_capacity(table)) return DF_ERR_BAD_INDEX;
  table[index] = const_cast<T*>(pointer);
  return DF_STATUS_OK;
}

template <class T>
int edit_pp_spline(Task1D* task, int64_t s_order, int64_t s_type, int64_t bc_type, const T* bc,
                   int64_t ic_type, const T* ic, T* scoeff, int64_t coeff_hint) {
  if (task == nullptr) return DF_ERR_NULL_TASK;
  if (s_order < 0) return DF_ERR_BAD_ORDER;
  if (s_type < 0) return DF_ERR_BAD_TYPE;
  task->s_order = s_order;
  task->s_type = s_type;
  const bool bc_needed = bc_type != 0 && bc_type != DF_BC_NOT_A_KNOT && bc_type != DF_BC_FREE_END;
  if (bc_needed && bc == nullptr) return DF_ERR_NULL_BC;
  task->bc_type = bc_type;
  task->bc = bc;
  if (ic_type != 0 && ic == nullptr) return DF_ERR_NULL_IC;
  if (ic_type == 0 && ic != nullptr) return DF_ERR_BAD_IC_TYPE;
  task->ic_type = ic_type;
  task->ic = ic;
  if (scoeff != nullptr) {
    if (task->ny < 1) return DF_ERR_BAD_NY;
    const int status = rebuild_coefficient_table(*task, scoeff, coeff_hint);
    if (status != DF_STATUS_OK) return status;
  }
  task->coeff_hint = coeff_hint;
  return DF_STATUS_OK;
}

}  // namespace
}  // namespace orx::df

using namespace orx::df;

#define ORX_DF_TYPED_EDITORS(P, T)                                                                \
  int orx_df_kernel_##P##NewTask1D(Task1D** task, int64_t nx, const T* x, int64_t xhint,          \
                                   int64_t ny, const T* y, int64_t yhint, uint32_t index_width) { \
    return new_task(task, nx, x, xhint, ny, y, yhint, index_width);                               \
  }                                                                                               \
  int orx_df_kernel_##P##EditPtr(Task1D* task, int64_t attribute, const T* pointer) {             \
    return edit_pointer(task, attribute, pointer);                                                \
  }                                                                                               \
  int orx_df_kernel_##P##EditIdxPtr(Task1D* task, int64_t attribute, int64_t index,               \
                                    const T* pointer) {                                           \
    return edit_function_pointer(task, attribute, index, pointer);                                \
  }                                                                                               \
  int orx_df_kernel_##P##EditPPSpline1D(Task1D* task, int64_t s_order, int64_t s_type,            \
                                        int64_t bc_type, const T* bc, int64_t ic_type,            \
                                        const T* ic, T* scoeff, int64_t coeff_hint) {             \
    return edit_pp_spline(task, s_order, s_type, bc_type, bc, ic_type, ic, scoeff, coeff_hint);   \
  }

ORX_DF_TYPED_EDITORS(d, double)
ORX_DF_TYPED_EDITORS(s, float)
