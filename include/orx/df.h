/* Data fitting: the one-dimensional task record, its editors and the status
   codes every data-fitting entry point returns (0 success, negative failure).

   A task describes a partition x of nx knots, ny functions sampled on it,
   the spline to build and where its coefficients go. It never owns the
   caller's arrays: it points at them, and owns only its record and two small
   tables of pointers (per-function value and coefficient pointers). The
   double (d) and single (s) families share the record; in the single family
   every value array holds floats.

   Nothing here throws, aborts or prints; the status code is the only report.
   A task is not locked: editing it while another thread uses it is the
   caller's affair; kernels only read it. */
#ifndef ORX_DF_H
#define ORX_DF_H

#include <stdint.h>

#include "orx/export.h"

/* ---- statuses ---------------------------------------------------------- */
#define DF_STATUS_OK 0
#define DF_ERR_NULL_TASK (-1000)      /* task pointer null */
#define DF_ERR_ALLOC (-1001)          /* the host allocator returned null */
#define DF_ERR_BAD_METHOD (-1002)     /* method not 0, or quadratic type not 0/1 */
#define DF_ERR_BAD_NX (-1004)         /* fewer knots than needed */
#define DF_ERR_NULL_X (-1005)         /* partition pointer null */
#define DF_ERR_BAD_XHINT (-1006)      /* partition hint not 0, 1, 2, 4 */
#define DF_ERR_BAD_NY (-1007)         /* function count invalid for the request */
#define DF_ERR_NULL_Y (-1008)         /* function values needed but null */
#define DF_ERR_BAD_YHINT (-1009)      /* function-value hint not 0, 16, 32, 128 */
#define DF_ERR_BAD_ORDER (-1010)      /* spline order negative */
#define DF_ERR_BAD_TYPE (-1011)       /* spline type invalid */
#define DF_ERR_BAD_IC_TYPE (-1012)    /* internal-condition type invalid */
#define DF_ERR_NULL_IC (-1013)        /* internal conditions needed but null */
#define DF_ERR_BAD_BC_TYPE (-1014)    /* boundary-condition type not accepted */
#define DF_ERR_NULL_BC (-1015)        /* boundary conditions needed but null */
#define DF_ERR_NULL_COEFF (-1016)     /* coefficient pointer null */
#define DF_ERR_BAD_COEFF_HINT (-1017) /* coefficient hint not 0, 16, 32, 128 */
#define DF_ERR_BAD_ATTR (-1019)       /* attribute not handled by the editor */
#define DF_ERR_BAD_INDEX (-1020)      /* function index outside 0..ny-1 */
#define DF_ERR_BAD_PEAK_HINT (-1026)  /* cell search: bad data-hint kind or peak cell */
#define DF_ERR_LINEAR_SOLVER (-1500)  /* cubic construction: tridiagonal solve failed */

/* ---- attribute identifiers --------------------------------------------- */
/* Pointer attributes (dEditPtr; 2 and 5 also dEditIdxPtr). */
#define DF_ATTR_PARTITION 1
#define DF_ATTR_FUNC_VALUES 2
#define DF_ATTR_INTERNAL_COND 3
#define DF_ATTR_BOUNDARY_COND 4
#define DF_ATTR_COEFFS 5
/* Integer attributes (iEditVal). */
#define DF_ATTR_PARTITION_SIZE 14
#define DF_ATTR_PARTITION_HINT 15
#define DF_ATTR_FUNC_COUNT 16
#define DF_ATTR_FUNC_VALUES_HINT 17
#define DF_ATTR_SPLINE_ORDER 18
#define DF_ATTR_SPLINE_TYPE 19
#define DF_ATTR_INTERNAL_COND_TYPE 20
#define DF_ATTR_BOUNDARY_COND_TYPE 21
#define DF_ATTR_COEFFS_HINT 22

/* ---- hints and condition codes ----------------------------------------- */
/* Partition hint: with DF_UNIFORM_PARTITION x holds only x[0] and x[1], the
   ends of nx equally spaced knots; otherwise x holds all nx knots ascending. */
#define DF_NO_HINT 0
#define DF_NON_UNIFORM_PARTITION 1
#define DF_QUASI_UNIFORM_PARTITION 2
#define DF_UNIFORM_PARTITION 4
/* Storage hints of function values and coefficients. Row storage (0, 16,
   128): function j's nx values are consecutive. Column storage (32): one array
   for all, value of function j at knot i at index i*ny + j. 128: the caller
   gives each function's pointer (dEditIdxPtr). */
