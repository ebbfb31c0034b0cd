// Basic generators filling 2^20 uniform values on [0, 1): ns per value of our
// engines (double, float and raw words) beside std::minstd_rand, GSL's minstd,
// cmrg and r250, and dSFMT-19937's array fill, with the double fills' speed
// goals marked met or not.
//
// Usage: build-bench/bench/orx_bench_rng_uniform --benchmark_min_time=0.3
//        (any --benchmark_* flag works, e.g. --benchmark_filter='^d').
//
// Every contender is single-threaded; times are CPU time, which leaves out
// the time the process waits for a core on a shared machine.

// GSL's documented switch that lets gsl_rng_uniform be inlined into the
// caller's loop, leaving one indirect call per value.
#define HAVE_INLINE 1

#include <benchmark/benchmark.h>
#include <dSFMT.h>
#include <gsl/gsl_rng.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "bench/ratio_reporter.h"
#include "bench/rng_bench_common.h"
#include "bench/rng_peer_fills.h"
#include "orx/rng.h"

namespace {

using namespace orx::bench;

// ---- ours ------------------------------------------------------------------

struct Engine {
  const char* name;
  uint32_t id;
  orx_rng_dfill_fn d;
  orx_rng_sfill_fn s;
  orx_rng_ifill_fn i;
};

const Engine kEngines[] = {
    {"MCG31M1", ORX_BRNG_MCG31M1, __vsldBRngMCG31M1, __vslsBRngMCG31M1, __vsliBRngMCG31M1},
    {"MCG59", ORX_BRNG_MCG59, __vsldBRngMCG59, __vslsBRngMCG59, __vsliBRngMCG59},
    {"MRG32K3A", ORX_BRNG_MRG32K3A, __vsldBRngMRG32K3A, __vslsBRngMRG32K3A, __vsliBRngMRG32K3A},
    {"WH", ORX_BRNG_WH + 0, __vsldBRngWH, __vslsBRngWH, __vsliBRngWH},
    {"R250", ORX_BRNG_R250, __vsldBRngR250, __vslsBRngR250, __vsliBRngR250},
};

// Cases "d<E>", "s<E>" and "i<E>", contender "orx"; a raw value is one word
// of the engine's WordBytes.
void register_ours(const Engine& e) {
  add(std::string("d") + e.name + "/orx", [e](benchmark::State& state) {
    const Stream s = new_stream(e.id);
    if (!s) return state.SkipWithError("stream creation failed");
    time_fills<double>(state, 1,
                       [&](int n, double* r) { return e.d(s.get(), n, r, 0.0, 1.0) == 0; });
  });
  add(std::string("s") + e.name + "/orx", [e](benchmark::State& state) {
    const Stream s = new_stream(e.id);
    if (!s) return state.SkipWithError("stream creation failed");
    time_fills<float>(state, 1,
                      [&](int n, float* r) { return e.s(s.get(), n, r, 0.0f, 1.0f) == 0; });
  });
  add(std::string("i") + e.name + "/orx", [e](benchmark::State& state) {
    const Stream s = new_stream(e.id);
    BrngProperties p{};
    if (!s || __vslGetBrngProperties(static_cast<int32_t>(e.id), &p) != 0 || p.WordBytes < 4)
      return state.SkipWithError("stream creation or properties failed");
    time_fills<uint32_t>(state, static_cast<std::size_t>(p.WordBytes) / 4,
                         [&](int n, uint32_t* r) { return e.i(s.get(), n, r) == 0; });
  });
}

// ---- peers -----------------------------------------------------------------

// The C++ standard library's Lehmer generator (multiplier 48271, modulus
// 2^31 - 1) through its uniform distribution, which draws two values per
// double to cover 53 bits.
void std_minstd(benchmark::State& state) {
  std::minstd_rand engine(kSeed);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  time_fills<double>(state, 1, [&](int n, double* r) {
    for (int i = 0; i < n; ++i) r[i] = u(engine);
    return true;
  });
}

void register_peers() {
  const auto gsl = [](const gsl_rng_type* type) {
    return [type](benchmark::State& state) { gsl_uniform(state, type); };
  };
  add("dMCG31M1/std_minstd", std_minstd);
  add("dMCG31M1/gsl_minstd", gsl(gsl_rng_minstd));
  add("dMCG31M1/dsfmt", dsfmt);
  add("dMCG59/dsfmt", dsfmt);
  add("dMRG32K3A/gsl_cmrg", gsl(gsl_rng_cmrg));
  add("dR250/gsl_r250", gsl(gsl_rng_r250));
}

}  // namespace

int main(int argc, char** argv) {
  for (const Engine& e : kEngines) register_ours(e);
  register_peers();

  RatioReporter reporter(RatioReporter::Clock::kCpu);
  reporter.add_goal("dMCG31M1/orx", "dMCG31M1/dsfmt", 1.0);
  reporter.add_goal("dMCG59/orx", "dMCG59/dsfmt", 1.0);
  reporter.add_goal("dMRG32K3A/orx", "dMRG32K3A/gsl_cmrg", 0.5);
  reporter.add_goal("dR250/orx", "dR250/gsl_r250", 0.5);
  return orx::bench::run_with_ratios(argc, argv, reporter);
}
