// Fills of the random-number benchmarks' peers shared by several programs:
// GSL generators through gsl_rng_uniform and dSFMT-19937's array fill.
// Include after defining HAVE_INLINE (GSL's switch that lets
// gsl_rng_uniform inline into the loop); the build defines DSFMT_MEXP and
// HAVE_SSE2 to match the Debian dSFMT library.
#pragma once

#include <benchmark/benchmark.h>
#include <dSFMT.h>
#include <gsl/gsl_rng.h>

#include <memory>

#include "bench/rng_bench_common.h"

// The Debian dSFMT library is built with SSE2: its state is 16-byte aligned
// and its fill uses aligned SSE2 loads and stores. The header must see
// HAVE_SSE2 (set by the build) to give dsfmt_t the same layout.
static_assert(alignof(dsfmt_t) == 16, "compile with -DHAVE_SSE2 to match the dSFMT library");
static_assert(DSFMT_MEXP == 19937, "linked against libdSFMT-19937");

namespace orx::bench {

// GSL generators, one gsl_rng_uniform call per value.
inline void gsl_uniform(benchmark::State& state, const gsl_rng_type* type) {
  const std::unique_ptr<gsl_rng, decltype(&gsl_rng_free)> rng(gsl_rng_alloc(type), &gsl_rng_free);
  if (!rng) return state.SkipWithError("gsl_rng_alloc failed");
  gsl_rng_set(rng.get(), kSeed);
  time_fills<double>(state, 1, [&](int n, double* r) {
    for (int i = 0; i < n; ++i) r[i] = gsl_rng_uniform(rng.get());
    return true;
  });
}

// dSFMT-19937's array fill (size even, at least its minimum, 16-byte aligned).
inline void dsfmt(benchmark::State& state) {
  if (state.range(0) % 2 != 0 || state.range(0) < dsfmt_get_min_array_size())
    return state.SkipWithError("array size not accepted by dsfmt_fill_array_close_open");
  const auto generator = std::make_unique<dsfmt_t>();  // aligned new: 16 bytes
  dsfmt_init_gen_rand(generator.get(), kSeed);
  time_fills<double>(state, 1, [&](int n, double* r) {
    dsfmt_fill_array_close_open(generator.get(), r, n);
    return true;
  });
}

}  // namespace orx::bench
