// The finished estimates from the running state (weight totals W, V = sum
// w^2, mean m, raw moments a2..a4, cross-product C = sum w (x-m)(x-m)^T), and
// the way back from a finished covariance or correlation to C. The formulas
// are those documented with _vsldSSBasic in orx/ss.h.
#ifndef ORX_SS_BASIC_BASIC_FINISH_H
#define ORX_SS_BASIC_BASIC_FINISH_H

#include <cmath>
#include <limits>

namespace orx::ss {

struct MomentFinish {
  double W, V;

  // W / (W^2 - V): turns C into a covariance (1/(n-1) without weights). NaN
  // when W^2 - V is 0 (one effective observation): the spread is undefined.
  double cov_factor() const {
    const double d = W * W - V;
    return d != 0 ? W / d : std::numeric_limits<double>::quiet_NaN();
  }
  // (W^2 - V) / W: back from a covariance to C; 0 where the covariance was
  // undefined, since C is 0 there.
  double cross_factor() const {
    const double d = W * W - V;
    return d != 0 && W != 0 ? d / W : 0.0;
  }

  static double u2(double m, double a2) { return a2 - m * m; }
  static double u3(double m, double a2, double a3) { return a3 - 3 * m * a2 + 2 * m * m * m; }
  static double u4(double m, double a2, double a3, double a4) {
    return a4 - 4 * m * a3 + 6 * m * m * a2 - 3 * (m * m) * (m * m);
  }
  double central2(double m, double a2) const { return u2(m, a2) * W * cov_factor(); }
  static double skewness(double m, double a2, double a3) {
    const double s = u2(m, a2);
    return u3(m, a2, a3) / (s * std::sqrt(s));
  }
  static double kurtosis(double m, double a2, double a3, double a4) {
    const double s = u2(m, a2);
    return u4(m, a2, a3, a4) / (s * s) - 3;
  }
  double variation(double m, double a2) const { return std::sqrt(central2(m, a2)) / m; }
};

// Correlation of C_ik with the diagonal entries C_ii, C_kk (NaN for a zero
// variance), and back: C_ik = r sqrt(C_ii C_kk), 0 where a variance is 0.
inline double correlation(double cik, double cii, double ckk) { return cik / std::sqrt(cii * ckk); }
inline double cross_from_correlation(double r, double cii, double ckk) {
  const double scale = std::sqrt(cii * ckk);
  return scale != 0 ? r * scale : 0.0;
}

}  // namespace orx::ss

#endif
