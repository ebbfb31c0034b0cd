// Twister and quasi-random generators filling 2^20 uniform doubles on [0, 1):
// ns per value of MT19937, MT2203, SFMT19937, Sobol and Niederreiter (d = 1
// and d = 10: ns per coordinate) beside std::mt19937, Boost's mt19937 (each
// with its uniform_real_distribution), GSL's mt19937, dSFMT-19937's array fill
// and GSL's Sobol and Niederreiter generators, with the speed goals marked.
//
// Usage: build/bench/orx_bench_rng_twister_quasi --benchmark_min_time=0.3
//
// Every contender is single-threaded; times are CPU time.
#define HAVE_INLINE 1  // lets gsl_rng_uniform inline into the caller's loop

#include <benchmark/benchmark.h>
#include <dSFMT.h>
#include <gsl/gsl_qrng.h>
#include <gsl/gsl_rng.h>

#include <boost/random/mersenne_twister.hpp>
#include <boost/random/uniform_real_distribution.hpp>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "bench/rng_bench_common.h"
#include "bench/rng_peer_fills.h"
#include "orx/rng.h"

namespace {

using namespace orx::bench;

// ---- ours ------------------------------------------------------------------

void ours(const std::string& name, uint32_t id, std::vector<uint32_t> seed) {
  add(name + "/orx", [id, seed](benchmark::State& state) {
    const Stream s = new_stream(id, static_cast<uint32_t>(seed.size()), seed.data());
    BrngProperties p{};
    if (!s || __vslGetBrngProperties(static_cast<int32_t>(id), &p) != 0)
      return state.SkipWithError("stream creation failed");
    time_fills<double>(state, 1,
                       [&](int n, double* r) { return p.dBRngFn(s.get(), n, r, 0.0, 1.0) == 0; });
  });
}

// The quasi-random streams hand out at most 2^32 - 1 values: a fresh stream
// replaces one that would pass the limit.
void ours_quasi(const std::string& name, uint32_t id, uint32_t dimension) {
  add(name + "/orx", [id, dimension](benchmark::State& state) {
    Stream s = new_stream(id, 1, &dimension);
    BrngProperties p{};
    if (!s || __vslGetBrngProperties(static_cast<int32_t>(id), &p) != 0)
      return state.SkipWithError("stream creation failed");
    uint64_t handed_out = 0;
    time_fills<double>(state, 1, [&](int n, double* r) {
      handed_out += static_cast<uint64_t>(n);
      if (handed_out > 0xFFFFFFFFull) {
        s = new_stream(id, 1, &dimension);
        handed_out = static_cast<uint64_t>(n);
      }
      return s && p.dBRngFn(s.get(), n, r, 0.0, 1.0) == 0;
    });
  });
}

// ---- peers -----------------------------------------------------------------

template <class Engine, class Distribution>
void distribution_fill(benchmark::State& state) {
  Engine engine(kSeed);
  Distribution u(0.0, 1.0);
  time_fills<double>(state, 1, [&](int n, double* r) {
    for (int i = 0; i < n; ++i) r[i] = u(engine);
    return true;
  });
}

// GSL's quasi-random generators hand out one point of d coordinates per
// call, n / d points per fill (n is a multiple of d or the last point is cut
// short through a scratch point). Each fill restarts the sequence, which
// keeps GSL's point count within its limit.
void gsl_quasi(benchmark::State& state, const gsl_qrng_type* type, unsigned dimension) {
  const std::unique_ptr<gsl_qrng, decltype(&gsl_qrng_free)> q(gsl_qrng_alloc(type, dimension),
                                                              &gsl_qrng_free);
  if (!q) return state.SkipWithError("gsl_qrng_alloc failed");
  const int d = static_cast<int>(dimension);
  std::vector<double> point(dimension);
  time_fills<double>(state, 1, [&](int n, double* r) {
    gsl_qrng_init(q.get());
    const int whole = n / d * d;
    for (int i = 0; i < whole; i += d) gsl_qrng_get(q.get(), r + i);
    if (whole < n) {
      gsl_qrng_get(q.get(), point.data());
      for (int i = whole; i < n; ++i) r[i] = point[static_cast<size_t>(i - whole)];
    }
    return true;
  });
}

void register_all() {
  ours("dMT19937", ORX_BRNG_MT19937, {kSeed});
  ours("dMT2203", ORX_BRNG_MT2203 + 17, {kSeed});
  ours("dSFMT19937", ORX_BRNG_SFMT19937, {kSeed});
  add("dMT19937/std_mt19937",
      distribution_fill<std::mt19937, std::uniform_real_distribution<double>>);
  add("dMT19937/boost_mt19937",
      distribution_fill<boost::random::mt19937, boost::random::uniform_real_distribution<double>>);
  add("dMT19937/gsl_mt19937", [](benchmark::State& state) { gsl_uniform(state, gsl_rng_mt19937); });
  add("dSFMT19937/dsfmt", dsfmt);
  for (const unsigned d : {1u, 10u}) {
    const std::string suffix = "_d" + std::to_string(d);
    ours_quasi("dSobol" + suffix, ORX_BRNG_SOBOL, d);
    ours_quasi("dNiederr" + suffix, ORX_BRNG_NIEDERR, d);
    add("dSobol" + suffix + "/gsl_sobol",
        [d](benchmark::State& state) { gsl_quasi(state, gsl_qrng_sobol, d); });
    add("dNiederr" + suffix + "/gsl_niederreiter_2",
        [d](benchmark::State& state) { gsl_quasi(state, gsl_qrng_niederreiter_2, d); });
  }
}

}  // namespace

int main(int argc, char** argv) {
  register_all();
  RatioReporter reporter(RatioReporter::Clock::kCpu);
  reporter.add_goal("dMT19937/orx", "dMT19937/boost_mt19937", 1.0);
  reporter.add_goal("dSFMT19937/orx", "dSFMT19937/dsfmt", 1.2);
  for (const char* d : {"_d1", "_d10"}) {
    reporter.add_goal(std::string("dSobol") + d + "/orx", std::string("dSobol") + d + "/gsl_sobol",
                      0.5);
    reporter.add_goal(std::string("dNiederr") + d + "/orx",
                      std::string("dNiederr") + d + "/gsl_niederreiter_2", 0.5);
  }
  return orx::bench::run_with_ratios(argc, argv, reporter);
}
