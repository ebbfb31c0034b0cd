// The basic summary statistics on 80 MB of doubles: p = 10 variables x
// 1,000,000 observations and p = 100 x 100,000, each in the rows layout
// (variable-major) and the columns layout (observation-major), beside
//   mean:  a plain one-pass loop, gsl_stats_mean per variable, and the read
//          bandwidth (a sum over the same 80 MB, on 1 and 2 threads);
//   mom:   mean and raw moments 2..4, beside a plain two-pass mean + variance
//          loop and gsl_stats_mean + gsl_stats_variance (gsl; three passes)
//          or + gsl_stats_variance_m (gsl_m; two passes);
//   cov:   covariance with the mean, beside a two-pass computation (mean,
//          centred copy, one OpenBLAS dsyrk) and gsl_stats_covariance over
//          all pairs; for p = 100 only a sample of 400 of the 5050 pairs is
//          timed and the time scaled (contender gsl_scaled).
// Case names: <estimate><p><layout letter>, r rows, c columns; n in the
// names is p*n, so times are per data value. Ours runs with SS_METHOD_FAST
// and SS_METHOD_1PASS on 1 thread and on 2 (".2t"). Every time is wall
// time; every buffer is written before timing; OpenBLAS is held to one thread
// (ours calls the same library for its cross-products).
//
// Usage: orx_bench_ss_basic [--benchmark_filter=...] [--benchmark_repetitions=3]
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bench/ratio_reporter.h"
#include "bench/ss_bench_peers.h"
#include "orx/host.h"
#include "orx/ss.h"

namespace {

using namespace orx::bench::ss;

constexpr int64_t kValues = 10000000;  // p*n in every case: 80 MB
constexpr uint64_t kMoments = SS_MEAN | SS_2R_MOM | SS_3R_MOM | SS_4R_MOM;
constexpr uint64_t kCovariance = SS_MEAN | SS_COV;

struct Shape {
  int64_t p;
  bool columns;
  int64_t n() const { return kValues / p; }
  std::string tag() const { return std::to_string(p) + (columns ? "c" : "r"); }
};

const Shape kShapes[] = {{10, false}, {10, true}, {100, false}, {100, true}};

// Variable i is 1 + 0.1 i plus uniform noise on [-1, 1), from a xorshift
// generator (cheap: 40 million values). Generated once per shape.
Matrix matrix(const Shape& s) {
  static std::map<std::string, std::vector<double>> cache;
  auto it = cache.find(s.tag());
  if (it == cache.end()) {
    std::vector<double> x(static_cast<size_t>(kValues));
    uint64_t state = 0x9e3779b97f4a7c15ULL ^ static_cast<uint64_t>(s.p * 2 + s.columns);
    const int64_t n = s.n();
    for (int64_t i = 0; i < s.p; ++i)
      for (int64_t j = 0; j < n; ++j) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        const double u = static_cast<double>(state >> 11) * 0x1p-52 - 1.0;
        x[static_cast<size_t>(s.columns ? j * s.p + i : i * n + j)] = 1.0 + 0.1 * i + u;
      }
    it = cache.emplace(s.tag(), std::move(x)).first;
  }
  return {it->second.data(), s.p, s.n(), s.columns};
}

template <class Fn>
Fn host_service(int entry) {
  return reinterpret_cast<Fn>(const_cast<void*>(orx_host_services()[entry]));
}

void set_threads(int64_t n) {
  host_service<orx_host_set_num_threads_fn>(ORX_HOST_SET_NUM_THREADS)(n);
}

// A task over a data set with every result array it may write, all written
// before timing. No accumulated-weights array: every compute starts afresh.
class OursTask {
 public:
  explicit OursTask(const Matrix& m)
      : p_(static_cast<int32_t>(m.p)),
        n_(static_cast<int32_t>(m.n)),
        storage_(m.columns ? SS_MATRIX_STORAGE_COLS : SS_MATRIX_STORAGE_ROWS),
        mean_(static_cast<size_t>(m.p), 0.0),
        raw2_(mean_),
        raw3_(mean_),
        raw4_(mean_),
        cov_(static_cast<size_t>(m.p * m.p), 0.0) {
    status_ = __vsldSSNewTask(&task_, &p_, &n_, &storage_, m.x, nullptr, nullptr, 0);
    if (status_ == 0)
      status_ = __vsldSSEditMoments(task_, mean_.data(), raw2_.data(), raw3_.data(), raw4_.data(),
                                    nullptr, nullptr, nullptr);
    if (status_ == 0)
      status_ = __vsldSSEditCovCor(task_, nullptr, cov_.data(), &cov_storage_, nullptr, nullptr);
  }
  ~OursTask() { __vslSSDeleteTask(&task_); }
  OursTask(const OursTask&) = delete;
  OursTask& operator=(const OursTask&) = delete;

