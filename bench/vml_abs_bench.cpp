// Absolute value and complex modulus beside glibc: ns per element, n = 1000
// and n = 100000, buffers touched before timing.
#include <benchmark/benchmark.h>

#include <cmath>
#include <complex.h>
#include <random>
#include <vector>

#include "bench/ratio_reporter.h"
#include "orx/vml.h"

namespace {

template <class T>
std::vector<T> random_values(size_t n, double lo, double hi) {
  std::mt19937_64 rng(1);
  std::uniform_real_distribution<double> value(lo, hi);
  std::vector<T> v(n);
  for (auto& x : v) x = static_cast<T>(value(rng));
  return v;
}

template <class Fn>
void time_per_element(benchmark::State& state, Fn&& fn) {
  for (auto _ : state) fn();
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void sAbs_orx(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  auto a = random_values<float>(n, -1e3, 1e3);
  std::vector<float> r(n, 1.0f);
  time_per_element(state, [&] {
    orx_vml_kernel_sAbs_E7HAynn(n, a.data(), r.data());
    benchmark::DoNotOptimize(r.data());
  });
}

void sAbs_glibc(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  auto a = random_values<float>(n, -1e3, 1e3);
  std::vector<float> r(n, 1.0f);
  time_per_element(state, [&] {
    for (int i = 0; i < n; ++i) r[i] = std::fabs(a[i]);
    benchmark::DoNotOptimize(r.data());
  });
}

void zAbs_orx(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  auto parts = random_values<double>(2 * n, -1e3, 1e3);
  std::vector<double> r(n, 1.0);
  time_per_element(state, [&] {
    orx_vml_kernel_zAbs_E7HAynn(n, reinterpret_cast<const orx_complex16*>(parts.data()), r.data());
    benchmark::DoNotOptimize(r.data());
  });
}

// glibc's correctly handled modulus, element by element.
void zAbs_glibc_hypot(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  auto parts = random_values<double>(2 * n, -1e3, 1e3);
  std::vector<double> r(n, 1.0);
  time_per_element(state, [&] {
    for (int i = 0; i < n; ++i) r[i] = hypot(parts[2 * i], parts[2 * i + 1]);
    benchmark::DoNotOptimize(r.data());
  });
}

void cAbs_orx(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  auto parts = random_values<float>(2 * n, -1e3, 1e3);
  std::vector<float> r(n, 1.0f);
  time_per_element(state, [&] {
    orx_vml_kernel_cAbs_E7HAynn(n, reinterpret_cast<const orx_complex8*>(parts.data()), r.data());
    benchmark::DoNotOptimize(r.data());
  });
}

void cAbs_glibc_hypotf(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  auto parts = random_values<float>(2 * n, -1e3, 1e3);
  std::vector<float> r(n, 1.0f);
  time_per_element(state, [&] {
    for (int i = 0; i < n; ++i) r[i] = hypotf(parts[2 * i], parts[2 * i + 1]);
    benchmark::DoNotOptimize(r.data());
  });
}

}  // namespace

BENCHMARK(sAbs_orx)->Name("sAbs/orx")->Arg(1000)->Arg(100000);
BENCHMARK(sAbs_glibc)->Name("sAbs/glibc_fabsf")->Arg(1000)->Arg(100000);
BENCHMARK(zAbs_orx)->Name("zAbs/orx")->Arg(1000)->Arg(100000);
BENCHMARK(zAbs_glibc_hypot)->Name("zAbs/glibc_hypot")->Arg(1000)->Arg(100000);
BENCHMARK(cAbs_orx)->Name("cAbs/orx")->Arg(1000)->Arg(100000);
BENCHMARK(cAbs_glibc_hypotf)->Name("cAbs/glibc_hypotf")->Arg(1000)->Arg(100000);

int main(int argc, char** argv) { return orx::bench::run_with_ratios(argc, argv); }
