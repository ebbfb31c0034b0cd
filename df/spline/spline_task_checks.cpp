#include "df/spline/spline_task_checks.h"

#include <cstdint>

#include "df/task/pointer_table.h"

namespace orx::df {

int check_function_pointers(const Task1D& task) {
  const int64_t ny = task.ny < 1 ? 1 : task.ny;
  const int64_t value_entries = task.yhint == DF_MATRIX_STORAGE_COLS ? 1 : ny;
  void* const* values = const_cast<void**>(task.y_table);
  if (values == nullptr || pointer_table_capacity(values) < value_entries) return DF_ERR_NULL_Y;
  for (int64_t j = 0; j < value_entries; ++j)
    if (values[j] == nullptr) return DF_ERR_NULL_Y;
  if (task.coeff_table == nullptr || pointer_table_capacity(task.coeff_table) < ny)
    return DF_ERR_NULL_COEFF;
  for (int64_t j = 0; j < ny; ++j)
    if (task.coeff_table[j] == nullptr) return DF_ERR_NULL_COEFF;
  return DF_STATUS_OK;
}

}  // namespace orx::df