  int status() const { return status_; }
  int compute(uint64_t estimates, int method) { return _vsldSSBasic(task_, estimates, method); }
  const std::vector<double>& mean() const { return mean_; }
  const std::vector<double>& raw2() const { return raw2_; }
  const std::vector<double>& cov() const { return cov_; }

 private:
  // The task reads these through pointers at compute time.
  int32_t p_, n_, storage_, cov_storage_ = SS_MATRIX_STORAGE_FULL;
  std::vector<double> mean_, raw2_, raw3_, raw4_, cov_;
  SummaryStatsTask* task_ = nullptr;
  int status_ = 0;
};

bool within(double a, double b, double scale, double tolerance) {
  const double d = a > b ? a - b : b - a;
  return d <= tolerance * scale;
}

// Checks our first results against the plain loops (or the dsyrk two-pass
// covariance): a fast kernel that computes something else is not timed.
bool agrees_with_peers(const OursTask& t, const Matrix& m, uint64_t estimates) {
  const auto p = static_cast<size_t>(m.p);
  std::vector<double> mean(p), var(p);
  plain_mean_variance(m, mean.data(), var.data());
  const double bessel = static_cast<double>(m.n) / static_cast<double>(m.n - 1);
  for (size_t i = 0; i < p; ++i) {
    if (!within(t.mean()[i], mean[i], mean[i], 1e-11)) return false;
    // The variance from the raw moment loses |mean|^2 / var of its digits.
    const double from_raw = (t.raw2()[i] - t.mean()[i] * t.mean()[i]) * bessel;
    if (estimates & SS_2R_MOM && !within(from_raw, var[i], var[i], 1e-8)) return false;
  }
  if (!(estimates & SS_COV)) return true;
  std::vector<double> cov(p * p), centred(static_cast<size_t>(kValues));
  dsyrk_covariance(m, mean.data(), centred.data(), cov.data());
  for (size_t i = 0; i < p; ++i)
    for (size_t k = 0; k < p; ++k)
      if (!within(t.cov()[i * p + k], cov[i * p + k], std::sqrt(var[i] * var[k]), 1e-11))
        return false;
  return true;
}

// Times `body()` (one full computation into pre-touched buffers, already run
// once by the caller) and reports the data set read per wall second (GB/s).
template <class Body>
void time_loop(benchmark::State& state, Body body) {
  for (auto _ : state) {
    body();
    benchmark::ClobberMemory();
  }
  state.counters["GB"] =
      benchmark::Counter(8e-9 * kValues, benchmark::Counter::kIsIterationInvariantRate);
}

void ours(benchmark::State& state, Shape s, uint64_t estimates, int method, int threads) {
  const Matrix m = matrix(s);
  set_threads(threads);
  {
    OursTask t(m);
    if (t.status() != 0 || t.compute(estimates, method) != 0) {
      state.SkipWithError("task setup or first compute failed");
    } else if (!agrees_with_peers(t, m, estimates)) {
      state.SkipWithError("results disagree with the plain two-pass loops");
    } else {
      int failed = 0;
      time_loop(state, [&] {
        failed |= t.compute(estimates, method);
        benchmark::DoNotOptimize(t.mean().data());
      });
      if (failed) state.SkipWithError("a timed compute returned an error status");
    }
  }
  set_threads(1);
}

// Ours' results are p or p*p doubles; the peers write into buffers this size.
struct Outputs {
  std::vector<double> a, b;
  explicit Outputs(const Matrix& m)
      : a(static_cast<size_t>(m.p * m.p), 0.0), b(static_cast<size_t>(m.p), 0.0) {}
};

template <class Body>
void peer(benchmark::State& state, Body body) {
  body();
  time_loop(state, body);
}

// The read bandwidth on `threads` threads of the host pool.
struct Halves {
  const double* x;
  double part[2];
};

void sum_half(int64_t item, int64_t, void* ctx) {
  auto* h = static_cast<Halves*>(ctx);
  h->part[item] = stream_sum(h->x + item * (kValues / 2), kValues / 2);
}

