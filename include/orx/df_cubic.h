/* Data fitting: construction of cubic splines (order 4).

   Five entry points of one shape, one per construction kind, each in a d
   (double) and s (float) twin. Each validates the task, maps bc_type to one
   of seven condition slots and calls the kernel for [storage][grid][slot]:
   storage 0 column storage (yhint 32), 1 row storage (0, 16, 128); grid 1
   when the partition is uniform (xhint has DF_UNIFORM_PARTITION, the value
   4: x holds x[0] and x[1] only).

   Coefficients: cell i (x[i] .. x[i+1], i = 0 .. nx-2) stores four values
   at 4*i of its function's block, the power form in d = t - x[i]. With
   h[i] = x[i+1] - x[i], s[i] = (y[i+1] - y[i])/h[i] (on a uniform partition
   s[i] = (y[i+1] - y[i])*r, r = (nx - 1)/(x[1] - x[0])) and m[i] the first
   derivative of the spline at knot i, every kind stores
     c0 = y[i],  c1 = m[i],
     c2 = (3*s[i] - 2*m[i] - m[i+1]) * (1/h[i]),
     c3 = (m[i] + m[i+1] - 2*s[i]) * (1/h[i])^2,
   the cubic Hermite piece through (x[i], y[i], m[i]) and (x[i+1], y[i+1],
   m[i+1]). The kinds differ only in how they obtain the m[i].

   Condition slots and bc_type: 0 not-a-knot (1), 1 free end (2), 2 first
   derivatives at both ends (12), 3 first left, second right (36), 4 second
   left, first right (24), 5 second at both ends (48), 6 periodic (64). bc[0]
   is the value of the left-end condition, bc[1] of the right-end one, shared
   by all functions. Any other bc_type: DF_ERR_BAD_BC_TYPE.

   ---- Natural kind (s_type 2; also the default kind, s_type 0) ----------
   C2 spline: the m[i] solve one tridiagonal system, built once from the
   partition and solved for every function (rhs per function). Inner rows
   i = 1 .. nx-2 (continuity of the second derivative at x[i], each divided
   by h[i-1]*h[i] so that the rows carry the reciprocal widths):
     (1/h[i-1]) m[i-1] + 2 (1/h[i-1] + 1/h[i]) m[i] + (1/h[i]) m[i+1]
        = 3 (s[i-1]/h[i-1] + s[i]/h[i]);
   uniform partition: m[i-1] + 4 m[i] + m[i+1] = 3 (s[i-1] + s[i]).
   First and last rows (a = h[0], b = h[1] at the left end; a = h[nx-3],
   b = h[nx-2] at the right end):
   - first derivative v given:   m[0] = v;            m[nx-1] = v.
   - second derivative v given:  2 m[0] + m[1] = 3 s[0] - v h[0]/2;
                                 m[nx-2] + 2 m[nx-1] = 3 s[nx-2] + v h[nx-2]/2.
   - free end: the second-derivative rows with v = 0.
   - not-a-knot (third derivative continuous at x[1] and x[nx-2]; the row is
     that condition with the neighbouring inner row used to drop m[2]):
       b m[0] + (a + b) m[1] = ((3a + 2b) b s[0] + a^2 s[1]) / (a + b);
       (a + b) m[nx-2] + a m[nx-1] = (b^2 s[nx-3] + (2a + 3b) a s[nx-2]) / (a + b),
     here a = h[nx-3], b = h[nx-2]. With nx = 3 both conditions are the same
     one and the system would be singular: the spline is then the parabola
     through the three points (m[0] and m[2] are its end slopes).
   - periodic: m[nx-1] = m[0], unknowns m[0] .. m[nx-2]; row 0 is the inner
     row written across the join (h[-1] = h[nx-2], s[-1] = s[nx-2]) and row
     nx-2 reaches m[0] in place of m[nx-1]. The caller makes y[nx-1] equal to
     y[0]; the values are used as given. The cyclic system A is solved with
     the plain tridiagonal routines by Sherman-Morrison: with g = -A[0][0],
     c = A[nx-2][0] and e = A[0][nx-2], T = A - u v^T is tridiagonal for
     u = (g, 0, .., 0, c), v = (1, 0, .., 0, e/g); T is factored once,
     z = T^-1 u solved once, and each function's m = q - (v.q)/(1 + v.z) z
     for q = T^-1 rhs. With nx = 3 (two unknowns) the corners fold into the
     off-diagonals and the 2x2 system is solved directly.
   Solving: the host's tridiagonal LU without pivoting (factor once, solve
   for all functions; factor-and-solve in one call for a single function
   off the periodic condition). A zero or non-finite pivot (repeated knots
   give an infinite reciprocal width) ends the construction with
   DF_ERR_LINEAR_SOLVER; coefficients may be partly written then.
   The default kind (s_type 0) runs the natural kernels. The periodic
   condition with a null bc is refused (DF_ERR_NULL_BC) when the task's
   s_type is 0 or 3, whichever entry is called: the Hermite kind reads its
   end derivative there, the natural kernels read nothing.

   ---- Local kinds: Bessel (4), Akima (5), Hermite (3) -------------------
   Each m[i] comes from the data near knot i; no system is solved and the
   spline is C1. Inner knots i = 1 .. nx-2:
   - Bessel: the slope at x[i] of the parabola through knots i-1, i, i+1:
       m[i] = (h[i] s[i-1] + h[i-1] s[i]) / (h[i-1] + h[i]).
   - Akima: with w1 = |s[i+1] - s[i]|, w2 = |s[i-1] - s[i-2]|,
       m[i] = (w1 s[i-1] + w2 s[i]) / (w1 + w2), or (s[i-1] + s[i])/2 when
       w1 + w2 = 0; slopes beyond the ends are extended linearly,
       s[-1] = 2 s[0] - s[1], s[-2] = 2 s[-1] - s[0], s[nx-1] = 2 s[nx-2] -
       s[nx-3], s[nx] = 2 s[nx-1] - s[nx-2] (periodic: s[-k] = s[nx-1-k],
       s[nx-2+k] = s[k-1]).
   - Hermite: given by the caller in ic (ic_type DF_IC_1ST_DER, 1): nx-2
       values per function, function j's m[i] at ic[j*(nx-2) + i-1].
   End knots, by condition (m[1] and m[nx-2] known):
   - first derivative v: m[0] = v, m[nx-1] = v.
   - second derivative v: m[0] = (3 s[0] - m[1] - v h[0]/2)/2,
     m[nx-1] = (3 s[nx-2] - m[nx-2] + v h[nx-2]/2)/2; free end: v = 0.
   - not-a-knot: the third derivative continuous at x[1] and x[nx-2]:
       m[0] = (h[0]/h[1])^2 (m[1] + m[2] - 2 s[1]) - m[1] + 2 s[0], and its
       mirror image at the right end; with nx = 3 the end slopes of the
       parabola through the three points. Akima's not-a-knot slot is Akima's
       own end rule instead: the inner formula at knots 0 and nx-1 with the
       extended slopes.
   - periodic: m[0] = m[nx-1]. Bessel: the parabola through x[nx-2], x[0]
       (= x[nx-1]) and x[1]; Akima: the inner formula with the wrapped
       slopes; Hermite: bc[0] (a null bc is refused).
   Hermite needs ic_type DF_IC_1ST_DER (else DF_ERR_BAD_IC_TYPE) and ic
   (else DF_ERR_NULL_IC).

   ---- Threads ----------------------------------------------------------
   With T = min(host threads, ny) the functions are spread over T threads of
   the host's parallel runner when not (ny <= 1 or T = 1 or nx < 300) and
   (nx >= 600 or T >= 8); otherwise they are done on the calling thread (the
   natural kind then solves all functions in one call). Results do not
   depend on the path or the thread count, to the bit.

   Checks, in order: task null DF_ERR_NULL_TASK; method not 0
   DF_ERR_BAD_METHOD; nx < 3 DF_ERR_BAD_NX; yhint DF_ERR_BAD_YHINT; bc_type
   DF_ERR_BAD_BC_TYPE; bc null where needed DF_ERR_NULL_BC; Hermite ic_type
   and ic; a function without value or coefficient pointer DF_ERR_NULL_Y /
   DF_ERR_NULL_COEFF. Validation failures write nothing. DF_ERR_ALLOC when
   the work memory cannot be had (nothing written). */
#ifndef ORX_DF_CUBIC_H
#define ORX_DF_CUBIC_H

#include <stdint.h>

#include "orx/df.h"
#include "orx/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* reserved: not read. method: must be 0. services: the host service table
   (orx_host_services()): parallel runner and thread count. */
ORX_API int orx_df_kernel_dDFNaturalCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                  const void* const* services);
ORX_API int orx_df_kernel_sDFNaturalCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                  const void* const* services);
ORX_API int orx_df_kernel_dDFBesselCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                 const void* const* services);
ORX_API int orx_df_kernel_sDFBesselCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                 const void* const* services);
ORX_API int orx_df_kernel_dDFAkimaCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                const void* const* services);
ORX_API int orx_df_kernel_sDFAkimaCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                const void* const* services);
ORX_API int orx_df_kernel_dDFHermiteCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                  const void* const* services);
ORX_API int orx_df_kernel_sDFHermiteCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                  const void* const* services);
ORX_API int orx_df_kernel_dDFDefaultCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                  const void* const* services);
ORX_API int orx_df_kernel_sDFDefaultCubicSpline1D(Task1D* task, void* reserved, int64_t method,
                                                  const void* const* services);

#ifdef __cplusplus
}
#endif

#endif
