// The task's two tables of per-function pointers. Each table remembers its
// capacity (in a 128-byte header before the entries, so that the entries
// stay 128-byte aligned): the value editor may change ny or a hint without
// rebuilding a table, and the per-function editor must still never write
// past the entries that exist.
#ifndef ORX_DF_TASK_POINTER_TABLE_H
#define ORX_DF_TASK_POINTER_TABLE_H

#include <cstdint>

namespace orx::df {

// A zero-filled table of max(count, 1) entries, or null when the host
// allocator fails.
void** allocate_pointer_table(int64_t count);
void free_pointer_table(void** table);
int64_t pointer_table_capacity(void* const* table);

}  // namespace orx::df

#endif
