// Shared by the cell-search tests: partitions and sites of every kind, the
// independent reference (std::upper_bound), tasks, and cells of either width.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <type_traits>
#include <vector>

#include "orx/df.h"
#include "orx/df_search.h"
#include "orx/host.h"

namespace search_test {

template <class T>
using Knots = std::vector<T>;

// The cell convention: knots <= t; NaN sites get 0.
template <class T>
int64_t reference_cell(const Knots<T>& knots, T t) {
  if (std::isnan(t)) return 0;
  return std::upper_bound(knots.begin(), knots.end(), t) - knots.begin();
}

template <class T>
std::vector<int64_t> reference_cells(const Knots<T>& knots, const std::vector<T>& sites) {
  std::vector<int64_t> out;
  for (T t : sites) out.push_back(reference_cell(knots, t));
  return out;
}

// The sorted method: each cell is max(index carried from earlier sites,
// reference cell); NaN sites get 0 and leave the carried index alone.
template <class T>
std::vector<int64_t> carried_cells(const Knots<T>& knots, const std::vector<T>& sites,
                                   int64_t start) {
  std::vector<int64_t> out;
  for (T t : sites) {
    if (std::isnan(t)) {
      out.push_back(0);
      continue;
    }
    start = std::max(start, reference_cell(knots, t));
    out.push_back(start);
  }
  return out;
}

// nx distinct ascending knots, random spacing over [-50, 50] (some clustered).
template <class T>
Knots<T> random_knots(int64_t nx, std::mt19937_64& rng) {
  std::uniform_real_distribution<double> u(-50, 50);
  Knots<T> x;
  while (static_cast<int64_t>(x.size()) < nx) {
    const double v = u(rng);
    x.push_back(static_cast<T>(v));
    if (x.size() % 7 == 0) x.push_back(static_cast<T>(v + 1e-3));  // a tight pair
  }
  x.resize(static_cast<size_t>(nx));
  std::sort(x.begin(), x.end());
  for (size_t i = 1; i < x.size(); ++i)
    if (!(x[i] > x[i - 1])) x[i] = std::nextafter(x[i - 1], std::numeric_limits<T>::infinity());
  return x;
}

// Uniform partition from 0 with a power-of-two step: t - x[0] and the scaling
// by the reciprocal step are exact, so the uniform method's arithmetic must
// agree with a search of the knots. (With x[0] != 0 the subtraction can round
// a site just below a knot up onto it: the method is exact only in exact
// arithmetic.)
template <class T>
Knots<T> dyadic_knots(int64_t nx) {
  Knots<T> x;
  for (int64_t i = 0; i < nx; ++i) x.push_back(static_cast<T>(0.25 * static_cast<double>(i)));
  return x;
}

// Sites of every kind, in a shuffled mix: inside, on knots, just below
// knots, on both ends, outside, NaN, infinities, huge finite, repeats.
template <class T>
std::vector<T> mixed_sites(const Knots<T>& x, int64_t n, std::mt19937_64& rng) {
  const T lo = x.front(), hi = x.back(), span = hi - lo;
  const T inf = std::numeric_limits<T>::infinity(), big = std::numeric_limits<T>::max();
  std::uniform_real_distribution<double> u(static_cast<double>(lo - span / 8),
                                           static_cast<double>(hi + span / 8));
  std::uniform_int_distribution<size_t> knot(0, x.size() - 1);
  std::vector<T> s;
  for (int64_t i = 0; i < n; ++i) {
    switch (rng() % 16) {
      case 0: s.push_back(x[knot(rng)]); break;
      case 1: s.push_back(std::nextafter(x[knot(rng)], -inf)); break;
      case 2: s.push_back(lo); break;
      case 3: s.push_back(hi); break;
      case 4: s.push_back(std::nextafter(hi, -inf)); break;
      case 5: s.push_back(std::numeric_limits<T>::quiet_NaN()); break;
      case 6: s.push_back((rng() & 1) ? inf : -inf); break;
      case 7: s.push_back((rng() & 1) ? big : -big); break;
      case 8: s.push_back(static_cast<T>((rng() & 1) ? 1e30 : -1e30)); break;
      case 9: s.push_back(s.empty() ? lo : s.back()); break;
      default: s.push_back(static_cast<T>(u(rng))); break;
    }
  }
  return s;
}

// Cells written in the task's width, read back as int64_t.
struct Cells {
  bool wide;
  std::vector<int64_t> c64;
  std::vector<int32_t> c32;
  Cells(bool wide_cells, size_t n, int64_t fill = -77)
      : wide(wide_cells), c64(wide ? n : 0, fill), c32(wide ? 0 : n, static_cast<int32_t>(fill)) {}
  void* data() { return wide ? static_cast<void*>(c64.data()) : static_cast<void*>(c32.data()); }
  std::vector<int64_t> values() const { return wide ? c64 : std::vector<int64_t>(c32.begin(), c32.end()); }
};

struct TaskDeleter {
  void operator()(Task1D* t) const { orx_df_kernel_DeleteTask(&t); }
};
using TaskPtr = std::unique_ptr<Task1D, TaskDeleter>;

// A task over x (kept alive by the caller): no function values.
template <class T>
TaskPtr new_task(const T* x, int64_t nx, int64_t xhint, uint32_t index_width) {
  Task1D* t = nullptr;
  int status;
  if constexpr (std::is_same_v<T, double>)
    status = orx_df_kernel_dNewTask1D(&t, nx, x, xhint, 0, nullptr, 0, index_width);
  else
    status = orx_df_kernel_sNewTask1D(&t, nx, x, xhint, 0, nullptr, 0, index_width);
  EXPECT_EQ(status, DF_STATUS_OK);
  return TaskPtr(t);
}

template <class T>
using Callback = std::conditional_t<std::is_same_v<T, double>, orx_df_dsearch_callback,
                                    orx_df_ssearch_callback>;

template <class T>
int search(Task1D* task, const std::vector<T>& sites, int64_t sitehint, const T* datahint,
           Cells& cells, Callback<T> cb = nullptr, const void* params = nullptr,
           const void* const* services = orx_host_services()) {
  const auto n = static_cast<int64_t>(sites.size());
  if constexpr (std::is_same_v<T, double>)
    return orx_df_kernel_dDFSearch1D(task, nullptr, n, sites.data(), sitehint, datahint,
                                     cells.data(), cb, params, services);
  else
    return orx_df_kernel_sDFSearch1D(task, nullptr, n, sites.data(), sitehint, datahint,
                                     cells.data(), cb, params, services);
}

// Host thread count for the scope of a test.
class ThreadCount {
 public:
  explicit ThreadCount(int64_t n) { set(n); }
  ~ThreadCount() { set(0); }

 private:
  static void set(int64_t n) {
    reinterpret_cast<orx_host_set_num_threads_fn>(orx_host_services()[ORX_HOST_SET_NUM_THREADS])(n);
  }
};

}  // namespace search_test