#define DF_MATRIX_STORAGE_ROWS 16
#define DF_MATRIX_STORAGE_COLS 32
#define DF_MATRIX_STORAGE_FUNCS_SEP 128
/* Site hint of the cell search: sites sorted ascending. */
#define DF_SORTED_DATA 64
/* Boundary-condition bits. */
#define DF_BC_NOT_A_KNOT 1
#define DF_BC_FREE_END 2
#define DF_BC_1ST_LEFT_DER 4
#define DF_BC_1ST_RIGHT_DER 8
#define DF_BC_2ND_LEFT_DER 16
#define DF_BC_2ND_RIGHT_DER 32
#define DF_BC_PERIODIC 64
#define DF_BC_Q_VAL 128 /* standard quadratic: value at the first cell's midpoint */
/* Cubic spline types (order 4): the construction kind. Type 1 is refused. */
#define DF_CUBIC_DEFAULT 0
#define DF_CUBIC_NATURAL 2
#define DF_CUBIC_HERMITE 3
#define DF_CUBIC_BESSEL 4
#define DF_CUBIC_AKIMA 5
/* Internal-condition type of the Hermite cubic: first derivatives given at
   the inner knots. */
#define DF_IC_1ST_DER 1

#ifdef __cplusplus
extern "C" {
#endif

/* The task record, shared by every data-fitting kernel (fields in order).
   Value pointers are double* in the d family and float* in the s family. */
typedef struct Task1D {
  uint32_t index_width; /* 0: cell indices written as int32, else int64 */
  uint8_t tag;          /* 4 */
  int32_t dimension;    /* 1 */
  int32_t editable;     /* editors act only when 1 (set at creation) */
  int64_t nx;           /* knots, at least 2 */
  const void* x;        /* the partition (caller's) */
  int64_t xhint;        /* 0, 1, 2, 4 */
  int64_t ny;           /* functions */
  const void** y_table; /* per-function value pointers (owned) */
  int64_t yhint;        /* 0, 16, 32, 128 */
  int64_t s_order;      /* coefficients per cell */
  int64_t s_type;
  int64_t ic_type;
  const void* ic;
  int64_t bc_type;
  const void* bc;
  void** coeff_table; /* per-function coefficient pointers (owned) */
  int64_t coeff_hint; /* 0, 16, 32, 128 */
} Task1D;

/* ---- task and editors ---------------------------------------------------
   Checks run in a fixed order and the first failure is returned; an editor
   of a task whose `editable` is not 1 returns 0 and changes nothing
   (dEditPPSpline1D excepted, which does not consult it). The value editor
   never allocates: after changing nx, ny or a hint, set the pointers again
   (attributes 2 and 5) to rebuild the tables. */
ORX_API int orx_df_kernel_dNewTask1D(Task1D** task, int64_t nx, const double* x, int64_t xhint,
                                     int64_t ny, const double* y, int64_t yhint,
                                     uint32_t index_width);
ORX_API int orx_df_kernel_sNewTask1D(Task1D** task, int64_t nx, const float* x, int64_t xhint,
                                     int64_t ny, const float* y, int64_t yhint,
                                     uint32_t index_width);
ORX_API int orx_df_kernel_dEditPtr(Task1D* task, int64_t attribute, const double* pointer);
ORX_API int orx_df_kernel_sEditPtr(Task1D* task, int64_t attribute, const float* pointer);
ORX_API int orx_df_kernel_dEditIdxPtr(Task1D* task, int64_t attribute, int64_t index,
                                      const double* pointer);
ORX_API int orx_df_kernel_sEditIdxPtr(Task1D* task, int64_t attribute, int64_t index,
                                      const float* pointer);
ORX_API int orx_df_kernel_dEditPPSpline1D(Task1D* task, int64_t s_order, int64_t s_type,
                                          int64_t bc_type, const double* bc, int64_t ic_type,
                                          const double* ic, double* scoeff, int64_t coeff_hint);
ORX_API int orx_df_kernel_sEditPPSpline1D(Task1D* task, int64_t s_order, int64_t s_type,
                                          int64_t bc_type, const float* bc, int64_t ic_type,
                                          const float* ic, float* scoeff, int64_t coeff_hint);
ORX_API int orx_df_kernel_iEditVal(Task1D* task, int64_t attribute, int64_t value);
ORX_API int orx_df_kernel_DeleteTask(Task1D** task);

#ifdef __cplusplus
}
#endif

#include "orx/df_search.h"
#include "orx/df_spline.h"

#endif
