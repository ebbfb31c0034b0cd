// Thread count: a process-wide override, else ORX_NUM_THREADS, else the hardware's.
#include "thread_count.h"

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace orx::host {

namespace {

std::atomic<int64_t> g_override{0};  // 0: no override

// The variable's value when it is all digits and positive; 0 otherwise.
int64_t threads_from_environment() {
  const char* text = std::getenv("ORX_NUM_THREADS");
  if (text == nullptr) return 0;
  const char* end = text + std::strlen(text);
  int64_t value = 0;
  const auto [stop, error] = std::from_chars(text, end, value);
  if (error != std::errc{} || stop != end || value <= 0) return 0;
  return value;
}

}  // namespace

int64_t num_threads() noexcept {
  if (const int64_t chosen = g_override.load(std::memory_order_relaxed); chosen > 0) return chosen;
  if (const int64_t from_environment = threads_from_environment(); from_environment > 0) {
    return from_environment;
  }
  const unsigned hardware = std::thread::hardware_concurrency();
  return hardware > 0 ? hardware : 1;
}

void set_num_threads(int64_t n) noexcept {
  g_override.store(n > 0 ? n : 0, std::memory_order_relaxed);
}

}  // namespace orx::host
