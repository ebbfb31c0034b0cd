// Quadratic spline construction. Standard kind: coefficients against a
// long-double construction from knot derivatives, interpolation and the
// midpoint condition, stack and heap work arrays, allocation failure, reads
// within the arrays. Subbotin kind: coefficients against a dense long-double
// solve of the interpolation, continuity and end conditions, C1 at the break
// points, end derivatives, exactness on quadratics, both subgrids. Entry
// statuses of both.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "spline_test_helpers.h"

namespace spline_test {
namespace {

struct QuadCase {
  int64_t nx, ny;
  bool columns, uniform;
  int64_t bc_type = DF_BC_Q_VAL;  // standard, or a Subbotin end condition
  int64_t ic_type = 0;            // Subbotin: 8 explicit break points, 12 midpoints
};

// A construction's inputs and its coefficients (3 per piece).
template <class T>
struct Built {
  QuadCase c;
  std::vector<T> x, y, bc, ic, coeff;
  int64_t pieces;
  long double knot(int64_t i) const { return spline_test::knot(x, c.nx, c.uniform, i); }
  long double y_at(int64_t j, int64_t i) const { return value(y, c.nx, c.ny, c.columns, j, i); }
  const T* piece(int64_t j, int64_t i) const { return coeff.data() + 3 * (j * pieces + i); }
  long double y_max() const {
    long double m = 0;
    for (T v : y) m = std::max(m, std::fabs(static_cast<long double>(v)));
    for (T v : bc) m = std::max(m, std::fabs(static_cast<long double>(v)));
    return m;
  }
  long double h_min() const {
    long double m = knot(1) - knot(0);
    for (int64_t i = 1; i + 1 < c.nx; ++i) m = std::min(m, knot(i + 1) - knot(i));
    return m;
  }
  // Subbotin break point i as the construction is asked to place it.
  long double break_point(int64_t i) const {
    if (c.ic_type & 4) return (knot(i) + knot(i + 1)) / 2;
    return ic[i];
  }
};

bool subbotin(const QuadCase& c) { return c.bc_type != DF_BC_Q_VAL; }

template <class T>
Built<T> build(const QuadCase& c) {
  Built<T> b{c, partition<T>(c.nx, c.uniform), values<T>(c.nx, c.ny, c.columns), {}, {}, {}, 0};
  b.pieces = subbotin(c) ? c.nx : c.nx - 1;
  b.bc = subbotin(c) ? std::vector<T>{static_cast<T>(0.8), static_cast<T>(-1.3)}
                     : std::vector<T>{static_cast<T>(0.45)};
  // Explicit break points at 30% of each cell; midpoints need no array, but
  // the editor wants one for a non-zero type.
  for (int64_t i = 0; i + 1 < c.nx; ++i)
    b.ic.push_back(static_cast<T>(b.knot(i) + 0.3L * (b.knot(i + 1) - b.knot(i))));
  if (b.ic.empty()) b.ic.push_back(0);
  b.coeff.assign(3 * b.pieces * c.ny, static_cast<T>(-9));
  const TaskPtr task = make_task<T>(c.nx, b.x.data(), c.uniform ? DF_UNIFORM_PARTITION : 0, c.ny,
                                    b.y.data(), c.columns ? DF_MATRIX_STORAGE_COLS : 0,
                                    {3, subbotin(c) ? 1 : 0, c.bc_type, c.ic_type}, b.bc.data(),
                                    c.ic_type ? b.ic.data() : nullptr, b.coeff.data());
  EXPECT_EQ(Api<T>::quadratic(task.get()), DF_STATUS_OK);
  return b;
}

template <class T>
std::string trace(const QuadCase& c) {
  return testing::PrintToString(precision_name(T{})) + " nx " + std::to_string(c.nx) + " ny " +
         std::to_string(c.ny) + (c.columns ? " cols" : " rows") +
         (c.uniform ? " uniform" : " explicit") + " bc " + std::to_string(c.bc_type) + " ic " +
         std::to_string(c.ic_type);
}

// ---- standard kind --------------------------------------------------------

// Independent construction: the knot derivative d[0] follows from the
// midpoint value of cell 0, the others from C1, d[i+1] = 2*s[i] - d[i] with
// s[i] the cell's difference quotient; cell i is y[i] + d[i]*t + (s[i] - d[i])/h*t^2.
template <class T>
void check_standard(const QuadCase& c) {
  SCOPED_TRACE(trace<T>(c));
  const Built<T> b = build<T>(c);
  const long double scale1 = b.y_max() / b.h_min(), scale2 = scale1 / b.h_min();
  const double ulps = 16.0 * c.nx;
  for (int64_t j = 0; j < c.ny; ++j) {
    long double h = b.knot(1) - b.knot(0), s = (b.y_at(j, 1) - b.y_at(j, 0)) / h;
    long double d = (4 * (b.bc[0] - b.y_at(j, 0)) - (b.y_at(j, 1) - b.y_at(j, 0))) / h;
    for (int64_t i = 0; i + 1 < c.nx; ++i) {
      h = b.knot(i + 1) - b.knot(i);
      s = (b.y_at(j, i + 1) - b.y_at(j, i)) / h;
      const T* p = b.piece(j, i);
      ASSERT_EQ(p[0], static_cast<T>(b.y_at(j, i)));
      expect_close<T>(p[1], d, scale1, ulps, "c1", j, i);
      expect_close<T>(p[2], (s - d) / h, scale2, ulps, "c2", j, i);
      // Interpolation at the right knot, the midpoint value of cell 0.
      expect_close<T>(piece_value(p, h), b.y_at(j, i + 1), b.y_max(), ulps, "right knot", j, i);
      if (i == 0) expect_close<T>(piece_value(p, h / 2), b.bc[0], b.y_max(), 8, "midpoint", j, i);
      d = 2 * s - d;
    }
  }
}

const QuadCase kStandardCases[] = {
    {2, 1, false, false}, {2, 2, true, true},   {3, 1, false, true}, {3, 3, true, false},
    {9, 2, false, false}, {9, 3, true, true},   {40, 1, true, false}, {40, 2, false, true},
};

TEST(DfQuadraticSpline, StandardMatchesKnotDerivativeConstruction) {
  for (const QuadCase& c : kStandardCases) {
    check_standard<double>(c);
    check_standard<float>(c);
  }
}

// Below 4095 knots the work array is on the stack, from 4095 on it is
// allocated. The recurrence runs forward, so the 4094-knot spline of the
// first 4094 values has the same first 4093 cells, to the bit, as the
// 4095-knot spline; and only the larger one fails when allocation fails.
TEST(DfQuadraticSpline, StandardStackAndHeapPathsAgree) {
  const int64_t big = 4095;
  const std::vector<double> x = partition<double>(big, false);
  const std::vector<double> y = values<double>(big, 1, false);
  const double bc = 0.2;
  std::vector<double> small_coeff(3 * (big - 2)), big_coeff(3 * (big - 1));
  const TaskPtr small = make_task<double>(big - 1, x.data(), 0, 1, y.data(), 0, {3, 0, 128}, &bc,
                                          nullptr, small_coeff.data());
  const TaskPtr large = make_task<double>(big, x.data(), 0, 1, y.data(), 0, {3, 0, 128}, &bc,
                                          nullptr, big_coeff.data());
  orx_host_test_fail_allocation(1);
  EXPECT_EQ(Api<double>::quadratic(small.get()), DF_STATUS_OK);
  EXPECT_EQ(Api<double>::quadratic(large.get()), DF_ERR_ALLOC);
  orx_host_test_fail_allocation(0);
  ASSERT_EQ(Api<double>::quadratic(large.get()), DF_STATUS_OK);
  EXPECT_TRUE(std::equal(small_coeff.begin(), small_coeff.end(), big_coeff.begin()));
}

// Partition and values end at an unreadable page: the unused last step of
// the recurrence must not read x[nx] or y[nx].
template <class T>
void check_reads_within_arrays(int64_t s_type) {
  const int64_t nx = 6;
  GuardedArray<T> x(nx), y(nx);
  for (int64_t i = 0; i < nx; ++i) {
    x.data()[i] = static_cast<T>(sample_knot(i));
    y.data()[i] = static_cast<T>(sample_value(0, i));
  }
  const T bc[2] = {1, 2};
  std::vector<T> coeff(3 * nx);
  const TaskPtr task =
      make_task<T>(nx, x.data(), 0, 1, y.data(), 0, {3, s_type, s_type ? 12 : 128, s_type ? 12 : 0},
                   bc, s_type ? bc : nullptr, coeff.data());
  EXPECT_EQ(Api<T>::quadratic(task.get()), DF_STATUS_OK);
}

TEST(DfQuadraticSpline, ReadsStayWithinPartitionAndValues) {
  check_reads_within_arrays<double>(0);
  check_reads_within_arrays<float>(0);
  check_reads_within_arrays<double>(1);
  check_reads_within_arrays<float>(1);
}

// Uniform partitions of 300 knots given as two elements before an
// unreadable page, for both kinds and both subgrids.
template <class T>
void check_uniform_reads_two_knots() {
  const int64_t nx = 300;
  GuardedArray<T> x(2);
  x.data()[0] = -2;
  x.data()[1] = 5;
  const std::vector<T> y = values<T>(nx, 1, false);
  const std::vector<T> ic(nx, 0);  // midpoints: the array is required but not read
  const T bc[2] = {1, 2};
  for (const Spline s : {Spline{3, 0, 128, 0}, Spline{3, 1, 12, 12}, Spline{3, 1, 48, 12}}) {
    std::vector<T> coeff(3 * nx);
    const TaskPtr task = make_task<T>(nx, x.data(), DF_UNIFORM_PARTITION, 1, y.data(), 0, s, bc,
                                      s.ic_type ? ic.data() : nullptr, coeff.data());
    EXPECT_EQ(Api<T>::quadratic(task.get()), DF_STATUS_OK);
  }
}

TEST(DfQuadraticSpline, UniformPartitionReadsOnlyItsEnds) {
  check_uniform_reads_two_knots<double>();
  check_uniform_reads_two_knots<float>();
}

// ---- Subbotin kind --------------------------------------------------------

// Dense oracle: unknowns (c1, c2) of every piece (c0 = y[i]); rows: value and
// slope continuity at each break point and the two end conditions. Gaussian
// elimination with partial pivoting in long double.
template <class T>
std::vector<long double> subbotin_oracle(const Built<T>& b, int64_t j) {
  const int64_t n = b.c.nx, m = 2 * n;
  std::vector<std::vector<long double>> a(m, std::vector<long double>(m + 1, 0));
  int64_t row = 0;
  for (int64_t i = 0; i + 1 < n; ++i, row += 2) {
    const long double l = b.break_point(i) - b.knot(i), r = b.break_point(i) - b.knot(i + 1);
    auto& v = a[row];
    v[2 * i] = l, v[2 * i + 1] = l * l, v[2 * i + 2] = -r, v[2 * i + 3] = -r * r;
    v[m] = b.y_at(j, i + 1) - b.y_at(j, i);
    auto& s = a[row + 1];
    s[2 * i] = 1, s[2 * i + 1] = 2 * l, s[2 * i + 2] = -1, s[2 * i + 3] = -2 * r;
  }
  const bool left2 = b.c.bc_type & DF_BC_2ND_LEFT_DER, right2 = b.c.bc_type & DF_BC_2ND_RIGHT_DER;
  a[row][left2 ? 1 : 0] = left2 ? 2 : 1, a[row][m] = b.bc[0];
  a[row + 1][right2 ? m - 1 : m - 2] = right2 ? 2 : 1, a[row + 1][m] = b.bc[1];
  for (int64_t k = 0; k < m; ++k) {
    int64_t p = k;
    for (int64_t i = k + 1; i < m; ++i)
      if (std::fabs(a[i][k]) > std::fabs(a[p][k])) p = i;
    std::swap(a[k], a[p]);
    for (int64_t i = k + 1; i < m; ++i) {
      const long double f = a[i][k] / a[k][k];
      for (int64_t q = k; q <= m; ++q) a[i][q] -= f * a[k][q];
    }
  }
  std::vector<long double> u(m);
  for (int64_t k = m - 1; k >= 0; --k) {
    long double t = a[k][m];
    for (int64_t q = k + 1; q < m; ++q) t -= a[k][q] * u[q];
    u[k] = t / a[k][k];
  }
  return u;
}

template <class T>
void check_subbotin(const QuadCase& c) {
  SCOPED_TRACE(trace<T>(c));
  const Built<T> b = build<T>(c);
  const long double scale1 = b.y_max() / b.h_min(), scale2 = scale1 / b.h_min();
  const double ulps = 32.0 * c.nx;
  const bool left2 = c.bc_type & DF_BC_2ND_LEFT_DER, right2 = c.bc_type & DF_BC_2ND_RIGHT_DER;
  for (int64_t j = 0; j < c.ny; ++j) {
    const std::vector<long double> u = subbotin_oracle(b, j);
    for (int64_t i = 0; i < c.nx; ++i) {
      const T* p = b.piece(j, i);
      ASSERT_EQ(p[0], static_cast<T>(b.y_at(j, i))) << "interpolation at knot " << i;
      expect_close<T>(p[1], u[2 * i], scale1, ulps, "c1", j, i);
      expect_close<T>(p[2], u[2 * i + 1], scale2, ulps, "c2", j, i);
      if (i + 1 < c.nx) {  // C1 at the break point between pieces i and i+1
        const T* q = b.piece(j, i + 1);
        const long double xi = b.break_point(i);
        expect_close<T>(piece_value(p, xi - b.knot(i)), piece_value(q, xi - b.knot(i + 1)),
                        b.y_max(), ulps, "value at break", j, i);
        expect_close<T>(piece_slope(p, xi - b.knot(i)), piece_slope(q, xi - b.knot(i + 1)),
                        scale1, ulps, "slope at break", j, i);
      }
    }
    // End conditions are stored as given.
    const T* first = b.piece(j, 0);
    const T* last = b.piece(j, c.nx - 1);
    EXPECT_EQ(left2 ? first[2] * 2 : first[1], b.bc[0]);
    EXPECT_EQ(right2 ? last[2] * 2 : last[1], b.bc[1]);
  }
}

std::vector<QuadCase> subbotin_cases() {
  std::vector<QuadCase> cases;
  const int64_t nxs[] = {2, 3, 8};
  const int64_t conditions[] = {12, 36, 24, 48};
  int k = 0;
  for (int64_t ic_type : {8, 12})
    for (bool columns : {false, true})
      for (bool uniform : {false, true})
        for (int64_t bc : conditions) {
          const int64_t nx = nxs[k++ % 3];
          cases.push_back({nx, columns ? 3 : 2, columns, uniform, bc, ic_type});
        }
  return cases;
}

TEST(DfQuadraticSpline, SubbotinMatchesDenseSolve) {
  for (const QuadCase& c : subbotin_cases()) {
    check_subbotin<double>(c);
    check_subbotin<float>(c);
  }
}

// q(t) = 1.25 - 0.75 t + 0.4 t^2 is itself a Subbotin spline for any break
// points; with its end derivatives as conditions it must come back: piece i
// holds q(x[i]), q'(x[i]), 0.4.
template <class T>
void check_reproduces_quadratic(int64_t bc_type, int64_t ic_type, bool uniform) {
  SCOPED_TRACE(testing::Message() << precision_name(T{}) << " bc " << bc_type << " ic " << ic_type
                                  << (uniform ? " uniform" : " explicit"));
  const int64_t nx = 12;
  const std::vector<T> x = partition<T>(nx, uniform);
  auto q = [](long double t) { return 1.25L - 0.75L * t + 0.4L * t * t; };
  auto dq = [](long double t) { return -0.75L + 0.8L * t; };
  std::vector<T> y(nx), ic;
  for (int64_t i = 0; i < nx; ++i) y[i] = static_cast<T>(q(knot(x, nx, uniform, i)));
  for (int64_t i = 0; i + 1 < nx; ++i)
    ic.push_back(static_cast<T>(knot(x, nx, uniform, i) + 0.7L * (knot(x, nx, uniform, i + 1) -
                                                                  knot(x, nx, uniform, i))));
  const T bc[2] = {static_cast<T>((bc_type & DF_BC_2ND_LEFT_DER) ? 0.8L : dq(knot(x, nx, uniform, 0))),
                   static_cast<T>((bc_type & DF_BC_2ND_RIGHT_DER) ? 0.8L
                                                                  : dq(knot(x, nx, uniform, nx - 1)))};
  std::vector<T> coeff(3 * nx);
  // The values and conditions were rounded to T: compare within that.
  const TaskPtr task = make_task<T>(nx, x.data(), uniform ? DF_UNIFORM_PARTITION : 0, 1, y.data(),
                                    0, {3, 1, bc_type, ic_type}, bc, ic.data(), coeff.data());
  ASSERT_EQ(Api<T>::quadratic(task.get()), DF_STATUS_OK);
  for (int64_t i = 0; i < nx; ++i) {
    expect_close<T>(coeff[3 * i + 1], dq(knot(x, nx, uniform, i)), 10, 64, "c1", 0, i);
    expect_close<T>(coeff[3 * i + 2], 0.4L, 10, 64, "c2", 0, i);
  }
}

TEST(DfQuadraticSpline, SubbotinReproducesQuadratics) {
  for (int64_t bc_type : {12, 36, 24, 48})
    for (int64_t ic_type : {8, 12})
      for (bool uniform : {false, true}) {
        check_reproduces_quadratic<double>(bc_type, ic_type, uniform);
        check_reproduces_quadratic<float>(bc_type, ic_type, uniform);
      }
}

// Explicit break points equal to the midpoints give the uniform-subgrid
// spline to the bit; break points elsewhere give another spline.
template <class T>
void check_subgrids() {
  const int64_t nx = 10;
  const std::vector<T> x = partition<T>(nx, false);
  const std::vector<T> y = values<T>(nx, 1, false);
  std::vector<T> mid(nx - 1), third(nx - 1);
  for (int64_t i = 0; i + 1 < nx; ++i) {
    mid[i] = (x[i] + x[i + 1]) * static_cast<T>(0.5);
    third[i] = x[i] + (x[i + 1] - x[i]) / 3;
  }
  const T bc[2] = {1, -1};
  auto run = [&](int64_t ic_type, const T* ic) {
    std::vector<T> coeff(3 * nx);
    const TaskPtr task = make_task<T>(nx, x.data(), 0, 1, y.data(), 0, {3, 1, 36, ic_type}, bc,
                                      ic, coeff.data());
    EXPECT_EQ(Api<T>::quadratic(task.get()), DF_STATUS_OK);
    return coeff;
  };
  const std::vector<T> uniform = run(12, third.data());  // ic not read
  EXPECT_EQ(run(8, mid.data()), uniform);
  EXPECT_NE(run(8, third.data()), uniform);
}

TEST(DfQuadraticSpline, SubbotinSubgrids) {
  check_subgrids<double>();
  check_subgrids<float>();
}

TEST(DfQuadraticSpline, SubbotinAllocationFailure) {
  const int64_t nx = 5;
  const std::vector<double> x = partition<double>(nx, false), y = values<double>(nx, 1, false);
  const double bc[2] = {0, 0};
  std::vector<double> coeff(3 * nx, -4);
  const TaskPtr task = make_task<double>(nx, x.data(), 0, 1, y.data(), 0, {3, 1, 12, 12}, bc, bc,
                                         coeff.data());
  orx_host_test_fail_allocation(1);
  EXPECT_EQ(Api<double>::quadratic(task.get()), DF_ERR_ALLOC);
  orx_host_test_fail_allocation(0);
  for (double v : coeff) EXPECT_EQ(v, -4);
}

// ---- entry statuses -------------------------------------------------------

struct StatusCase {
  const char* what;
  bool null_task;
  int64_t yhint, s_type, bc_type;
  bool bc;
  int64_t ic_type;
  bool ic;
  int status;
};

TEST(DfQuadraticSpline, EntryStatusesInOrder) {
  const StatusCase cases[] = {
      {"null task", true, 0, 0, 128, true, 0, false, DF_ERR_NULL_TASK},
      {"yhint 5", false, 5, 0, 128, true, 0, false, DF_ERR_BAD_YHINT},
      {"yhint before type", false, 5, 2, 128, true, 0, false, DF_ERR_BAD_YHINT},
      {"type 2", false, 0, 2, 128, true, 0, false, DF_ERR_BAD_METHOD},
      {"standard bc_type 0", false, 0, 0, 0, true, 0, false, DF_ERR_BAD_BC_TYPE},
      {"standard bc_type 12", false, 0, 0, 12, true, 0, false, DF_ERR_BAD_BC_TYPE},
      {"standard bc null", false, 0, 0, 128, false, 0, false, DF_ERR_NULL_BC},
      {"standard valid", false, 16, 0, 128, true, 0, false, DF_STATUS_OK},
      {"Subbotin ic_type 0", false, 0, 1, 12, true, 0, false, DF_ERR_BAD_IC_TYPE},
      {"Subbotin ic_type 4", false, 0, 1, 12, true, 4, true, DF_ERR_BAD_IC_TYPE},
      {"Subbotin bc_type 0", false, 0, 1, 0, true, 8, true, DF_ERR_BAD_BC_TYPE},
      {"Subbotin bc_type 128", false, 0, 1, 128, true, 8, true, DF_ERR_BAD_BC_TYPE},
      {"Subbotin bc_type 4", false, 0, 1, 4, true, 8, true, DF_ERR_BAD_BC_TYPE},
      {"Subbotin not-a-knot slot empty", false, 0, 1, 1, true, 8, true, DF_ERR_BAD_BC_TYPE},
      {"Subbotin free-end slot empty", false, 0, 1, 2, true, 12, true, DF_ERR_BAD_BC_TYPE},
      {"Subbotin periodic slot empty", false, 32, 1, 64, true, 8, true, DF_ERR_BAD_BC_TYPE},
      {"empty slot needs no bc", false, 0, 1, 1, false, 8, true, DF_ERR_BAD_BC_TYPE},
      {"Subbotin 1st1st bc null", false, 0, 1, 12, false, 8, true, DF_ERR_NULL_BC},
      {"Subbotin 2nd2nd bc null", false, 0, 1, 48, false, 12, true, DF_ERR_NULL_BC},
      {"explicit break points, ic null", false, 0, 1, 24, true, 8, false, DF_ERR_NULL_IC},
      {"midpoints, ic null", false, 0, 1, 36, true, 12, false, DF_STATUS_OK},
      {"Subbotin valid", false, 128, 1, 48, true, 9, true, DF_STATUS_OK},
  };
  const int64_t nx = 5, ny = 1;
  const std::vector<double> x = partition<double>(nx, false), y = values<double>(nx, ny, false);
  std::vector<double> ic(nx - 1);
  for (int64_t i = 0; i + 1 < nx; ++i) ic[i] = (x[i] + x[i + 1]) / 2;
  const double bc[2] = {0.5, -0.5};
  for (const StatusCase& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<double> coeff(3 * nx, -3);
    const TaskPtr task = make_task<double>(nx, x.data(), 0, ny, y.data(), 0, {3, 1, 0, 0}, nullptr,
                                           nullptr, coeff.data());
    // Fields set directly: the editors refuse some of these combinations.
    task->yhint = c.yhint;
    task->s_type = c.s_type;
    task->bc_type = c.bc_type;
    task->bc = c.bc ? bc : nullptr;
    task->ic_type = c.ic_type;
    task->ic = c.ic ? ic.data() : nullptr;
    Task1D* t = c.null_task ? nullptr : task.get();
    EXPECT_EQ(orx_df_kernel_dDFQuadraticSpline1D(t, nullptr, 7, orx_host_services()), c.status);
    if (c.status != DF_STATUS_OK) {
      EXPECT_EQ(orx_df_kernel_sDFQuadraticSpline1D(t, nullptr, 7, orx_host_services()), c.status);
      for (double v : coeff) ASSERT_EQ(v, -3) << "written despite a failed check";
    }
  }
}

}  // namespace
}  // namespace spline_test
