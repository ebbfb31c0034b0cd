// Exponential and logarithm families (Exp, Expm1, Ln, Log10, Log1p; s and d)
// beside glibc scalar libm, glibc libmvec SSE and SLEEF SSE4: ns per element
// at n = 1000 and n = 100000, with ratio tables per accuracy class.
//
// Usage: build/bench/orx_bench_vml_exp_log --benchmark_min_time=0.2
//        [--with_absent_rows]  also time the peers of rows not exported yet
//        (any --benchmark_* flag works, e.g. --benchmark_filter=dExp).
//
// Our kernels are found at run time through each catalogue row's kernel table
// (dlsym of orx_vml_kernel_<t><Func>_ttab), so rows are timed as soon as the
// library exports them; a kernel serving several slots is timed once. Kernels
// run under the process's mode word (ORX_VML_MODE, default HA with errors
// reported); the inputs below raise no error.
//
// At n = 1000 the same inputs come back every iteration and the branch
// predictor learns data-dependent branches (glibc's scalar exp takes a slow
// path for |x| > 512, about a quarter of these inputs); n = 100000 is the
// figure for code that branches on the data.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <emmintrin.h>
#include <sleef.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "vml/catalogue.h"

// glibc libmvec SSE variants (x86_64 vector ABI, "b" = SSE, 2 doubles or 4
// floats per call); glibc declares them only through OpenMP SIMD pragmas.
extern "C" {
__m128d _ZGVbN2v_exp(__m128d);
__m128d _ZGVbN2v_expm1(__m128d);
__m128d _ZGVbN2v_log(__m128d);
__m128d _ZGVbN2v_log10(__m128d);
__m128d _ZGVbN2v_log1p(__m128d);
__m128 _ZGVbN4v_expf(__m128);
__m128 _ZGVbN4v_expm1f(__m128);
__m128 _ZGVbN4v_logf(__m128);
__m128 _ZGVbN4v_log10f(__m128);
__m128 _ZGVbN4v_log1pf(__m128);
}

