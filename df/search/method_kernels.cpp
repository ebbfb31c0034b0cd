// The exported method kernels: each is plain_kernel<method, precision>
// (search_kernels.h), run on the calling thread.
#include <cstdint>

#include "df/search/search_kernels.h"
#include "df/search/search_methods.h"
#include "orx/df_search.h"

using orx::df::search::plain_kernel;

int orx_df_kernel_dDFUniformSearch1D(int64_t nx, const double* x, int64_t nsite, const double* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::UniformMethod, double>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_dDFQuasiUniformSearch1D(int64_t nx, const double* x, int64_t nsite, const double* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::QuasiUniformMethod, double>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_dDFSortedSearch1D(int64_t nx, const double* x, int64_t nsite, const double* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::SortedMethod, double>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_dDFPeakSearch1D(int64_t nx, const double* x, int64_t nsite, const double* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::PeakMethod, double>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_dDFHybridSearch1D(int64_t nx, const double* x, int64_t nsite, const double* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::HybridMethod, double>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_dDFUserDefSearch1D(int64_t nx, const double* x, int64_t nsite, const double* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::UserDefMethod, double>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_dDFUniUserDefSearch1D(int64_t nx, const double* x, int64_t nsite, const double* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::UniUserDefMethod, double>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_sDFUniformSearch1D(int64_t nx, const float* x, int64_t nsite, const float* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::UniformMethod, float>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_sDFQuasiUniformSearch1D(int64_t nx, const float* x, int64_t nsite, const float* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::QuasiUniformMethod, float>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_sDFSortedSearch1D(int64_t nx, const float* x, int64_t nsite, const float* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::SortedMethod, float>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_sDFPeakSearch1D(int64_t nx, const float* x, int64_t nsite, const float* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::PeakMethod, float>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_sDFHybridSearch1D(int64_t nx, const float* x, int64_t nsite, const float* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::HybridMethod, float>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_sDFUserDefSearch1D(int64_t nx, const float* x, int64_t nsite, const float* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::UserDefMethod, float>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}

int orx_df_kernel_sDFUniUserDefSearch1D(int64_t nx, const float* x, int64_t nsite, const float* site,
    int64_t* start, const void* reserved, void* cell, int64_t flags, double parameter) {
  return plain_kernel<orx::df::search::UniUserDefMethod, float>(nx, x, nsite, site, start, reserved, cell, flags,
                                                   parameter);
}
