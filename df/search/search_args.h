// What every search method reads: the partition, the sites, the method's
// parameter and the reserved record; and the width of the cells it writes.
#ifndef ORX_DF_SEARCH_SEARCH_ARGS_H
#define ORX_DF_SEARCH_SEARCH_ARGS_H

#include <cstdint>

#include "orx/df_search.h"

namespace orx::df::search {

template <class T>
struct SearchArgs {
  int64_t nx;
  const T* x;
  const T* site;
  double parameter;
  const void* reserved;
};

// Flag word of the method kernels: with DF_SEARCH_WIDTH_GIVEN set,
// DF_SEARCH_WIDTH_64 chooses int64_t cells; without it cells are int64_t.
inline bool wide_cells(int64_t flags) {
  return (flags & DF_SEARCH_WIDTH_GIVEN) == 0 || (flags & DF_SEARCH_WIDTH_64) != 0;
}

// A method kernel's signature, and the threaded kernel's (the same plus the
// host's service table).
template <class T>
using PlainKernel = int(int64_t nx, const T* x, int64_t nsite, const T* site, int64_t* start,
                        const void* reserved, void* cell, int64_t flags, double parameter);
template <class T>
using ThreadedKernel = int(int64_t nx, const T* x, int64_t nsite, const T* site, int64_t* start,
                           const void* reserved, void* cell, int64_t flags, double parameter,
                           const void* const* services);

}  // namespace orx::df::search

#endif
