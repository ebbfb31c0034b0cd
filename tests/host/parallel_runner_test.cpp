// The parallel runner (service table entry 0): coverage, thread bounds, pool reuse, nesting.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "host_services.h"
#include "orx/host.h"

namespace {

orx_host_run_fn runner() { return host_service<orx_host_run_fn>(ORX_HOST_RUN); }

// Kernel thread ids are not recycled within a test run, unlike pthread handles.
int64_t os_thread_id() { return static_cast<int64_t>(syscall(SYS_gettid)); }

struct Record {
  explicit Record(int64_t nitems) : runs(static_cast<size_t>(std::max<int64_t>(nitems, 0))) {}
  std::vector<std::atomic<int>> runs;
  std::mutex mutex;
  std::set<int64_t> thread_indices;
  std::set<int64_t> os_threads;
  std::set<int64_t> os_threads_of_index0;
};

void record_item(int64_t item, int64_t thread, void* ctx) {
  auto* record = static_cast<Record*>(ctx);
  record->runs[static_cast<size_t>(item)].fetch_add(1);
  std::lock_guard lock(record->mutex);
  record->thread_indices.insert(thread);
  record->os_threads.insert(os_thread_id());
  if (thread == 0) record->os_threads_of_index0.insert(os_thread_id());
}

TEST(HostParallelRunner, RunsEveryItemOnceWithinTheThreadBound) {
  std::vector<int64_t> thread_counts = {-3, 0, 100, 1000};
  for (int64_t t = 1; t <= 64; ++t) thread_counts.push_back(t);
  const int64_t item_counts[] = {-1, 0, 1, 2, 3, 7, 64, 65, 1000};
  const int64_t caller = os_thread_id();
  for (int64_t nthreads : thread_counts) {
    for (int64_t nitems : item_counts) {
      SCOPED_TRACE(testing::Message() << "nthreads=" << nthreads << " nitems=" << nitems);
      Record record(nitems);
      runner()(record_item, nitems, nthreads, &record);
      for (const std::atomic<int>& runs : record.runs) ASSERT_EQ(runs.load(), 1);
      const int64_t bound = std::min(std::max<int64_t>(nthreads, 1), std::max<int64_t>(nitems, 0));
      EXPECT_LE(static_cast<int64_t>(record.thread_indices.size()), bound);
      EXPECT_LE(static_cast<int64_t>(record.os_threads.size()), bound);
      if (!record.thread_indices.empty()) {
        EXPECT_GE(*record.thread_indices.begin(), 0);
        EXPECT_LT(*record.thread_indices.rbegin(), std::max<int64_t>(nthreads, 1));
      }
      for (int64_t os_thread : record.os_threads_of_index0) EXPECT_EQ(os_thread, caller);
    }
  }
}

TEST(HostParallelRunner, ReusesTheSameWorkersAcrossRuns) {
  constexpr int64_t kThreads = 4;
  std::set<int64_t> os_threads;
  for (int run = 0; run < 50; ++run) {
    Record record(400);
    runner()(record_item, 400, kThreads, &record);
    os_threads.insert(record.os_threads.begin(), record.os_threads.end());
  }
  // A thread per call would show up to 150 distinct ids here.
  EXPECT_LE(static_cast<int64_t>(os_threads.size()), kThreads);
}

// Every item waits until all items have started, which needs nitems threads
// at once. The wait gives up after a minute only so that a broken runner
// fails instead of hanging.
struct Rendezvous {
  explicit Rendezvous(int64_t count) : expected(count) {}
  const int64_t expected;
  std::mutex mutex;
  std::condition_variable all_arrived;
  int64_t arrived = 0;
  std::atomic<int> gave_up{0};
};

void meet(int64_t, int64_t, void* ctx) {
  auto* r = static_cast<Rendezvous*>(ctx);
  std::unique_lock lock(r->mutex);
  if (++r->arrived == r->expected) r->all_arrived.notify_all();
  if (!r->all_arrived.wait_for(lock, std::chrono::seconds(60),
                               [r] { return r->arrived == r->expected; })) {
    r->gave_up.fetch_add(1);
  }
}

TEST(HostParallelRunner, RunsItemsConcurrentlyOnUpToSixtyFourThreads) {
  for (int64_t threads : {2, 8, 64}) {
    Rendezvous rendezvous(threads);
    runner()(meet, threads, threads, &rendezvous);
    EXPECT_EQ(rendezvous.arrived, threads);
    EXPECT_EQ(rendezvous.gave_up.load(), 0) << "threads=" << threads;
  }
}

struct NestedRecord {
  std::atomic<int> inner_runs[8][16] = {};
  std::atomic<int> inner_off_index0{0};
  std::atomic<int> inner_on_other_thread{0};
  int64_t inner_threads;
};

struct InnerContext {
  NestedRecord* record;
  int64_t outer_item;
  int64_t os_thread;
};

void inner_item(int64_t item, int64_t thread, void* ctx) {
  auto* inner = static_cast<InnerContext*>(ctx);
  inner->record->inner_runs[inner->outer_item][item].fetch_add(1);
  if (thread != 0) inner->record->inner_off_index0.fetch_add(1);
  if (os_thread_id() != inner->os_thread) inner->record->inner_on_other_thread.fetch_add(1);
}

void outer_item(int64_t item, int64_t, void* ctx) {
  auto* record = static_cast<NestedRecord*>(ctx);
  InnerContext inner{record, item, os_thread_id()};
  runner()(inner_item, 16, record->inner_threads, &inner);
}

TEST(HostParallelRunner, NestedRunsGoSerialOnTheCallingThread) {
  for (int64_t outer_threads : {1, 4}) {
    for (int64_t inner_threads : {1, 4, 64}) {
      SCOPED_TRACE(testing::Message() << "outer=" << outer_threads << " inner=" << inner_threads);
      NestedRecord record;
      record.inner_threads = inner_threads;
      runner()(outer_item, 8, outer_threads, &record);
      for (auto& row : record.inner_runs) {
        for (auto& runs : row) EXPECT_EQ(runs.load(), 1);
      }
      EXPECT_EQ(record.inner_off_index0.load(), 0);
      EXPECT_EQ(record.inner_on_other_thread.load(), 0);
    }
  }
}

TEST(HostParallelRunner, TwoCallersAtOnceBothComplete) {
  constexpr int kRuns = 100;
  constexpr int64_t kItems = 200;
  constexpr int64_t kThreads = 8;
  std::atomic<int> failures{0};
  auto caller = [&failures] {
    for (int run = 0; run < kRuns; ++run) {
      Record record(kItems);
      runner()(record_item, kItems, kThreads, &record);
      for (const std::atomic<int>& runs : record.runs) failures += runs.load() != 1;
      failures += *record.thread_indices.rbegin() >= kThreads;
    }
  };
  std::thread first(caller), second(caller);
  first.join();
  second.join();
  EXPECT_EQ(failures.load(), 0);
}

void exit_from_last_item(int64_t item, int64_t, void* ctx) {
  if (item == *static_cast<int64_t*>(ctx) - 1) std::exit(7);
}

void count_item(int64_t, int64_t, void* ctx) {
  static_cast<std::atomic<int64_t>*>(ctx)->fetch_add(1);
}

// The pool's workers are joined at exit, or left alone when exit comes from
// inside a run; either way the process ends with the expected status.
TEST(HostParallelRunnerDeathTest, ProcessExitsCleanlyWithAWarmPool) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::atomic<int64_t> count{0};
        runner()(count_item, 500, 64, &count);
        std::exit(count.load() == 500 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        int64_t nitems = 64;
        runner()(exit_from_last_item, nitems, 8, &nitems);
        std::exit(1);
      },
      testing::ExitedWithCode(7), "");
}

}  // namespace
