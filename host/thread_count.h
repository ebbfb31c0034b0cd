// The thread count the host reports (service table entries 1 and 4).
#ifndef ORX_HOST_THREAD_COUNT_H
#define ORX_HOST_THREAD_COUNT_H

#include <cstdint>

namespace orx::host {

// ORX_NUM_THREADS if it is a positive decimal integer, else the hardware
// concurrency (at least 1), unless set_num_threads chose a count. The
// variable is read on every call, so a change to it takes effect at once.
int64_t num_threads() noexcept;

// n > 0 fixes the count; n <= 0 returns to the default above.
void set_num_threads(int64_t n) noexcept;

}  // namespace orx::host

#endif
