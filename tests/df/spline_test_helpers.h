// Shared by the spline construction tests: tasks of either precision built
// through the editors, sample partitions and values in either storage,
// arrays that end at an unreadable page, and evaluation of stored pieces.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "orx/df.h"
#include "orx/df_spline.h"
#include "orx/host.h"

namespace spline_test {

struct TaskDeleter {
  void operator()(Task1D* t) const { orx_df_kernel_DeleteTask(&t); }
};
using TaskPtr = std::unique_ptr<Task1D, TaskDeleter>;

// The d or s entry points, by value type.
template <class T>
struct Api;
template <>
struct Api<double> {
  static int new_task(Task1D** t, int64_t nx, const double* x, int64_t xhint, int64_t ny,
                      const double* y, int64_t yhint) {
    return orx_df_kernel_dNewTask1D(t, nx, x, xhint, ny, y, yhint, 0);
  }
  static int edit(Task1D* t, int64_t order, int64_t type, int64_t bc_type, const double* bc,
                  int64_t ic_type, const double* ic, double* coeff) {
    return orx_df_kernel_dEditPPSpline1D(t, order, type, bc_type, bc, ic_type, ic, coeff, 0);
  }
  static int linear(Task1D* t, int64_t method = 0) {
    return orx_df_kernel_dDFLinearSpline1D(t, nullptr, method, orx_host_services());
  }
  static int quadratic(Task1D* t) {
    return orx_df_kernel_dDFQuadraticSpline1D(t, nullptr, 0, orx_host_services());
  }
};
template <>
struct Api<float> {
  static int new_task(Task1D** t, int64_t nx, const float* x, int64_t xhint, int64_t ny,
                      const float* y, int64_t yhint) {
    return orx_df_kernel_sNewTask1D(t, nx, x, xhint, ny, y, yhint, 0);
  }
  static int edit(Task1D* t, int64_t order, int64_t type, int64_t bc_type, const float* bc,
                  int64_t ic_type, const float* ic, float* coeff) {
    return orx_df_kernel_sEditPPSpline1D(t, order, type, bc_type, bc, ic_type, ic, coeff, 0);
  }
  static int linear(Task1D* t, int64_t method = 0) {
    return orx_df_kernel_sDFLinearSpline1D(t, nullptr, method, orx_host_services());
  }
  static int quadratic(Task1D* t) {
    return orx_df_kernel_sDFQuadraticSpline1D(t, nullptr, 0, orx_host_services());
  }
};

struct Spline {
  int64_t order, type, bc_type = 0, ic_type = 0;
};

template <class T>
TaskPtr make_task(int64_t nx, const T* x, int64_t xhint, int64_t ny, const T* y, int64_t yhint,
                  const Spline& s, const T* bc, const T* ic, T* coeff) {
  Task1D* t = nullptr;
  EXPECT_EQ(Api<T>::new_task(&t, nx, x, xhint, ny, y, yhint), DF_STATUS_OK);
  EXPECT_EQ(Api<T>::edit(t, s.order, s.type, s.bc_type, bc, s.ic_type, ic, coeff), DF_STATUS_OK);
  return TaskPtr(t);
}

// n values whose last one is followed by an unreadable page: reading one
// element past the end faults, in any build.
template <class T>
class GuardedArray {
 public:
  explicit GuardedArray(size_t n) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    body_ = (n * sizeof(T) + page - 1) / page * page;
    length_ = body_ + page;
    base_ = static_cast<unsigned char*>(
        mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    EXPECT_NE(base_, MAP_FAILED);
    EXPECT_EQ(mprotect(base_ + body_, page, PROT_NONE), 0);
    data_ = reinterpret_cast<T*>(base_ + body_ - n * sizeof(T));
  }
  ~GuardedArray() { munmap(base_, length_); }
  GuardedArray(const GuardedArray&) = delete;
  GuardedArray& operator=(const GuardedArray&) = delete;
  T* data() { return data_; }

 private:
  unsigned char* base_;
  size_t body_, length_;
  T* data_;
};

// A strictly increasing, visibly non-uniform partition.
inline double sample_knot(int64_t i) { return 0.5 + i + 0.35 * std::sin(1.3 * i); }
inline double sample_value(int64_t j, int64_t i) { return std::sin(0.37 * i + 0.9 * j) + 0.1 * j; }
constexpr double kUniformLeft = -1.5, kUniformRight = 2.25;

// The partition array a task is given: all knots, or the two ends.
template <class T>
std::vector<T> partition(int64_t nx, bool uniform) {
  if (uniform) return {static_cast<T>(kUniformLeft), static_cast<T>(kUniformRight)};
  std::vector<T> x(nx);
  for (int64_t i = 0; i < nx; ++i) x[i] = static_cast<T>(sample_knot(i));
  return x;
}

// Knot i as the construction means it, in long double.
template <class T>
long double knot(const std::vector<T>& x, int64_t nx, bool uniform, int64_t i) {
  if (!uniform) return x[i];
  const long double a = x[0], b = x[1];
  return a + (b - a) * i / (nx - 1);
}

// Width of cell i, without the cancellation of subtracting two knots.
template <class T>
long double cell_width(const std::vector<T>& x, int64_t nx, bool uniform, int64_t i) {
  if (!uniform) return static_cast<long double>(x[i + 1]) - x[i];
  return (static_cast<long double>(x[1]) - x[0]) / (nx - 1);
}

// Values of ny functions, laid out in row or column storage.
template <class T>
std::vector<T> values(int64_t nx, int64_t ny, bool columns) {
  std::vector<T> y(nx * ny);
  for (int64_t j = 0; j < ny; ++j)
    for (int64_t i = 0; i < nx; ++i)
      y[columns ? i * ny + j : j * nx + i] = static_cast<T>(sample_value(j, i));
  return y;
}
template <class T>
long double value(const std::vector<T>& y, int64_t nx, int64_t ny, bool columns, int64_t j,
                  int64_t i) {
  return y[columns ? i * ny + j : j * nx + i];
}

// Within `ulps` units of T's precision of `scale`.
template <class T>
void expect_close(long double got, long double want, long double scale, double ulps,
                  const char* what, int64_t j, int64_t i) {
  const long double tol = ulps * std::numeric_limits<T>::epsilon() * scale;
  EXPECT_LE(std::fabs(got - want), tol) << what << " function " << j << " piece " << i
                                        << ": got " << static_cast<double>(got) << ", want "
                                        << static_cast<double>(want);
}

// A piece c0 + c1*d + c2*d^2 and its derivative at d.
template <class T>
long double piece_value(const T* c, long double d) {
  return c[0] + (c[1] + static_cast<long double>(c[2]) * d) * d;
}
template <class T>
long double piece_slope(const T* c, long double d) {
  return c[1] + 2.0L * c[2] * d;
}

inline const char* precision_name(double) { return "double"; }
inline const char* precision_name(float) { return "float"; }

}  // namespace spline_test
