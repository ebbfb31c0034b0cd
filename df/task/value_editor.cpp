// The integer-attribute editor and task deletion, shared by both precisions.
// The value editor never allocates: changing nx, ny or a hint leaves the
// pointer tables as they are until the pointers are set again.
#include <cstdint>
#include <initializer_list>

#include "df/task/pointer_table.h"
#include "df/task/task_view.h"
#include "orx/df.h"
#include "orx_serv.h"

using namespace orx::df;

namespace {

bool one_of(int64_t v, std::initializer_list<int64_t> accepted) {
  for (const int64_t a : accepted)
    if (v == a) return true;
  return false;
}

}  // namespace

int orx_df_kernel_iEditVal(Task1D* task, int64_t attribute, int64_t value) {
  if (task == nullptr) return DF_ERR_NULL_TASK;
  if (task->editable != 1) return DF_STATUS_OK;
  int64_t* field;
  int refusal;
  bool accepted;
  switch (attribute) {
    case DF_ATTR_PARTITION_SIZE:
      field = &task->nx, refusal = DF_ERR_BAD_NX, accepted = value >= 2;
      break;
    case DF_ATTR_PARTITION_HINT:
      field = &task->xhint, refusal = DF_ERR_BAD_XHINT, accepted = one_of(value, {0, 1, 2, 4});
      break;
    case DF_ATTR_FUNC_COUNT:
      field = &task->ny, refusal = DF_ERR_BAD_NY, accepted = value >= 1;
      break;
    case DF_ATTR_FUNC_VALUES_HINT:
      field = &task->yhint, refusal = DF_ERR_BAD_YHINT, accepted = storage_hint_valid(value);
      break;
    case DF_ATTR_SPLINE_ORDER:
      field = &task->s_order, refusal = DF_ERR_BAD_ORDER, accepted = value >= 0;
      break;
    case DF_ATTR_SPLINE_TYPE:
      field = &task->s_type, refusal = DF_ERR_BAD_TYPE, accepted = value >= 0 && value <= 5;
      break;
    case DF_ATTR_INTERNAL_COND_TYPE:
      field = &task->ic_type, refusal = DF_ERR_BAD_IC_TYPE;
      accepted = one_of(value, {0, 1, 2}) || (value & 8) != 0;
      break;
    case DF_ATTR_BOUNDARY_COND_TYPE:
      field = &task->bc_type, refusal = DF_ERR_BAD_BC_TYPE, accepted = value >= 0;
      break;
    case DF_ATTR_COEFFS_HINT:
      field = &task->coeff_hint, refusal = DF_ERR_BAD_COEFF_HINT;
      accepted = storage_hint_valid(value);
      break;
    default:
      return DF_ERR_BAD_ATTR;
  }
  if (!accepted) return refusal;
  *field = value;
  return DF_STATUS_OK;
}

int orx_df_kernel_DeleteTask(Task1D** task) {
  if (task == nullptr || *task == nullptr) return DF_ERR_NULL_TASK;
  free_pointer_table(const_cast<void**>((*task)->y_table));
  free_pointer_table((*task)->coeff_table);
  orx_serv_deallocate(*task);
  *task = nullptr;
  return DF_STATUS_OK;
}
