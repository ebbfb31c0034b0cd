// Linear and quadratic spline construction on 1,000,000 knots, beside libc
// moving the same bytes as the construction must at least move: a memcpy of
// the bytes it reads, then a memset of the rest of the bytes it writes. That
// is the bandwidth bound of the machine, and the ratio says how close to it
// the kernel runs.
//
// Bytes per cell, doubles, row storage: linear reads x and y (16) and writes
// 2 coefficients (16); uniform linear reads y only (8) and writes 16;
// quadratic reads 16 and writes 24 (its work array and the Subbotin solve's
// passes come on top). Times are per cell (n = cells + 1); counters give
// coefficients per ns.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "bench/ratio_reporter.h"
#include "orx/df.h"
#include "orx/df_spline.h"
#include "orx/host.h"

namespace {

constexpr int64_t kKnots = 1000000;

struct Problem {
  std::vector<double> x, y, ic, coeff;
  double bc[2] = {0.5, -0.25};
  Task1D* task = nullptr;

  Problem(int64_t nx, int64_t xhint, int64_t s_order, int64_t s_type, int64_t bc_type,
          int64_t ic_type)
      : x(nx), y(nx), ic(nx), coeff(s_order * nx) {
    // Every buffer is written here, before timing: first touches of pages
    // cost more than the construction itself.
    for (int64_t i = 0; i < nx; ++i) {
      x[i] = i + 0.25 * std::sin(0.001 * i);
      y[i] = std::cos(0.002 * i);
      ic[i] = x[i] + 0.4;
    }
    if (xhint == DF_UNIFORM_PARTITION) x[1] = static_cast<double>(nx - 1);
    std::memset(coeff.data(), 0, coeff.size() * sizeof(double));
    orx_df_kernel_dNewTask1D(&task, nx, x.data(), xhint, 1, y.data(), DF_MATRIX_STORAGE_ROWS, 0);
    orx_df_kernel_dEditPPSpline1D(task, s_order, s_type, bc_type, bc, ic_type,
                                  ic_type ? ic.data() : nullptr, coeff.data(), 0);
  }
  ~Problem() { orx_df_kernel_DeleteTask(&task); }
};

template <class Build>
void time_construction(benchmark::State& state, Problem& p, int64_t coefficients, Build build) {
  if (build(p.task) != DF_STATUS_OK) {  // also the warm-up
    state.SkipWithError("construction failed");
    return;
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(build(p.task));
    benchmark::ClobberMemory();
  }
  state.counters["coeff/ns"] = benchmark::Counter(
      1e-9 * static_cast<double>(coefficients), benchmark::Counter::kIsIterationInvariantRate);
}

// Reads `read` bytes per cell and writes `written` >= `read`.
void time_copy(benchmark::State& state, int64_t read, int64_t written) {
  const auto cells = static_cast<size_t>(kKnots - 1);
  const size_t in = static_cast<size_t>(read) * cells, out = static_cast<size_t>(written) * cells;
  std::vector<unsigned char> from(in, 1), to(out, 2);
  auto move = [&] {
    std::memcpy(to.data(), from.data(), in);
    std::memset(to.data() + in, 3, out - in);
  };
  move();
  for (auto _ : state) {
    move();
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.counters["GB/s r+w"] = benchmark::Counter(1e-9 * static_cast<double>(in + out),
                                                  benchmark::Counter::kIsIterationInvariantRate);
}

int linear(Task1D* t) { return orx_df_kernel_dDFLinearSpline1D(t, nullptr, 0, orx_host_services()); }
int quadratic(Task1D* t) {
  return orx_df_kernel_dDFQuadraticSpline1D(t, nullptr, 0, orx_host_services());
}

void register_all() {
  auto add = [](const char* name, auto body) {
    std::string full = name;
    full += '/';
    full += std::to_string(kKnots);
    benchmark::RegisterBenchmark(full.c_str(), body)->Unit(benchmark::kMicrosecond);
  };
  add("linear/orx", [](benchmark::State& s) {
    Problem p(kKnots, 0, 2, 0, 0, 0);
    time_construction(s, p, 2 * (kKnots - 1), linear);
  });
  add("linear/memcpy", [](benchmark::State& s) { time_copy(s, 16, 16); });
  add("linear_uniform/orx", [](benchmark::State& s) {
    Problem p(kKnots, DF_UNIFORM_PARTITION, 2, 0, 0, 0);
    time_construction(s, p, 2 * (kKnots - 1), linear);
  });
  add("linear_uniform/memcpy", [](benchmark::State& s) { time_copy(s, 8, 16); });
  add("quadratic/orx", [](benchmark::State& s) {
    Problem p(kKnots, 0, 3, 0, DF_BC_Q_VAL, 0);
    time_construction(s, p, 3 * (kKnots - 1), quadratic);
  });
  add("quadratic/memcpy", [](benchmark::State& s) { time_copy(s, 16, 24); });
  add("subbotin/orx", [](benchmark::State& s) {
    Problem p(kKnots, 0, 3, 1, DF_BC_1ST_LEFT_DER | DF_BC_1ST_RIGHT_DER, 8);
    time_construction(s, p, 3 * kKnots, quadratic);
  });
  add("subbotin/memcpy", [](benchmark::State& s) { time_copy(s, 16, 24); });
}

}  // namespace

int main(int argc, char** argv) {
  register_all();
  orx::bench::RatioReporter reporter(orx::bench::RatioReporter::Clock::kCpu);
  // At least 60% of the copy's bandwidth: time at most 1/0.6 of the copy's.
  reporter.add_goal("linear/orx", "linear/memcpy", 1 / 0.6);
  reporter.add_goal("linear_uniform/orx", "linear_uniform/memcpy", 1 / 0.6);
  return orx::bench::run_with_ratios(argc, argv, reporter);
}
