// Test hook that makes a chosen future allocation fail.
#ifndef ORX_HOST_ALLOCATION_FAULT_H
#define ORX_HOST_ALLOCATION_FAULT_H

namespace orx::host {

// Counts one allocation call; true when it is the one armed to fail.
bool allocation_fault_due() noexcept;

}  // namespace orx::host

#endif
