// The basic-statistics kernels: one template over layout, weighting,
// cross-product and moment set (128 instances per precision, listed by name
// in basic_table.h). Each folds a block of observations into running
// estimates kept in double:
//   per observation (block_mode 0), with W the weight total before it:
//     r = 1 / (W + w),  m <- (W m + w x) r,  a_k <- (W a_k + w x^k) r,
//     C <- C + (w W r) (x - m)(x - m)^T   (old means, before m moves);
//   per block of kFoldObservations (block_mode 1): the block's sums
//     S_k = sum w x^k and totals are formed first and folded in once,
//     m <- (W m + S_1) / (W + W_b); the block's cross-product is taken about
//     s (the mean before the block, or the block's first observation when
//     W = 0), d = x - s, and corrected to the new mean m = s + sum w d /
//     (W + W_b): C <- C + sum w d d^T - (sum w d)(sum w d)^T / (W + W_b).
// Weighted kernels skip the observations before the first positive weight
// (w > 0; NaN is not); from it on every observation counts. The cross-product
// kernels keep the means up to date even without the mean letter, since the
// cross-product is taken about them. Only the upper triangle of C (column
// major, leading dimension p) is kept.
#ifndef ORX_SS_BASIC_BASIC_KERNEL_H
#define ORX_SS_BASIC_BASIC_KERNEL_H

#include <emmintrin.h>

#include <cstdint>

#include "vsl/ss/basic/sse_pair.h"

namespace orx::ss {

enum class Layout { Rows, Columns };

// Observations folded per block in block mode: long runs of each row keep
// the rows layout streaming, and plain summation keeps its error near eps
// times the run. In the columns layout a block of few variables is re-read
// once per group of variables, so it is held to 4096 values (32 KB, the
// first-level cache).
constexpr int64_t kFoldObservations = 16384;
constexpr int64_t kFoldValuesColumns = 4096;
// From this many variables on, the columns layout sums in observation order
// with the sums in memory: register groups would read the caller's matrix
// with strides of several cache lines, which stops streaming (measured at
// 100 variables: 36% of read bandwidth in groups, 58% in order).
constexpr int64_t kMemorySumVariables = 16;

// Arguments of a kernel. The state arrays (mean, raw moments, the cross
// product's columns at k*p, scratch) are doubles that share their alignment
// modulo 16 bytes; the loops over variables go two-wide from the first
// 16-byte-aligned variable on, with a scalar head and tail.
template <class T>
struct BasicBlock {
  int64_t first_obs = 0, last_obs = 0;  // observations [first_obs, last_obs)
  int64_t ld = 0;                       // leading dimension: n (rows), p (columns)
  int64_t first_var = 0, last_var = 0;  // variables [first_var, last_var)
  int64_t p = 0;                        // leading dimension of the cross-product
  const T* x = nullptr;                 // observations
  const T* w = nullptr;                 // weights (weighted kernels)
  double* totals = nullptr;             // sum w, sum w^2, sum w^3, sum w^4
  double* mean = nullptr;
  double* raw2 = nullptr;
  double* raw3 = nullptr;
  double* raw4 = nullptr;
  double* cross = nullptr;
  double* scratch = nullptr;  // basic_scratch_doubles(p), 16-byte aligned
  int block_mode = 0;
  bool skip_leading = true;  // weighted: skip the leading non-positive weights
};

// Scratch of a kernel: four observations' differences, the centre, four
// sums and the sum of the weighted differences, p each (rounded up to even).
inline int64_t basic_scratch_doubles(int64_t p) { return 10 * ((p + 1) & ~int64_t{1}); }

template <class T>
using BasicKernel = int (*)(const BasicBlock<T>&);

template <class T, Layout L, bool Weighted, bool Cross, bool Mean, bool Raw2, bool Raw3, bool Raw4>
class BasicFold {
  static constexpr bool kMean = Mean || Cross;

 public:
  explicit BasicFold(const BasicBlock<T>& b)
      : b_(b), stride_((b.p + 1) & ~int64_t{1}), diff_(b.scratch), centre_(b.scratch + 4 * stride_),
        sum_{b.scratch + 5 * stride_, b.scratch + 6 * stride_, b.scratch + 7 * stride_,
             b.scratch + 8 * stride_},
        diff_sum_(b.scratch + 9 * stride_) {}

