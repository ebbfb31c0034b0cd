// Knot derivatives of the local cubic kinds (Bessel, Akima, Hermite): each
// m[i] from the data near knot i, the end knots from the condition, as
// documented in orx/df_cubic.h. s points at the slopes s[0] .. s[nx-2] of a
// buffer with two free elements before and after them, where Akima's
// extended slopes go.
#ifndef ORX_DF_SPLINE_LOCAL_CUBIC_DERIVATIVES_H
#define ORX_DF_SPLINE_LOCAL_CUBIC_DERIVATIVES_H

#include <cmath>
#include <cstdint>

#include "df/spline/cubic_conditions.h"
#include "df/spline/cubic_grid.h"
#include "df/spline/cubic_tables.h"

namespace orx::df {

template <class T, class Grid>
struct LocalDerivatives {
  const CubicGrid<T, Grid>& g;
  int64_t nx;
  const T* s;
  T* m;

  // The parabola through knots i-1, i, i+1: its slope at knot i.
  T bessel_inner(int64_t i) const {
    if constexpr (Grid::kUniform) return (s[i - 1] + s[i]) * T(0.5);
    return (g.h[i] * s[i - 1] + g.h[i - 1] * s[i]) / (g.h[i - 1] + g.h[i]);
  }
  // Akima's weighted mean of the slopes on either side of knot i.
  T akima(int64_t i) const {
    const T w1 = std::fabs(s[i + 1] - s[i]), w2 = std::fabs(s[i - 1] - s[i - 2]);
    if (w1 + w2 == T(0)) return (s[i - 1] + s[i]) * T(0.5);
    return (w1 * s[i - 1] + w2 * s[i]) / (w1 + w2);
  }

  // Slopes beyond the ends, linear (or wrapped across the periodic join).
  void extend_slopes(T* ext, bool periodic) const {
    const int64_t last = nx - 2;
    if (periodic) {
      ext[-1] = ext[last], ext[-2] = ext[last - 1];
      ext[last + 1] = ext[0], ext[last + 2] = ext[1];
    } else {
      ext[-1] = T(2) * ext[0] - ext[1], ext[-2] = T(2) * ext[-1] - ext[0];
      ext[last + 1] = T(2) * ext[last] - ext[last - 1];
      ext[last + 2] = T(2) * ext[last + 1] - ext[last];
    }
  }

  // The end knots from m[1] .. m[nx-2] and the condition.
  template <class Condition, class Kind>
  void ends(const T* bc) const {
    const int64_t n = nx;
    switch (Condition::kLeft) {
      case EndRule::kFirstDerivative:
        m[0] = Condition::left_value(bc);
        break;
      case EndRule::kSecondDerivative:
        m[0] = (T(3) * s[0] - m[1] - Condition::left_value(bc) * g.width(0) * T(0.5)) * T(0.5);
        break;
      case EndRule::kPeriodic:
        m[0] = m[n - 1] = periodic_end<Kind>(bc);
        return;
      default:
        m[0] = not_a_knot_left<Kind>();
    }
    switch (Condition::kRight) {
      case EndRule::kFirstDerivative:
        m[n - 1] = Condition::right_value(bc);
        break;
      case EndRule::kSecondDerivative:
        m[n - 1] =
            (T(3) * s[n - 2] - m[n - 2] + Condition::right_value(bc) * g.width(n - 2) * T(0.5)) *
            T(0.5);
        break;
      default:
        m[n - 1] = not_a_knot_right<Kind>();
    }
  }

 private:
  template <class Kind>
  T periodic_end(const T* bc) const {
    if constexpr (std::is_same_v<Kind, HermiteKind>) return bc[0];
    if constexpr (std::is_same_v<Kind, AkimaKind>) return akima(0);
    const T a = g.width(nx - 2), b = g.width(0);
    return (b * s[nx - 2] + a * s[0]) / (a + b);
  }
  template <class Kind>
  T not_a_knot_left() const {
    if constexpr (std::is_same_v<Kind, AkimaKind>) return akima(0);
    const T a = g.width(0), b = g.width(1);
    if (nx == 3) return ((T(2) * a + b) * s[0] - a * s[1]) / (a + b);
    const T q = a / b;
    return q * q * (m[1] + m[2] - T(2) * s[1]) - m[1] + T(2) * s[0];
  }
  template <class Kind>
  T not_a_knot_right() const {
    const int64_t n = nx;
    if constexpr (std::is_same_v<Kind, AkimaKind>) return akima(n - 1);
    const T a = g.width(n - 3), b = g.width(n - 2);
    if (n == 3) return ((a + T(2) * b) * s[1] - b * s[0]) / (a + b);
    const T q = b / a;
    return q * q * (m[n - 3] + m[n - 2] - T(2) * s[n - 3]) - m[n - 2] + T(2) * s[n - 2];
  }
};

}  // namespace orx::df

#endif
