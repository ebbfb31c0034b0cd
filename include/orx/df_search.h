/* Data fitting: cell search. For each site t the cell is the number of knots
   of the task's partition that are <= t: 0 left of x[0], i for
   x[i-1] <= t < x[i], nx on or right of the last knot. Every method gives this
   cell; a NaN site gets 0, -inf 0, +inf nx, and no site value makes a method
   read outside the partition (huge sites are clamped before any integer
   conversion). The sorted method (2) gives max(carried index, cell): it
   never goes back below the index of an earlier site.

   Methods, in table order: 0 uniform, 1 quasi-uniform, 2 sorted sites,
   3 peak, 4 hybrid (default), 5 user-defined, 6 user-defined on a uniform
   partition. */
#ifndef ORX_DF_SEARCH_H
#define ORX_DF_SEARCH_H

#include <stdint.h>

#include "orx/df.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The user's cell search, called with blocks of at most 128 sites: *n sites,
   `cell` and `flag` arrays of 128 entries (zero-filled before the call) for
   it to fill, and the `search_params` given to the search unchanged.
   Result: negative stops the search and is returned as its status (cells of
   earlier blocks are written); 1000 takes every cell of the block as the
   callback left it; anything else takes the callback's cell where its flag
   is non-zero and searches the other sites itself. */
typedef int (*orx_df_dsearch_callback)(int64_t* n, const double* site, int64_t* cell,
                                       int32_t* flag, const void* params);
typedef int (*orx_df_ssearch_callback)(int64_t* n, const float* site, int64_t* cell,
                                       int32_t* flag, const void* params);

/* The reserved argument of the user-defined method kernels (5, 6): the
   callback and its parameters. A null reserved argument (or a null callback)
   searches every site with the library's own rule. */
typedef struct orx_df_dsearch_user {
  orx_df_dsearch_callback callback;
  const void* params;
} orx_df_dsearch_user;
typedef struct orx_df_ssearch_user {
  orx_df_ssearch_callback callback;
  const void* params;
} orx_df_ssearch_user;

/* Flag word of the method kernels: when bit 2 is set, bit 1 chooses the
   width of `cell` (1: int64_t, 0: int32_t); when bit 2 is clear, int64_t. */
#define DF_SEARCH_WIDTH_GIVEN 2
#define DF_SEARCH_WIDTH_64 1

/* The sites' search with the method chosen from the task and the hints
   (first match wins): a callback -> 6 on a uniform partition, else 5;
   uniform partition -> 0; quasi-uniform partition -> 1; sitehint 64 -> 2;
   datahint[1] == 1.0 -> 3 with the peak cell datahint[4] (0..nx, else
   DF_ERR_BAD_PEAK_HINT), datahint[1] neither 0 nor 1.0 -> DF_ERR_BAD_PEAK_HINT;
   otherwise 4. Fewer than 32 sites run on the calling thread, 32 or more
   through the host's parallel runner (services, see orx/host.h; a null table
   runs on the calling thread). `cell` holds int32_t when the task's
   index_width is 0, else int64_t. `reserved` is not read. Status: 0,
   DF_ERR_NULL_TASK, DF_ERR_BAD_PEAK_HINT, or the callback's negative result. */
ORX_API int orx_df_kernel_dDFSearch1D(Task1D* task, const void* reserved, int64_t nsite,
                                      const double* site, int64_t sitehint,
                                      const double* datahint, void* cell,
                                      orx_df_dsearch_callback search_cb,
                                      const void* search_params, const void* const* services);
ORX_API int orx_df_kernel_sDFSearch1D(Task1D* task, const void* reserved, int64_t nsite,
                                      const float* site, int64_t sitehint, const float* datahint,
                                      void* cell, orx_df_ssearch_callback search_cb,
                                      const void* search_params, const void* const* services);

/* Method kernels, on the calling thread. Arguments: nx knots x (for 0 and 6
   only x[0] and x[1], the ends of a uniform partition), nsite sites, the start
   index (read and written by method 2 only: the first site's search starts
   there, and it receives the last site's cell; may be null for the others),
   reserved (methods 5 and 6: a orx_df_?search_user record or null; others:
   not read), cell, the flag word, and the parameter: the reciprocal step
   (nx-1)/(x[1]-x[0]) for 0 and 6, (nx-1)/(x[nx-1]-x[0]) for 1, the peak cell
   for 3, not read by 2, 4 and 5. The parameter is a double in both families
   (a float family's step is computed in float and passes through exactly).
   Inputs are not validated: nx >= 2 and an ascending x are the caller's duty.
   Status: 0, or a user callback's negative result. */
typedef int orx_df_dsearch_kernel(int64_t nx, const double* x, int64_t nsite,
                                  const double* site, int64_t* start, const void* reserved,
                                  void* cell, int64_t flags, double parameter);
typedef int orx_df_ssearch_kernel(int64_t nx, const float* x, int64_t nsite, const float* site,
                                  int64_t* start, const void* reserved, void* cell,
                                  int64_t flags, double parameter);
ORX_API orx_df_dsearch_kernel orx_df_kernel_dDFUniformSearch1D;
ORX_API orx_df_dsearch_kernel orx_df_kernel_dDFQuasiUniformSearch1D;
ORX_API orx_df_dsearch_kernel orx_df_kernel_dDFSortedSearch1D;
ORX_API orx_df_dsearch_kernel orx_df_kernel_dDFPeakSearch1D;
ORX_API orx_df_dsearch_kernel orx_df_kernel_dDFHybridSearch1D;
ORX_API orx_df_dsearch_kernel orx_df_kernel_dDFUserDefSearch1D;
ORX_API orx_df_dsearch_kernel orx_df_kernel_dDFUniUserDefSearch1D;
ORX_API orx_df_ssearch_kernel orx_df_kernel_sDFUniformSearch1D;
ORX_API orx_df_ssearch_kernel orx_df_kernel_sDFQuasiUniformSearch1D;
ORX_API orx_df_ssearch_kernel orx_df_kernel_sDFSortedSearch1D;
ORX_API orx_df_ssearch_kernel orx_df_kernel_sDFPeakSearch1D;
ORX_API orx_df_ssearch_kernel orx_df_kernel_sDFHybridSearch1D;
ORX_API orx_df_ssearch_kernel orx_df_kernel_sDFUserDefSearch1D;
ORX_API orx_df_ssearch_kernel orx_df_kernel_sDFUniUserDefSearch1D;

#ifdef __cplusplus
}
#endif

#endif
