#include "df/task/pointer_table.h"

#include <cstring>

#include "orx_serv.h"

namespace orx::df {

namespace {

constexpr size_t kAlignment = 128;
constexpr size_t kHeader = 128;  // holds the capacity; keeps the entries aligned

unsigned char* block_of(void* const* table) {
  return reinterpret_cast<unsigned char*>(const_cast<void**>(table)) - kHeader;
}

}  // namespace

void** allocate_pointer_table(int64_t count) {
  if (count < 1) count = 1;
  if (static_cast<uint64_t>(count) > (SIZE_MAX - kHeader) / sizeof(void*)) return nullptr;
  const size_t bytes = kHeader + static_cast<size_t>(count) * sizeof(void*);
  auto* block = static_cast<unsigned char*>(orx_serv_allocate(bytes, kAlignment));
  if (block == nullptr) return nullptr;
  std::memset(block, 0, bytes);
  std::memcpy(block, &count, sizeof count);
  return reinterpret_cast<void**>(block + kHeader);
}

void free_pointer_table(void** table) {
  if (table != nullptr) orx_serv_deallocate(block_of(table));
}

int64_t pointer_table_capacity(void* const* table) {
  if (table == nullptr) return 0;
  int64_t count;
  std::memcpy(&count, block_of(table), sizeof count);
  return count;
}

}  // namespace orx::df
