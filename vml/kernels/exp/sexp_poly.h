// Near-minimax polynomial coefficients computed at compile time: the
// interpolant of a function at the Chebyshev nodes of [lo, hi], rewritten in
// the monomial basis of the argument. Shared by the single-precision exp,
// expm1 and log1p kernels.
//
// The interpolant at the N Chebyshev nodes is within a factor of about
// 2 + (2/pi) ln N of the minimax error (N = 5..7 here: 3.0 to 3.3), so the
// bounds quoted by each kernel are those of the measured result, not of a
// Remez fit. The functions are given by their Taylor series, summed in long
// double, so no cancellation enters the interpolated values.
#pragma once

#include <array>

namespace orx::vml::poly {

inline constexpr long double kPi = 3.14159265358979323846264338327950288L;

// cos t for |t| <= pi, by its series (40 terms: remainder below 1e-40).
constexpr long double cos_series(long double t) {
  long double term = 1, sum = 1;
  for (int k = 1; k < 40; ++k) {
    term *= -t * t / ((2 * k - 1) * (2 * k));
    sum += term;
  }
  return sum;
}

// Coefficients c[0..N-1] of the degree N-1 polynomial that interpolates f at
// the N Chebyshev nodes of [lo, hi]: f(x) ~ sum c[i] x^i.
template <int N, class Fn>
constexpr std::array<long double, N> chebyshev_fit(Fn f, long double lo, long double hi) {
  const long double mid = (lo + hi) / 2, half = (hi - lo) / 2;
  // Chebyshev coefficients a_j = (2/N) sum_k f(x_k) T_j(t_k), t_k the nodes.
  std::array<long double, N> a{};
  for (int k = 0; k < N; ++k) {
    const long double t = cos_series(kPi * (k + 0.5L) / N);
    const long double fx = f(mid + half * t);
    long double t_prev = 1, t_cur = t;  // T_0(t), T_1(t)
    for (int j = 0; j < N; ++j) {
      const long double tj = j == 0 ? 1 : (j == 1 ? t : t_cur);
      a[j] += 2 * fx * tj / N;
      if (j >= 1) {
        const long double next = 2 * t * t_cur - t_prev;
        t_prev = t_cur;
        t_cur = next;
      }
    }
  }
  a[0] /= 2;
  // Monomial coefficients in t: T_{j+1} = 2 t T_j - T_{j-1}.
  std::array<long double, N> in_t{}, prev{}, cur{};
  prev[0] = 1;  // T_0
  if (N > 1) cur[1] = 1;  // T_1
  for (int j = 0; j < N; ++j) {
    const std::array<long double, N>& tj = j == 0 ? prev : cur;
    for (int i = 0; i < N; ++i) in_t[i] += a[j] * tj[i];
    if (j >= 1) {
      std::array<long double, N> next{};
      for (int i = 0; i < N; ++i) {
        next[i] = (i > 0 ? 2 * cur[i - 1] : 0) - prev[i];
      }
      prev = cur;
      cur = next;
    }
  }
  // Substitute t = (x - mid) / half: expand (x - mid)^i by the binomial rule.
  std::array<long double, N> in_x{};
  for (int i = 0; i < N; ++i) {
    long double scale = 1;
    for (int p = 0; p < i; ++p) scale /= half;
    long double binom = 1, mid_power = 1;  // C(i, i-m) (-mid)^(i-m), m = i down to 0
    for (int m = i; m >= 0; --m) {
      in_x[m] += in_t[i] * scale * binom * mid_power;
      binom = binom * m / (i - m + 1);
      mid_power *= -mid;
    }
  }
  return in_x;
}

// sum_{k>=0} x^k / (k + offset)!: (e^x - 1)/x for offset 1, (e^x - 1 - x)/x^2
// for offset 2. 30 terms: remainder below 1e-40 for |x| < 1.
template <int kOffset>
constexpr long double exp_tail(long double x) {
  long double factorial = 1;
  for (int i = 2; i <= kOffset; ++i) factorial *= i;
  long double term = 1 / factorial, sum = 0;
  for (int k = 0; k < 30; ++k) {
    sum += term;
    term *= x / (k + 1 + kOffset);
  }
  return sum;
}

}  // namespace orx::vml::poly
