// Natural cubic construction (and the default kind, which runs its kernels):
// the seven end conditions against a dense long-double solve and GSL's
// natural and periodic splines, the interpolating polynomial of not-a-knot
// on 3 and 4 knots, interpolation / C2 / end conditions on long partitions,
// threaded results equal to sequential ones to the bit, reads of a uniform
// partition, entry statuses, the solver failure and allocation failure.
#include <gsl/gsl_errno.h>
#include <gsl/gsl_interp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>
#include <vector>

#include "cubic_reference.h"
#include "cubic_test_helpers.h"

namespace spline_test {
namespace {

// Bound of |ours - oracle| relative to the function's scale (its largest
// |y| or end-condition value): about 4500 ulps of double; float's bound is
// 840 ulps, for values rounded to float before the construction.
template <class T>
constexpr long double kRelTol = sizeof(T) == 8 ? 1e-12L : 1e-4L;
// Derivative agreement across knots, relative to scale / h_min^k.
template <class T>
constexpr long double kDerTol = sizeof(T) == 8 ? 1e-10L : 1e-4L;

template <class T>
long double function_scale(const Cubic<T>& b, int64_t j) {
  long double m = std::max(std::fabs(b.bc[0]), std::fabs(b.bc[1]));
  for (int64_t i = 0; i < b.c.nx; ++i) m = std::max(m, std::fabs(b.y_at(j, i)));
  return m;
}

// Largest relative |ours - want(j, cell, d)| at 9 points of every cell.
template <class T, class Want>
long double worst_relative(const Cubic<T>& b, Want want) {
  long double worst = 0;
  for (int64_t j = 0; j < b.c.ny; ++j) {
    const long double scale = function_scale(b, j);
    for (int64_t i = 0; i + 1 < b.c.nx; ++i)
      for (int k = 0; k <= 8; ++k) {
        const long double d = b.width(i) * k / 8;
        const long double e = std::fabs(cubic_derivative(b.piece(j, i), 0, d) - want(j, i, d));
        worst = std::max(worst, e / scale);
      }
  }
  return worst;
}

// Runs the natural entry, then the default one, which must agree to the bit.
template <class T>
Cubic<T> build_natural(const CubicCase& c) {
  Cubic<T> b = cubic_inputs<T>(c);
  const TaskPtr task = cubic_task(b, DF_CUBIC_NATURAL);
  EXPECT_EQ(CubicApi<T>::natural(task.get()), DF_STATUS_OK);
  Cubic<T> d = cubic_inputs<T>(c);
  const TaskPtr default_task = cubic_task(d, DF_CUBIC_DEFAULT);
  EXPECT_EQ(CubicApi<T>::default_kind(default_task.get()), DF_STATUS_OK);
  EXPECT_EQ(0, std::memcmp(b.coeff.data(), d.coeff.data(), b.coeff.size() * sizeof(T)))
      << "default kind differs from natural";
  return b;
}

template <class T>
void check_against_reference(const CubicCase& c, long double* worst_seen) {
  SCOPED_TRACE(std::string(precision_name(T{})) + " " + trace(c));
  const Cubic<T> b = build_natural<T>(c);
  const auto ref = cubic_reference(b.knots(), b.functions(), c.bc_type, b.bc[0], b.bc[1]);
  const long double worst = worst_relative(b, [&](int64_t j, int64_t i, long double d) {
    return cubic_derivative(&ref[j][4 * i], 0, d);
  });
  EXPECT_LE(worst, kRelTol<T>);
  *worst_seen = std::max(*worst_seen, worst);
}

void record_worst(const char* name, long double worst) {
  std::ostringstream s;
  s << static_cast<double>(worst);
  testing::Test::RecordProperty(name, s.str());
}

std::vector<CubicCase> condition_grid(
    std::initializer_list<std::pair<int64_t, int64_t>> sizes,
    const std::vector<int64_t>& conditions = {std::begin(kCubicConditions),
                                              std::end(kCubicConditions)}) {
  std::vector<CubicCase> cases;
  for (int64_t bc : conditions)
    for (bool columns : {false, true})
      for (bool uniform : {false, true})
        for (const auto& [nx, ny] : sizes) cases.push_back({nx, ny, columns, uniform, bc});
  return cases;
}

TEST(DfCubicNatural, MatchesDenseReference) {
  long double worst = 0;
  for (const CubicCase& c :
       condition_grid({{3, 3}, {4, 1}, {9, 3}, {60, 1}, {7, 1000}}))
    check_against_reference<double>(c, &worst);
  record_worst("worst_relative_double", worst);
}

TEST(DfCubicNatural, SinglePrecisionMatchesDenseReference) {
  long double worst = 0;
  for (const CubicCase& c : condition_grid({{3, 1}, {9, 3}, {40, 2}}))
    check_against_reference<float>(c, &worst);
  record_worst("worst_relative_float", worst);
}

// Free end against gsl_interp_cspline, periodic against
// gsl_interp_cspline_periodic, on partitions past the dense solve's reach.
TEST(DfCubicNatural, MatchesGslNaturalAndPeriodic) {
  gsl_set_error_handler_off();
  long double worst_all = 0;
  for (const CubicCase& c : condition_grid({{3, 1}, {4, 3}, {60, 3}, {700, 2}},
                                           {DF_BC_FREE_END, DF_BC_PERIODIC})) {
    SCOPED_TRACE(trace(c));
    const Cubic<double> b = build_natural<double>(c);
    std::vector<double> x(c.nx), y(c.nx * c.ny);
    for (int64_t i = 0; i < c.nx; ++i) x[i] = static_cast<double>(b.knot(i));
    std::vector<gsl_interp*> g(c.ny);
    for (int64_t j = 0; j < c.ny; ++j) {
      for (int64_t i = 0; i < c.nx; ++i) y[j * c.nx + i] = static_cast<double>(b.y_at(j, i));
      g[j] = gsl_interp_alloc(
          c.bc_type == DF_BC_PERIODIC ? gsl_interp_cspline_periodic : gsl_interp_cspline, c.nx);
      ASSERT_EQ(gsl_interp_init(g[j], x.data(), &y[j * c.nx], c.nx), 0);
    }
    const long double worst = worst_relative(b, [&](int64_t j, int64_t i, long double d) {
      const double t = std::min(static_cast<double>(b.knot(i) + d), x[c.nx - 1]);
      return gsl_interp_eval(g[j], x.data(), &y[j * c.nx], t, nullptr);
    });
    EXPECT_LE(worst, kRelTol<double>);
    worst_all = std::max(worst_all, worst);
    for (gsl_interp* p : g) gsl_interp_free(p);
  }
  record_worst("worst_relative_gsl", worst_all);
}

// Not-a-knot leaves one cubic for 4 knots and one parabola for 3: the
// Lagrange polynomial through the points, in long double.
template <class T>
void check_interpolating_polynomial(const CubicCase& c) {
  SCOPED_TRACE(std::string(precision_name(T{})) + " " + trace(c));
  const Cubic<T> b = build_natural<T>(c);
  const long double worst = worst_relative(b, [&](int64_t j, int64_t i, long double d) {
    const long double t = b.knot(i) + d;
    long double sum = 0;
    for (int64_t p = 0; p < c.nx; ++p) {
      long double w = b.y_at(j, p);
      for (int64_t q = 0; q < c.nx; ++q)
        if (q != p) w *= (t - b.knot(q)) / (b.knot(p) - b.knot(q));
      sum += w;
    }
    return sum;
  });
  EXPECT_LE(worst, kRelTol<T>);
}

TEST(DfCubicNatural, NotAKnotOnThreeAndFourKnotsIsTheInterpolatingPolynomial) {
  for (const CubicCase& c : condition_grid({{3, 1}, {3, 3}, {4, 1}, {4, 3}}, {DF_BC_NOT_A_KNOT})) {
    check_interpolating_polynomial<double>(c);
    check_interpolating_polynomial<float>(c);
  }
}

// k-th derivative at the left end (piece 0) or the right end (last piece).
template <class T>
long double end_derivative(const Cubic<T>& b, int64_t j, bool right, int k) {
  const int64_t i = right ? b.c.nx - 2 : 0;
  return cubic_derivative(b.piece(j, i), k, right ? b.width(i) : 0);
}

template <class T>
void check_properties(const CubicCase& c) {
  SCOPED_TRACE(std::string(precision_name(T{})) + " " + trace(c));
  const Cubic<T> b = build_natural<T>(c);
  for (int64_t j = 0; j < c.ny; ++j) {
    const long double s = function_scale(b, j), h = b.h_min();
    auto near = [&](long double got, long double want, int k, const char* what, int64_t i) {
      const long double tol = (k == 0 ? kRelTol<T> : kDerTol<T>) * s / std::pow(h, k);
      EXPECT_LE(std::fabs(got - want), tol) << what << " function " << j << " knot " << i;
    };
    for (int64_t i = 0; i + 1 < c.nx; ++i) {
      const T* p = b.piece(j, i);
      ASSERT_EQ(p[0], static_cast<T>(b.y_at(j, i))) << "c0 at knot " << i;
      near(cubic_derivative(p, 0, b.width(i)), b.y_at(j, i + 1), 0, "value", i + 1);
      if (i + 2 < c.nx)
        for (int k = 1; k <= 2; ++k)
          near(cubic_derivative(p, k, b.width(i)), cubic_derivative(b.piece(j, i + 1), k, 0), k,
               k == 1 ? "C1" : "C2", i + 1);
    }
    const int64_t bc = c.bc_type;
    if (bc == DF_BC_NOT_A_KNOT) {  // third derivative continuous at x[1] and x[nx-2]
      near(b.piece(j, 0)[3], b.piece(j, 1)[3], 3, "not-a-knot left", 1);
      near(b.piece(j, c.nx - 2)[3], b.piece(j, c.nx - 3)[3], 3, "not-a-knot right", c.nx - 2);
    } else if (bc == DF_BC_PERIODIC) {
      for (int k = 1; k <= 2; ++k)
        near(end_derivative(b, j, false, k), end_derivative(b, j, true, k), k, "periodic", 0);
    } else {
      const int left = (bc == 12 || bc == 36) ? 1 : 2, right = (bc == 12 || bc == 24) ? 1 : 2;
      const long double v0 = bc == DF_BC_FREE_END ? 0 : b.bc[0];
      const long double v1 = bc == DF_BC_FREE_END ? 0 : b.bc[1];
      near(end_derivative(b, j, false, left), v0, left, "left condition", 0);
      near(end_derivative(b, j, true, right), v1, right, "right condition", c.nx - 1);
    }
  }
}

TEST(DfCubicNatural, InterpolatesIsC2AndMeetsEndConditions) {
  for (const CubicCase& c : condition_grid({{5, 2}, {200, 3}})) {
    check_properties<double>(c);
    check_properties<float>(c);
  }
}

// Every path (calling thread, runner with 2 or 8 threads) gives the same
// bits; 299/300 and 599/600 knots straddle the thresholds of the choice.
template <class T>
void check_thread_paths(const CubicCase& c) {
  SCOPED_TRACE(std::string(precision_name(T{})) + " " + trace(c));
  Cubic<T> seq = cubic_inputs<T>(c);
  {
    const HostThreads one(1);
    ASSERT_EQ(CubicApi<T>::natural(cubic_task(seq, DF_CUBIC_NATURAL).get()), DF_STATUS_OK);
  }
  ASSERT_EQ(std::count(seq.coeff.begin(), seq.coeff.end(), static_cast<T>(-7)), 0);
  for (int64_t threads : {1, 2, 8}) {
    const HostThreads scope(threads);
    for (int64_t kind : {DF_CUBIC_NATURAL, DF_CUBIC_DEFAULT}) {
      Cubic<T> par = cubic_inputs<T>(c);
      const TaskPtr task = cubic_task(par, kind);
      ASSERT_EQ(kind == DF_CUBIC_NATURAL ? CubicApi<T>::natural(task.get())
                                         : CubicApi<T>::default_kind(task.get()),
                DF_STATUS_OK);
      EXPECT_EQ(0, std::memcmp(seq.coeff.data(), par.coeff.data(), seq.coeff.size() * sizeof(T)))
          << threads << " threads, kind " << kind;
    }
  }
}

TEST(DfCubicNatural, ThreadedMatchesSequentialToTheBit) {
  for (const CubicCase& c : condition_grid({{299, 2}, {299, 8}, {299, 17}, {300, 2}, {300, 8},
                                            {300, 17}, {599, 2}, {599, 8}, {599, 17}, {600, 2},
                                            {600, 8}, {600, 17}})) {
    check_thread_paths<double>(c);
    check_thread_paths<float>(c);
  }
}

// A uniform partition is two values before an unreadable page, and the
// values end at one too, on both paths.
TEST(DfCubicNatural, UniformPartitionReadsOnlyItsEnds) {
  for (int64_t threads : {1, 8})
    for (int64_t bc : kCubicConditions) {
      const HostThreads scope(threads);
      const int64_t nx = 600, ny = 8;
      GuardedArray<double> x(2), y(nx * ny);
      x.data()[0] = kUniformLeft, x.data()[1] = kUniformRight;
      for (int64_t k = 0; k < nx * ny; ++k) y.data()[k] = sample_value(k / nx, k % nx);
      const double bcv[2] = {0.5, 0.25};
      std::vector<double> coeff(4 * (nx - 1) * ny);
      const TaskPtr task = make_task<double>(nx, x.data(), DF_UNIFORM_PARTITION, ny, y.data(), 0,
                                             {4, 2, bc, 0}, bcv, nullptr, coeff.data());
      EXPECT_EQ(CubicApi<double>::natural(task.get()), DF_STATUS_OK) << "bc " << bc;
    }
}

struct StatusCase {
  const char* what;
  bool null_task;
  int64_t method, nx, yhint, s_type, bc_type;
  bool bc;
  int status;
  int null_pointer = 0;  // 1: function 1's values, 2: its coefficients
};

TEST(DfCubicNatural, EntryStatusesInOrder) {
  std::vector<StatusCase> cases = {
      {"null task", true, 0, 5, 0, 2, 2, true, DF_ERR_NULL_TASK},
      {"method 1", false, 1, 5, 0, 2, 2, true, DF_ERR_BAD_METHOD},
      {"method -1", false, -1, 5, 0, 2, 2, true, DF_ERR_BAD_METHOD},
      {"method before nx", false, 1, 2, 0, 2, 2, true, DF_ERR_BAD_METHOD},
      {"nx 2", false, 0, 2, 0, 2, 2, true, DF_ERR_BAD_NX},
      {"nx before yhint", false, 0, 2, 5, 2, 2, true, DF_ERR_BAD_NX},
      {"yhint before bc_type", false, 0, 5, 5, 2, 3, false, DF_ERR_BAD_YHINT},
      {"bc_type before bc", false, 0, 5, 0, 2, 3, false, DF_ERR_BAD_BC_TYPE},
      {"bc before pointers", false, 0, 5, 0, 2, 12, false, DF_ERR_NULL_BC, 1},
      {"null values", false, 0, 5, 0, 2, 12, true, DF_ERR_NULL_Y, 1},
      {"null coefficients", false, 0, 5, 0, 2, 12, true, DF_ERR_NULL_COEFF, 2},
      {"periodic, default kind, bc null", false, 0, 5, 0, 0, 64, false, DF_ERR_NULL_BC},
      {"periodic, Hermite kind, bc null", false, 0, 5, 0, 3, 64, false, DF_ERR_NULL_BC},
  };
  for (int64_t yhint : {1, 5, 48, 64, 256, -1})
    cases.push_back({"bad yhint", false, 0, 5, yhint, 2, 2, true, DF_ERR_BAD_YHINT});
  for (int64_t bc_type :
       std::initializer_list<int64_t>{0, 3, 4, 8, 16, 32, 20, 40, 65, 128, -1, int64_t{1} << 40})
    cases.push_back({"bad bc_type", false, 0, 5, 0, 2, bc_type, true, DF_ERR_BAD_BC_TYPE});
  for (int64_t bc_type : {12, 36, 24, 48})
    cases.push_back({"bc null", false, 0, 5, 0, 2, bc_type, false, DF_ERR_NULL_BC});
  const int64_t nx = 5, ny = 2;
  const std::vector<double> x = partition<double>(nx, false), y = values<double>(nx, ny, false);
  const double bc[2] = {0.5, -0.5};
  for (const StatusCase& c : cases) {
    SCOPED_TRACE(testing::Message() << c.what << " yhint " << c.yhint << " bc_type " << c.bc_type);
    std::vector<double> coeff(4 * (nx - 1) * ny, -3);
    const TaskPtr task = make_task<double>(nx, x.data(), 0, ny, y.data(), 0, {4, 2, 2, 0}, bc,
                                           nullptr, coeff.data());
    // Fields set directly: the editors refuse several of these values.
    task->nx = c.nx, task->yhint = c.yhint, task->s_type = c.s_type;
    task->bc_type = c.bc_type, task->bc = c.bc ? bc : nullptr;
    if (c.null_pointer == 1) task->y_table[1] = nullptr;
    if (c.null_pointer == 2) task->coeff_table[1] = nullptr;
    Task1D* t = c.null_task ? nullptr : task.get();
    const auto services = orx_host_services();
    EXPECT_EQ(orx_df_kernel_dDFNaturalCubicSpline1D(t, nullptr, c.method, services), c.status);
    EXPECT_EQ(orx_df_kernel_sDFNaturalCubicSpline1D(t, nullptr, c.method, services), c.status);
    EXPECT_EQ(orx_df_kernel_dDFDefaultCubicSpline1D(t, nullptr, c.method, services), c.status);
    EXPECT_EQ(orx_df_kernel_sDFDefaultCubicSpline1D(t, nullptr, c.method, services), c.status);
    for (double v : coeff) ASSERT_EQ(v, -3) << "written despite a failed check";
  }
}

// The natural periodic construction reads no bc: null is accepted, as it is
// for not-a-knot and free end.
TEST(DfCubicNatural, ConditionsWithoutValuesAcceptNullBc) {
  for (int64_t bc_type : {DF_BC_NOT_A_KNOT, DF_BC_FREE_END, DF_BC_PERIODIC}) {
    Cubic<double> b = cubic_inputs<double>({9, 2, false, false, bc_type});
    Cubic<double> want = cubic_inputs<double>(b.c);
    ASSERT_EQ(CubicApi<double>::natural(cubic_task(want, DF_CUBIC_NATURAL).get()), DF_STATUS_OK);
    const TaskPtr task = cubic_task(b, DF_CUBIC_NATURAL);
    task->bc = nullptr;
    EXPECT_EQ(CubicApi<double>::natural(task.get()), DF_STATUS_OK) << "bc " << bc_type;
    EXPECT_EQ(b.coeff, want.coeff) << "bc " << bc_type;
  }
}

// Repeated knots make an infinite reciprocal width: the solver reports it,
// wherever the pair is, for one function, several, and on the runner.
TEST(DfCubicNatural, RepeatedKnotsFailInTheSolver) {
  struct Run {
    int64_t nx, ny, threads;
  };
  for (int64_t bc : kCubicConditions)
    for (const Run& r : {Run{8, 1, 1}, Run{8, 3, 1}, Run{600, 8, 8}})
      for (int64_t k : {int64_t{0}, r.nx / 2, r.nx - 2})
        for (bool columns : {false, true}) {
          SCOPED_TRACE(testing::Message() << "bc " << bc << " nx " << r.nx << " ny " << r.ny
                                          << " knot " << k << (columns ? " cols" : " rows"));
          const HostThreads scope(r.threads);
          Cubic<double> b = cubic_inputs<double>({r.nx, r.ny, columns, false, bc});
          b.x[k + 1] = b.x[k];
          EXPECT_EQ(CubicApi<double>::natural(cubic_task(b, DF_CUBIC_NATURAL).get()),
                    DF_ERR_LINEAR_SOLVER);
        }
}

// The k-th allocation of the construction fails: DF_ERR_ALLOC and nothing
// written, or success if the construction makes fewer than k; the first
// always fails at 20000 knots, on the calling thread and on the runner.
TEST(DfCubicNatural, AllocationFailureWritesNothing) {
  for (int64_t bc : kCubicConditions)
    for (int64_t threads : {1, 8})
      for (int64_t k = 1; k <= 4; ++k) {
        SCOPED_TRACE(testing::Message() << "bc " << bc << " threads " << threads << " k " << k);
        const HostThreads scope(threads);
        Cubic<double> b = cubic_inputs<double>({20000, 8, threads == 8, false, bc});
        const TaskPtr task = cubic_task(b, DF_CUBIC_NATURAL);
        orx_host_test_fail_allocation(k);
        const int status = CubicApi<double>::natural(task.get());
        orx_host_test_fail_allocation(0);
        if (k == 1 || status != DF_STATUS_OK) {
          ASSERT_EQ(status, DF_ERR_ALLOC);
          ASSERT_EQ(std::count(b.coeff.begin(), b.coeff.end(), -7.0),
                    static_cast<std::ptrdiff_t>(b.coeff.size()));
        }
      }
}

}  // namespace
}  // namespace spline_test
