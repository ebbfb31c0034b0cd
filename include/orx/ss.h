/* Summary statistics: the task record, its editors, the status codes and the
   basic estimates (mean, raw and central moments, skewness, kurtosis,
   variation coefficient, covariance, correlation).

   A task describes a data set the caller owns: p variables observed n times,
   optional weights and variable indices, and where each result goes. The
   record holds pointers only; every array and integer parameter is read at
   compute time, so the data may change between two computes without editing
   the task. The double (d) and single (s) families share the record: in a
   single task every floating-point array holds floats.

   Nothing here throws, aborts or prints; the status code is the only report.
   A task is not locked: editing it while another thread computes with it is
   the caller's affair. */
#ifndef ORX_SS_H
#define ORX_SS_H

#include <stdint.h>

#include "orx/export.h"

/* ---- statuses (0 success, negative failure) ---------------------------- */
#define SS_STATUS_OK 0
#define SS_ERR_BAD_PARAM_ID (-3)          /* id unknown to the editor, or of the other kind */
#define SS_ERR_ALLOC (-4000)              /* the host allocator returned null */
#define SS_ERR_BAD_DIMEN (-4001)          /* dimension pointer null or p <= 0 */
#define SS_ERR_BAD_OBSERV_N (-4002)       /* observation-count pointer null or n <= 0 */
#define SS_ERR_STORAGE_NOT_SUPPORTED (-4003)
#define SS_ERR_BAD_INDC_ADDR (-4004)
#define SS_ERR_BAD_WEIGHTS (-4005)
#define SS_ERR_BAD_MEAN_ADDR (-4006)
#define SS_ERR_BAD_2R_MOM_ADDR (-4007)
#define SS_ERR_BAD_3R_MOM_ADDR (-4008)
#define SS_ERR_BAD_4R_MOM_ADDR (-4009)
#define SS_ERR_BAD_2C_MOM_ADDR (-4010)
#define SS_ERR_BAD_3C_MOM_ADDR (-4011)
#define SS_ERR_BAD_4C_MOM_ADDR (-4012)
#define SS_ERR_BAD_KURTOSIS_ADDR (-4013)
#define SS_ERR_BAD_SKEWNESS_ADDR (-4014)
#define SS_ERR_BAD_MIN_ADDR (-4015)
#define SS_ERR_BAD_MAX_ADDR (-4016)
#define SS_ERR_BAD_VARIATION_ADDR (-4017)
#define SS_ERR_BAD_COV_ADDR (-4018)
#define SS_ERR_BAD_COR_ADDR (-4019)
#define SS_ERR_BAD_ACCUM_WEIGHT_ADDR (-4020)
#define SS_ERR_BAD_QUANT_ORDER_ADDR (-4021)
#define SS_ERR_BAD_QUANT_ORDER_N_ADDR (-4022)
#define SS_ERR_BAD_QUANT_ADDR (-4023)
#define SS_ERR_BAD_ORDER_STATS_ADDR (-4024)
#define SS_ERR_BAD_ROBUST_COV_ADDR (-4027)
#define SS_ERR_BAD_ROBUST_MEAN_ADDR (-4028)
#define SS_ERR_METHOD_NOT_SUPPORTED (-4029)
#define SS_ERR_NULL_GROUP_INDC (-4030) /* pooled covariance compute without group indices */
#define SS_ERR_NULL_TASK (-4031)
#define SS_ERR_BAD_OBSERV_ADDR (-4032)
#define SS_ERR_BAD_POOLED_COV_ADDR (-4034)
#define SS_ERR_BAD_POOLED_MEAN_ADDR (-4035)
#define SS_ERR_BAD_GROUP_COV_ADDR (-4036)
#define SS_ERR_BAD_GROUP_MEAN_ADDR (-4037)
#define SS_ERR_BAD_GROUP_INDC (-4038)
#define SS_ERR_BAD_OUTL_PARAMS_ADDR (-4039)
#define SS_ERR_BAD_OUTL_PARAMS_N_ADDR (-4040)
#define SS_ERR_BAD_OUTL_WEIGHTS_ADDR (-4041)
#define SS_ERR_BAD_ROBUST_PARAMS_ADDR (-4042)
#define SS_ERR_BAD_ROBUST_PARAMS_N_ADDR (-4043)
#define SS_ERR_BAD_STORAGE_ADDR (-4044) /* every integer code field: storages, robust method */
#define SS_ERR_BAD_PARTIAL_COV_IDX_ADDR (-4045)
#define SS_ERR_BAD_PARTIAL_COV_ADDR (-4046)
#define SS_ERR_BAD_PARTIAL_COR_ADDR (-4047)
#define SS_ERR_BAD_MI_PARAMS_ADDR (-4048)
#define SS_ERR_BAD_MI_PARAMS_N_ADDR (-4049)
#define SS_ERR_BAD_MI_INIT_ESTIMATES_N_ADDR (-4052)
#define SS_ERR_BAD_MI_INIT_ESTIMATES_ADDR (-4053)
#define SS_ERR_BAD_MI_SIMUL_VALS_ADDR (-4054)
#define SS_ERR_BAD_MI_SIMUL_VALS_N_ADDR (-4055)
#define SS_ERR_BAD_MI_ESTIMATES_N_ADDR (-4056)
#define SS_ERR_BAD_MI_ESTIMATES_ADDR (-4057)
#define SS_ERR_BAD_MI_PRIOR_N_ADDR (-4061)
#define SS_ERR_BAD_MI_PRIOR_ADDR (-4062)
#define SS_ERR_BAD_STREAM_QUANT_PARAMS_ADDR (-4065)
#define SS_ERR_BAD_STREAM_QUANT_PARAMS_N_ADDR (-4066)
#define SS_ERR_BAD_STREAM_QUANT_ORDER_ADDR (-4068)
#define SS_ERR_BAD_STREAM_QUANT_ORDER_N_ADDR (-4069)
#define SS_ERR_BAD_STREAM_QUANT_ADDR (-4070)
#define SS_ERR_BAD_PARAMTR_COR_ADDR (-4071)

