// One thread's share of a basic compute: observations [first, last) folded
// into its state, by one kernel call over the caller's matrix, by chunks
// gathered to the processed variables, or by chunks whose cross-product
// goes through the host BLAS.
#ifndef ORX_SS_BASIC_BASIC_RANGE_H
#define ORX_SS_BASIC_BASIC_RANGE_H

#include <cstdint>

#include "orx_serv.h"
#include "vsl/ss/basic/basic_state.h"
#include "vsl/ss/basic/basic_table.h"

namespace orx::ss {

// What every share of one compute has in common.
template <class T>
struct BasicPlan {
  const T* x = nullptr;          // the caller's observation matrix
  const T* w = nullptr;          // weights, or null
  bool columns = false;          // layout of x
  int64_t p = 0, n = 0;          // variables and observations of x
  const int64_t* vars = nullptr;  // processed variables (full indices), q of them
  int64_t q = 0;
  bool gather = false;           // q < p: chunks are gathered to the q variables
  bool cross = false, mean = false, raw2 = false, raw3 = false, raw4 = false;
  int block_mode = 0;
  bool blas = false;             // the cross-product by the host BLAS
  int64_t chunk = 0;             // observations per gathered or centred chunk
  BasicStateLayout layout;
};

// Chunk buffers of a thread: the centred chunk, its weighted twin and the
// gathered observations on the BLAS path; the gathered observations alone
// otherwise.
constexpr int kCentredBuffer = 0;
constexpr int kWeightedBuffer = 1;
constexpr int kGatherBufferBlas = 2;

template <class T>
class BasicRange {
 public:
  BasicRange(const BasicPlan<T>& plan, BasicState& state, double* thread_base)
      : plan_(plan), state_(state), base_(thread_base) {}

  void run(int64_t first, int64_t last) {
    if (first >= last) return;
    state_.touched = true;
    if (!plan_.gather && !plan_.blas) {
      fold(plan_.x, plan_.columns, plan_.columns ? plan_.p : plan_.n, first, last, plan_.w,
           plan_.cross);
      return;
    }
    for (int64_t a = first; a < last; a += plan_.chunk) {
      const int64_t e = a + plan_.chunk < last ? a + plan_.chunk : last;
      if (plan_.blas) {
        fold_centred_chunk(a, e);
      } else {
        const T* g = gather(a, e);
        fold(g, true, plan_.q, 0, e - a, plan_.w ? plan_.w + a : nullptr, plan_.cross);
      }
    }
  }

 private:
  // Observation (variable v of the q processed, j) of the caller's matrix.
  T at(int64_t v, int64_t j) const {
    const int64_t i = plan_.vars[v];
    return plan_.columns ? plan_.x[j * plan_.p + i] : plan_.x[i * plan_.n + j];
  }

  // Copies observations [a, e) of the processed variables, observation after
  // observation (the columns layout with leading dimension q).
  const T* gather(int64_t a, int64_t e) {
    T* g = reinterpret_cast<T*>(plan_.layout.chunk_at(base_, plan_.blas ? kGatherBufferBlas : 0));
    for (int64_t j = a; j < e; ++j)
      for (int64_t v = 0; v < plan_.q; ++v) g[(j - a) * plan_.q + v] = at(v, j);
    return g;
  }

  void fold(const T* x, bool columns, int64_t ld, int64_t first, int64_t last, const T* w,
            bool cross) {
    BasicBlock<T> b;
    b.first_obs = first;
    b.last_obs = last;
    b.ld = ld;
    b.first_var = 0;
    b.last_var = plan_.q;
    b.p = plan_.q;
    b.x = x;
    b.w = w;
    b.totals = state_.totals;
    b.mean = state_.mean;
    b.raw2 = state_.raw[0];
    b.raw3 = state_.raw[1];
    b.raw4 = state_.raw[2];
    b.cross = state_.cross;
    b.scratch = state_.scratch;
    b.block_mode = plan_.block_mode;
    // Leading non-positive weights were skipped once for the whole compute,
    // and every share starts at a positive weight.
    b.skip_leading = false;
    const int index = basic_kernel_index(columns, w != nullptr, cross, plan_.mean || cross,
                                         plan_.raw2, plan_.raw3, plan_.raw4);
    kBasicKernels<T>[index].kernel(b);
  }

