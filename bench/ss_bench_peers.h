// The peers of the basic summary statistics: plain loops a user would write,
// GSL per variable or per pair, OpenBLAS's dsyrk on a centred copy, and the
// read bandwidth (a sum over the whole data set). Each writes its results to
// caller buffers, so the benchmark owns (and pre-touches) all memory.
#pragma once

#include <cblas.h>
#include <emmintrin.h>
#include <gsl/gsl_statistics_double.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace orx::bench::ss {

// p variables observed n times: element (i, j) at i*n + j (rows layout) or
// j*p + i (columns layout).
struct Matrix {
  const double* x;
  int64_t p, n;
  bool columns;

  const double* variable(int64_t i) const { return columns ? x + i : x + i * n; }
  int64_t stride() const { return columns ? p : 1; }
};

// One pass, the plain sum of each variable over n. In the columns layout the
// loop follows memory: observation by observation into p running sums.
inline void plain_mean(const Matrix& m, double* mean) {
  const double inv = 1.0 / static_cast<double>(m.n);
  if (!m.columns) {
    for (int64_t i = 0; i < m.p; ++i) {
      const double* v = m.x + i * m.n;
      double s = 0;
      for (int64_t j = 0; j < m.n; ++j) s += v[j];
      mean[i] = s * inv;
    }
    return;
  }
  for (int64_t i = 0; i < m.p; ++i) mean[i] = 0;
  for (int64_t j = 0; j < m.n; ++j) {
    const double* o = m.x + j * m.p;
    for (int64_t i = 0; i < m.p; ++i) mean[i] += o[i];
  }
  for (int64_t i = 0; i < m.p; ++i) mean[i] *= inv;
}

// Two passes: plain_mean, then the squared deviations over n - 1.
inline void plain_mean_variance(const Matrix& m, double* mean, double* var) {
  plain_mean(m, mean);
  const double inv = 1.0 / static_cast<double>(m.n - 1);
  if (!m.columns) {
    for (int64_t i = 0; i < m.p; ++i) {
      const double* v = m.x + i * m.n;
      const double c = mean[i];
      double s = 0;
      for (int64_t j = 0; j < m.n; ++j) s += (v[j] - c) * (v[j] - c);
      var[i] = s * inv;
    }
    return;
  }
  for (int64_t i = 0; i < m.p; ++i) var[i] = 0;
  for (int64_t j = 0; j < m.n; ++j) {
    const double* o = m.x + j * m.p;
    for (int64_t i = 0; i < m.p; ++i) var[i] += (o[i] - mean[i]) * (o[i] - mean[i]);
  }
  for (int64_t i = 0; i < m.p; ++i) var[i] *= inv;
}

// The sum of `count` doubles (count a multiple of 8, x 16-byte aligned) with
// four independent SSE2 accumulators: no add waits on the previous one, so
// memory is the limit. This is the read bandwidth the mean is held to.
inline double stream_sum(const double* x, int64_t count) {
  __m128d a = _mm_setzero_pd(), b = a, c = a, d = a;
  for (int64_t k = 0; k < count; k += 8) {
    a = _mm_add_pd(a, _mm_load_pd(x + k));
    b = _mm_add_pd(b, _mm_load_pd(x + k + 2));
    c = _mm_add_pd(c, _mm_load_pd(x + k + 4));
    d = _mm_add_pd(d, _mm_load_pd(x + k + 6));
  }
  const __m128d s = _mm_add_pd(_mm_add_pd(a, b), _mm_add_pd(c, d));
  return _mm_cvtsd_f64(_mm_add_sd(s, _mm_unpackhi_pd(s, s)));
}

// Two passes: plain_mean, then the centred copy (p*n doubles, same layout)
// and one dsyrk of it, scaled by 1/(n - 1); the lower triangle is mirrored so
// that `cov` holds the full p x p matrix, as ours writes it.
inline void dsyrk_covariance(const Matrix& m, double* mean, double* centred, double* cov) {
  plain_mean(m, mean);
  const int p = static_cast<int>(m.p), n = static_cast<int>(m.n);
  if (!m.columns) {
    for (int64_t i = 0; i < m.p; ++i) {
      const double* v = m.x + i * m.n;
      double* out = centred + i * m.n;
      const double c = mean[i];
      for (int64_t j = 0; j < m.n; ++j) out[j] = v[j] - c;
    }
  } else {
    for (int64_t j = 0; j < m.n; ++j) {
      const double* o = m.x + j * m.p;
      double* out = centred + j * m.p;
      for (int64_t i = 0; i < m.p; ++i) out[i] = o[i] - mean[i];
    }
  }
  // Rows: the copy is the column-major n x p matrix A, cov = A^T A. Columns:
  // it is the column-major p x n matrix B, cov = B B^T.
  const double alpha = 1.0 / static_cast<double>(n - 1);
  if (!m.columns)
    cblas_dsyrk(CblasColMajor, CblasUpper, CblasTrans, p, n, alpha, centred, n, 0.0, cov, p);
  else
    cblas_dsyrk(CblasColMajor, CblasUpper, CblasNoTrans, p, n, alpha, centred, p, 0.0, cov, p);
  for (int64_t k = 0; k < m.p; ++k)
    for (int64_t i = 0; i < k; ++i) cov[k + i * m.p] = cov[i + k * m.p];
}

inline void gsl_means(const Matrix& m, double* mean) {
  for (int64_t i = 0; i < m.p; ++i)
    mean[i] = gsl_stats_mean(m.variable(i), static_cast<size_t>(m.stride()),
                             static_cast<size_t>(m.n));
}

// gsl_stats_mean, then gsl_stats_variance (which finds the mean again: three
// passes) or, with `given_mean`, gsl_stats_variance_m (two passes).
inline void gsl_mean_variance(const Matrix& m, bool given_mean, double* mean, double* var) {
  const auto stride = static_cast<size_t>(m.stride()), n = static_cast<size_t>(m.n);
  for (int64_t i = 0; i < m.p; ++i) {
    mean[i] = gsl_stats_mean(m.variable(i), stride, n);
    var[i] = given_mean ? gsl_stats_variance_m(m.variable(i), stride, n, mean[i])
                        : gsl_stats_variance(m.variable(i), stride, n);
  }
}

// gsl_stats_covariance of each (i, k) pair, into cov[i*p + k].
inline void gsl_covariances(const Matrix& m, const std::vector<std::pair<int64_t, int64_t>>& pairs,
                            double* cov) {
  const auto stride = static_cast<size_t>(m.stride()), n = static_cast<size_t>(m.n);
  for (const auto& [i, k] : pairs)
    cov[i * m.p + k] = gsl_stats_covariance(m.variable(i), stride, m.variable(k), stride, n);
}

}  // namespace orx::bench::ss
