// The tridiagonal system of the natural cubic kind for the knot derivatives
// m[0 .. nx-1]: the matrix, built once from the partition, and one
// function's right-hand side. The rows are those documented in
// orx/df_cubic.h: inner rows carry the reciprocal widths (a repeated knot
// makes a pivot infinite, which the solver reports), end rows the
// condition's equation. A periodic system has order nx - 1 and two corner
// entries, removed here for the Sherman-Morrison solve (CyclicCorrection).
#ifndef ORX_DF_SPLINE_NATURAL_CUBIC_SYSTEM_H
#define ORX_DF_SPLINE_NATURAL_CUBIC_SYSTEM_H

#include <cstdint>

#include "df/spline/cubic_conditions.h"
#include "df/spline/cubic_grid.h"
#include "df/spline/spline_lanes.h"

namespace orx::df {

// m = q - (v.q)/(1 + v.z) z with v = (1, 0, .., 0, e/g), z = T^-1 u: the
// solution of the cyclic system from q, the solution of the tridiagonal
// part T. Inactive below order 3, where the corners fold into the band.
template <class T>
struct CyclicCorrection {
  bool active = false;
  T g = 0, c = 0, e = 0;
  const T* z = nullptr;
  T denominator = 1;

  // u, the right-hand side whose solution is z.
  void fill_u(int64_t order, T* u) const {
    for (int64_t i = 0; i < order; ++i) u[i] = T(0);
    u[0] = g;
    u[order - 1] = c;
  }
  T dot_v(const T* q, int64_t order) const { return q[0] + (e / g) * q[order - 1]; }
  void set_z(const T* solved_u, int64_t order) {
    z = solved_u;
    denominator = T(1) + dot_v(z, order);
  }
  void apply(T* q, int64_t order) const {
    if (!active) return;
    const T f = dot_v(q, order) / denominator;
    for (int64_t i = 0; i < order; ++i) q[i] -= f * z[i];
  }
};

template <class T, class Grid, class Condition>
struct NaturalSystem {
  static int64_t order(int64_t nx) { return Condition::kPeriodic ? nx - 1 : nx; }

  // The matrix of order(nx) in (dl, d, du).
  static void matrix(const CubicGrid<T, Grid>& g, int64_t nx, T* dl, T* d, T* du,
                     CyclicCorrection<T>* cyclic) {
    if constexpr (Condition::kPeriodic) {
      periodic_matrix(g, nx - 1, dl, d, du, cyclic);
      return;
    }
    for (int64_t i = 1; i <= nx - 2; ++i) inner_row(g, i, i - 1, dl, d, du);
    const bool parabola = nx == 3;
    switch (Condition::kLeft) {
      case EndRule::kFirstDerivative:
        d[0] = 1, du[0] = 0;
        break;
      case EndRule::kSecondDerivative:
        d[0] = 2, du[0] = 1;
        break;
      default:
        if (parabola)
          d[0] = 1, du[0] = 0;
        else
          d[0] = g.width(1), du[0] = g.width(0) + g.width(1);
    }
    switch (Condition::kRight) {
      case EndRule::kFirstDerivative:
        d[nx - 1] = 1, dl[nx - 2] = 0;
        break;
      case EndRule::kSecondDerivative:
        d[nx - 1] = 2, dl[nx - 2] = 1;
        break;
      default:
        if (parabola)
          d[nx - 1] = 1, dl[nx - 2] = 0;
        else
          dl[nx - 2] = g.width(nx - 3) + g.width(nx - 2), d[nx - 1] = g.width(nx - 3);
    }
  }

