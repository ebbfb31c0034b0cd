// The hybrid method: bisection until the bracket holds at most 20 knots,
// then a scan of the bracket. Cells: 0 left of x[0] (and for NaN), nx on or
// right of the last knot, else the number of knots <= t.
//
// Done fast by three facts. (1) The bracket lengths depend on nx only
// (len -> len - len/2), so the plan of halvings is computed once per call and
// every site takes the same number of steps. (2) Each step is branch-free:
// base += half when x[base + half] <= t; with random sites a branch there is
// mispredicted half the time. (3) Eight sites are bisected in lockstep, so
// eight independent loads are in flight on a partition larger than the
// cache. The scan then counts the bracket's knots <= t with vector compares.
//
// Invariant: the cell c lies in [base, base + len], knots before base are
// <= t and knots from base + len on are > t, so c = base + (knots <= t in the
// bracket). A NaN site compares false everywhere and gets 0; the first and
// last knots need no special test.
#ifndef ORX_DF_SEARCH_HYBRID_BATCH_H
#define ORX_DF_SEARCH_HYBRID_BATCH_H

#include <cstdint>

#include "df/search/knot_count.h"

namespace orx::df::search {

inline constexpr int64_t kHybridScanKnots = 20;
inline constexpr int kHybridLanes = 16;

struct HybridPlan {
  int steps = 0;
  int64_t half[64];
  int64_t scan = 0;  // bracket length left for the scan, at most 20
};

inline HybridPlan hybrid_plan(int64_t nx) {
  HybridPlan plan;
  int64_t len = nx;
  while (len > kHybridScanKnots) {
    plan.half[plan.steps++] = len / 2;
    len -= len / 2;
  }
  plan.scan = len;
  return plan;
}

// Sites [0, n) -> cells, n at most kLanes.
template <int kLanes, class T, class Index>
inline void hybrid_lanes(const T* x, const HybridPlan& plan, const T* site, int n, Index* cell) {
  int64_t base[kLanes];
  T t[kLanes];
  for (int g = 0; g < kLanes; ++g) {
    base[g] = 0;
    t[g] = site[g < n ? g : 0];
  }
  for (int s = 0; s < plan.steps; ++s) {
    const int64_t half = plan.half[s];
    for (int g = 0; g < kLanes; ++g)
      base[g] += half & -static_cast<int64_t>(x[base[g] + half] <= t[g]);
  }
  for (int g = 0; g < n; ++g)
    cell[g] = static_cast<Index>(base[g] + count_not_greater(x + base[g], plan.scan, t[g]));
}

template <class T, class Index>
inline void hybrid_search(const T* x, int64_t nx, const T* site, int64_t n, Index* cell) {
  const HybridPlan plan = hybrid_plan(nx);
  int64_t i = 0;
  for (; i + kHybridLanes <= n; i += kHybridLanes)
    hybrid_lanes<kHybridLanes>(x, plan, site + i, kHybridLanes, cell + i);
  if (i < n) hybrid_lanes<kHybridLanes>(x, plan, site + i, static_cast<int>(n - i), cell + i);
}

}  // namespace orx::df::search

#endif
