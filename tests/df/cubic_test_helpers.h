// Shared by the cubic construction tests: entry points by kind and
// precision, the seven end conditions, order-4 tasks and their inputs,
// evaluation of stored pieces and their derivatives, the host thread count.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "orx/df_cubic.h"
#include "spline_test_helpers.h"

namespace spline_test {

// One member per kind; only the members a test calls need to link.
template <class T>
struct CubicApi;
#define ORX_CUBIC_ENTRY(name, fn) \
  static int name(Task1D* t, int64_t method = 0) { return fn(t, nullptr, method, orx_host_services()); }
template <>
struct CubicApi<double> {
  ORX_CUBIC_ENTRY(natural, orx_df_kernel_dDFNaturalCubicSpline1D)
  ORX_CUBIC_ENTRY(default_kind, orx_df_kernel_dDFDefaultCubicSpline1D)
  ORX_CUBIC_ENTRY(bessel, orx_df_kernel_dDFBesselCubicSpline1D)
  ORX_CUBIC_ENTRY(akima, orx_df_kernel_dDFAkimaCubicSpline1D)
  ORX_CUBIC_ENTRY(hermite, orx_df_kernel_dDFHermiteCubicSpline1D)
};
template <>
struct CubicApi<float> {
  ORX_CUBIC_ENTRY(natural, orx_df_kernel_sDFNaturalCubicSpline1D)
  ORX_CUBIC_ENTRY(default_kind, orx_df_kernel_sDFDefaultCubicSpline1D)
  ORX_CUBIC_ENTRY(bessel, orx_df_kernel_sDFBesselCubicSpline1D)
  ORX_CUBIC_ENTRY(akima, orx_df_kernel_sDFAkimaCubicSpline1D)
  ORX_CUBIC_ENTRY(hermite, orx_df_kernel_sDFHermiteCubicSpline1D)
};
#undef ORX_CUBIC_ENTRY

// bc_type of the seven condition slots, in slot order.
constexpr int64_t kCubicConditions[7] = {1, 2, 12, 36, 24, 48, 64};

struct CubicCase {
  int64_t nx, ny;
  bool columns, uniform;
  int64_t bc_type;
};

inline std::string trace(const CubicCase& c) {
  return "nx " + std::to_string(c.nx) + " ny " + std::to_string(c.ny) +
         (c.columns ? " cols" : " rows") + (c.uniform ? " uniform" : " explicit") + " bc " +
         std::to_string(c.bc_type);
}

// A construction's inputs and its coefficients (4 per cell, sentinel -7
// until written). Periodic data are closed: y[nx-1] = y[0].
template <class T>
struct Cubic {
  CubicCase c;
  std::vector<T> x, y, bc, coeff;
  long double knot(int64_t i) const { return spline_test::knot(x, c.nx, c.uniform, i); }
  long double width(int64_t i) const { return cell_width(x, c.nx, c.uniform, i); }
  long double y_at(int64_t j, int64_t i) const { return value(y, c.nx, c.ny, c.columns, j, i); }
  const T* piece(int64_t j, int64_t i) const { return coeff.data() + 4 * (j * (c.nx - 1) + i); }
  long double y_max() const {
    long double m = 0;
    for (T v : y) m = std::max(m, std::fabs(static_cast<long double>(v)));
    return m;
  }
  long double h_min() const {
    long double m = width(0);
    for (int64_t i = 1; i + 1 < c.nx; ++i) m = std::min(m, width(i));
    return m;
  }
  std::vector<long double> knots() const {
    std::vector<long double> t(c.nx);
    for (int64_t i = 0; i < c.nx; ++i) t[i] = knot(i);
    return t;
  }
  std::vector<std::vector<long double>> functions() const {
    std::vector<std::vector<long double>> f(c.ny, std::vector<long double>(c.nx));
    for (int64_t j = 0; j < c.ny; ++j)
      for (int64_t i = 0; i < c.nx; ++i) f[j][i] = y_at(j, i);
    return f;
  }
};

template <class T>
Cubic<T> cubic_inputs(const CubicCase& c) {
  Cubic<T> b{c, partition<T>(c.nx, c.uniform), values<T>(c.nx, c.ny, c.columns),
             {static_cast<T>(0.8), static_cast<T>(-1.3)}, {}};
  if (c.bc_type == DF_BC_PERIODIC)
    for (int64_t j = 0; j < c.ny; ++j)
      b.y[c.columns ? (c.nx - 1) * c.ny + j : j * c.nx + c.nx - 1] =
          b.y[c.columns ? j : j * c.nx];
  b.coeff.assign(4 * (c.nx - 1) * c.ny, static_cast<T>(-7));
  return b;
}

// An order-4 task of kind s_type over b's arrays.
template <class T>
TaskPtr cubic_task(Cubic<T>& b, int64_t s_type) {
  return make_task<T>(b.c.nx, b.x.data(), b.c.uniform ? DF_UNIFORM_PARTITION : 0, b.c.ny,
                      b.y.data(), b.c.columns ? DF_MATRIX_STORAGE_COLS : 0,
                      {4, s_type, b.c.bc_type, 0}, b.bc.data(), nullptr, b.coeff.data());
}

// k-th derivative (k = 0..3) of a stored piece c0 + c1 d + c2 d^2 + c3 d^3.
template <class T>
long double cubic_derivative(const T* c, int k, long double d) {
  const long double p[4] = {c[0], c[1], c[2], c[3]};
  switch (k) {
    case 0: return p[0] + (p[1] + (p[2] + p[3] * d) * d) * d;
    case 1: return p[1] + (2 * p[2] + 3 * p[3] * d) * d;
    case 2: return 2 * p[2] + 6 * p[3] * d;
    default: return 6 * p[3];
  }
}

// The host's thread count for a scope; n <= 0 restores the default.
inline void set_host_threads(int64_t n) {
  reinterpret_cast<orx_host_set_num_threads_fn>(
      const_cast<void*>(orx_host_services()[ORX_HOST_SET_NUM_THREADS]))(n);
}
struct HostThreads {
  explicit HostThreads(int64_t n) { set_host_threads(n); }
  ~HostThreads() { set_host_threads(0); }
};

}  // namespace spline_test