/* ---- parameter identifiers of the editors ------------------------------- */
/* I: integer editor (__vsliSSEditTask), F: floating-point editors. */
#define SS_ED_DIMEN 1                /* I */
#define SS_ED_OBSERV_N 2             /* I */
#define SS_ED_OBSERV 3               /* F */
#define SS_ED_OBSERV_STORAGE 4       /* I */
#define SS_ED_INDC 5                 /* I */
#define SS_ED_WEIGHTS 6              /* F */
#define SS_ED_MEAN 7                 /* F */
#define SS_ED_2R_MOM 8               /* F */
#define SS_ED_3R_MOM 9               /* F */
#define SS_ED_4R_MOM 10              /* F */
#define SS_ED_2C_MOM 11              /* F */
#define SS_ED_3C_MOM 12              /* F */
#define SS_ED_4C_MOM 13              /* F */
#define SS_ED_KURTOSIS 14            /* F */
#define SS_ED_SKEWNESS 15            /* F */
#define SS_ED_MIN 16                 /* F */
#define SS_ED_MAX 17                 /* F */
#define SS_ED_VARIATION 18           /* F */
#define SS_ED_COV 19                 /* F */
#define SS_ED_COV_STORAGE 20         /* I */
#define SS_ED_COR 21                 /* F */
#define SS_ED_COR_STORAGE 22         /* I */
#define SS_ED_ACCUM_WEIGHT 23        /* F */
#define SS_ED_QUANT_ORDER_N 24       /* I */
#define SS_ED_QUANT_ORDER 25         /* F */
#define SS_ED_QUANT_QUANTILES 26     /* F */
#define SS_ED_ORDER_STATS 27         /* F */
#define SS_ED_GROUP_INDC 28          /* I */
#define SS_ED_POOLED_COV_STORAGE 29  /* I */
#define SS_ED_POOLED_MEAN 30         /* F */
#define SS_ED_POOLED_COV 31          /* F */
#define SS_ED_REQ_GROUP_INDC 32      /* I */
#define SS_ED_GROUP_MEAN 33          /* F */
#define SS_ED_GROUP_COV_STORAGE 34   /* I */
#define SS_ED_GROUP_COV 35           /* F */
#define SS_ED_ROBUST_COV_STORAGE 36  /* I: robust-covariance method */
#define SS_ED_ROBUST_COV_PARAMS_N 37 /* I */
#define SS_ED_ROBUST_COV_PARAMS 38   /* F */
#define SS_ED_ROBUST_MEAN 39         /* F */
#define SS_ED_ROBUST_COV 40          /* F */
#define SS_ED_OUTLIERS_PARAMS_N 41   /* I */
#define SS_ED_OUTLIERS_PARAMS 42     /* F */
#define SS_ED_OUTLIERS_WEIGHT 43     /* F */
#define SS_ED_ORDER_STATS_STORAGE 44 /* I */
#define SS_ED_PARTIAL_COV_IDX 45     /* I */
#define SS_ED_PARTIAL_COV 46         /* F */
#define SS_ED_PARTIAL_COV_STORAGE 47 /* I */
#define SS_ED_PARTIAL_COR 48         /* F */
#define SS_ED_PARTIAL_COR_STORAGE 49 /* I */
#define SS_ED_MI_PARAMS_N 50         /* I */
#define SS_ED_MI_PARAMS 51           /* F */
#define SS_ED_MI_INIT_ESTIMATES_N 52 /* I */
#define SS_ED_MI_INIT_ESTIMATES 53   /* F */
#define SS_ED_MI_SIMUL_VALS_N 54     /* I */
#define SS_ED_MI_SIMUL_VALS 55       /* F */
#define SS_ED_MI_ESTIMATES_N 56      /* I */
#define SS_ED_MI_ESTIMATES 57        /* F */
#define SS_ED_MI_PRIOR_N 58          /* I */
#define SS_ED_MI_PRIOR 59            /* F */
#define SS_ED_PARAMTR_COR 60         /* F */
#define SS_ED_PARAMTR_COR_STORAGE 61 /* I */
#define SS_ED_STREAM_QUANT_PARAMS_N 62 /* I */
#define SS_ED_STREAM_QUANT_PARAMS 63   /* F */
#define SS_ED_STREAM_QUANT_ORDER_N 64  /* I */
#define SS_ED_STREAM_QUANT_ORDER 65    /* F */
#define SS_ED_STREAM_QUANT_QUANTILES 66 /* F */

