// The grouped editors: each sets a related set of fields in one call, a null
// argument leaving its field as it is. Each group is a list of (id, pointer)
// pairs resolved through the id table; the d and s entry points are
// instantiated from one macro, the record being the same for both.
#include <initializer_list>

#include "orx/ss.h"
#include "vsl/ss/task/field_table.h"

namespace orx::ss {
namespace {

struct FieldUpdate {
  int id;
  const void* pointer;
};

int set_fields(SummaryStatsTask* task, std::initializer_list<FieldUpdate> updates) {
  if (task == nullptr) return SS_ERR_NULL_TASK;
  for (const FieldUpdate& update : updates)
    if (update.pointer != nullptr) store_field(*task, *field_entry(update.id), update.pointer);
  return SS_STATUS_OK;
}

}  // namespace
}  // namespace orx::ss

using orx::ss::set_fields;

#define ORX_SS_GROUPED_EDITORS(P, T)                                                               \
  int __vsl##P##SSEditMoments(SummaryStatsTask* task, const T* mean, const T* raw2, const T* raw3, \
                              const T* raw4, const T* central2, const T* central3,                 \
                              const T* central4) {                                                 \
    return set_fields(task, {{SS_ED_MEAN, mean},                                                   \
                             {SS_ED_2R_MOM, raw2},                                                 \
                             {SS_ED_3R_MOM, raw3},                                                 \
                             {SS_ED_4R_MOM, raw4},                                                 \
                             {SS_ED_2C_MOM, central2},                                             \
                             {SS_ED_3C_MOM, central3},                                             \
                             {SS_ED_4C_MOM, central4}});                                           \
  }                                                                                                \
  int __vsl##P##SSEditCovCor(SummaryStatsTask* task, const T* mean, const T* cov,                  \
                             const void* cov_storage, const T* cor, const void* cor_storage) {     \
    return set_fields(task, {{SS_ED_MEAN, mean},                                                   \
                             {SS_ED_COV, cov},                                                     \
                             {SS_ED_COV_STORAGE, cov_storage},                                     \
                             {SS_ED_COR, cor},                                                     \
                             {SS_ED_COR_STORAGE, cor_storage}});                                   \
  }                                                                                                \
  int __vsl##P##SSEditPartialCovCor(                                                               \
      SummaryStatsTask* task, const void* partial_cov_indices, const T* cov,                       \
      const void* cov_storage, const T* cor, const void* cor_storage, const T* partial_cov,        \
      const void* partial_cov_storage, const T* partial_cor, const void* partial_cor_storage) {    \
    return set_fields(task, {{SS_ED_PARTIAL_COV_IDX, partial_cov_indices},                         \
                             {SS_ED_COV, cov},                                                     \
                             {SS_ED_COV_STORAGE, cov_storage},                                     \
                             {SS_ED_COR, cor},                                                     \
                             {SS_ED_COR_STORAGE, cor_storage},                                     \
                             {SS_ED_PARTIAL_COV, partial_cov},                                     \
                             {SS_ED_PARTIAL_COV_STORAGE, partial_cov_storage},                     \
                             {SS_ED_PARTIAL_COR, partial_cor},                                     \
                             {SS_ED_PARTIAL_COR_STORAGE, partial_cor_storage}});                   \
  }                                                                                                \
  int __vsl##P##SSEditQuantiles(SummaryStatsTask* task, const void* order_count, const T* orders,  \
                                const T* quantiles, const T* order_stats,                          \
                                const void* order_stats_storage) {                                 \
    return set_fields(task, {{SS_ED_QUANT_ORDER_N, order_count},                                   \
                             {SS_ED_QUANT_ORDER, orders},                                          \
                             {SS_ED_QUANT_QUANTILES, quantiles},                                   \
                             {SS_ED_ORDER_STATS, order_stats},                                     \
                             {SS_ED_ORDER_STATS_STORAGE, order_stats_storage}});                   \
  }                                                                                                \
  int __vsl##P##SSEditStreamQuantiles(SummaryStatsTask* task, const void* order_count,             \
                                      const T* orders, const T* quantiles,                         \
                                      const void* param_count, const T* params) {                  \
    return set_fields(task, {{SS_ED_STREAM_QUANT_ORDER_N, order_count},                            \
                             {SS_ED_STREAM_QUANT_ORDER, orders},                                   \
                             {SS_ED_STREAM_QUANT_QUANTILES, quantiles},                            \
                             {SS_ED_STREAM_QUANT_PARAMS_N, param_count},                           \
                             {SS_ED_STREAM_QUANT_PARAMS, params}});                                \
  }                                                                                                \
  int __vsl##P##SSEditPooledCovariance(SummaryStatsTask* task, const void* group_indices,          \
                                       const T* pooled_mean, const T* pooled_cov,                  \
                                       const void* requested_group_indices, const T* group_means,  \
                                       const T* group_covs) {                                      \
    return set_fields(task, {{SS_ED_GROUP_INDC, group_indices},                                    \
                             {SS_ED_POOLED_MEAN, pooled_mean},                                     \
                             {SS_ED_POOLED_COV, pooled_cov},                                       \
                             {SS_ED_REQ_GROUP_INDC, requested_group_indices},                      \
                             {SS_ED_GROUP_MEAN, group_means},                                      \
                             {SS_ED_GROUP_COV, group_covs}});                                      \
  }                                                                                                \
  int __vsl##P##SSEditRCov(SummaryStatsTask* task, const void* method, const void* param_count,    \
                           const T* params, const T* robust_mean, const T* robust_cov) {           \
    return set_fields(task, {{SS_ED_ROBUST_COV_STORAGE, method},                                   \
                             {SS_ED_ROBUST_COV_PARAMS_N, param_count},                             \
                             {SS_ED_ROBUST_COV_PARAMS, params},                                    \
                             {SS_ED_ROBUST_MEAN, robust_mean},                                     \
                             {SS_ED_ROBUST_COV, robust_cov}});                                     \
  }                                                                                                \
  int __vsl##P##SSEditOutDetect(SummaryStatsTask* task, const void* param_count, const T* params,  \
                                const T* outlier_weights) {                                        \
    return set_fields(task, {{SS_ED_OUTLIERS_PARAMS_N, param_count},                               \
                             {SS_ED_OUTLIERS_PARAMS, params},                                      \
                             {SS_ED_OUTLIERS_WEIGHT, outlier_weights}});                           \
  }                                                                                                \
  int __vsl##P##SSEditMissingVals(SummaryStatsTask* task, const void* param_count,                 \
                                  const T* params, const void* initial_count,                      \
                                  const T* initial_estimates, const void* prior_count,             \
                                  const T* prior, const void* simulated_count, const T* simulated, \
                                  const void* estimate_count, const T* estimates) {                \
    return set_fields(task, {{SS_ED_MI_PARAMS_N, param_count},                                     \
                             {SS_ED_MI_PARAMS, params},                                            \
                             {SS_ED_MI_INIT_ESTIMATES_N, initial_count},                           \
                             {SS_ED_MI_INIT_ESTIMATES, initial_estimates},                         \
                             {SS_ED_MI_PRIOR_N, prior_count},                                      \
                             {SS_ED_MI_PRIOR, prior},                                              \
                             {SS_ED_MI_SIMUL_VALS_N, simulated_count},                             \
                             {SS_ED_MI_SIMUL_VALS, simulated},                                     \
                             {SS_ED_MI_ESTIMATES_N, estimate_count},                               \
                             {SS_ED_MI_ESTIMATES, estimates}});                                    \
  }                                                                                                \
  int __vsl##P##SSEditMtxParametrz(SummaryStatsTask* task, const T* cor, const void* cor_storage,  \
                                   const T* parametrized_cor,                                      \
                                   const void* parametrized_cor_storage) {                         \
    return set_fields(task, {{SS_ED_COR, cor},                                                     \
                             {SS_ED_COR_STORAGE, cor_storage},                                     \
                             {SS_ED_PARAMTR_COR, parametrized_cor},                                \
                             {SS_ED_PARAMTR_COR_STORAGE, parametrized_cor_storage}});              \
  }

ORX_SS_GROUPED_EDITORS(d, double)
ORX_SS_GROUPED_EDITORS(s, float)
