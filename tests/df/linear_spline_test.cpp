// Linear spline construction: coefficients against long-double difference
// quotients for every storage, grid, precision and block boundary, the
// reading rules of column storage and uniform partitions, and the entry
// statuses.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "spline_test_helpers.h"

namespace spline_test {
namespace {

struct LinearCase {
  int64_t nx, ny;
  bool columns, uniform;
  int64_t coeff_offset;  // 1: coefficients not 16-byte aligned
};

// Coefficient array with sentinels after the last function's block.
constexpr int64_t kTail = 8;

template <class T>
void check_linear(const LinearCase& c) {
  SCOPED_TRACE(testing::Message() << precision_name(T{}) << " nx " << c.nx << " ny " << c.ny
                                  << (c.columns ? " cols" : " rows")
                                  << (c.uniform ? " uniform" : " explicit") << " offset "
                                  << c.coeff_offset);
  const std::vector<T> x = partition<T>(c.nx, c.uniform);
  const std::vector<T> y = values<T>(c.nx, c.ny, c.columns);
  const int64_t stride = 2 * (c.nx - 1);
  std::vector<T> storage(c.coeff_offset + c.ny * stride + kTail, static_cast<T>(-7.5));
  T* coeff = storage.data() + c.coeff_offset;
  const TaskPtr task = make_task<T>(c.nx, x.data(), c.uniform ? DF_UNIFORM_PARTITION : 0, c.ny,
                                    y.data(), c.columns ? DF_MATRIX_STORAGE_COLS : 0, {2, 0},
                                    nullptr, nullptr, coeff);
  ASSERT_EQ(Api<T>::linear(task.get()), DF_STATUS_OK);
  for (int64_t j = 0; j < c.ny; ++j) {
    for (int64_t i = 0; i + 1 < c.nx; ++i) {
      const T* cell = coeff + j * stride + 2 * i;
      const long double y0 = value(y, c.nx, c.ny, c.columns, j, i);
      const long double y1 = value(y, c.nx, c.ny, c.columns, j, i + 1);
      const long double h = cell_width(x, c.nx, c.uniform, i);
      ASSERT_EQ(cell[0], static_cast<T>(y0)) << "function " << j << " cell " << i;
      // Every lane and the tails give the bits of the scalar expression.
      const T dy = static_cast<T>(y1) - static_cast<T>(y0);
      const T slope = c.uniform ? dy * (static_cast<T>(c.nx - 1) / (x[1] - x[0]))
                                : dy / (x[i + 1] - x[i]);
      ASSERT_EQ(cell[1], slope) << "function " << j << " cell " << i;
      // Two roundings of the quotient and one of the difference (or of r).
      expect_close<T>(cell[1], (y1 - y0) / h, (std::fabs(y0) + std::fabs(y1)) / h, 4, "slope", j, i);
    }
  }
  for (int64_t k = 0; k < kTail; ++k)
    EXPECT_EQ(coeff[c.ny * stride + k], static_cast<T>(-7.5)) << "written past the end";
}

// 2048-cell blocks: nx 2049 is exactly one block, 2050 one cell more,
// 4097 two full blocks; 2048 leaves one short block; small nx run only the
// scalar tails or one vector step.
const LinearCase kLinearCases[] = {
    {2, 1, false, false, 0},    {2, 3, true, true, 0},       {3, 2, false, true, 1},
    {4, 1, false, false, 0},    {5, 1, false, false, 1},    {6, 3, true, false, 0},      {9, 2, true, true, 1},
    {2048, 1, false, false, 0}, {2048, 2, true, true, 0},    {2049, 1, false, true, 0},
    {2049, 3, true, false, 1},  {2050, 2, false, false, 1},  {4097, 1, false, false, 0},
    {4097, 2, false, true, 1},  {4097, 2, true, true, 0},    {4097, 1, true, false, 0},
    // Many blocks, below the size from which aligned coefficients are written
    // by streaming stores (bytes read and written beyond the last-level cache,
    // at most 16 MB) except on machines with a small cache.
    {262145, 1, false, false, 0}, {262146, 2, true, true, 0}, {262145, 1, false, true, 1},
    // 1,500,000 uniform double cells move 36 MB: streaming stores on every
    // machine, ending in a partial block (1,500,000 = 732 * 2048 + 864).
    {1500001, 1, false, true, 0},
};

TEST(DfLinearSpline, CoefficientsMatchLongDoubleQuotients) {
  for (const LinearCase& c : kLinearCases) {
    check_linear<double>(c);
    check_linear<float>(c);
  }
}

// Value of function 1 at knot 2 in column storage with ny = 3 is element 7:
// a single non-zero element there must show up in exactly that function.
template <class T>
void check_column_element() {
  const int64_t nx = 4, ny = 3;
  const std::vector<T> x = {0, 1, 2, 4};
  std::vector<T> y(nx * ny, 0);
  y[7] = 1;
  std::vector<T> coeff(ny * 2 * (nx - 1), -1);
  const TaskPtr task = make_task<T>(nx, x.data(), 0, ny, y.data(), DF_MATRIX_STORAGE_COLS, {2, 0},
                                    nullptr, nullptr, coeff.data());
  ASSERT_EQ(Api<T>::linear(task.get()), DF_STATUS_OK);
  const std::vector<T> want = {0, 0, 0, 0, 0, 0,  //
                               0, 0, 0, 1, 1, -0.5f,
                               0, 0, 0, 0, 0, 0};
  EXPECT_EQ(coeff, want);
}

TEST(DfLinearSpline, ColumnStorageReadsIndexKnotTimesNyPlusFunction) {
  check_column_element<double>();
  check_column_element<float>();
}

// A uniform partition of 1000 knots given as an array of exactly two
// elements followed by an unreadable page.
template <class T>
void check_uniform_reads_two_knots() {
  const int64_t nx = 1000;
  GuardedArray<T> x(2);
  x.data()[0] = 1;
  x.data()[1] = 4;
  const std::vector<T> y = values<T>(nx, 1, false);
  std::vector<T> coeff(2 * (nx - 1));
  const TaskPtr task = make_task<T>(nx, x.data(), DF_UNIFORM_PARTITION, 1, y.data(), 0, {2, 0},
                                    nullptr, nullptr, coeff.data());
  ASSERT_EQ(Api<T>::linear(task.get()), DF_STATUS_OK);
  const T r = static_cast<T>(nx - 1) / static_cast<T>(3);
  EXPECT_EQ(coeff[2 * 500 + 1], (y[501] - y[500]) * r);
}

TEST(DfLinearSpline, UniformPartitionReadsOnlyItsEnds) {
  check_uniform_reads_two_knots<double>();
  check_uniform_reads_two_knots<float>();
}

struct StatusCase {
  const char* what;
  bool null_task;
  int64_t method, nx, yhint;
  bool drop_coefficients, separate_functions;
  int status;
};

TEST(DfLinearSpline, EntryStatusesInOrder) {
  const StatusCase cases[] = {
      {"null task", true, 0, 5, 0, false, false, DF_ERR_NULL_TASK},
      {"method 1", false, 1, 5, 0, false, false, DF_ERR_BAD_METHOD},
      {"method before nx", false, 1, 1, 5, false, false, DF_ERR_BAD_METHOD},
      {"nx 1", false, 0, 1, 0, false, false, DF_ERR_BAD_NX},
      {"nx before yhint", false, 0, 1, 5, false, false, DF_ERR_BAD_NX},
      {"yhint 5", false, 0, 5, 5, false, false, DF_ERR_BAD_YHINT},
      {"no coefficient table", false, 0, 5, 0, true, false, DF_ERR_NULL_COEFF},
      {"function 1 without values", false, 0, 5, DF_MATRIX_STORAGE_FUNCS_SEP, false, true,
       DF_ERR_NULL_Y},
      {"valid", false, 0, 5, 16, false, false, DF_STATUS_OK},
  };
  const int64_t nx = 5, ny = 2;
  const std::vector<double> x = partition<double>(nx, false);
  const std::vector<double> y = values<double>(nx, ny, false);
  for (const StatusCase& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<double> coeff(ny * 2 * (nx - 1), -3);
    TaskPtr task = make_task<double>(nx, x.data(), 0, ny, y.data(),
                                     c.separate_functions ? DF_MATRIX_STORAGE_FUNCS_SEP : 0,
                                     {2, 0}, nullptr, nullptr, coeff.data());
    if (c.drop_coefficients) {
      Task1D* bare = nullptr;
      ASSERT_EQ(orx_df_kernel_dNewTask1D(&bare, nx, x.data(), 0, ny, y.data(), 0, 0), DF_STATUS_OK);
      task.reset(bare);
    }
    task->nx = c.nx;
    task->yhint = c.yhint;
    Task1D* t = c.null_task ? nullptr : task.get();
    EXPECT_EQ(orx_df_kernel_dDFLinearSpline1D(t, nullptr, c.method, orx_host_services()), c.status);
    // The s entry on the same task (its arrays hold doubles): checks only.
    if (c.status != DF_STATUS_OK) {
      EXPECT_EQ(orx_df_kernel_sDFLinearSpline1D(t, nullptr, c.method, orx_host_services()),
                c.status);
    }
    if (c.status != DF_STATUS_OK) {
      for (double v : coeff) ASSERT_EQ(v, -3) << "written despite a failed check";
    }
  }
}

}  // namespace
}  // namespace spline_test
