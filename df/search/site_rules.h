// Per-site cell rules of the scalar methods. Each returns the number of knots
// <= t (the cell) for an ascending x of nx >= 2 knots and never reads outside
// x[0..nx-1]; callers send NaN sites to cell 0 before calling the steppers.
//
// The stepping methods (quasi-uniform, sorted, peak) walk from a starting
// index towards the cell. A walk of d knots is done by galloping (probes at
// distances 1, 2, 4, ... then bisection of the last gap): the first probe is
// the single comparison of a plain step, so a site in or next to the start
// cell costs the same, and a far one O(log d) instead of O(d). The cell found
// is the one the knot-by-knot walk would reach.
#ifndef ORX_DF_SEARCH_SITE_RULES_H
#define ORX_DF_SEARCH_SITE_RULES_H

#include <cstdint>

namespace orx::df::search {

// max(from, cell of t) for 0 <= from <= nx: the walk up from `from` while
// x[k] <= t. t is not NaN.
template <class T>
inline int64_t step_up(const T* x, int64_t nx, int64_t from, T t) {
  if (from >= nx || x[from] > t) return from;
  // x[from] <= t: the cell is at least from + 1.
  int64_t lo = from + 1, probe = lo, step = 1;
  while (probe < nx && x[probe] <= t) {
    lo = probe + 1;
    probe = lo + step;
    step *= 2;
  }
  int64_t hi = probe < nx ? probe : nx;  // cell in [lo, hi]
  while (lo < hi) {
    const int64_t m = lo + (hi - lo) / 2;
    if (x[m] <= t) lo = m + 1; else hi = m;
  }
  return lo;
}

// min(from, cell of t) for 0 <= from <= nx: the walk down from `from` while
// k > 0 and x[k-1] > t. t is not NaN.
template <class T>
inline int64_t step_down(const T* x, int64_t from, T t) {
  if (from == 0 || x[from - 1] <= t) return from;
  // x[from-1] > t: the cell is at most from - 1.
  int64_t hi = from - 1, lo = 0, step = 1;
  for (;;) {
    const int64_t probe = hi - step;
    if (probe < 0) break;
    if (x[probe] <= t) {
      lo = probe + 1;
      break;
    }
    hi = probe;
    step *= 2;
  }
  while (lo < hi) {  // cell in [lo, hi]
    const int64_t m = lo + (hi - lo) / 2;
    if (x[m] <= t) lo = m + 1; else hi = m;
  }
  return lo;
}

// Uniform partition of nx knots from x0 with reciprocal step r: k = trunc of
// (t - x0) r, cell k + 1 when below nx, else nx; 0 left of x0 and for NaN.
// The quotient is clamped to 2^62 before the conversion, so huge and
// infinite sites give nx (for any nx below 2^62) and never overflow it.
template <class T>
inline int64_t uniform_cell(T t, T x0, T r, int64_t nx) {
  if (!(x0 <= t)) return 0;
  const T q = (t - x0) * r;
  if (!(q < T(0x1p62))) return nx;
  const int64_t k1 = static_cast<int64_t>(q) + 1;
  return k1 < nx ? k1 : nx;
}

// Quasi-uniform partition: the guess k = trunc((t - x0) r) + 1 (clamped to
// 1..nx before the conversion), then a walk to the cell. A site exactly on
// the guessed knot x[k] walks up (t >= x[k]): that knot is <= t, so the cell
// is above k. Stopping at k there would break the cell convention.
template <class T>
inline int64_t quasi_uniform_cell(T t, const T* x, int64_t nx, T r) {
  if (!(t >= x[0])) return 0;  // left of the partition, or NaN
  const T q = (t - x[0]) * r;
  const int64_t k = !(q >= T(0)) ? 1 : q < T(nx) ? static_cast<int64_t>(q) + 1 : nx;
  return k < nx && t >= x[k] ? step_up(x, nx, k, t) : step_down(x, k, t);
}

// Peak method: the walk starts at the most frequently hit cell p (the
// parameter's integer part, clamped to 0..nx).
template <class T>
inline int64_t peak_cell(T t, const T* x, int64_t nx, int64_t p) {
  if (t != t) return 0;
  return p < nx && t >= x[p] ? step_up(x, nx, p, t) : step_down(x, p, t);
}

inline int64_t peak_start(double parameter, int64_t nx) {
  if (!(parameter > 0)) return 0;  // also NaN
  if (!(parameter < 0x1p62)) return nx;
  const int64_t p = static_cast<int64_t>(parameter);
  return p < nx ? p : nx;
}

}  // namespace orx::df::search

#endif
