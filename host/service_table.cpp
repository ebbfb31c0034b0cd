// orx_host_services: the table of host entry points handed to threaded kernels.
#include "allocator.h"
#include "orx/host.h"
#include "orx_serv.h"
#include "thread_count.h"
#include "thread_pool.h"

namespace {

// Typed first, so that a signature drifting from orx/host.h fails to compile.
constexpr orx_host_run_fn kRun = orx::host::run_parallel;
constexpr orx_host_set_num_threads_fn kSetNumThreads = orx::host::set_num_threads;
constexpr orx_host_allocate_fn kAllocate = orx::host::allocate;
constexpr orx_host_deallocate_fn kDeallocate = orx::host::deallocate;
constexpr orx_host_num_threads_fn kNumThreads = orx::host::num_threads;

template <class Function>
const void* entry(Function function) {
  return reinterpret_cast<const void*>(function);
}

}  // namespace

const void* const* orx_host_services() noexcept {
  static const void* const table[ORX_HOST_SERVICE_COUNT] = {
      entry(kRun), entry(kSetNumThreads), entry(kAllocate), entry(kDeallocate), entry(kNumThreads)};
  return table;
}

const void* const* orx_serv_host_services() noexcept { return orx_host_services(); }