  int run() {
    int64_t j = b_.first_obs;
    if constexpr (Weighted) {
      if (b_.skip_leading)
        while (j < b_.last_obs && !(b_.w[j] > 0)) ++j;
    }
    if (b_.block_mode) {
      const int64_t length = fold_length();
      for (; j < b_.last_obs; j += length)
        fold_block(j, j + length < b_.last_obs ? j + length : b_.last_obs);
    } else {
      for (; j < b_.last_obs; ++j) fold_observation(j);
    }
    return 0;
  }

 private:
  int64_t fold_length() const {
    if constexpr (L == Layout::Rows) return kFoldObservations;
    if (b_.last_var <= b_.first_var) return kFoldObservations;
    if (b_.last_var - b_.first_var >= kMemorySumVariables) return kFoldObservations / 4;
    const int64_t per_variable = kFoldValuesColumns / (b_.last_var - b_.first_var);
    return per_variable < 1 ? 1 : (per_variable > kFoldObservations ? kFoldObservations
                                                                     : per_variable);
  }
  double weight(int64_t j) const {
    if constexpr (Weighted) return static_cast<double>(b_.w[j]);
    return 1.0;
  }
  double value(int64_t i, int64_t j) const {
    if constexpr (L == Layout::Columns) return static_cast<double>(b_.x[j * b_.ld + i]);
    return static_cast<double>(b_.x[i * b_.ld + j]);
  }
  __m128d value_pair(int64_t i, int64_t j) const {
    if constexpr (L == Layout::Columns) return load_pair(b_.x + j * b_.ld + i);
    return load_strided_pair(b_.x + i * b_.ld + j, b_.ld);
  }
  const double* alignment_reference() const {
    if constexpr (kMean) return b_.mean;
    if constexpr (Raw2) return b_.raw2;
    if constexpr (Raw3) return b_.raw3;
    return b_.raw4;
  }

  // Runs scalar(i) on the head and tail and pair(i) on 16-byte-aligned pairs.
  template <class Scalar, class Pair>
  void for_variables(const double* reference, int64_t first, int64_t last, Scalar scalar,
                     Pair pair) const {
    int64_t i = first;
    const int64_t head_end = first + scalar_head(reference + first, last - first);
    for (; i < head_end; ++i) scalar(i);
    for (; i + 1 < last; i += 2) pair(i);
    for (; i < last; ++i) scalar(i);
  }

  static void add_totals(double* totals, double w) {
    if constexpr (Weighted) {
      const double w2 = w * w;
      totals[0] += w;
      totals[1] += w2;
      totals[2] += w2 * w;
      totals[3] += w2 * w2;
    } else {
      for (int k = 0; k < 4; ++k) totals[k] += 1.0;
    }
  }

  // ---- one observation at a time -----------------------------------------
  void fold_observation(int64_t j) {
    const double w = weight(j);
    const double W = b_.totals[0];
    const double r = 1.0 / (W + w);
    if constexpr (Cross) {
      for (int64_t i = b_.first_var; i < b_.last_var; ++i)
        diff_[i] = value(i, j) - b_.mean[i];
      add_cross(diff_, w * W * r);
    }
    const __m128d Wv = _mm_set1_pd(W), wv = _mm_set1_pd(w), rv = _mm_set1_pd(r);
    for_variables(
        alignment_reference(), b_.first_var, b_.last_var,
        [&](int64_t i) {
          const double x = value(i, j);
          update(i, W, Weighted ? w * x : x, w, x, r);
        },
        [&](int64_t i) { update_pair(i, Wv, wv, value_pair(i, j), rv); });
    add_totals(b_.totals, w);
  }

