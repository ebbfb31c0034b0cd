/* Host services that the kernel library calls. liborx_kernels.so leaves them
   undefined; the host that loads it (by default liborx_host.so) defines them. */
#ifndef ORX_SERV_H
#define ORX_SERV_H

#include <stddef.h>
#include <stdint.h>

#include "orx/export.h"

/* Memory. `alignment` is a power of two (0 means 64); the block is at least
   `bytes` long (0 bytes gives a valid, distinct block). Null on failure or on
   an alignment that is not a power of two. Blocks of either pair may be freed
   by either free function; null is accepted and ignored. */
ORX_API void* orx_serv_allocate(size_t bytes, size_t alignment) ORX_NOEXCEPT;
ORX_API void orx_serv_deallocate(void* block) ORX_NOEXCEPT;
ORX_API void* orx_serv_orx_malloc(size_t bytes, size_t alignment) ORX_NOEXCEPT;
ORX_API void orx_serv_orx_free(void* block) ORX_NOEXCEPT;

/* Message printer: (1, message number, argument count, arguments...).
   Messages 735..753 and their arguments:
     735 (const char* function, int index)
     736..741 (const char* function)
     742..753 (int index, double value)
   Other numbers, or a count that does not match, print the number alone. */
ORX_API void orx_serv_orx_print(int kind, int message, int argc, ...) ORX_NOEXCEPT;

/* The host's service table (layout in orx/host.h) for the entry points that
   are not handed one, the statistics computes: they take the parallel runner
   (entry 0) and the thread count (entry 4) from it. */
ORX_API const void* const* orx_serv_host_services(void) ORX_NOEXCEPT;

/* Dense linear algebra, column-major, arguments by value. Sizes must fit the
   32-bit integers of the BLAS/LAPACK underneath; larger ones compute nothing
   (and set *info = -2 where there is an info). */
ORX_API void orx_blas_dsyr(char uplo, int64_t n, double alpha, const double* x, int64_t incx,
                           double* a, int64_t lda) ORX_NOEXCEPT;
ORX_API void orx_blas_ssyr(char uplo, int64_t n, float alpha, const float* x, int64_t incx,
                           float* a, int64_t lda) ORX_NOEXCEPT;
/* Symmetric rank-k update C <- alpha A A^T + beta C ('N') or alpha A^T A +
   beta C ('T'), the `uplo` triangle of C only (n x n). */
ORX_API void orx_blas_dsyrk(char uplo, char trans, int64_t n, int64_t k, double alpha,
                            const double* a, int64_t lda, double beta, double* c,
                            int64_t ldc) ORX_NOEXCEPT;
ORX_API void orx_blas_ssyrk(char uplo, char trans, int64_t n, int64_t k, float alpha,
                            const float* a, int64_t lda, float beta, float* c,
                            int64_t ldc) ORX_NOEXCEPT;
ORX_API void orx_blas_dgemm(char transa, char transb, int64_t m, int64_t n, int64_t k,
                            double alpha, const double* a, int64_t lda, const double* b,
                            int64_t ldb, double beta, double* c, int64_t ldc) ORX_NOEXCEPT;
ORX_API void orx_blas_sgemm(char transa, char transb, int64_t m, int64_t n, int64_t k,
                            float alpha, const float* a, int64_t lda, const float* b,
                            int64_t ldb, float beta, float* c, int64_t ldc) ORX_NOEXCEPT;
ORX_API void orx_lapack_dpotrf(char uplo, int64_t n, double* a, int64_t lda, int64_t* info) ORX_NOEXCEPT;
ORX_API void orx_lapack_spotrf(char uplo, int64_t n, float* a, int64_t lda, int64_t* info) ORX_NOEXCEPT;
ORX_API void orx_lapack_dpotri(char uplo, int64_t n, double* a, int64_t lda, int64_t* info) ORX_NOEXCEPT;
ORX_API void orx_lapack_spotri(char uplo, int64_t n, float* a, int64_t lda, int64_t* info) ORX_NOEXCEPT;

/* Tridiagonal systems, LU without pivoting. The matrix of order n has
   sub-diagonal dl[0..n-2], diagonal d[0..n-1], super-diagonal du[0..n-2].
   - *dttrfb: factor in place (dl receives the multipliers, d the pivots).
   - *dttrsb: solve with a factorization for nrhs right-hand sides, stored
     column-major in b with leading dimension ldb >= n; b receives the solution.
   - *dtsvb: factor and solve in one call.
   info: 0 on success; k > 0 when the k-th pivot (1-based) is zero or not
   finite; -i when argument i is invalid (n < 0, nrhs < 0, ldb < max(1, n)). */
ORX_API void ddttrfb_4dfl(int64_t n, double* dl, double* d, double* du, int64_t* info) ORX_NOEXCEPT;
ORX_API void sdttrfb_4dfl(int64_t n, float* dl, float* d, float* du, int64_t* info) ORX_NOEXCEPT;
ORX_API void ddttrsb_4dfl(int64_t n, int64_t nrhs, const double* dl, const double* d,
                          const double* du, double* b, int64_t ldb, int64_t* info) ORX_NOEXCEPT;
ORX_API void sdttrsb_4dfl(int64_t n, int64_t nrhs, const float* dl, const float* d,
                          const float* du, float* b, int64_t ldb, int64_t* info) ORX_NOEXCEPT;
ORX_API void ddtsvb_4dfl(int64_t n, int64_t nrhs, double* dl, double* d, double* du, double* b,
                         int64_t ldb, int64_t* info) ORX_NOEXCEPT;
ORX_API void sdtsvb_4dfl(int64_t n, int64_t nrhs, float* dl, float* d, float* du, float* b,
                         int64_t ldb, int64_t* info) ORX_NOEXCEPT;

#endif
