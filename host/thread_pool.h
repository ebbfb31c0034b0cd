// The parallel runner (service table entry 0) and its persistent worker pool.
#ifndef ORX_HOST_THREAD_POOL_H
#define ORX_HOST_THREAD_POOL_H

#include <cstdint>

#include "orx/host.h"

namespace orx::host {

// Most threads one run uses, the caller included; larger requests are
// clamped. It bounds the pool at 255 workers, created only as runs ask for
// them; an idle worker is one thread blocked on its semaphore.
inline constexpr int64_t kMaxRunThreads = 256;

void run_parallel(orx_threader_fn threader, int64_t nitems, int64_t nthreads, void* ctx) noexcept;

}  // namespace orx::host

#endif
