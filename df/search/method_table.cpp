// The search-method table (method_table.h) and the names of the threaded
// kernels and their threaders, instances of search_kernels.h's templates.
#include "df/search/method_table.h"

#include "df/search/search_kernels.h"
#include "df/search/search_methods.h"
#include "orx/df_search.h"

namespace orx::df::search {
namespace {

template <class M, class T>
constexpr ThreadedKernel<T>* threaded = &threaded_kernel<M, T>;
template <class M, class T>
constexpr orx_threader_fn lp64 = &search_threader<M, T, int32_t>;
template <class M, class T>
constexpr orx_threader_fn ilp64 = &search_threader<M, T, int64_t>;

template <class T> constexpr auto _v1DSearchUniform = threaded<UniformMethod, T>;
template <class T> constexpr auto _v1DSearchUniformThreaderLP64 = lp64<UniformMethod, T>;
template <class T> constexpr auto _v1DSearchUniformThreaderILP64 = ilp64<UniformMethod, T>;
template <class T> constexpr auto _v1DSearchQuasiUniform = threaded<QuasiUniformMethod, T>;
template <class T> constexpr auto _v1DSearchQuasiUniformThreaderLP64 = lp64<QuasiUniformMethod, T>;
template <class T> constexpr auto _v1DSearchQuasiUniformThreaderILP64 = ilp64<QuasiUniformMethod, T>;
template <class T> constexpr auto _v1DSearchSorted = threaded<SortedMethod, T>;
template <class T> constexpr auto _v1DSearchSortedThreaderLP64 = lp64<SortedMethod, T>;
template <class T> constexpr auto _v1DSearchSortedThreaderILP64 = ilp64<SortedMethod, T>;
template <class T> constexpr auto _v1DSearchPeak = threaded<PeakMethod, T>;
template <class T> constexpr auto _v1DSearchPeakThreaderLP64 = lp64<PeakMethod, T>;
template <class T> constexpr auto _v1DSearchPeakThreaderILP64 = ilp64<PeakMethod, T>;
template <class T> constexpr auto _v1DSearchHybrid = threaded<HybridMethod, T>;
template <class T> constexpr auto _v1DSearchHybridThreaderLP64 = lp64<HybridMethod, T>;
template <class T> constexpr auto _v1DSearchHybridThreaderILP64 = ilp64<HybridMethod, T>;
template <class T> constexpr auto _v1DSearchUserDef = threaded<UserDefMethod, T>;
template <class T> constexpr auto _v1DSearchUserDefUni = threaded<UniUserDefMethod, T>;

}  // namespace

namespace {
const SearchMethodEntry<double> kDoubleMethods[kSearchMethodCount] = {
    {"uniform", orx_df_kernel_dDFUniformSearch1D, _v1DSearchUniform<double>,
     _v1DSearchUniformThreaderLP64<double>, _v1DSearchUniformThreaderILP64<double>},
    {"quasi-uniform", orx_df_kernel_dDFQuasiUniformSearch1D, _v1DSearchQuasiUniform<double>,
     _v1DSearchQuasiUniformThreaderLP64<double>, _v1DSearchQuasiUniformThreaderILP64<double>},
    {"sorted", orx_df_kernel_dDFSortedSearch1D, _v1DSearchSorted<double>,
     _v1DSearchSortedThreaderLP64<double>, _v1DSearchSortedThreaderILP64<double>},
    {"peak", orx_df_kernel_dDFPeakSearch1D, _v1DSearchPeak<double>,
     _v1DSearchPeakThreaderLP64<double>, _v1DSearchPeakThreaderILP64<double>},
    {"hybrid", orx_df_kernel_dDFHybridSearch1D, _v1DSearchHybrid<double>,
     _v1DSearchHybridThreaderLP64<double>, _v1DSearchHybridThreaderILP64<double>},
    {"user-defined", orx_df_kernel_dDFUserDefSearch1D, _v1DSearchUserDef<double>, nullptr, nullptr},
    {"user-defined uniform", orx_df_kernel_dDFUniUserDefSearch1D, _v1DSearchUserDefUni<double>,
     nullptr, nullptr},
};
}  // namespace

namespace {
const SearchMethodEntry<float> kFloatMethods[kSearchMethodCount] = {
    {"uniform", orx_df_kernel_sDFUniformSearch1D, _v1DSearchUniform<float>,
     _v1DSearchUniformThreaderLP64<float>, _v1DSearchUniformThreaderILP64<float>},
    {"quasi-uniform", orx_df_kernel_sDFQuasiUniformSearch1D, _v1DSearchQuasiUniform<float>,
     _v1DSearchQuasiUniformThreaderLP64<float>, _v1DSearchQuasiUniformThreaderILP64<float>},
    {"sorted", orx_df_kernel_sDFSortedSearch1D, _v1DSearchSorted<float>,
     _v1DSearchSortedThreaderLP64<float>, _v1DSearchSortedThreaderILP64<float>},
    {"peak", orx_df_kernel_sDFPeakSearch1D, _v1DSearchPeak<float>,
     _v1DSearchPeakThreaderLP64<float>, _v1DSearchPeakThreaderILP64<float>},
    {"hybrid", orx_df_kernel_sDFHybridSearch1D, _v1DSearchHybrid<float>,
     _v1DSearchHybridThreaderLP64<float>, _v1DSearchHybridThreaderILP64<float>},
    {"user-defined", orx_df_kernel_sDFUserDefSearch1D, _v1DSearchUserDef<float>, nullptr, nullptr},
    {"user-defined uniform", orx_df_kernel_sDFUniUserDefSearch1D, _v1DSearchUserDefUni<float>,
     nullptr, nullptr},
};
}  // namespace

template <>
const SearchMethodEntry<double>* search_methods<double>() {
  return kDoubleMethods;
}

template <>
const SearchMethodEntry<float>* search_methods<float>() {
  return kFloatMethods;
}

}  // namespace orx::df::search
