// The single-field editors. The integer editor and the two floating-point
// editors differ only in the kind of id they accept: the field and the
// null-pointer status come from the id table. The d and s editors accept the
// same ids, since the record is shared by both precisions.
#include "orx/ss.h"
#include "vsl/ss/task/field_table.h"

namespace orx::ss {
namespace {

// Highest id each editor accepts; ids from 1 (integer) or 3 (floating
// point) up are told apart by their kind.
constexpr int kLastIntegerId = SS_ED_STREAM_QUANT_ORDER_N;
constexpr int kLastFloatingId = SS_ED_STREAM_QUANT_QUANTILES;

int edit_field(SummaryStatsTask* task, int id, const void* pointer, FieldKind editor_kind) {
  if (task == nullptr) return SS_ERR_NULL_TASK;
  const int last = editor_kind == FieldKind::kInteger ? kLastIntegerId : kLastFloatingId;
  const FieldEntry* entry = id <= last ? field_entry(id) : nullptr;
  if (entry == nullptr || entry->kind != editor_kind) return SS_ERR_BAD_PARAM_ID;
  if (pointer == nullptr) return entry->null_status;
  store_field(*task, *entry, pointer);
  return SS_STATUS_OK;
}

}  // namespace
}  // namespace orx::ss

using orx::ss::edit_field;
using orx::ss::FieldKind;

int __vsldSSEditTask(SummaryStatsTask* task, int id, const double* address) {
  return edit_field(task, id, address, FieldKind::kFloating);
}

int __vslsSSEditTask(SummaryStatsTask* task, int id, const float* address) {
  return edit_field(task, id, address, FieldKind::kFloating);
}

int __vsliSSEditTask(SummaryStatsTask* task, int id, const void* address) {
  return edit_field(task, id, address, FieldKind::kInteger);
}