  // state <- (W state + w x^k) r for each kept order; wx is w*x (x unweighted).
  void update(int64_t i, double W, double wx, double w, double x, double r) {
    if constexpr (kMean) b_.mean[i] = (W * b_.mean[i] + wx) * r;
    const double x2 = x * x;
    const double x3 = x2 * x;
    if constexpr (Raw2) b_.raw2[i] = (W * b_.raw2[i] + (Weighted ? w * x2 : x2)) * r;
    if constexpr (Raw3) b_.raw3[i] = (W * b_.raw3[i] + (Weighted ? w * x3 : x3)) * r;
    if constexpr (Raw4) {
      const double x4 = x * x3;
      b_.raw4[i] = (W * b_.raw4[i] + (Weighted ? w * x4 : x4)) * r;
    }
  }
  static __m128d fold(__m128d state, __m128d W, __m128d wxk, __m128d r) {
    return _mm_mul_pd(_mm_add_pd(_mm_mul_pd(W, state), wxk), r);
  }
  static __m128d weigh(__m128d w, __m128d v) {
    if constexpr (Weighted) return _mm_mul_pd(w, v);
    return v;
  }
  void update_pair(int64_t i, __m128d W, __m128d w, __m128d x, __m128d r) {
    if constexpr (kMean) _mm_store_pd(b_.mean + i, fold(_mm_load_pd(b_.mean + i), W, weigh(w, x), r));
    const __m128d x2 = _mm_mul_pd(x, x);
    const __m128d x3 = _mm_mul_pd(x2, x);
    if constexpr (Raw2) _mm_store_pd(b_.raw2 + i, fold(_mm_load_pd(b_.raw2 + i), W, weigh(w, x2), r));
    if constexpr (Raw3) _mm_store_pd(b_.raw3 + i, fold(_mm_load_pd(b_.raw3 + i), W, weigh(w, x3), r));
    if constexpr (Raw4) {
      const __m128d x4 = _mm_mul_pd(x, x3);
      _mm_store_pd(b_.raw4 + i, fold(_mm_load_pd(b_.raw4 + i), W, weigh(w, x4), r));
    }
  }

  // C[i, k] += (f d[k]) d[i] for first_var <= i <= k < last_var.
  void add_cross(const double* d, double f) {
    for (int64_t k = b_.first_var; k < b_.last_var; ++k) {
      double* column = b_.cross + k * b_.p;
      const double g = f * d[k];
      const __m128d gv = _mm_set1_pd(g);
      for_variables(
          column, b_.first_var, k + 1, [&](int64_t i) { column[i] += g * d[i]; },
          [&](int64_t i) {
            _mm_store_pd(column + i,
                         _mm_add_pd(_mm_load_pd(column + i), _mm_mul_pd(gv, _mm_loadu_pd(d + i))));
          });
    }
  }

  // ---- a block of observations at once -----------------------------------
  void fold_block(int64_t first, int64_t last) {
    const double W = b_.totals[0];
    double block_totals[4] = {0.0, 0.0, 0.0, 0.0};
    for (int64_t j = first; j < last; ++j) add_totals(block_totals, weight(j));
    if constexpr (L == Layout::Rows) {
      for (int64_t i = b_.first_var; i < b_.last_var; ++i) sum_row(i, first, last);
    } else {
      sum_columns(first, last);
    }
    if constexpr (Cross) {
      for (int64_t i = b_.first_var; i < b_.last_var; ++i) {
        centre_[i] = W > 0 ? b_.mean[i] : value(i, first);
        diff_sum_[i] = 0;
      }
      int64_t j = first;
      for (; j + 4 <= last; j += 4) {
        double w[4];
        for (int u = 0; u < 4; ++u) w[u] = centred(j + u, diff_ + u * stride_);
        add_cross4(w);
      }
      for (; j < last; ++j) add_cross(diff_, centred(j, diff_));
    }
    const double total = W + block_totals[0];
    const double r = 1.0 / total;
    for (int64_t i = b_.first_var; i < b_.last_var; ++i) {
      // With a cross-product the new mean is s + sum(w d) / (W + W_b): the
      // same value, but rounded once near the mean rather than in sums of
      // size W |mean|, so the next block's centre is as exact as it can be.
      if constexpr (Cross) b_.mean[i] = centre_[i] + diff_sum_[i] * r;
      else if constexpr (kMean) b_.mean[i] = (W * b_.mean[i] + sum_[0][i]) * r;
      if constexpr (Raw2) b_.raw2[i] = (W * b_.raw2[i] + sum_[1][i]) * r;
      if constexpr (Raw3) b_.raw3[i] = (W * b_.raw3[i] + sum_[2][i]) * r;
      if constexpr (Raw4) b_.raw4[i] = (W * b_.raw4[i] + sum_[3][i]) * r;
    }
    // The block's mean minus the centre is sum(w d) / W_b, formed from the
    // small differences rather than from the rounded new mean, which would
    // lose eps*|mean| against the spread: C -= sum(w d) sum(w d)^T / (W + W_b).
    if constexpr (Cross) add_cross(diff_sum_, -r);
    for (int k = 0; k < 4; ++k) b_.totals[k] += block_totals[k];
  }

  // d <- observation j minus the centre; adds w d to the sum of differences.
  double centred(int64_t j, double* d) {
    const double w = weight(j);
    for (int64_t i = b_.first_var; i < b_.last_var; ++i) {
      d[i] = value(i, j) - centre_[i];
      diff_sum_[i] += Weighted ? w * d[i] : d[i];
    }
    return w;
  }