void bandwidth(benchmark::State& state, Shape s, int threads) {
  const Matrix m = matrix(s);
  if (threads == 1)
    return peer(state, [&] { benchmark::DoNotOptimize(stream_sum(m.x, kValues)); });
  const auto run = host_service<orx_host_run_fn>(ORX_HOST_RUN);
  Halves h{m.x, {0, 0}};
  peer(state, [&] {
    run(sum_half, 2, 2, &h);
    benchmark::DoNotOptimize(h.part);
  });
}

// GSL's covariance per pair; p = 100 times variables 0, 25, 50 and 75 against
// all 100 (the pattern a triangle loop has: one variable held, the others
// streamed) and scales the time to the 5050 pairs of the triangle.
void gsl_covariance(benchmark::State& state, Shape s) {
  const Matrix m = matrix(s);
  Outputs out(m);
  std::vector<std::pair<int64_t, int64_t>> pairs;
  for (int64_t i = 0; i < m.p; ++i)
    for (int64_t k = i; k < m.p; ++k) pairs.push_back({i, k});
  const auto triangle = static_cast<double>(pairs.size());
  if (m.p > 10) {
    pairs.clear();
    for (int64_t i = 0; i < m.p; i += 25)
      for (int64_t k = 0; k < m.p; ++k) pairs.push_back({i, k});
  }
  const double scale = triangle / static_cast<double>(pairs.size());
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    gsl_covariances(m, pairs, out.a.data());
    benchmark::DoNotOptimize(out.a.data());
    benchmark::ClobberMemory();
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(spent.count() * scale);
  }
  if (scale != 1.0)
    state.SetLabel(std::to_string(pairs.size()) + " of " +
                   std::to_string(static_cast<int64_t>(triangle)) + " pairs timed, time scaled");
}

void add(const std::string& name, std::function<void(benchmark::State&)> body,
         bool manual = false) {
  auto* b = benchmark::RegisterBenchmark((name + "/" + std::to_string(kValues)).c_str(),
                                         std::move(body));
  b->Unit(benchmark::kMillisecond);
  if (manual)
    b->UseManualTime();
  else
    b->UseRealTime();
}

void add_ours(const std::string& c, Shape s, uint64_t estimates) {
  const struct {
    const char* name;
    int method, threads;
  } runs[] = {{"fast", SS_METHOD_FAST, 1},
              {"1pass", SS_METHOD_1PASS, 1},
              {"fast.2t", SS_METHOD_FAST, 2},
              {"1pass.2t", SS_METHOD_1PASS, 2}};
  for (const auto& r : runs)
    add(c + "/orx@" + r.name, [=, method = r.method, threads = r.threads](benchmark::State& st) {
      ours(st, s, estimates, method, threads);
    });
}

void register_all(orx::bench::RatioReporter& reporter) {
  for (const Shape& s : kShapes) {
    const std::string mean = "mean" + s.tag(), mom = "mom" + s.tag(), cov = "cov" + s.tag();
    add_ours(mean, s, SS_MEAN);
    add(mean + "/loop", [s](benchmark::State& st) {
      const Matrix m = matrix(s);
      Outputs out(m);
      peer(st, [&] {
        plain_mean(m, out.b.data());
        benchmark::DoNotOptimize(out.b.data());
      });
    });
    add(mean + "/gsl", [s](benchmark::State& st) {
      const Matrix m = matrix(s);
      Outputs out(m);
      peer(st, [&] {
        gsl_means(m, out.b.data());
        benchmark::DoNotOptimize(out.b.data());
      });
    });
    add(mean + "/sum", [s](benchmark::State& st) { bandwidth(st, s, 1); });
    add(mean + "/sum@2t", [s](benchmark::State& st) { bandwidth(st, s, 2); });

    add_ours(mom, s, kMoments);
    add(mom + "/loop2pass", [s](benchmark::State& st) {
      const Matrix m = matrix(s);
      Outputs out(m);
      peer(st, [&] {
        plain_mean_variance(m, out.b.data(), out.a.data());
        benchmark::DoNotOptimize(out.a.data());
      });
    });
    for (const bool given_mean : {false, true})
      add(mom + (given_mean ? "/gsl_m" : "/gsl"), [s, given_mean](benchmark::State& st) {
        const Matrix m = matrix(s);
        Outputs out(m);
        peer(st, [&] {
          gsl_mean_variance(m, given_mean, out.b.data(), out.a.data());
          benchmark::DoNotOptimize(out.a.data());
        });
      });

    add_ours(cov, s, kCovariance);
    add(cov + "/dsyrk2pass", [s](benchmark::State& st) {
      const Matrix m = matrix(s);
      Outputs out(m);
      std::vector<double> centred(static_cast<size_t>(kValues), 0.0);
      peer(st, [&] {
        dsyrk_covariance(m, out.b.data(), centred.data(), out.a.data());
        benchmark::DoNotOptimize(out.a.data());
      });
    });
    add(cov + (s.p > 10 ? "/gsl_scaled" : "/gsl"),
        [s](benchmark::State& st) { gsl_covariance(st, s); }, true);

    // Goals: the mean at 60% of the read bandwidth at least (time at most
    // 1/0.6 of the sum's), the moments faster than the two-pass loop, the
    // covariance within 1.2x of the dsyrk two-pass computation.
    for (const char* method : {"orx@fast", "orx@1pass"}) {
      reporter.add_goal(mean + "/" + method, mean + "/sum", 1 / 0.6);
      reporter.add_goal(mom + "/" + method, mom + "/loop2pass", 1.0);
      reporter.add_goal(cov + "/" + method, cov + "/dsyrk2pass", 1.2);
    }
    for (const std::string& c : {mean, mom, cov})
      for (const char* method : {"fast", "1pass"})
        reporter.add_comparison("Ours on 2 threads / ours on 1 thread (wall time)",
                                c + " " + method + " 2t/1t", c + "/orx@" + method + ".2t",
                                c + "/orx@" + method);
  }
}