  // The chunk's cross-product about s (the mean before it, or its first
  // observation when nothing is folded yet) by one BLAS product of the
  // centred chunk d = x - s with itself, the kernel for totals and moments,
  // and the rank-one correction to the new mean, -(sum w d)(sum w d)^T / W
  // with W the weight total after the chunk (as the kernels' block mode).
  void fold_centred_chunk(int64_t a, int64_t e) {
    const int64_t q = plan_.q, m = e - a;
    double* d = plan_.layout.chunk_at(base_, kCentredBuffer);
    double* centre = state_.scratch;  // the kernels' scratch is free between calls
    const bool started = state_.totals[0] > 0;
    for (int64_t v = 0; v < q; ++v)
      centre[v] = started ? state_.mean[v] : static_cast<double>(at(v, a));
    // Rows read in place are centred row by row, into a variable-major
    // block (element (v, j) at v*m + j), so reads and writes both stream;
    // otherwise observation-major (element (v, j) at j*q + v).
    const bool by_variable = !plan_.columns && !plan_.gather;
    double* diff_sum = d + q * m;  // past the block: see chunk_doubles
    double* weighted = plan_.w ? plan_.layout.chunk_at(base_, kWeightedBuffer) : d;
    for (int64_t v = 0; v < q; ++v) diff_sum[v] = 0;
    if (by_variable) {
      for (int64_t v = 0; v < q; ++v) {
        const T* row = plan_.x + plan_.vars[v] * plan_.n + a;
        double sum = 0;
        for (int64_t j = 0; j < m; ++j) {
          const double dv = static_cast<double>(row[j]) - centre[v];
          d[v * m + j] = dv;
          const double wd = plan_.w ? static_cast<double>(plan_.w[a + j]) * dv : dv;
          if (plan_.w) weighted[v * m + j] = wd;
          sum += wd;
        }
        diff_sum[v] = sum;
      }
    } else {
      for (int64_t j = 0; j < m; ++j) {
        const double wj = plan_.w ? static_cast<double>(plan_.w[a + j]) : 1.0;
        for (int64_t v = 0; v < q; ++v) {
          const double dv = static_cast<double>(at(v, a + j)) - centre[v];
          d[j * q + v] = dv;
          const double wd = plan_.w ? wj * dv : dv;
          if (plan_.w) weighted[j * q + v] = wd;
          diff_sum[v] += wd;
        }
      }
    }
    // C += (w d)^T d over the chunk: a symmetric rank-m update unweighted,
    // a product of the weighted block with the block otherwise (weights may
    // be negative after the first positive one, so no square roots).
    const char trans = by_variable ? 'T' : 'N';
    const int64_t ld = by_variable ? m : q;
    if (plan_.w) {
      if (by_variable)
        orx_blas_dgemm('T', 'N', q, q, m, 1.0, weighted, ld, d, ld, 1.0, state_.cross, q);
      else
        orx_blas_dgemm('N', 'T', q, q, m, 1.0, weighted, ld, d, ld, 1.0, state_.cross, q);
    } else {
      orx_blas_dsyrk('U', trans, q, m, 1.0, d, ld, 1.0, state_.cross, q);
    }
    // The centre moves out of the scratch before the kernel reuses it.
    double* kept_centre = diff_sum + q;
    for (int64_t v = 0; v < q; ++v) kept_centre[v] = centre[v];
    if (plan_.raw2 || plan_.raw3 || plan_.raw4) {
      if (plan_.gather) {
        const T* g = gather(a, e);
        fold(g, true, q, 0, m, plan_.w ? plan_.w + a : nullptr, false);
      } else {
        fold(plan_.x, plan_.columns, plan_.columns ? plan_.p : plan_.n, a, e, plan_.w, false);
      }
    } else {
      add_chunk_totals(a, e);  // the mean follows from the differences alone
    }
    // The new mean from the small differences, as the kernels' block mode.
    const double r = 1.0 / state_.totals[0];
    for (int64_t v = 0; v < q; ++v) state_.mean[v] = kept_centre[v] + diff_sum[v] * r;
    orx_blas_dsyr('U', q, -r, diff_sum, 1, state_.cross, q);
  }

  // The weight totals of observations [a, e), added as the kernels add them.
  void add_chunk_totals(int64_t a, int64_t e) {
    double t[4] = {0, 0, 0, 0};
    for (int64_t j = a; j < e; ++j) {
      const double w = plan_.w ? static_cast<double>(plan_.w[j]) : 1.0;
      const double w2 = w * w;
      t[0] += w;
      t[1] += w2;
      t[2] += w2 * w;
      t[3] += w2 * w2;
    }
    for (int k = 0; k < 4; ++k) state_.totals[k] += t[k];
  }

  const BasicPlan<T>& plan_;
  BasicState& state_;
  double* base_;
};

}  // namespace orx::ss

#endif