  // Four observations' rank-one terms in one sweep over C: each element gets
  // the same four additions, in observation order, as four sweeps would give,
  // for a quarter of the loads and stores of C.
  void add_cross4(const double* w) {
    const double* d[4] = {diff_, diff_ + stride_, diff_ + 2 * stride_, diff_ + 3 * stride_};
    for (int64_t k = b_.first_var; k < b_.last_var; ++k) {
      double* column = b_.cross + k * b_.p;
      double g[4];
      __m128d gv[4];
      for (int u = 0; u < 4; ++u) {
        g[u] = w[u] * d[u][k];
        gv[u] = _mm_set1_pd(g[u]);
      }
      for_variables(
          column, b_.first_var, k + 1,
          [&](int64_t i) {
            double c = column[i];
            for (int u = 0; u < 4; ++u) c += g[u] * d[u][i];
            column[i] = c;
          },
          [&](int64_t i) {
            __m128d c = _mm_load_pd(column + i);
            for (int u = 0; u < 4; ++u) c = _mm_add_pd(c, _mm_mul_pd(gv[u], _mm_loadu_pd(d[u] + i)));
            _mm_store_pd(column + i, c);
          });
    }
  }

  // The orders whose sums are kept, and how many independent accumulator
  // sets fit the sixteen SSE registers.
  static constexpr int kOrders = (kMean ? 1 : 0) + Raw2 + Raw3 + Raw4;
  static constexpr bool kKept[4] = {kMean, Raw2, Raw3, Raw4};
  static constexpr int kSets = kOrders <= 2 ? 4 : 2;

  // Sums of variable i over observations [first, last): contiguous in the
  // rows layout, so two observations per step, kSets steps interleaved.
  void sum_row(int64_t i, int64_t first, int64_t last) {
    const T* row = b_.x + i * b_.ld;
    __m128d acc[kSets][4];
    for (auto& set : acc)
      for (auto& a : set) a = _mm_setzero_pd();
    int64_t j = first;
    for (; j + 2 * kSets <= last; j += 2 * kSets) {
      for (int u = 0; u < kSets; ++u) {
        __m128d w = _mm_set1_pd(1.0);
        if constexpr (Weighted) w = load_pair(b_.w + j + 2 * u);
        accumulate(acc[u], w, load_pair(row + j + 2 * u));
      }
    }
    double s[4];
    for (int k = 0; k < 4; ++k) {
      __m128d a = acc[0][k];
      for (int u = 1; u < kSets; ++u) a = _mm_add_pd(a, acc[u][k]);
      s[k] = _mm_cvtsd_f64(_mm_add_sd(a, _mm_unpackhi_pd(a, a)));
    }
    for (; j < last; ++j) add_terms(s, weight(j), static_cast<double>(row[j]));
    for (int k = 0; k < 4; ++k) sum_[k][i] = s[k];
  }

  // Sums over observations [first, last) in the columns layout: groups of
  // variable pairs whose accumulators stay in registers across the
  // observations (the block is re-read per group from cache).
  void sum_columns(int64_t first, int64_t last) {
    if (b_.last_var - b_.first_var >= kMemorySumVariables) {
      for (int k = 0; k < 4; ++k)
        for (int64_t i = b_.first_var; i < b_.last_var; ++i) sum_[k][i] = 0.0;
      for (int64_t j = first; j < last; ++j) sum_column(j);
      return;
    }
    sum_column_groups(b_.x + first * b_.ld, b_.ld, 0, first, last);
  }

  // Adds observation j's terms to the sums in memory, two variables a step.
  void sum_column(int64_t j) {
    const double w = weight(j);
    const __m128d wv = _mm_set1_pd(w);
    for_variables(
        sum_[0], b_.first_var, b_.last_var,
        [&](int64_t i) {
          double s[4] = {sum_[0][i], sum_[1][i], sum_[2][i], sum_[3][i]};
          add_terms(s, w, value(i, j));
          for (int k = 0; k < 4; ++k) sum_[k][i] = s[k];
        },
        [&](int64_t i) {
          __m128d acc[4] = {_mm_setzero_pd(), _mm_setzero_pd(), _mm_setzero_pd(),
                            _mm_setzero_pd()};
          for (int k = 0; k < 4; ++k)
            if (kKept[k]) acc[k] = _mm_load_pd(sum_[k] + i);
          accumulate(acc, wv, value_pair(i, j));
          for (int k = 0; k < 4; ++k)
            if (kKept[k]) _mm_store_pd(sum_[k] + i, acc[k]);
        });
  }