namespace {

using orx::bench::RatioReporter;

// Input distributions, each function's ordinary range.
enum class Range {
  kUniform,     // uniform in [lo, hi]
  kLogUniform,  // 2^e * m, e uniform integer in [lo, hi], m uniform in [1, 2)
  kLog1p,       // |x| = 2^u, u uniform in [lo, hi]; negative (x > -1) when |x| < 1 with odds 1/2
};

// The 16-byte vector of T, and the wider type its reference results use.
template <class T>
struct Vec;
template <>
struct Vec<double> {
  using type = __m128d;
  using wide = long double;
};
template <>
struct Vec<float> {
  using type = __m128;
  using wide = double;
};

template <class T>
struct Peers {
  using V = typename Vec<T>::type;
  using W = typename Vec<T>::wide;
  W (*reference)(W);  // to check that each contender's results are sane
  const char* scalar_name;
  T (*scalar)(T);
  V (*libmvec)(V);
  const V (*sleef_u10)(V);  // SLEEF declares const-qualified results
  const V (*sleef_u35)(V);  // null where SLEEF has no 3.5-ulp variant
  Range range;
  double lo, hi;
};

struct Family {
  const char* function;  // catalogue name
  Peers<double> d;
  Peers<float> s;
};

// exp(±700) and expf(-87 .. 88) stay normal and finite; logs cover the whole
// normal range; log1p covers magnitudes 2^-40 .. 2^40 (2^-20 .. 2^20 single).
const Family kFamilies[] = {
    {"Exp",
     {::expl, "glibc_exp", static_cast<double (*)(double)>(::exp), _ZGVbN2v_exp, Sleef_expd2_u10sse4,
      nullptr, Range::kUniform, -700, 700},
     {static_cast<double (*)(double)>(::exp), "glibc_expf", ::expf, _ZGVbN4v_expf, Sleef_expf4_u10sse4, nullptr, Range::kUniform, -87,
      88}},
    {"Expm1",
     {::expm1l, "glibc_expm1", static_cast<double (*)(double)>(::expm1), _ZGVbN2v_expm1,
      Sleef_expm1d2_u10sse4, nullptr, Range::kUniform, -700, 700},
     {static_cast<double (*)(double)>(::expm1), "glibc_expm1f", ::expm1f, _ZGVbN4v_expm1f, Sleef_expm1f4_u10sse4, nullptr,
      Range::kUniform, -87, 88}},
    {"Ln",
     {::logl, "glibc_log", static_cast<double (*)(double)>(::log), _ZGVbN2v_log, Sleef_logd2_u10sse4,
      Sleef_logd2_u35sse4, Range::kLogUniform, -1022, 1023},
     {static_cast<double (*)(double)>(::log), "glibc_logf", ::logf, _ZGVbN4v_logf, Sleef_logf4_u10sse4, Sleef_logf4_u35sse4,
      Range::kLogUniform, -126, 127}},
    {"Log10",
     {::log10l, "glibc_log10", static_cast<double (*)(double)>(::log10), _ZGVbN2v_log10,
      Sleef_log10d2_u10sse4, nullptr, Range::kLogUniform, -1022, 1023},
     {static_cast<double (*)(double)>(::log10), "glibc_log10f", ::log10f, _ZGVbN4v_log10f, Sleef_log10f4_u10sse4, nullptr,
      Range::kLogUniform, -126, 127}},
    {"Log1p",
     {::log1pl, "glibc_log1p", static_cast<double (*)(double)>(::log1p), _ZGVbN2v_log1p,
      Sleef_log1pd2_u10sse4, nullptr, Range::kLog1p, -40, 40},
     {static_cast<double (*)(double)>(::log1p), "glibc_log1pf", ::log1pf, _ZGVbN4v_log1pf, Sleef_log1pf4_u10sse4, nullptr,
      Range::kLog1p, -20, 20}},
};

const char* const kSlotClass[3] = {"LA", "HA", "EP"};
constexpr int kSizes[] = {1000, 100000};
static_assert(kSizes[0] % 4 == 0 && kSizes[1] % 4 == 0, "vector_loop has no tail");

// Same seed for every contender: identical inputs.
template <class T>
std::vector<T> make_inputs(const Peers<T>& p, int n) {
  std::mt19937_64 rng(20261122);
  std::uniform_real_distribution<double> u(p.lo, p.hi);
  std::uniform_real_distribution<double> mantissa(1.0, 2.0);
  std::uniform_int_distribution<int> exponent(static_cast<int>(p.lo), static_cast<int>(p.hi));
  std::vector<T> v(n);
  for (T& x : v) {
    switch (p.range) {
      case Range::kUniform: x = static_cast<T>(u(rng)); break;
      case Range::kLogUniform: x = static_cast<T>(std::ldexp(mantissa(rng), exponent(rng))); break;
      case Range::kLog1p: {
        const double m = std::exp2(u(rng));
        x = static_cast<T>(m < 1 && (rng() & 1) ? -m : m);
        break;
      }
    }
  }
  return v;
}

inline __m128d load(const double* p) { return _mm_loadu_pd(p); }
inline __m128 load(const float* p) { return _mm_loadu_ps(p); }
inline void store(double* p, __m128d v) { _mm_storeu_pd(p, v); }
inline void store(float* p, __m128 v) { _mm_storeu_ps(p, v); }

// A 16-byte vector function over the array (n is a multiple of 4: kSizes).
template <class T, class F>
void vector_loop(F f, int n, const T* a, T* r) {
  for (int i = 0; i < n; i += 16 / sizeof(T)) store(r + i, f(load(a + i)));
}

// Largest distance, in ulps of T, between r and the wider-precision reference
// (long double libm for double, double libm for float): a sanity check that
// a contender is fast while computing the function, not an accuracy measure.
template <class T>
double max_ulp(const Peers<T>& p, int n, const T* a, const T* r) {
  using W = typename Vec<T>::wide;
  double worst = 0;
  for (int i = 0; i < n; ++i) {
    const W ref = p.reference(static_cast<W>(a[i]));
    if (ref == 0 || !std::isfinite(ref)) continue;
    const int e = std::max(std::ilogb(static_cast<T>(ref)), std::numeric_limits<T>::min_exponent - 1);
    const W ulp = std::ldexp(W(1), e - std::numeric_limits<T>::digits + 1);
    worst = std::max(worst, static_cast<double>(std::fabs(static_cast<W>(r[i]) - ref) / ulp));
  }
  return worst;
}

// Buffers are allocated and written before timing: a first touch of a page
// costs up to 10 us on the VMs this runs on.
template <class T, class Call>
void time_per_element(benchmark::State& state, const Peers<T>& p, Call&& call) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<T> a = make_inputs(p, n);
  std::vector<T> r(n, T(1));
  for (auto _ : state) {
    call(n, a.data(), r.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.counters["max_ulp"] = max_ulp(p, n, a.data(), r.data());
  state.counters["s/el"] = benchmark::Counter(static_cast<double>(state.iterations()) * n,
                                              benchmark::Counter::kIsRate |
                                                  benchmark::Counter::kInvert);
}

template <class T>
void add(const std::string& name, const Peers<T>& p, auto call) {
  auto* b = benchmark::RegisterBenchmark(name.c_str(), [p, call](benchmark::State& state) {
    time_per_element(state, p, call);
  });
  for (int n : kSizes) b->Arg(n);
}

// Registers one row (if exported, or if `absent_too`): our distinct kernels,
// then the peers. Returns, per slot, our contender's name ("" if absent).
template <class T>
std::array<std::string, 3> register_row(const orx::vml::CatalogueRow& row, const Peers<T>& p,
                                        bool sse41, bool absent_too) {
  using Kernel = void (*)(int, const T*, T*);
  const std::string row_name = orx::vml::row_name(row);
  auto* const table =
      static_cast<const Kernel*>(dlsym(RTLD_DEFAULT, orx::vml::ttab_symbol(row).c_str()));
  std::array<std::string, 3> contender;
  if (table == nullptr && !absent_too) return contender;
  if (table != nullptr) {
    for (int slot = 0; slot < 3; ++slot) {
      int first = 0;
      while (table[first] != table[slot]) ++first;
      if (first < slot) continue;
      std::string name = "orx@";
      for (int s = slot; s < 3; ++s) {
        if (table[s] != table[slot]) continue;
        if (s != slot) name += ".";
        name += kSlotClass[s];
      }
      for (int s = slot; s < 3; ++s)
        if (table[s] == table[slot]) contender[s] = name;
      const Kernel kernel = table[slot];
      add<T>(row_name + "/" + name, p, [kernel](int n, const T* a, T* r) { kernel(n, a, r); });
    }
  }
  const auto scalar = p.scalar;
  add<T>(row_name + "/" + p.scalar_name + "@HA", p, [scalar](int n, const T* a, T* r) {
    for (int i = 0; i < n; ++i) r[i] = scalar(a[i]);
  });
  const auto mvec = p.libmvec;
  add<T>(row_name + "/libmvec@LA.EP", p,
         [mvec](int n, const T* a, T* r) { vector_loop(mvec, n, a, r); });
  if (sse41) {
    const auto u10 = p.sleef_u10;
    add<T>(row_name + "/sleef_u10@HA", p,
           [u10](int n, const T* a, T* r) { vector_loop(u10, n, a, r); });
    if (const auto u35 = p.sleef_u35) {
      add<T>(row_name + "/sleef_u35@LA.EP", p,
             [u35](int n, const T* a, T* r) { vector_loop(u35, n, a, r); });
    }
  }
  return contender;
}

const orx::vml::CatalogueRow* find_row(const char* function, char type) {
  for (const auto& row : orx::vml::kCatalogue)
    if (row.type == type && std::strcmp(row.function, function) == 0 &&
        std::strcmp(row.shape, "UN") == 0)
      return &row;
  return nullptr;
}

// The speed goals of the double kernels, as lines "ours / peer" with the bound
// the ratio should stay under: 1/1.6 = 0.625, 1/1.3 = 0.769.
void add_goals(RatioReporter& reporter, const std::array<std::string, 3>& exp_d,
               const std::array<std::string, 3>& ln_d) {
  const char* section = "Goals (ratio should be at most the bound in brackets)";
  auto goal = [&](const std::string& row, const std::string& ours, int slot, const char* peer,
                  const char* bound) {
    if (ours.empty()) return;
    reporter.add_comparison(section, row + " " + kSlotClass[slot] + " / " + peer + " [" + bound + "]",
                            row + "/" + ours, row + "/" + peer);
  };
  goal("dExp", exp_d[1], 1, "sleef_u10@HA", "0.625");
  goal("dExp", exp_d[1], 1, "libmvec@LA.EP", "1.2");
  goal("dExp", exp_d[0], 0, "libmvec@LA.EP", "1");
  goal("dExp", exp_d[2], 2, "libmvec@LA.EP", "0.769");
  goal("dLn", ln_d[1], 1, "libmvec@LA.EP", "1");
}

}  // namespace

int main(int argc, char** argv) {
  bool absent_too = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--with_absent_rows") == 0) {
      absent_too = true;
      for (int j = i; j < argc; ++j) argv[j] = argv[j + 1];
      --argc;
      break;
    }
  }
  __builtin_cpu_init();
  const bool sse41 = __builtin_cpu_supports("sse4.1");
  if (!sse41) std::fprintf(stderr, "no SSE4.1 on this processor: SLEEF SSE4 peers skipped\n");

  // Every contender is single-threaded; CPU time leaves out the time the
  // process waits for a core on a shared machine.
  RatioReporter reporter(RatioReporter::Clock::kCpu);
  const char* twins = "Single vs double, same slot (goal: at most 0.556 = 1/1.8)";
  std::array<std::string, 3> exp_d, ln_d;
  int slots_timed = 0;
  for (const Family& f : kFamilies) {
    const orx::vml::CatalogueRow* row_d = find_row(f.function, 'd');
    const orx::vml::CatalogueRow* row_s = find_row(f.function, 's');
    std::array<std::string, 3> ours_d, ours_s;
    if (row_d) ours_d = register_row(*row_d, f.d, sse41, absent_too);
    if (row_s) ours_s = register_row(*row_s, f.s, sse41, absent_too);
    for (int slot = 0; slot < 3; ++slot) {
      slots_timed += !ours_d[slot].empty() + !ours_s[slot].empty();
      if (ours_d[slot].empty() || ours_s[slot].empty()) continue;
      reporter.add_comparison(twins, std::string("s/d ") + f.function + " " + kSlotClass[slot],
                              std::string("s") + f.function + "/" + ours_s[slot],
                              std::string("d") + f.function + "/" + ours_d[slot]);
    }
    if (std::strcmp(f.function, "Exp") == 0) exp_d = ours_d;
    if (std::strcmp(f.function, "Ln") == 0) ln_d = ours_d;
  }
  add_goals(reporter, exp_d, ln_d);
  if (slots_timed == 0 && !absent_too)
    std::fprintf(stderr, "no exp/log row exported yet; --with_absent_rows times the peers alone\n");
  return orx::bench::run_with_ratios(argc, argv, reporter);
}
