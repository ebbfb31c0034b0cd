// Shared by the random-number benchmarks: aligned output buffers filled
// once before timing, the timing loop with its sanity check of uniform
// values, and streams owned by a unique_ptr.
#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <type_traits>

#include "orx/rng.h"

namespace orx::bench {

inline constexpr int kValues = 1 << 20;
inline constexpr uint32_t kSeed = 20261122;

// Output buffers are 64-byte aligned for every contender (dSFMT needs 16).
struct Free {
  void operator()(void* p) const { std::free(p); }
};
template <class T>
std::unique_ptr<T, Free> aligned_buffer(std::size_t n) {
  return std::unique_ptr<T, Free>(
      static_cast<T*>(std::aligned_alloc(64, (n * sizeof(T) + 63) / 64 * 64)));
}

// Times fills of n = state.range(0) values into a buffer of
// n * words_per_value Ts; `fill(n, r)` returns false on a failed call. The
// buffer is allocated once and filled once untimed: a first touch of a page
// costs up to 10 us on the VMs this runs on, far more than filling it.
template <class T, class Fill>
void time_fills(benchmark::State& state, std::size_t words_per_value, Fill&& fill) {
  const int n = static_cast<int>(state.range(0));
  const auto buffer = aligned_buffer<T>(static_cast<std::size_t>(n) * words_per_value);
  if (buffer.get() == nullptr || !fill(n, buffer.get())) {
    state.SkipWithError("allocation or first fill failed");
    return;
  }
  for (auto _ : state) {
    if (!fill(n, buffer.get())) {
      state.SkipWithError("fill returned an error status");
      break;
    }
    benchmark::DoNotOptimize(buffer.get());
    benchmark::ClobberMemory();
  }
  const double values = static_cast<double>(state.iterations()) * n;
  state.SetItemsProcessed(static_cast<int64_t>(values));
  state.counters["s/value"] =
      benchmark::Counter(values, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  if constexpr (std::is_floating_point_v<T>) {
    // A sanity check that the contender produced uniform values on [0, 1):
    // the mean of 2^20 of them has standard deviation 0.0003 around 0.5, so a
    // distance of 0.005 (17 deviations) means a broken fill, not chance.
    double sum = 0;
    for (int i = 0; i < n; ++i) {
      const T x = buffer.get()[i];
      if (!(x >= 0 && x < 1)) {
        state.SkipWithError("value outside [0, 1)");
        return;
      }
      sum += x;
    }
    if (std::abs(sum / n - 0.5) > 0.005) state.SkipWithError("mean far from 1/2");
  }
}

template <class Body>
inline void add(const std::string& name, Body body) {
  benchmark::RegisterBenchmark(name.c_str(), body)->Arg(kValues);
}

struct StreamDeleter {
  void operator()(orx_rng_stream* s) const { __vslDeleteStream(&s); }
};
using Stream = std::unique_ptr<orx_rng_stream, StreamDeleter>;

// A stream seeded with the words params[0..n); null when creation fails.
inline Stream new_stream(uint32_t id, uint32_t n, const uint32_t* params) {
  orx_rng_stream* s = nullptr;
  if (__vslNewStreamEx(&s, id, n, params) != 0) return nullptr;
  return Stream(s);
}
inline Stream new_stream(uint32_t id) { return new_stream(id, 1, &kSeed); }

}  // namespace orx::bench