  // One function's right-hand side in b (order(nx) elements).
  template <class Values>
  static void rhs(const Values& y, const CubicGrid<T, Grid>& g, int64_t nx, const T* bc, T* b) {
    if constexpr (Condition::kPeriodic) {
      const int64_t last = nx - 2;  // the cell before knot 0 across the join
      T before = scaled_slope(g, g.slope(y[last], y[last + 1], last), last);
      inner_rhs(y, g, 0, last, before, b);
      return;
    }
    const T s0 = g.slope(y[0], y[1], 0);
    inner_rhs(y, g, 1, nx - 2, scaled_slope(g, s0, 0), b);
    const T a0 = g.width(0), b0 = g.width(1);
    const T s1 = g.slope(y[1], y[2], 1);
    switch (Condition::kLeft) {
      case EndRule::kFirstDerivative:
        b[0] = Condition::left_value(bc);
        break;
      case EndRule::kSecondDerivative:
        b[0] = T(3) * s0 - Condition::left_value(bc) * a0 * T(0.5);
        break;
      default:
        if (nx == 3)
          b[0] = ((T(2) * a0 + b0) * s0 - a0 * s1) / (a0 + b0);
        else
          b[0] = ((T(3) * a0 + T(2) * b0) * b0 * s0 + a0 * a0 * s1) / (a0 + b0);
    }
    const T an = g.width(nx - 3), bn = g.width(nx - 2);
    const T sl = g.slope(y[nx - 2], y[nx - 1], nx - 2);
    const T sp = g.slope(y[nx - 3], y[nx - 2], nx - 3);
    switch (Condition::kRight) {
      case EndRule::kFirstDerivative:
        b[nx - 1] = Condition::right_value(bc);
        break;
      case EndRule::kSecondDerivative:
        b[nx - 1] = T(3) * sl + Condition::right_value(bc) * bn * T(0.5);
        break;
      default:
        if (nx == 3)
          b[nx - 1] = ((an + T(2) * bn) * sl - bn * sp) / (an + bn);
        else
          b[nx - 1] = (bn * bn * sp + (T(2) * an + T(3) * bn) * an * sl) / (an + bn);
    }
  }

 private:
  // Row `row` of the band for knot i: its cells i-1 (`before`) and i.
  static void inner_row(const CubicGrid<T, Grid>& g, int64_t i, int64_t before, T* dl, T* d,
                        T* du) {
    if constexpr (Grid::kUniform) {
      dl[i - 1] = 1, d[i] = 4, du[i] = 1;
    } else {
      dl[i - 1] = g.rh[before], d[i] = T(2) * (g.rh[before] + g.rh[i]), du[i] = g.rh[i];
    }
  }

  static T scaled_slope(const CubicGrid<T, Grid>& g, T s, int64_t i) {
    if constexpr (Grid::kUniform) return s;
    return s * g.rh[i];
  }

  // b[i] = 3 (t[i-1] + t[i]) for knots first .. last, t the scaled slopes;
  // `before` is t of the cell before `first`. kWidth knots per step, each
  // lane the scalar expression's operations in the same order.
  template <class Values>
  static void inner_rhs(const Values& y, const CubicGrid<T, Grid>& g, int64_t first, int64_t last,
                        T before, T* b) {
    using S = Sse<T>;
    using V = typename S::V;
    const V three = S::set1(T(3));
    V previous = S::set1(before);
    int64_t i = first;
    for (; i + S::kWidth - 1 <= last; i += S::kWidth) {
      const V dy = S::sub(load_values(y, i + 1), load_values(y, i));
      V t;
      if constexpr (Grid::kUniform)
        t = S::mul(dy, S::set1(g.r));
      else
        t = S::mul(S::div(dy, S::loadu(g.h + i)), S::loadu(g.rh + i));
      S::storeu(b + i, S::mul(three, S::add(S::shift_in(previous, t), t)));
      previous = t;
    }
    if (i > first) before = last_lane(previous);
    for (; i <= last; ++i) {
      const T t = scaled_slope(g, g.slope(y[i], y[i + 1], i), i);
      b[i] = T(3) * (before + t);
      before = t;
    }
  }

  static T last_lane(typename Sse<T>::V v) {
    alignas(16) T lanes[Sse<T>::kWidth];
    Sse<T>::storeu(lanes, v);
    return lanes[Sse<T>::kWidth - 1];
  }

  // Order n = nx - 1: rows 0 .. n-1 are the inner rows of knots 0 .. n-1,
  // knot 0's cell before being cell n-1 (across the join) and knot n-1's
  // cell after being cell n-1, whose right end is knot 0 again.
  static void periodic_matrix(const CubicGrid<T, Grid>& g, int64_t n, T* dl, T* d, T* du,
                              CyclicCorrection<T>* cyclic) {
    for (int64_t i = 1; i < n; ++i) inner_row(g, i, i - 1, dl, d, du);
    const T corner = Grid::kUniform ? T(1) : g.rh[n - 1];
    d[0] = Grid::kUniform ? T(4) : T(2) * (g.rh[n - 1] + g.rh[0]);
    du[0] = Grid::kUniform ? T(1) : g.rh[0];
    // inner_row(n-1) wrote du[n-1] (the corner's column, outside the band).
    cyclic->e = corner;
    cyclic->c = corner;
    if (n == 2) {
      du[0] += cyclic->e;
      dl[0] += cyclic->c;
      return;
    }
    cyclic->active = true;
    cyclic->g = -d[0];
    d[0] -= cyclic->g;
    d[n - 1] -= cyclic->c * cyclic->e / cyclic->g;
  }
};

}  // namespace orx::df

#endif
