/* Data fitting: construction of linear and quadratic splines.

   Each entry point validates the task, picks the kernel for its storage
   (column storage, yhint 32, or row storage, yhint 0/16/128) and partition
   (uniform, bit 4 of xhint: x holds only x[0] and x[1]; or explicit) and
   writes the coefficients through the task's coefficient table. Within a
   function's block the coefficients of one piece are consecutive, in the
   power form of d = t - origin: c0 + c1*d + c2*d^2.

   Linear (order 2): cell i (x[i] .. x[i+1]), origin x[i], block at 2*i:
     c0 = y[i], c1 = (y[i+1] - y[i]) / (x[i+1] - x[i]);
     uniform partition: c1 = (y[i+1] - y[i]) * r, r = (nx - 1) / (x[1] - x[0]).

   Standard quadratic (order 3, s_type 0, bc_type DF_BC_Q_VAL): cell i,
   origin x[i], block at 3*i (3*(nx-1) coefficients per function). The spline
   interpolates y at the knots, is C1 at the inner knots and takes the value
   bc[0] at the midpoint of the first cell.

   Subbotin quadratic (order 3, s_type 1): the pieces break at points xi[i]
   strictly inside the cells, x[i] < xi[i] < x[i+1], i = 0 .. nx-2; the
   spline interpolates y at every knot and is C1 at every break point.
   - Break points: ic_type must have bit 8 set. With bit 4 set as well
     (uniform subgrid) xi[i] = (x[i] + x[i+1]) * 0.5 and ic is not read;
     otherwise ic holds the nx-1 break points xi[0] .. xi[nx-2] (their
     position inside the cells is not checked).
   - Boundary conditions, bc[0] at the left end x[0], bc[1] at the right
     end x[nx-1]: bc_type 12 first derivatives at both ends, 36 first left
     and second right, 24 second left and first right, 48 second at both
     ends. bc_type 1, 2 and 64 (not-a-knot, free end, periodic) have no
     Subbotin construction and give DF_ERR_BAD_BC_TYPE.
   - Coefficients: one piece per knot, nx pieces and 3*nx coefficients per
     function (the task's stride for spline type 1). Piece i covers
     [xi[i-1], xi[i]] (piece 0 starts at x[0], piece nx-1 ends at x[nx-1]);
     its origin is the knot x[i] it contains, so c0 = y[i], and its block
     starts at 3*i.
   - Equations: with a[i] = xi[i] - x[i], g[i] = x[i+1] - xi[i] and the
     unknown slopes s[i] = S'(xi[i]) (s[-1] = S'(x[0]), s[nx-1] = S'(x[nx-1])),
     the derivative is linear on each piece, and integrating it across
     x[i] .. x[i+1] gives, for i = 0 .. nx-2, one tridiagonal equation
       a[i]^2/H[i] s[i-1] + (a[i] g[i-1]/H[i] + a[i] + g[i] + g[i] a[i+1]/H[i+1]) s[i]
         + g[i]^2/H[i+1] s[i+1] = 2 (y[i+1] - y[i]),
     H[i] = g[i-1] + a[i] the length of piece i (g[-1] = a[nx-1] = 0). The end
     conditions fix or eliminate s[-1] and s[nx-1]. The system is strictly
     diagonally dominant for any break points inside the cells, so it is
     solved without pivoting. A quadratic function is reproduced exactly
     (up to rounding) when bc carries its end derivatives.

   Statuses: 0; DF_ERR_NULL_TASK; DF_ERR_BAD_METHOD (linear: method not 0;
   quadratic: s_type not 0 or 1); DF_ERR_BAD_NX (linear: nx < 2);
   DF_ERR_BAD_YHINT; DF_ERR_BAD_IC_TYPE (Subbotin without bit 8 of ic_type);
   DF_ERR_BAD_BC_TYPE; DF_ERR_NULL_BC; DF_ERR_NULL_IC (Subbotin, explicit
   break points, ic null); DF_ERR_NULL_Y or DF_ERR_NULL_COEFF when a function
   to process has no value or coefficient pointer; DF_ERR_ALLOC when work
   memory cannot be had (earlier functions may have been written). Validation
   failures write nothing. */
#ifndef ORX_DF_SPLINE_H
#define ORX_DF_SPLINE_H

#include <stdint.h>

#include "orx/df.h"
#include "orx/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* reserved: not read. method: must be 0. services: the host service table
   (orx_host_services()), passed on to the kernel. */
ORX_API int orx_df_kernel_dDFLinearSpline1D(Task1D* task, void* reserved, int64_t method,
                                            const void* const* services);
ORX_API int orx_df_kernel_sDFLinearSpline1D(Task1D* task, void* reserved, int64_t method,
                                            const void* const* services);
/* method is not examined. */
ORX_API int orx_df_kernel_dDFQuadraticSpline1D(Task1D* task, void* reserved, int64_t method,
                                               const void* const* services);
ORX_API int orx_df_kernel_sDFQuadraticSpline1D(Task1D* task, void* reserved, int64_t method,
                                               const void* const* services);

#ifdef __cplusplus
}
#endif

#endif
