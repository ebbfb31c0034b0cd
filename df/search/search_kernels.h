// One method kernel and one threaded kernel per method policy
// (search_methods.h), for either precision and either cell width.
//
// Threads: the sites are cut into contiguous shares of at least
// kMinSitesPerShare sites each, one share per thread, as many as the host's
// thread count allows (at most 256): a request below 2 * 4096 sites stays on
// the calling thread, where starting a thread would cost more than the
// search (about 4096 * 10 ns). Each share writes only its own cells; the
// partition is only read.
//
// The sorted method carries an index from site to site. A share after the
// first restarts from max(start, cell of its first site) (a bisection); for
// ascending sites that is what the carried index would be. After the run the
// shares are stitched in order: a share's cells below the index carried out
// of the shares before it are raised to it (they form a prefix of the share,
// NaN sites apart, because carried cells never decrease), so the cells equal
// the single-thread ones for any order of sites.
#ifndef ORX_DF_SEARCH_SEARCH_KERNELS_H
#define ORX_DF_SEARCH_SEARCH_KERNELS_H

#include <algorithm>
#include <cstdint>

#include "df/search/search_args.h"
#include "orx/host.h"

namespace orx::df::search {

inline constexpr int64_t kMinSitesPerShare = 4096;
inline constexpr int64_t kMaxShares = 256;

template <class Method, class T, class Index>
int run_method(const SearchArgs<T>& a, int64_t nsite, Index* cell, int64_t* start) {
  int64_t carry = start != nullptr ? *start : 0;
  const int status = Method::run(a, 0, nsite, cell, carry);
  if (Method::kCarries && start != nullptr) *start = carry;
  return status;
}

// The method kernel: all sites on the calling thread.
template <class Method, class T>
int plain_kernel(int64_t nx, const T* x, int64_t nsite, const T* site, int64_t* start,
                 const void* reserved, void* cell, int64_t flags, double parameter) {
  if (nsite <= 0) return 0;
  const SearchArgs<T> a{nx, x, site, parameter, reserved};
  return wide_cells(flags) ? run_method<Method>(a, nsite, static_cast<int64_t*>(cell), start)
                           : run_method<Method>(a, nsite, static_cast<int32_t*>(cell), start);
}

template <class T>
struct ThreadedJob {
  SearchArgs<T> args;
  int64_t nsite;
  int64_t shares;
  void* cell;
  int64_t start;
  int64_t carried_out[kMaxShares];  // sorted method: each share's last index

  int64_t share_begin(int64_t share) const {
    const int64_t base = nsite / shares, rest = nsite % shares;
    return share * base + std::min(share, rest);
  }
};

// The threader of the host's parallel runner: item = share.
template <class Method, class T, class Index>
void search_threader(int64_t share, int64_t /*thread*/, void* ctx) {
  auto& job = *static_cast<ThreadedJob<T>*>(ctx);
  const int64_t begin = job.share_begin(share), end = job.share_begin(share + 1);
  int64_t carry = share == 0 ? job.start : Method::restart(job.args, begin, job.start);
  Method::run(job.args, begin, end, static_cast<Index*>(job.cell), carry);
  job.carried_out[share] = carry;
}

// Sorted method after a threaded run (see the file's head).
template <class T, class Index>
int64_t stitch_sorted_shares(ThreadedJob<T>& job) {
  auto* cell = static_cast<Index*>(job.cell);
  int64_t carried = job.carried_out[0];
  for (int64_t share = 1; share < job.shares; ++share) {
    for (int64_t i = job.share_begin(share), end = job.share_begin(share + 1); i < end; ++i) {
      const T t = job.args.site[i];
      if (t != t) continue;
      if (cell[i] >= carried) break;
      cell[i] = static_cast<Index>(carried);
    }
    carried = std::max(carried, job.carried_out[share]);
  }
  return carried;
}

inline int64_t share_count(int64_t nsite, const void* const* services) {
  if (services == nullptr) return 1;
  const auto threads = reinterpret_cast<orx_host_num_threads_fn>(services[ORX_HOST_NUM_THREADS])();
  return std::clamp(std::min(threads, nsite / kMinSitesPerShare), int64_t{1}, kMaxShares);
}

template <class Method, class T, class Index>
int run_threaded(const SearchArgs<T>& a, int64_t nsite, Index* cell, int64_t* start, int64_t shares,
                 const void* const* services) {
  ThreadedJob<T> job{a, nsite, shares, cell, start != nullptr ? *start : 0, {}};
  const auto run = reinterpret_cast<orx_host_run_fn>(services[ORX_HOST_RUN]);
  run(&search_threader<Method, T, Index>, shares, shares, &job);
  if constexpr (Method::kCarries) {
    const int64_t last = stitch_sorted_shares<T, Index>(job);
    if (start != nullptr) *start = last;
  }
  return 0;
}

// The threaded kernel: shares of the sites on the host's threads. Methods
// that may not be split (the user-defined ones) and small requests run on
// the calling thread.
template <class Method, class T>
int threaded_kernel(int64_t nx, const T* x, int64_t nsite, const T* site, int64_t* start,
                    const void* reserved, void* cell, int64_t flags, double parameter,
                    const void* const* services) {
  const int64_t shares = Method::kThreaded ? share_count(nsite, services) : 1;
  if (shares <= 1) return plain_kernel<Method, T>(nx, x, nsite, site, start, reserved, cell, flags, parameter);
  const SearchArgs<T> a{nx, x, site, parameter, reserved};
  return wide_cells(flags)
             ? run_threaded<Method>(a, nsite, static_cast<int64_t*>(cell), start, shares, services)
             : run_threaded<Method>(a, nsite, static_cast<int32_t*>(cell), start, shares, services);
}

}  // namespace orx::df::search

#endif
