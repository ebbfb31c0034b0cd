// The editor ids of a summary-statistics task: for each id, whether the
// integer or the floating-point editors accept it, the record field it sets
// and the status a null pointer gives. The single-field editors and the
// grouped editors both go through this table, so an id's field is written
// down once.
#ifndef ORX_SS_TASK_FIELD_TABLE_H
#define ORX_SS_TASK_FIELD_TABLE_H

#include <array>
#include <cstddef>
#include <cstring>

#include "orx/ss.h"

namespace orx::ss {

enum class FieldKind : unsigned char { kInteger, kFloating };

struct FieldEntry {
  int id;
  FieldKind kind;
  size_t offset;  // of the pointer field in SummaryStatsTask
  int null_status;
};

namespace field_table_detail {

constexpr FieldKind I = FieldKind::kInteger;
constexpr FieldKind F = FieldKind::kFloating;

#define ORX_SS_FIELD(id, kind, member, status) \
  FieldEntry { id, kind, offsetof(SummaryStatsTask, member), status }

inline constexpr std::array<FieldEntry, 66> kFields = {{
    ORX_SS_FIELD(SS_ED_DIMEN, I, dimension, SS_ERR_BAD_DIMEN),
    ORX_SS_FIELD(SS_ED_OBSERV_N, I, observation_count, SS_ERR_BAD_OBSERV_N),
    ORX_SS_FIELD(SS_ED_OBSERV, F, observations, SS_ERR_BAD_OBSERV_ADDR),
    ORX_SS_FIELD(SS_ED_OBSERV_STORAGE, I, storage, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_INDC, I, indices, SS_ERR_BAD_INDC_ADDR),
    ORX_SS_FIELD(SS_ED_WEIGHTS, F, weights, SS_ERR_BAD_WEIGHTS),
    ORX_SS_FIELD(SS_ED_MEAN, F, mean, SS_ERR_BAD_MEAN_ADDR),
    ORX_SS_FIELD(SS_ED_2R_MOM, F, raw_moment[0], SS_ERR_BAD_2R_MOM_ADDR),
    ORX_SS_FIELD(SS_ED_3R_MOM, F, raw_moment[1], SS_ERR_BAD_3R_MOM_ADDR),
    ORX_SS_FIELD(SS_ED_4R_MOM, F, raw_moment[2], SS_ERR_BAD_4R_MOM_ADDR),
    ORX_SS_FIELD(SS_ED_2C_MOM, F, central_moment[0], SS_ERR_BAD_2C_MOM_ADDR),
    ORX_SS_FIELD(SS_ED_3C_MOM, F, central_moment[1], SS_ERR_BAD_3C_MOM_ADDR),
    ORX_SS_FIELD(SS_ED_4C_MOM, F, central_moment[2], SS_ERR_BAD_4C_MOM_ADDR),
    ORX_SS_FIELD(SS_ED_KURTOSIS, F, kurtosis, SS_ERR_BAD_KURTOSIS_ADDR),
    ORX_SS_FIELD(SS_ED_SKEWNESS, F, skewness, SS_ERR_BAD_SKEWNESS_ADDR),
    ORX_SS_FIELD(SS_ED_MIN, F, minimum, SS_ERR_BAD_MIN_ADDR),
    ORX_SS_FIELD(SS_ED_MAX, F, maximum, SS_ERR_BAD_MAX_ADDR),
    ORX_SS_FIELD(SS_ED_VARIATION, F, variation, SS_ERR_BAD_VARIATION_ADDR),
    ORX_SS_FIELD(SS_ED_COV, F, cov, SS_ERR_BAD_COV_ADDR),
    ORX_SS_FIELD(SS_ED_COV_STORAGE, I, cov_storage, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_COR, F, cor, SS_ERR_BAD_COR_ADDR),
    ORX_SS_FIELD(SS_ED_COR_STORAGE, I, cor_storage, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_ACCUM_WEIGHT, F, accumulated_weights, SS_ERR_BAD_ACCUM_WEIGHT_ADDR),
    ORX_SS_FIELD(SS_ED_QUANT_ORDER_N, I, quantile_order_count, SS_ERR_BAD_QUANT_ORDER_N_ADDR),
    ORX_SS_FIELD(SS_ED_QUANT_ORDER, F, quantile_orders, SS_ERR_BAD_QUANT_ORDER_ADDR),
    ORX_SS_FIELD(SS_ED_QUANT_QUANTILES, F, quantiles, SS_ERR_BAD_QUANT_ADDR),
    ORX_SS_FIELD(SS_ED_ORDER_STATS, F, order_stats, SS_ERR_BAD_ORDER_STATS_ADDR),
    ORX_SS_FIELD(SS_ED_GROUP_INDC, I, group_indices, SS_ERR_BAD_GROUP_INDC),
    ORX_SS_FIELD(SS_ED_POOLED_COV_STORAGE, I, pooled_cov_storage, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_POOLED_MEAN, F, pooled_mean, SS_ERR_BAD_POOLED_MEAN_ADDR),
    ORX_SS_FIELD(SS_ED_POOLED_COV, F, pooled_cov, SS_ERR_BAD_POOLED_COV_ADDR),
    ORX_SS_FIELD(SS_ED_REQ_GROUP_INDC, I, requested_group_indices, SS_ERR_BAD_GROUP_INDC),
    ORX_SS_FIELD(SS_ED_GROUP_MEAN, F, group_means, SS_ERR_BAD_GROUP_MEAN_ADDR),
    ORX_SS_FIELD(SS_ED_GROUP_COV_STORAGE, I, group_cov_storage, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_GROUP_COV, F, group_covs, SS_ERR_BAD_GROUP_COV_ADDR),
    ORX_SS_FIELD(SS_ED_ROBUST_COV_STORAGE, I, robust_method, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_ROBUST_COV_PARAMS_N, I, robust_param_count, SS_ERR_BAD_ROBUST_PARAMS_N_ADDR),
    ORX_SS_FIELD(SS_ED_ROBUST_COV_PARAMS, F, robust_params, SS_ERR_BAD_ROBUST_PARAMS_ADDR),
    ORX_SS_FIELD(SS_ED_ROBUST_MEAN, F, robust_mean, SS_ERR_BAD_ROBUST_MEAN_ADDR),
    ORX_SS_FIELD(SS_ED_ROBUST_COV, F, robust_cov, SS_ERR_BAD_ROBUST_COV_ADDR),
    ORX_SS_FIELD(SS_ED_OUTLIERS_PARAMS_N, I, outlier_param_count, SS_ERR_BAD_OUTL_PARAMS_N_ADDR),
    ORX_SS_FIELD(SS_ED_OUTLIERS_PARAMS, F, outlier_params, SS_ERR_BAD_OUTL_PARAMS_ADDR),
    ORX_SS_FIELD(SS_ED_OUTLIERS_WEIGHT, F, outlier_weights, SS_ERR_BAD_OUTL_WEIGHTS_ADDR),
    ORX_SS_FIELD(SS_ED_ORDER_STATS_STORAGE, I, order_stats_storage, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_PARTIAL_COV_IDX, I, partial_cov_indices, SS_ERR_BAD_PARTIAL_COV_IDX_ADDR),
    ORX_SS_FIELD(SS_ED_PARTIAL_COV, F, partial_cov, SS_ERR_BAD_PARTIAL_COV_ADDR),
    ORX_SS_FIELD(SS_ED_PARTIAL_COV_STORAGE, I, partial_cov_storage, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_PARTIAL_COR, F, partial_cor, SS_ERR_BAD_PARTIAL_COR_ADDR),
    ORX_SS_FIELD(SS_ED_PARTIAL_COR_STORAGE, I, partial_cor_storage, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_MI_PARAMS_N, I, missing_param_count, SS_ERR_BAD_MI_PARAMS_N_ADDR),
    ORX_SS_FIELD(SS_ED_MI_PARAMS, F, missing_params, SS_ERR_BAD_MI_PARAMS_ADDR),
    ORX_SS_FIELD(SS_ED_MI_INIT_ESTIMATES_N, I, initial_estimate_count,
                 SS_ERR_BAD_MI_INIT_ESTIMATES_N_ADDR),
    ORX_SS_FIELD(SS_ED_MI_INIT_ESTIMATES, F, initial_estimates, SS_ERR_BAD_MI_INIT_ESTIMATES_ADDR),
    ORX_SS_FIELD(SS_ED_MI_SIMUL_VALS_N, I, simulated_missing_count,
                 SS_ERR_BAD_MI_SIMUL_VALS_N_ADDR),
    ORX_SS_FIELD(SS_ED_MI_SIMUL_VALS, F, simulated_missing, SS_ERR_BAD_MI_SIMUL_VALS_ADDR),
    ORX_SS_FIELD(SS_ED_MI_ESTIMATES_N, I, estimate_count, SS_ERR_BAD_MI_ESTIMATES_N_ADDR),
    ORX_SS_FIELD(SS_ED_MI_ESTIMATES, F, estimates, SS_ERR_BAD_MI_ESTIMATES_ADDR),
    ORX_SS_FIELD(SS_ED_MI_PRIOR_N, I, prior_count, SS_ERR_BAD_MI_PRIOR_N_ADDR),
    ORX_SS_FIELD(SS_ED_MI_PRIOR, F, prior, SS_ERR_BAD_MI_PRIOR_ADDR),
    ORX_SS_FIELD(SS_ED_PARAMTR_COR, F, parametrized_cor, SS_ERR_BAD_PARAMTR_COR_ADDR),
    ORX_SS_FIELD(SS_ED_PARAMTR_COR_STORAGE, I, parametrized_cor_storage, SS_ERR_BAD_STORAGE_ADDR),
    ORX_SS_FIELD(SS_ED_STREAM_QUANT_PARAMS_N, I, stream_quantile_param_count,
                 SS_ERR_BAD_STREAM_QUANT_PARAMS_N_ADDR),
    ORX_SS_FIELD(SS_ED_STREAM_QUANT_PARAMS, F, stream_quantile_params,
                 SS_ERR_BAD_STREAM_QUANT_PARAMS_ADDR),
    ORX_SS_FIELD(SS_ED_STREAM_QUANT_ORDER_N, I, stream_quantile_order_count,
                 SS_ERR_BAD_STREAM_QUANT_ORDER_N_ADDR),
    ORX_SS_FIELD(SS_ED_STREAM_QUANT_ORDER, F, stream_quantile_orders,
                 SS_ERR_BAD_STREAM_QUANT_ORDER_ADDR),
    ORX_SS_FIELD(SS_ED_STREAM_QUANT_QUANTILES, F, stream_quantiles, SS_ERR_BAD_STREAM_QUANT_ADDR),
}};

#undef ORX_SS_FIELD

// Entry k describes id k + 1: the lookup below indexes by id.
constexpr bool ids_follow_positions() {
  for (size_t k = 0; k < kFields.size(); ++k)
    if (kFields[k].id != static_cast<int>(k) + 1) return false;
  return true;
}
static_assert(ids_follow_positions());

}  // namespace field_table_detail

// The entry of `id`, or null for an id no editor knows.
inline const FieldEntry* field_entry(int id) {
  const auto& fields = field_table_detail::kFields;
  if (id < 1 || id > static_cast<int>(fields.size())) return nullptr;
  return &fields[static_cast<size_t>(id - 1)];
}

// Every field of the table is a pointer (void* or const void*, the same
// representation), so one byte copy stores any of them.
inline void store_field(SummaryStatsTask& task, const FieldEntry& entry, const void* pointer) {
  std::memcpy(reinterpret_cast<unsigned char*>(&task) + entry.offset, &pointer, sizeof pointer);
}

}  // namespace orx::ss

#endif