  // Sums of the variables over observations [first, last) read from src,
  // where observation first + jj's value of variable first_var + v is
  // src[jj * ld + v + (first_var - shift)].
  template <class S>
  void sum_column_groups(const S* src, int64_t ld, int64_t shift, int64_t first, int64_t last) {
    // Up to 16 accumulators: 8 pairs for one order, 4 for two, 2 for more.
    constexpr int64_t kMaxPairs = kOrders <= 1 ? 8 : (kOrders == 2 ? 4 : 2);
    int64_t i = b_.first_var;
    while (i + 2 <= b_.last_var) {
      int64_t pairs = (b_.last_var - i) / 2;
      if (pairs > kMaxPairs) pairs = kMaxPairs;
      sum_column_group(pairs, src + (i - shift), ld, i, first, last);
      i += 2 * pairs;
    }
    for (; i < b_.last_var; ++i) {
      double s[4] = {0.0, 0.0, 0.0, 0.0};
      for (int64_t j = first; j < last; ++j)
        add_terms(s, weight(j), static_cast<double>(src[(j - first) * ld + (i - shift)]));
      for (int k = 0; k < 4; ++k) sum_[k][i] = s[k];
    }
  }

  // One pass of `pairs` pairs (1..8) over the observations.
  template <class S>
  void sum_column_group(int64_t pairs, const S* src, int64_t ld, int64_t i, int64_t first,
                        int64_t last) {
    switch (pairs) {
      case 1: return sum_column_pairs<1>(src, ld, i, first, last);
      case 2: return sum_column_pairs<2>(src, ld, i, first, last);
      case 3: return sum_column_pairs<3>(src, ld, i, first, last);
      case 4: return sum_column_pairs<4>(src, ld, i, first, last);
      case 5: return sum_column_pairs<5>(src, ld, i, first, last);
      case 6: return sum_column_pairs<6>(src, ld, i, first, last);
      case 7: return sum_column_pairs<7>(src, ld, i, first, last);
      default: return sum_column_pairs<8>(src, ld, i, first, last);
    }
  }

  template <int64_t kPairs, class S>
  void sum_column_pairs(const S* src, int64_t ld, int64_t i, int64_t first, int64_t last) {
    __m128d acc[kPairs][4];
    for (auto& set : acc)
      for (auto& a : set) a = _mm_setzero_pd();
    for (int64_t j = first; j < last; ++j) {
      const __m128d w = _mm_set1_pd(weight(j));
      const S* x = src + (j - first) * ld;
      for (int64_t u = 0; u < kPairs; ++u) accumulate(acc[u], w, load_pair(x + 2 * u));
    }
    for (int64_t u = 0; u < kPairs; ++u)
      for (int k = 0; k < 4; ++k) _mm_storeu_pd(sum_[k] + i + 2 * u, acc[u][k]);
  }

  static void add_terms(double* s, double w, double x) {
    const double x2 = x * x;
    const double x3 = x2 * x;
    s[0] += Weighted ? w * x : x;
    s[1] += Weighted ? w * x2 : x2;
    s[2] += Weighted ? w * x3 : x3;
    s[3] += Weighted ? w * (x * x3) : x * x3;
  }

  // acc[k] += w x^(k+1) for the kept orders.
  static void accumulate(__m128d* acc, __m128d w, __m128d x) {
    const __m128d x2 = _mm_mul_pd(x, x);
    const __m128d x3 = _mm_mul_pd(x2, x);
    if constexpr (kMean) acc[0] = _mm_add_pd(acc[0], weigh(w, x));
    if constexpr (Raw2) acc[1] = _mm_add_pd(acc[1], weigh(w, x2));
    if constexpr (Raw3) acc[2] = _mm_add_pd(acc[2], weigh(w, x3));
    if constexpr (Raw4) acc[3] = _mm_add_pd(acc[3], weigh(w, _mm_mul_pd(x, x3)));
  }

  const BasicBlock<T>& b_;
  const int64_t stride_;
  double* diff_;
  double* centre_;
  double* sum_[4];
  double* diff_sum_;
};

template <class T, Layout L, bool Weighted, bool Cross, bool Mean, bool Raw2, bool Raw3, bool Raw4>
int basic_kernel(const BasicBlock<T>& block) {
  return BasicFold<T, L, Weighted, Cross, Mean, Raw2, Raw3, Raw4>(block).run();
}

}  // namespace orx::ss

#endif
