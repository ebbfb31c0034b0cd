// Shared by the basic summary-statistics tests: deterministic test data and
// the two-pass long-double oracle of every basic estimate.
#ifndef ORX_TESTS_SS_BASIC_ORACLE_H
#define ORX_TESTS_SS_BASIC_ORACLE_H

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "orx/ss.h"
#include "tests/ss/basic_fields.h"

namespace ss_test {

// ---- test data ----------------------------------------------------------------

// p variables observed n times in one of the two layouts, optional weights.
template <class T>
struct Data {
  int64_t p = 0, n = 0;
  int layout = SS_MATRIX_STORAGE_ROWS;
  std::vector<T> x;
  std::vector<T> w;  // empty: unweighted

  int64_t offset(int64_t i, int64_t j) const {
    return layout == SS_MATRIX_STORAGE_ROWS ? i * n + j : j * p + i;
  }
  T at(int64_t i, int64_t j) const { return x[offset(i, j)]; }
  const T* weights() const { return w.empty() ? nullptr : w.data(); }
};

// Skewed, correlated data: x_ij = mu_i + spread (s_i (E_ij - 1) + c_i (F_j - 1)) with
// E, F standard exponential (skewness 2, excess kurtosis 6), mu_i = center + 0.37 (i mod 5),
// all values positive for center 2. Weights uniform in [0.25, 2].
template <class T>
Data<T> make_data(int64_t p, int64_t n, int layout, bool weighted, uint64_t seed,
                  double center = 2.0, double spread = 1.0) {
  Data<T> d;
  d.p = p;
  d.n = n;
  d.layout = layout;
  d.x.resize(p * n);
  std::mt19937_64 rng(seed);
  std::exponential_distribution<double> e(1.0);
  std::uniform_real_distribution<double> u(0.25, 2.0);
  std::vector<double> row(p);
  for (int64_t j = 0; j < n; ++j) {
    const double f = e(rng) - 1;
    for (int64_t i = 0; i < p; ++i) {
      const double s = 0.5 + 0.1 * double(i % 7), c = 0.3 + 0.05 * double(i % 4);
      const double mu = center + 0.37 * double(i % 5);
      d.x[d.offset(i, j)] = T(mu + spread * (s * (e(rng) - 1) + c * f));
    }
    if (weighted) d.w.push_back(T(u(rng)));
  }
  return d;
}

// Observations j0..j1-1 of d as a data set of their own, same layout.
template <class T>
Data<T> slice(const Data<T>& d, int64_t j0, int64_t j1) {
  Data<T> s;
  s.p = d.p;
  s.n = j1 - j0;
  s.layout = d.layout;
  s.x.resize(s.p * s.n);
  for (int64_t j = j0; j < j1; ++j)
    for (int64_t i = 0; i < d.p; ++i) s.x[s.offset(i, j - j0)] = d.at(i, j);
  if (!d.w.empty()) s.w.assign(d.w.begin() + j0, d.w.begin() + j1);
  return s;
}

// ---- the oracle ---------------------------------------------------------------

// Two passes in long double over observations j0..j1-1 (after the leading
// non-positive weights): means first, then sums about them.
struct Oracle {
  int64_t p = 0;
  long double W = 0, V = 0, W3 = 0, W4 = 0;
  std::vector<long double> mean, raw[3], abs_raw[3], cen[3], cross;  // cen: divisor W

  long double cov_factor() const { return W / (W * W - V); }
  long double cross_at(int64_t i, int64_t k) const { return cross[i * p + k]; }
  long double central2(int64_t i) const { return cen[0][i] * W * cov_factor(); }
  long double cov(int64_t i, int64_t k) const { return cross_at(i, k) * cov_factor(); }

  long double value(Field f, int64_t i, int64_t k) const {
    switch (f) {
      case kMean: return mean[i];
      case kRaw2: case kRaw3: case kRaw4: return raw[f - kRaw2][i];
      case kCen2: return central2(i);
      case kCen3: case kCen4: return cen[f - kCen2][i];
      case kKurt: return cen[2][i] / (cen[0][i] * cen[0][i]) - 3;
      case kSkew: return cen[1][i] / std::pow(cen[0][i], 1.5L);
      case kVar: return std::sqrt(central2(i)) / mean[i];
      case kCov: return cov(i, k);
      default:
        return i == k ? cov(i, i)
                      : cross_at(i, k) / std::sqrt(cross_at(i, i) * cross_at(k, k));
    }
  }