/* ---- storage codes ------------------------------------------------------ */
/* Observation matrix (p variables x n observations). Rows: variable i's
   observations are contiguous, element (i, j) at i*n + j. Columns:
   observation j's values are contiguous, element (i, j) at j*p + i. */
#define SS_MATRIX_STORAGE_ROWS 0x10000
#define SS_MATRIX_STORAGE_COLS 0x20000
/* p x p symmetric results (covariance, correlation, ...). A null storage
   field reads as full. Full: p*p elements, both triangles written. Bit 0x2
   (checked first): the lower triangle packed column by column, element
   (i, k), i >= k, at (i - k) + k*(2p - k + 1)/2. Bit 0x1: the upper triangle
   packed column by column, element (i, k), i <= k, at i + k*(k + 1)/2. */
#define SS_MATRIX_STORAGE_FULL 0x0
#define SS_MATRIX_STORAGE_U_PACKED 0x1
#define SS_MATRIX_STORAGE_L_PACKED 0x2

/* ---- estimate bits and methods ------------------------------------------ */
#define SS_MEAN 0x1ULL
#define SS_2R_MOM 0x2ULL
#define SS_3R_MOM 0x4ULL
#define SS_4R_MOM 0x8ULL
#define SS_2C_MOM 0x10ULL
#define SS_3C_MOM 0x20ULL
#define SS_4C_MOM 0x40ULL
#define SS_KURTOSIS 0x80ULL
#define SS_SKEWNESS 0x100ULL
#define SS_VARIATION 0x200ULL
#define SS_MIN 0x400ULL
#define SS_MAX 0x800ULL
#define SS_COV 0x1000ULL
#define SS_COR 0x2000ULL
#define SS_POOLED_COV 0x4000ULL
#define SS_GROUP_COV 0x8000ULL
#define SS_QUANTS 0x10000ULL
#define SS_ORDER_STATS 0x20000ULL
#define SS_PARTIAL_COV 0x100000ULL
#define SS_PARTIAL_COR 0x200000ULL

/* Method word of the basic compute (see _vsldSSBasic). */
#define SS_METHOD_FAST 0x1
#define SS_METHOD_1PASS 0x2

