// Cell search: 1,000,000 random sites over 1,000 and 1,000,000 knots, each
// method through the dispatcher on 1 and 2 threads, beside a std::upper_bound
// loop, GSL's gsl_interp_bsearch, GSL's accelerator (sorted sites) and a
// plain scalar loop of the uniform formula. Cells are 32-bit. Buffers are
// filled once before timing.
//
// Cases: search<knots> (random partition, random sites), sorted<knots>
// (the same sites ascending), uniform<knots> (uniform partition). The
// user-defined method (its own search counts knots eight at a time, O(nx) per
// site) runs over 1,000 knots only.
#include <benchmark/benchmark.h>
#include <gsl/gsl_interp.h>

#include <algorithm>
#include <functional>
#include <map>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "orx/df.h"
#include "orx/df_search.h"
#include "orx/host.h"

namespace {

constexpr int64_t kSites = 1000000;

struct Data {
  std::vector<double> knots, sites, sorted_sites, uniform_ends;
};

const Data& data(int64_t nx) {
  static std::map<int64_t, Data> cache;
  auto it = cache.find(nx);
  if (it != cache.end()) return it->second;
  Data d;
  std::mt19937_64 rng(static_cast<uint64_t>(nx));
  std::uniform_real_distribution<double> u(0, 1000);
  d.knots.resize(static_cast<size_t>(nx));
  for (double& k : d.knots) k = u(rng);
  std::sort(d.knots.begin(), d.knots.end());
  d.knots.erase(std::unique(d.knots.begin(), d.knots.end()), d.knots.end());
  d.sites.resize(kSites);
  for (double& s : d.sites) s = u(rng);
  d.sorted_sites = d.sites;
  std::sort(d.sorted_sites.begin(), d.sorted_sites.end());
  d.uniform_ends = {0, 1000};
  return cache.emplace(nx, std::move(d)).first->second;
}

void set_threads(int64_t n) {
  reinterpret_cast<orx_host_set_num_threads_fn>(orx_host_services()[ORX_HOST_SET_NUM_THREADS])(n);
}

// Times `body(cells)` over the sites; cells touched once before timing.
template <class Body>
void time_search(benchmark::State& state, Body body) {
  std::vector<int32_t> cells(kSites, 1);
  body(cells.data());
  for (auto _ : state) {
    body(cells.data());
    benchmark::DoNotOptimize(cells.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kSites);
}

struct TaskDeleter {
  void operator()(Task1D* t) const { orx_df_kernel_DeleteTask(&t); }
};

int pass_all(int64_t*, const double*, int64_t*, int32_t*, const void*) { return 0; }

// One of our methods through the dispatcher.
void orx_method(benchmark::State& state, int64_t nx, bool uniform, bool sorted, bool peak,
                bool callback, int threads) {
  const Data& d = data(nx);
  const std::vector<double>& x = uniform ? d.uniform_ends : d.knots;
  const std::vector<double>& sites = sorted ? d.sorted_sites : d.sites;
  const int64_t n = uniform ? nx : static_cast<int64_t>(d.knots.size());
  Task1D* raw = nullptr;
  orx_df_kernel_dNewTask1D(&raw, n, x.data(), uniform ? DF_UNIFORM_PARTITION : DF_NO_HINT, 0, nullptr, 0, 0);
  std::unique_ptr<Task1D, TaskDeleter> task(raw);
  const double datahint[5] = {0, 1.0, 0, 0, static_cast<double>(n / 2)};
  set_threads(threads);
  time_search(state, [&](int32_t* cells) {
    const int status = orx_df_kernel_dDFSearch1D(task.get(), nullptr, kSites, sites.data(),
                                                 sorted ? DF_SORTED_DATA : 0, peak ? datahint : nullptr,
                                                 cells, callback ? &pass_all : nullptr, nullptr,
                                                 orx_host_services());
    if (status != 0) state.SkipWithError("search failed");
  });
  set_threads(0);
}

// The quasi-uniform method needs the partition hint; a task of its own.
void orx_quasi(benchmark::State& state, int64_t nx, int threads) {
  const Data& d = data(nx);
  Task1D* raw = nullptr;
  orx_df_kernel_dNewTask1D(&raw, static_cast<int64_t>(d.knots.size()), d.knots.data(),
                           DF_QUASI_UNIFORM_PARTITION, 0, nullptr, 0, 0);
  std::unique_ptr<Task1D, TaskDeleter> task(raw);
  set_threads(threads);
  time_search(state, [&](int32_t* cells) {
    orx_df_kernel_dDFSearch1D(task.get(), nullptr, kSites, d.sites.data(), 0, nullptr, cells,
                              nullptr, nullptr, orx_host_services());
  });
  set_threads(0);
}

void upper_bound_loop(benchmark::State& state, const std::vector<double>& x, const std::vector<double>& sites) {
  time_search(state, [&](int32_t* cells) {
    for (int64_t i = 0; i < kSites; ++i)
      cells[i] = static_cast<int32_t>(std::upper_bound(x.begin(), x.end(), sites[static_cast<size_t>(i)]) - x.begin());
  });
}

void gsl_bsearch_loop(benchmark::State& state, const std::vector<double>& x, const std::vector<double>& sites) {
  const size_t last = x.size() - 1;
  time_search(state, [&](int32_t* cells) {
    for (int64_t i = 0; i < kSites; ++i)
      cells[i] = static_cast<int32_t>(gsl_interp_bsearch(x.data(), sites[static_cast<size_t>(i)], 0, last)) + 1;
  });
}

void gsl_accel_loop(benchmark::State& state, const std::vector<double>& x, const std::vector<double>& sites) {
  gsl_interp_accel* acc = gsl_interp_accel_alloc();
  time_search(state, [&](int32_t* cells) {
    gsl_interp_accel_reset(acc);
    for (int64_t i = 0; i < kSites; ++i)
      cells[i] = static_cast<int32_t>(gsl_interp_accel_find(acc, x.data(), x.size(), sites[static_cast<size_t>(i)])) + 1;
  });
  gsl_interp_accel_free(acc);
}

// The uniform formula in a simple scalar loop (sites inside the partition).
void plain_uniform_loop(benchmark::State& state, int64_t nx, const std::vector<double>& sites) {
  const double x0 = 0, r = static_cast<double>(nx - 1) / 1000.0;
  time_search(state, [&](int32_t* cells) {
    for (int64_t i = 0; i < kSites; ++i) {
      const double t = sites[static_cast<size_t>(i)];
      const int64_t k = static_cast<int64_t>((t - x0) * r) + 1;
      cells[i] = static_cast<int32_t>(t >= x0 ? (k < nx ? k : nx) : 0);
    }
  });
}

void add(const std::string& name, std::function<void(benchmark::State&)> body) {
  benchmark::RegisterBenchmark((name + "/" + std::to_string(kSites)).c_str(),
                               [body](benchmark::State& s) { body(s); })
      ->Unit(benchmark::kMillisecond);
}

void register_all(orx::bench::RatioReporter& reporter) {
  for (const int64_t nx : {INT64_C(1000), INT64_C(1000000)}) {
    const std::string k = nx == 1000 ? "1k" : "1M";
    const Data& d = data(nx);
    for (const int t : {1, 2}) {
      const std::string th = t == 1 ? "" : ".2t";
      add("search" + k + "/orx@hybrid" + th, [=](auto& s) { orx_method(s, nx, false, false, false, false, t); });
      add("search" + k + "/orx@quasi" + th, [=](auto& s) { orx_quasi(s, nx, t); });
      add("search" + k + "/orx@peak" + th, [=](auto& s) { orx_method(s, nx, false, false, true, false, t); });
      if (nx == 1000)
        add("search" + k + "/orx@userdef" + th, [=](auto& s) { orx_method(s, nx, false, false, false, true, t); });
      add("sorted" + k + "/orx@sorted" + th, [=](auto& s) { orx_method(s, nx, false, true, false, false, t); });
      add("uniform" + k + "/orx@uniform" + th, [=](auto& s) { orx_method(s, nx, true, false, false, false, t); });
      add("uniform" + k + "/orx@uniuserdef" + th, [=](auto& s) { orx_method(s, nx, true, false, false, true, t); });
    }
    add("search" + k + "/std_upper_bound", [&d](auto& s) { upper_bound_loop(s, d.knots, d.sites); });
    add("search" + k + "/gsl_bsearch", [&d](auto& s) { gsl_bsearch_loop(s, d.knots, d.sites); });
    add("sorted" + k + "/std_upper_bound", [&d](auto& s) { upper_bound_loop(s, d.knots, d.sorted_sites); });
    add("sorted" + k + "/gsl_accel", [&d](auto& s) { gsl_accel_loop(s, d.knots, d.sorted_sites); });
    add("uniform" + k + "/plain_loop", [nx, &d](auto& s) { plain_uniform_loop(s, nx, d.sites); });
    reporter.add_goal("search" + k + "/orx@hybrid", "search" + k + "/std_upper_bound", 0.5);
    reporter.add_goal("sorted" + k + "/orx@sorted", "sorted" + k + "/gsl_accel", 0.5);
    reporter.add_goal("uniform" + k + "/orx@uniform", "uniform" + k + "/plain_loop", 1.2);
  }
}

}  // namespace

int main(int argc, char** argv) {
  orx::bench::RatioReporter reporter;
  register_all(reporter);
  return orx::bench::run_with_ratios(argc, argv, reporter);
}
