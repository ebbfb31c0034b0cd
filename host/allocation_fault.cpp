// Countdown behind orx_host_test_fail_allocation, shared by every thread.
#include "allocation_fault.h"

#include <atomic>
#include <cstdint>

#include "orx/host.h"

namespace orx::host {

namespace {

// Allocations left until the failing one; 0 when disarmed.
std::atomic<int64_t> g_countdown{0};

}  // namespace

bool allocation_fault_due() noexcept {
  int64_t left = g_countdown.load(std::memory_order_relaxed);
  while (left > 0) {
    if (g_countdown.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
      return left == 1;
    }
  }
  return false;
}

}  // namespace orx::host

void orx_host_test_fail_allocation(int64_t k) noexcept {
  orx::host::g_countdown.store(k > 0 ? k : 0, std::memory_order_relaxed);
}
