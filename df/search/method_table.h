// The table of search methods, in method-number order (0 uniform,
// 1 quasi-uniform, 2 sorted, 3 peak, 4 hybrid, 5 user-defined, 6 user-defined
// on a uniform partition): per precision, each method's kernel, its threaded
// kernel, and the threaders that kernel hands to the host's runner (LP64
// writes 32-bit cells, ILP64 64-bit ones; null for the user-defined methods,
// whose blocks run on the calling thread).
#ifndef ORX_DF_SEARCH_METHOD_TABLE_H
#define ORX_DF_SEARCH_METHOD_TABLE_H

#include <cstdint>

#include "df/search/search_args.h"
#include "orx/host.h"

namespace orx::df::search {

enum SearchMethodId : int {
  kUniformSearch = 0,
  kQuasiUniformSearch = 1,
  kSortedSearch = 2,
  kPeakSearch = 3,
  kHybridSearch = 4,
  kUserDefSearch = 5,
  kUniUserDefSearch = 6,
  kSearchMethodCount = 7
};

template <class T>
struct SearchMethodEntry {
  const char* name;
  PlainKernel<T>* kernel;
  ThreadedKernel<T>* threaded;
  orx_threader_fn threader_lp64;
  orx_threader_fn threader_ilp64;
};

// The kSearchMethodCount entries of precision T.
template <class T>
const SearchMethodEntry<T>* search_methods();
template <>
const SearchMethodEntry<double>* search_methods<double>();
template <>
const SearchMethodEntry<float>* search_methods<float>();

}  // namespace orx::df::search

#endif
