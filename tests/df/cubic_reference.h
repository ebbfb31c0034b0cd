// Independent oracle of the C2 cubic splines: a dense long-double solve for
// the four power-form coefficients of every cell, from the defining
// conditions themselves (interpolation at both ends of each cell, C1 and C2
// at inner knots, one condition per end). Dense: keep nx at about 60 or less.
#pragma once

#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "orx/df.h"

namespace spline_test {

// Row terms of the k-th derivative (k = 0..3) of cell i at d = t - t[i],
// multiplied by sign, added to row r of a matrix with 4 columns per cell.
inline void add_derivative(std::vector<long double>& r, int64_t cell, int k, long double d,
                           long double sign) {
  static const long double kFactor[4][4] = {{1, 1, 1, 1}, {0, 1, 2, 3}, {0, 0, 2, 6}, {0, 0, 0, 6}};
  for (int p = k; p < 4; ++p) r[4 * cell + p] += sign * kFactor[k][p] * std::pow(d, p - k);
}

// Coefficients c0..c3 of every cell (4*i .. 4*i+3) of the spline through
// f[j] on knots t, for each function j. bc_type is one of 1, 2, 12, 36, 24,
// 48, 64; left and right are the end-condition values. Not-a-knot on three
// knots (one cubic piece condition for two cells) adds c3 = 0 to make the
// single parabola through the points.
inline std::vector<std::vector<long double>> cubic_reference(
    const std::vector<long double>& t, const std::vector<std::vector<long double>>& f,
    int64_t bc_type, long double left, long double right) {
  const int64_t cells = static_cast<int64_t>(t.size()) - 1, n = 4 * cells;
  const int64_t ny = static_cast<int64_t>(f.size()), width = n + ny;
  std::vector<std::vector<long double>> a(n, std::vector<long double>(width, 0));
  int64_t row = 0;
  auto h = [&](int64_t i) { return t[i + 1] - t[i]; };
  auto rhs = [&](int64_t r, auto value) {
    for (int64_t j = 0; j < ny; ++j) a[r][n + j] = value(j);
  };
  for (int64_t i = 0; i < cells; ++i) {
    add_derivative(a[row], i, 0, 0, 1);
    rhs(row++, [&](int64_t j) { return f[j][i]; });
    add_derivative(a[row], i, 0, h(i), 1);
    rhs(row++, [&](int64_t j) { return f[j][i + 1]; });
  }
  for (int64_t i = 0; i + 1 < cells; ++i)
    for (int k = 1; k <= 2; ++k, ++row) {
      add_derivative(a[row], i, k, h(i), 1);
      add_derivative(a[row], i + 1, k, 0, -1);
    }
  const int64_t last = cells - 1;
  auto& lrow = a[row];
  auto& rrow = a[row + 1];
  const bool left2 = bc_type == 24 || bc_type == 48 || bc_type == DF_BC_FREE_END;
  const bool right2 = bc_type == 36 || bc_type == 48 || bc_type == DF_BC_FREE_END;
  if (bc_type == DF_BC_NOT_A_KNOT) {
    add_derivative(lrow, 0, 3, 0, 1), add_derivative(lrow, 1, 3, 0, -1);
    add_derivative(rrow, last, 3, 0, 1);
    if (cells > 2) add_derivative(rrow, last - 1, 3, 0, -1);
    left = right = 0;
  } else if (bc_type == DF_BC_PERIODIC) {
    for (int k = 1; k <= 2; ++k) {
      add_derivative(a[row + k - 1], 0, k, 0, 1);
      add_derivative(a[row + k - 1], last, k, h(last), -1);
    }
    left = right = 0;
  } else {
    add_derivative(lrow, 0, left2 ? 2 : 1, 0, 1);
    add_derivative(rrow, last, right2 ? 2 : 1, h(last), 1);
    if (bc_type == DF_BC_FREE_END) left = right = 0;
  }
  rhs(row, [&](int64_t) { return left; });
  rhs(row + 1, [&](int64_t) { return right; });

  // Gaussian elimination with partial pivoting, all functions at once.
  for (int64_t k = 0; k < n; ++k) {
    int64_t p = k;
    for (int64_t i = k + 1; i < n; ++i)
      if (std::fabs(a[i][k]) > std::fabs(a[p][k])) p = i;
    std::swap(a[k], a[p]);
    for (int64_t i = k + 1; i < n; ++i) {
      const long double m = a[i][k] / a[k][k];
      if (m == 0) continue;
      for (int64_t q = k; q < width; ++q) a[i][q] -= m * a[k][q];
    }
  }
  std::vector<std::vector<long double>> c(ny, std::vector<long double>(n));
  for (int64_t j = 0; j < ny; ++j)
    for (int64_t k = n - 1; k >= 0; --k) {
      long double s = a[k][n + j];
      for (int64_t q = k + 1; q < n; ++q) s -= a[k][q] * c[j][q];
      c[j][k] = s / a[k][k];
    }
  return c;
}

}  // namespace spline_test
