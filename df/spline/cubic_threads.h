// How a cubic construction spreads its functions over the host's threads,
// the one work block it allocates, and the first failing status of its
// work items.
#ifndef ORX_DF_SPLINE_CUBIC_THREADS_H
#define ORX_DF_SPLINE_CUBIC_THREADS_H

#include <algorithm>
#include <cstdint>
#include <mutex>

#include "orx/df.h"
#include "orx/host.h"
#include "orx_serv.h"

namespace orx::df {

// Below 300 knots a function is too little work to hand to another thread;
// from 600 knots, or with 8 threads or more, it always pays.
constexpr int64_t kCubicParallelMinKnots = 300;
constexpr int64_t kCubicParallelKnots = 600;
constexpr int64_t kCubicParallelThreads = 8;

struct CubicThreadPlan {
  int64_t threads;  // T = min(host threads, functions)
  bool parallel;    // functions solved on T threads, else on the caller
};

inline CubicThreadPlan plan_cubic_threads(int64_t nx, int64_t ny, const void* const* services) {
  const int64_t functions = std::max<int64_t>(ny, 1);
  int64_t host = 1;
  if (services != nullptr)
    host = reinterpret_cast<orx_host_num_threads_fn>(services[ORX_HOST_NUM_THREADS])();
  const int64_t threads = std::max<int64_t>(1, std::min(host, functions));
  const bool small = ny <= 1 || threads == 1 || nx < kCubicParallelMinKnots;
  const bool parallel = !small && (nx >= kCubicParallelKnots || threads >= kCubicParallelThreads);
  return {threads, parallel};
}

// Runs threader over the items on the host's runner, or on the calling
// thread when there is no service table.
inline void run_cubic_items(const void* const* services, orx_threader_fn threader, int64_t items,
                            int64_t threads, void* ctx) {
  if (services == nullptr) {
    for (int64_t item = 0; item < items; ++item) threader(item, 0, ctx);
    return;
  }
  reinterpret_cast<orx_host_run_fn>(services[ORX_HOST_RUN])(threader, items, threads, ctx);
}

// One block from the host allocator (128-byte aligned), freed on scope exit.
template <class T>
class CubicWorkBlock {
 public:
  explicit CubicWorkBlock(int64_t elements)
      : base_(static_cast<T*>(orx_serv_allocate(sizeof(T) * static_cast<size_t>(elements), 128))) {}
  ~CubicWorkBlock() { orx_serv_deallocate(base_); }
  CubicWorkBlock(const CubicWorkBlock&) = delete;
  CubicWorkBlock& operator=(const CubicWorkBlock&) = delete;
  T* get() const { return base_; }

 private:
  T* base_;
};

// The status of the first failing item in item order, whatever order the
// threads finish in. Failures are rare; a lock keeps it simple.
class FirstItemStatus {
 public:
  explicit FirstItemStatus(int64_t items) : item_(items) {}
  void record(int64_t item, int status) {
    if (status == DF_STATUS_OK) return;
    std::lock_guard<std::mutex> lock(mutex_);
    if (item < item_) item_ = item, status_ = status;
  }
  int status() const { return status_; }

 private:
  std::mutex mutex_;
  int64_t item_;
  int status_ = DF_STATUS_OK;
};

}  // namespace orx::df

#endif
