// The host allocator shared by the serv entry points and the service table.
#ifndef ORX_HOST_ALLOCATOR_H
#define ORX_HOST_ALLOCATOR_H

#include <cstddef>

namespace orx::host {

void* allocate(size_t bytes, size_t alignment) noexcept;
void deallocate(void* block) noexcept;

}  // namespace orx::host

#endif
