// Persistent worker pool: lazily grown, shared by one run at a time, joined at exit.
#include "thread_pool.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <semaphore>
#include <thread>
#include <vector>

namespace orx::host {

namespace {

// True while this thread runs items; a run started then goes serial, since
// the pool may be busy with the very run this thread is part of.
thread_local bool t_running_items = false;

class RunningItems {
 public:
  RunningItems() : previous_(t_running_items) { t_running_items = true; }
  ~RunningItems() { t_running_items = previous_; }
  RunningItems(const RunningItems&) = delete;
  RunningItems& operator=(const RunningItems&) = delete;

 private:
  bool previous_;
};

void run_serially(orx_threader_fn threader, int64_t nitems, void* ctx) {
  RunningItems running;
  for (int64_t i = 0; i < nitems; ++i) threader(i, 0, ctx);
}

class ThreadPool {
 public:
  ThreadPool();

  // Runs all items on the caller (thread 0) and up to nthreads - 1 workers;
  // false, having run nothing, when another run holds the pool.
  bool try_run(orx_threader_fn threader, int64_t nitems, int64_t nthreads, void* ctx) noexcept;

  // Stops and joins the workers unless a run is in flight; later runs go serial.
  void shut_down() noexcept;

  // In a forked child the workers do not exist: every run there goes serial.
  void disable() noexcept { busy_.store(true); }

 private:
  struct Worker {
    std::binary_semaphore wake{0};
    std::thread thread;
  };

  int64_t grow_to(int64_t count) noexcept;
  void run_items(int64_t thread);
  void worker_loop(Worker& worker, int64_t thread);

  std::atomic<bool> busy_{false};
  std::atomic<bool> stopping_{false};
  std::vector<std::unique_ptr<Worker>> workers_;  // touched only by the holder of busy_

  // The run in flight, published to workers through their semaphores.
  orx_threader_fn threader_ = nullptr;
  void* ctx_ = nullptr;
  int64_t nitems_ = 0;
  std::atomic<int64_t> next_item_{0};
  std::atomic<int> workers_running_{0};
};

// Created on the first parallel run and never destroyed, so that a worker or a
// late caller never sees it gone; PoolShutdown joins its threads at exit.
std::atomic<ThreadPool*> g_pool{nullptr};

ThreadPool* pool_or_null() noexcept {
  try {
    static ThreadPool* const pool = [] {
      auto* created = new ThreadPool;
      g_pool.store(created);
      return created;
    }();
    return pool;
  } catch (...) {
    return nullptr;
  }
}

struct PoolShutdown {
  ~PoolShutdown() {
    if (ThreadPool* pool = g_pool.load()) pool->shut_down();
  }
};
PoolShutdown g_pool_shutdown;

ThreadPool::ThreadPool() {
  pthread_atfork(nullptr, nullptr, [] {
    if (ThreadPool* pool = g_pool.load()) pool->disable();
  });
}

int64_t ThreadPool::grow_to(int64_t count) noexcept {
  try {
    workers_.reserve(kMaxRunThreads - 1);  // push_back below then never throws
    while (static_cast<int64_t>(workers_.size()) < count) {
      auto worker = std::make_unique<Worker>();
      const int64_t thread = static_cast<int64_t>(workers_.size()) + 1;
      worker->thread = std::thread([this, w = worker.get(), thread] { worker_loop(*w, thread); });
      workers_.push_back(std::move(worker));
    }
  } catch (...) {  // no more threads or memory: run with the workers there are
  }
  return std::min(count, static_cast<int64_t>(workers_.size()));
}

void ThreadPool::run_items(int64_t thread) {
  for (int64_t i = next_item_.fetch_add(1, std::memory_order_relaxed); i < nitems_;
       i = next_item_.fetch_add(1, std::memory_order_relaxed)) {
    threader_(i, thread, ctx_);
  }
}

void ThreadPool::worker_loop(Worker& worker, int64_t thread) {
  t_running_items = true;
  for (;;) {
    worker.wake.acquire();
    if (stopping_.load(std::memory_order_acquire)) return;
    run_items(thread);
    if (workers_running_.fetch_sub(1, std::memory_order_release) == 1)
      workers_running_.notify_one();
  }
}

bool ThreadPool::try_run(orx_threader_fn threader, int64_t nitems, int64_t nthreads,
                         void* ctx) noexcept {
  bool expected = false;
  if (!busy_.compare_exchange_strong(expected, true, std::memory_order_acquire)) return false;
  const int64_t helpers = grow_to(nthreads - 1);
  threader_ = threader;
  ctx_ = ctx;
  nitems_ = nitems;
  next_item_.store(0, std::memory_order_relaxed);
  workers_running_.store(static_cast<int>(helpers), std::memory_order_relaxed);
  for (int64_t i = 0; i < helpers; ++i) workers_[i]->wake.release();
  {
    RunningItems running;
    run_items(0);
  }
  for (int left = workers_running_.load(std::memory_order_acquire); left != 0;
       left = workers_running_.load(std::memory_order_acquire)) {
    workers_running_.wait(left, std::memory_order_acquire);
  }
  busy_.store(false, std::memory_order_release);
  return true;
}

void ThreadPool::shut_down() noexcept {
  bool expected = false;
  // A run still in flight (exit called from a threader, or while another thread
  // runs) keeps its workers: they are left blocked, and the pool is never freed.
  if (!busy_.compare_exchange_strong(expected, true, std::memory_order_acquire)) return;
  stopping_.store(true, std::memory_order_release);
  for (auto& worker : workers_) worker->wake.release();
  for (auto& worker : workers_) {
    try {
      worker->thread.join();
    } catch (...) {  // cannot happen for a running worker; leave it to the exit
    }
  }
}

}  // namespace

void run_parallel(orx_threader_fn threader, int64_t nitems, int64_t nthreads, void* ctx) noexcept {
  if (threader == nullptr || nitems <= 0) return;
  const int64_t threads = std::min({nthreads, nitems, kMaxRunThreads});
  if (threads > 1 && !t_running_items) {
    ThreadPool* pool = pool_or_null();
    if (pool != nullptr && pool->try_run(threader, nitems, threads, ctx)) return;
  }
  run_serially(threader, nitems, ctx);
}

}  // namespace orx::host