// The ratio reporter, plus the read-bandwidth share of the mean: GB/s of the
// sum and of ours on each mean case, and ours as a fraction of the sum with
// the same thread count.
class SsReporter : public orx::bench::RatioReporter {
 public:
  SsReporter() : RatioReporter(Clock::kReal) {}

  // Names lose their "/real_time" or "/manual_time" suffix, so that they end
  // in the value count the ratio table reads.
  void ReportRuns(const std::vector<Run>& reported) override {
    std::vector<Run> runs = reported;
    for (Run& run : runs) run.run_name.time_type.clear();
    RatioReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred || run.iterations <= 0) continue;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.run_type != Run::RT_Iteration && !median) continue;
      std::string name = run.benchmark_name();
      if (median) name = name.substr(0, name.rfind('_'));
      if (name.rfind("mean", 0) != 0) continue;
      const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
      Seconds& slot = seconds_[name.substr(0, name.rfind('/'))];
      if (median || !slot.from_median) slot = {seconds, median};
    }
  }

  void Finalize() override {
    RatioReporter::Finalize();
    std::printf("\nMean alone against the read bandwidth (a sum over the same %.0f MB)\n",
                8e-6 * kValues);
    std::printf("%-24s %9s %9s %9s\n", "case/contender", "GB/s", "sum GB/s", "share");
    for (const Shape& s : kShapes) {
      const std::string c = "mean" + s.tag();
      for (const std::string who :
           {"orx@fast", "orx@1pass", "orx@fast.2t", "orx@1pass.2t", "loop", "gsl"}) {
        const bool two = who.find(".2t") != std::string::npos;
        const std::string sum = c + (two ? "/sum@2t" : "/sum");
        const auto a = seconds_.find(c + "/" + who), b = seconds_.find(sum);
        if (a == seconds_.end() || b == seconds_.end()) continue;
        const double gbs = 8e-9 * kValues / a->second.seconds;
        const double sum_gbs = 8e-9 * kValues / b->second.seconds;
        std::printf("%-24s %9.2f %9.2f %8.1f%%\n", (c + "/" + who).c_str(), gbs, sum_gbs,
                    100 * gbs / sum_gbs);
      }
    }
    std::printf("\ncov100r/gsl_scaled, cov100c/gsl_scaled: GSL timed on 400 of the 5050 pairs, "
                "the time scaled by 5050/400.\n");
  }

 private:
  struct Seconds {
    double seconds = 0;
    bool from_median = false;
  };
  std::map<std::string, Seconds> seconds_;
};

}  // namespace

int main(int argc, char** argv) {
  // Single-threaded BLAS for the dsyrk peer and for ours' cross-products alike.
  openblas_set_num_threads(1);
  std::printf("OpenBLAS: %s\n", openblas_get_config());
  set_threads(1);
  SsReporter reporter;
  register_all(reporter);
  return orx::bench::run_with_ratios(argc, argv, reporter);
}