#ifdef __cplusplus
extern "C" {
#endif

/* The task record (fields in order). "int parameter": pointer to one integer
   of the task's integer width (int32 when int_width is 0, else int64);
   "array": pointer to caller memory of the task's floating-point type. */
typedef struct SummaryStatsTask {
  int32_t int_width;             /* 1: 0 -> 32-bit integer parameters, else 64-bit */
  uint8_t kind;                  /* 2: always 2 */
  int32_t precision;             /* 3: 1 double task, 0 single task */
  const void* dimension;         /* 4: int parameter, id 1 */
  const void* observation_count; /* 5: int parameter, id 2 */
  const void* indices;           /* 6: p integers, id 5 (0 leaves a variable out) */
  void* observations;            /* 7: array, id 3 */
  void* weights;                 /* 8: array, id 6 */
  void* accumulated_weights;     /* 9: array of 4, id 23 */
  const void* storage;           /* 10: int parameter, id 4 */
  void* parametrized_cor;        /* 11: id 60 */
  const void* parametrized_cor_storage; /* 12: id 61 */
  void* mean;                    /* 13: id 7 */
  void* raw_moment[3];           /* 14-16: orders 2, 3, 4, ids 8-10 */
  void* central_moment[3];       /* 17-19: orders 2, 3, 4, ids 11-13 */
  void* kurtosis;                /* 20: id 14 */
  void* skewness;                /* 21: id 15 */
  void* variation;               /* 22: id 18 */
  void* minimum;                 /* 23: id 16 */
  void* maximum;                 /* 24: id 17 */
  const void* cov_storage;       /* 25: id 20 */
  void* cov;                     /* 26: id 19 */
  const void* cor_storage;       /* 27: id 22 */
  void* cor;                     /* 28: id 21 */
  const void* group_indices;     /* 29: n integers, id 28 */
  const void* requested_group_indices; /* 30: id 32 */
  void* group_means;             /* 31: id 33 */
  void* group_covs;              /* 32: id 35 */
  const void* group_cov_storage; /* 33: id 34 */
  void* pooled_mean;             /* 34: id 30 */
  void* pooled_cov;              /* 35: id 31 */
  const void* pooled_cov_storage; /* 36: id 29 */
  const void* quantile_order_count; /* 37: id 24 */
  void* quantile_orders;         /* 38: id 25 */
  void* quantiles;               /* 39: id 26 */
  void* order_stats;             /* 40: id 27 */
  const void* order_stats_storage; /* 41: id 44 */
  const void* stream_quantile_order_count; /* 42: id 64 */
  void* stream_quantile_orders;  /* 43: id 65 */
  void* stream_quantiles;        /* 44: id 66 */
  void* stream_quantile_state;   /* 45: task-owned, see __vslSQuantilesFreeBuffers */
  const void* stream_quantile_param_count; /* 46: id 62 */
  void* stream_quantile_params;  /* 47: id 63 */
  const void* robust_param_count; /* 48: id 37 */
  void* robust_params;           /* 49: id 38 */
  void* robust_mean;             /* 50: id 39 */
  void* robust_cov;              /* 51: id 40 */
  const void* robust_method;     /* 52: id 36 */
  const void* outlier_param_count; /* 53: id 41 */
  void* outlier_params;          /* 54: id 42 */
  void* outlier_weights;         /* 55: id 43 */
  const void* partial_cov_indices; /* 56: p integers, id 45 */
  void* partial_cov;             /* 57: id 46 */
  const void* partial_cov_storage; /* 58: id 47 */
  void* partial_cor;             /* 59: id 48 */
  const void* partial_cor_storage; /* 60: id 49 */
  const void* missing_param_count; /* 61: id 50 */
  void* missing_params;          /* 62: id 51 */
  const void* initial_estimate_count; /* 63: id 52 */
  void* initial_estimates;       /* 64: id 53 */
  const void* prior_count;       /* 65: id 58 */
  void* prior;                   /* 66: id 59 */
  const void* simulated_missing_count; /* 67: id 54 */
  void* simulated_missing;       /* 68: id 55 */
  const void* estimate_count;    /* 69: id 56 */
  void* estimates;               /* 70: id 57 */
  void* method_state;            /* 71: task-owned scratch of the methods */
  int32_t release_count;         /* 72: release callbacks registered */
  void (*release[1])(struct SummaryStatsTask* task); /* 73: called by delete, in order */
} SummaryStatsTask;

/* ---- task, editors, delete ----------------------------------------------
   New task: (task out, dimension, observation count, storage, observations,
   weights, indices, int_width). Checks in order: dimension pointer null or
   p <= 0 -> -4001; only with non-null observations: storage pointer null ->
   -4044, storage code neither layout -> -4003, count pointer null or n <= 0
   -> -4002; allocation (alignment 128) -> -4000; a null `task` address ->
   -4031 (on every failure a non-null address receives null). A task may be created
   before its data exist (null observations) and completed by the editors.
   Integer arguments are read with the width that int_width gives. */
ORX_API int __vsldSSNewTask(SummaryStatsTask** task, const void* dimension,
                            const void* observation_count, const void* storage,
                            const double* observations, const double* weights,
                            const void* indices, int32_t int_width);
ORX_API int __vslsSSNewTask(SummaryStatsTask** task, const void* dimension,
                            const void* observation_count, const void* storage,
                            const float* observations, const float* weights,
                            const void* indices, int32_t int_width);

/* Single-field editors: null task -> -4031; an id outside the editor's range
   (3..66 floating-point, 1..64 integer) or of the other kind -> -3; a null
   pointer -> the status named after the id's field (SS_ERR_BAD_<field>_ADDR
   above: id 7 gives SS_ERR_BAD_MEAN_ADDR, id 25 SS_ERR_BAD_QUANT_ORDER_ADDR,
   every integer code field SS_ERR_BAD_STORAGE_ADDR; the field keeps its
   value); else the pointer is stored, 0.
   Result arrays are written through the pointers given. */
ORX_API int __vsldSSEditTask(SummaryStatsTask* task, int id, const double* address);
ORX_API int __vslsSSEditTask(SummaryStatsTask* task, int id, const float* address);
ORX_API int __vsliSSEditTask(SummaryStatsTask* task, int id, const void* address);

/* Grouped editors: a null argument leaves its field as it is; a null task
   gives -4031; otherwise 0. Integer arguments are int parameters. */
ORX_API int __vsldSSEditMoments(SummaryStatsTask* task, const double* mean, const double* raw2,
                                const double* raw3, const double* raw4, const double* central2,
                                const double* central3, const double* central4);
ORX_API int __vslsSSEditMoments(SummaryStatsTask* task, const float* mean, const float* raw2,
                                const float* raw3, const float* raw4, const float* central2,
                                const float* central3, const float* central4);
ORX_API int __vsldSSEditCovCor(SummaryStatsTask* task, const double* mean, const double* cov,
                               const void* cov_storage, const double* cor,
                               const void* cor_storage);
ORX_API int __vslsSSEditCovCor(SummaryStatsTask* task, const float* mean, const float* cov,
                               const void* cov_storage, const float* cor,
                               const void* cor_storage);
ORX_API int __vsldSSEditPartialCovCor(SummaryStatsTask* task, const void* partial_cov_indices,
                                      const double* cov, const void* cov_storage,
                                      const double* cor, const void* cor_storage,
                                      const double* partial_cov, const void* partial_cov_storage,
                                      const double* partial_cor, const void* partial_cor_storage);
ORX_API int __vslsSSEditPartialCovCor(SummaryStatsTask* task, const void* partial_cov_indices,
                                      const float* cov, const void* cov_storage,
                                      const float* cor, const void* cor_storage,
                                      const float* partial_cov, const void* partial_cov_storage,
                                      const float* partial_cor, const void* partial_cor_storage);
ORX_API int __vsldSSEditQuantiles(SummaryStatsTask* task, const void* order_count,
                                  const double* orders, const double* quantiles,
                                  const double* order_stats, const void* order_stats_storage);
ORX_API int __vslsSSEditQuantiles(SummaryStatsTask* task, const void* order_count,
                                  const float* orders, const float* quantiles,
                                  const float* order_stats, const void* order_stats_storage);
ORX_API int __vsldSSEditStreamQuantiles(SummaryStatsTask* task, const void* order_count,
                                        const double* orders, const double* quantiles,
                                        const void* param_count, const double* params);
ORX_API int __vslsSSEditStreamQuantiles(SummaryStatsTask* task, const void* order_count,
                                        const float* orders, const float* quantiles,
                                        const void* param_count, const float* params);
ORX_API int __vsldSSEditPooledCovariance(SummaryStatsTask* task, const void* group_indices,
                                         const double* pooled_mean, const double* pooled_cov,
                                         const void* requested_group_indices,
                                         const double* group_means, const double* group_covs);
ORX_API int __vslsSSEditPooledCovariance(SummaryStatsTask* task, const void* group_indices,
                                         const float* pooled_mean, const float* pooled_cov,
                                         const void* requested_group_indices,
                                         const float* group_means, const float* group_covs);
ORX_API int __vsldSSEditRCov(SummaryStatsTask* task, const void* method, const void* param_count,
                             const double* params, const double* robust_mean,
                             const double* robust_cov);
ORX_API int __vslsSSEditRCov(SummaryStatsTask* task, const void* method, const void* param_count,
                             const float* params, const float* robust_mean,
                             const float* robust_cov);
ORX_API int __vsldSSEditOutDetect(SummaryStatsTask* task, const void* param_count,
                                  const double* params, const double* outlier_weights);
ORX_API int __vslsSSEditOutDetect(SummaryStatsTask* task, const void* param_count,
                                  const float* params, const float* outlier_weights);
ORX_API int __vsldSSEditMissingVals(SummaryStatsTask* task, const void* param_count,
                                    const double* params, const void* initial_count,
                                    const double* initial_estimates, const void* prior_count,
                                    const double* prior, const void* simulated_count,
                                    const double* simulated, const void* estimate_count,
                                    const double* estimates);
ORX_API int __vslsSSEditMissingVals(SummaryStatsTask* task, const void* param_count,
                                    const float* params, const void* initial_count,
                                    const float* initial_estimates, const void* prior_count,
                                    const float* prior, const void* simulated_count,
                                    const float* simulated, const void* estimate_count,
                                    const float* estimates);
ORX_API int __vsldSSEditMtxParametrz(SummaryStatsTask* task, const double* cor,
                                     const void* cor_storage, const double* parametrized_cor,
                                     const void* parametrized_cor_storage);
ORX_API int __vslsSSEditMtxParametrz(SummaryStatsTask* task, const float* cor,
                                     const void* cor_storage, const float* parametrized_cor,
                                     const void* parametrized_cor_storage);

/* Delete: null address -> -4031. Calls each registered release callback in
   registration order with the task (re-reading the task pointer and the
   count after each call), frees the record, stores null, returns 0. A null
   task pointer behind the address is accepted: nothing to free, 0. */
ORX_API int __vslSSDeleteTask(SummaryStatsTask** task);

/* Frees the streaming-quantile state (if any) and sets its field to null. */
ORX_API void __vslSQuantilesFreeBuffers(SummaryStatsTask* task);

/* ---- basic estimates -----------------------------------------------------
   _vsldSSBasic(task, estimates, method) computes the estimates among bits
   SS_MEAN .. SS_VARIATION, SS_COV and SS_COR of `estimates` (other bits are
   left to their own computes). Checks in order:
   1. storage field null -> -4044; a code with bit 0x10000 is the rows
      layout, else one with bit 0x20000 the columns layout, else -4003;
   2. every estimate the request depends on has its result array: the mean
      for everything but the raw moments (which need only themselves); raw
      moments 2..k for central moment k; central moments
      2 and 4 for kurtosis, 2 and 3 for skewness, 2 for the variation
      coefficient; the first missing in the order mean, raw 2-4, central 2-4,
      covariance, correlation, kurtosis, skewness, variation gives its status;
   3. (method & 3) == 0 -> -4029;
   4. dimension -> -4001, observation count -> -4002, observations null ->
      -4032 (as at task creation);
   5. work memory -> -4000.
   Nothing is written before all checks pass.

   Online state. Everything a later compute needs lives in the caller's
   arrays: the weight totals (accumulated weights, 4 values: W = sum w,
   V = sum w^2, sum w^3, sum w^4; unweighted observations have w = 1), the
   means and raw moments (weighted averages), and the covariance or
   correlation (see below). With the accumulated-weights field set, a compute
   continues from the totals and estimates the arrays hold and writes the new
   totals back; zero totals start afresh. Without it, every compute starts
   from zero totals. A compute that starts from W = 0 ignores what the
   estimate arrays held. Keep the same request across continued computes.

   Weights: with a weights array, the observations before the first positive
   weight (w > 0; NaN is not) are skipped; from it on every observation is
   folded in, whatever its weight. Unweighted data have w = 1.

   Variable indices: a variable whose index entry is 0 is not processed; its
   means, moments and every covariance/correlation element in its row or
   column are left untouched. A null indices field processes all p.

   Methods. SS_METHOD_1PASS (bit 0x2 set): each observation is folded into
   the running estimates in order, m <- (W m + w x) / (W + w) and alike for
   raw moments, and the cross-product C <- C + w W/(W + w) (x - m)(x - m)^T
   about the old means. SS_METHOD_FAST (bit 0x1 without 0x2): each block of
   observations is summed first and folded in once (m <- (W m + sum w x) /
   (W + sum w)); the block's cross-product is formed about the running mean
   as it stood before the block, by the library's kernel or, for p of at
   least 4 (measured: at 2 and 3 variables the kernel is about 25% faster,
   from 4 on the BLAS product is as fast or up to 20% faster), by the host BLAS,
   and corrected to the new mean. Both are a single pass over the data and
   agree to rounding. Accuracy far from the origin differs: the fast method
   centres every block on the running mean and forms the new mean from the
   small differences, so data with mean 1e9 and spread 1 keep their
   covariance to about 1e-9 relative; the one-pass update rounds W m + w x,
   of size W |m|, at every observation, and its running mean wanders by a few
   eps |m| sqrt(n), which leaves about 1e-7 relative on the same data.

   Finished estimates, from the totals W, V and the running mean m, raw
   moments a2, a3, a4 and cross-product C = sum w (x - m)(x - m)^T:
     population moments  u2 = a2 - m^2,  u3 = a3 - 3 m a2 + 2 m^3,
                         u4 = a4 - 4 m a3 + 6 m^2 a2 - 3 m^4;
     central moment 2    u2 * W^2 / (W^2 - V)   (the unbiased variance:
                                                n/(n-1) u2 without weights)
     central moment 3    u3;  central moment 4   u4   (divisor W)
     skewness            u3 / u2^(3/2)
     kurtosis            u4 / u2^2 - 3   (excess kurtosis)
     variation           sqrt(central moment 2) / m
     covariance          C * W / (W^2 - V)   (C / (n - 1) without weights)
     correlation         C_ik / sqrt(C_ii C_kk) off the diagonal; the
                         diagonal holds the variances C_ii * W / (W^2 - V).
   The central moments, skewness, kurtosis and variation come from the raw
   moments, so they lose relative accuracy when |mean| is much larger than
   the spread; the covariance and the correlation come from C and do not.
   A correlation's diagonal is 1 by definition, so it carries the variances
   instead: that is what lets a compute continue from the correlation alone.
   A later compute recovers C from the covariance when covariance is
   requested (C = cov * (W^2 - V) / W), else from the correlation. Where
   W^2 - V is 0 (a single effective observation) the variance-type results
   are NaN and C is taken as 0. A zero variance gives NaN correlations. The
   one-pass update multiplies by the rounded 1 / (W + w), so a constant
   variable's running mean moves by an ulp now and then and its variance is
   zero only to rounding (of the order of eps^2 x^2); the fast method gives
   it exactly 0.

   Threads: the observations are split over the host's threads (the service
   table of orx_serv_host_services(): entry 4 gives the count, entry 0 runs
   the work), each thread taking at least 32768 values (observations times
   processed variables); per-thread partial estimates are merged by one
   thread. Results equal the one-thread results to rounding (not bit for bit).

   Single tasks read floats and accumulate in double; the results are
   rounded to float when stored. */
ORX_API int _vsldSSBasic(SummaryStatsTask* task, uint64_t estimates, int method);
ORX_API int _vslsSSBasic(SummaryStatsTask* task, uint64_t estimates, int method);

#ifdef __cplusplus
}
#endif

#endif