  // The size the rounding of a result is measured against: the central
  // moments come from raw moments, so their error scales with the terms of
  // the finishing formula, not with the (smaller) result.
  long double scale(Field f, int64_t i, int64_t k) const {
    const long double m = std::fabs(mean[i]), a2 = abs_raw[0][i], a3 = abs_raw[1][i],
                      a4 = abs_raw[2][i], u2 = cen[0][i];
    const long double s2 = a2 + m * m;
    const long double s3 = a3 + 3 * m * a2 + 2 * m * m * m;
    const long double s4 = a4 + 4 * m * a3 + 6 * m * m * a2 + 3 * m * m * m * m;
    switch (f) {
      case kMean: return m + std::sqrt(u2);
      case kRaw2: case kRaw3: case kRaw4: return abs_raw[f - kRaw2][i];
      case kCen2: return s2 * W * cov_factor();
      case kCen3: return s3;
      case kCen4: return s4;
      case kKurt: return s4 / (u2 * u2) + 2 * std::fabs(value(kKurt, i, i) + 3) * s2 / u2;
      case kSkew: return s3 / std::pow(u2, 1.5L) + 1.5L * std::fabs(value(kSkew, i, i)) * s2 / u2;
      case kVar: return std::fabs(value(kVar, i, i)) * (0.5L * s2 / u2 + 1);
      case kCov: return std::sqrt(std::fabs(cov(i, i) * cov(k, k)));
      default: return i == k ? std::fabs(cov(i, i)) : 1.0L;
    }
  }
};

// Index of the first observation folded in: the first with a positive weight.
template <class T>
int64_t first_folded(const Data<T>& d, int64_t j0, int64_t j1) {
  if (d.w.empty()) return j0;
  while (j0 < j1 && !(d.w[j0] > 0)) ++j0;
  return j0;
}

template <class T>
Oracle make_oracle(const Data<T>& d, int64_t j0 = 0, int64_t j1 = -1) {
  if (j1 < 0) j1 = d.n;
  const int64_t p = d.p;
  Oracle o;
  o.p = p;
  o.mean.assign(p, 0);
  for (int k = 0; k < 3; ++k) {
    o.raw[k].assign(p, 0);
    o.abs_raw[k].assign(p, 0);
    o.cen[k].assign(p, 0);
  }
  o.cross.assign(p * p, 0);
  const int64_t start = first_folded(d, j0, j1);
  auto weight = [&](int64_t j) -> long double { return d.w.empty() ? 1.0L : d.w[j]; };
  for (int64_t j = start; j < j1; ++j) {
    const long double w = weight(j);
    o.W += w;
    o.V += w * w;
    o.W3 += w * w * w;
    o.W4 += w * w * w * w;
    for (int64_t i = 0; i < p; ++i) {
      const long double x = d.at(i, j);
      o.mean[i] += w * x;
      long double xk = x;
      for (int k = 0; k < 3; ++k) {
        xk *= x;
        o.raw[k][i] += w * xk;
        o.abs_raw[k][i] += std::fabs(w * xk);
      }
    }
  }
  for (int64_t i = 0; i < p; ++i) {
    o.mean[i] /= o.W;
    for (int k = 0; k < 3; ++k) {
      o.raw[k][i] /= o.W;
      o.abs_raw[k][i] /= o.W;
    }
  }
  std::vector<long double> dx(p);
  for (int64_t j = start; j < j1; ++j) {
    const long double w = weight(j);
    for (int64_t i = 0; i < p; ++i) {
      dx[i] = d.at(i, j) - o.mean[i];
      o.cen[0][i] += w * dx[i] * dx[i];
      o.cen[1][i] += w * dx[i] * dx[i] * dx[i];
      o.cen[2][i] += w * dx[i] * dx[i] * dx[i] * dx[i];
    }
    for (int64_t i = 0; i < p; ++i) {
      const long double wi = w * dx[i];
      for (int64_t k = 0; k <= i; ++k) o.cross[i * p + k] += wi * dx[k];
    }
  }
  for (int64_t i = 0; i < p; ++i) {
    for (int k = 0; k < 3; ++k) o.cen[k][i] /= o.W;
    for (int64_t k = 0; k < i; ++k) o.cross[k * p + i] = o.cross[i * p + k];
  }
  return o;
}

}  // namespace ss_test

#endif
