// The running state of a basic compute over q processed variables, in
// double: weight totals, means, raw moments and the cross-product's upper
// triangle; one per thread, placed in one working buffer, and the merge that
// joins a thread's partial state into the first one.
#ifndef ORX_SS_BASIC_BASIC_STATE_H
#define ORX_SS_BASIC_BASIC_STATE_H

#include <cstdint>

#include "vsl/ss/basic/basic_kernel.h"

namespace orx::ss {

// Doubles rounded up to an even count, so every array starts 16-byte aligned.
inline int64_t even(int64_t n) { return (n + 1) & ~int64_t{1}; }

struct BasicState {
  double* totals;  // W, sum w^2, sum w^3, sum w^4
  double* mean;
  double* raw[3];  // orders 2, 3, 4
  double* cross;   // q x q, column major, upper triangle
  double* scratch;
  bool touched;    // the thread folded at least one observation in
};

// Sizes (in doubles) of one thread's part of the working buffer.
struct BasicStateLayout {
  int64_t q = 0;
  bool cross = false;
  int64_t chunk_doubles = 0;  // gathered observations or centred block, per buffer
  int chunk_buffers = 0;      // 0, 1 (gathered) or 3 (the BLAS path) such buffers

  int64_t state_doubles() const {
    return 4 + 4 * even(q) + (cross ? even(q * q) : 0) + basic_scratch_doubles(q);
  }
  int64_t thread_doubles() const { return state_doubles() + chunk_buffers * even(chunk_doubles); }

  BasicState state_at(double* base) const {
    BasicState s{};
    s.totals = base;
    s.mean = base + 4;
    for (int k = 0; k < 3; ++k) s.raw[k] = base + 4 + (k + 1) * even(q);
    double* next = base + 4 + 4 * even(q);
    s.cross = cross ? next : nullptr;
    s.scratch = next + (cross ? even(q * q) : 0);
    s.touched = false;
    return s;
  }
  double* chunk_at(double* base, int buffer) const {
    return base + state_doubles() + buffer * even(chunk_doubles);
  }
};

// Zero totals, estimates and cross-product.
inline void clear_state(const BasicState& s, int64_t q) {
  for (int k = 0; k < 4; ++k) s.totals[k] = 0;
  for (int64_t i = 0; i < q; ++i) {
    s.mean[i] = 0;
    for (int k = 0; k < 3; ++k) s.raw[k][i] = 0;
  }
  if (s.cross)
    for (int64_t i = 0; i < q * q; ++i) s.cross[i] = 0;
}

// a <- a joined with b: totals add; means and raw moments become the
// weight-total-weighted averages; cross-products add with the correction
// Wa Wb / (Wa + Wb) (ma - mb)(ma - mb)^T for the distance between the means.
inline void merge_state(BasicState& a, const BasicState& b, int64_t q) {
  const double Wa = a.totals[0], Wb = b.totals[0];
  const double W = Wa + Wb;
  if (a.cross) {
    const double f = Wa * Wb / W;
    for (int64_t k = 0; k < q; ++k) {
      const double dk = f * (a.mean[k] - b.mean[k]);
      for (int64_t i = 0; i <= k; ++i)
        a.cross[i + k * q] += b.cross[i + k * q] + dk * (a.mean[i] - b.mean[i]);
    }
  }
  const double r = 1.0 / W;
  for (int64_t i = 0; i < q; ++i) {
    a.mean[i] = (Wa * a.mean[i] + Wb * b.mean[i]) * r;
    for (int k = 0; k < 3; ++k) a.raw[k][i] = (Wa * a.raw[k][i] + Wb * b.raw[k][i]) * r;
  }
  for (int k = 0; k < 4; ++k) a.totals[k] += b.totals[k];
  a.touched = a.touched || b.touched;
}

}  // namespace orx::ss

#endif
