// orx_blas_* over OpenBLAS's CBLAS. Invalid arguments compute nothing, silently:
// they are rejected here rather than reaching the BLAS error handler, which prints.
#include <cblas.h>

#include "blas_arguments.h"
#include "orx_serv.h"

namespace orx::host {

namespace {

bool syr_arguments_valid(char uplo, int64_t n, int64_t incx, int64_t lda) {
  return is_uplo(uplo) && n >= 0 && fits_int(n) && incx != 0 && fits_int(incx) && lda >= max1(n) &&
         fits_int(lda);
}

bool gemm_arguments_valid(char transa, char transb, int64_t m, int64_t n, int64_t k, int64_t lda,
                          int64_t ldb, int64_t ldc) {
  if (!is_trans(transa) || !is_trans(transb)) return false;
  if (m < 0 || n < 0 || k < 0 || !fits_int(m) || !fits_int(n) || !fits_int(k)) return false;
  const int64_t rows_a = transposes(transa) ? k : m;
  const int64_t rows_b = transposes(transb) ? n : k;
  return lda >= max1(rows_a) && fits_int(lda) && ldb >= max1(rows_b) && fits_int(ldb) &&
         ldc >= max1(m) && fits_int(ldc);
}

bool syrk_arguments_valid(char uplo, char trans, int64_t n, int64_t k, int64_t lda, int64_t ldc) {
  if (!is_uplo(uplo) || !is_trans(trans)) return false;
  if (n < 0 || k < 0 || !fits_int(n) || !fits_int(k)) return false;
  const int64_t rows_a = transposes(trans) ? k : n;
  return lda >= max1(rows_a) && fits_int(lda) && ldc >= max1(n) && fits_int(ldc);
}

CBLAS_TRANSPOSE to_cblas_trans(char c) { return transposes(c) ? CblasTrans : CblasNoTrans; }

}  // namespace

}  // namespace orx::host

using namespace orx::host;

void orx_blas_dsyr(char uplo, int64_t n, double alpha, const double* x, int64_t incx, double* a,
                   int64_t lda) noexcept {
  if (!syr_arguments_valid(uplo, n, incx, lda)) return;
  cblas_dsyr(CblasColMajor, to_cblas_uplo(uplo), static_cast<int>(n), alpha, x,
             static_cast<int>(incx), a, static_cast<int>(lda));
}

void orx_blas_ssyr(char uplo, int64_t n, float alpha, const float* x, int64_t incx, float* a,
                   int64_t lda) noexcept {
  if (!syr_arguments_valid(uplo, n, incx, lda)) return;
  cblas_ssyr(CblasColMajor, to_cblas_uplo(uplo), static_cast<int>(n), alpha, x,
             static_cast<int>(incx), a, static_cast<int>(lda));
}

void orx_blas_dgemm(char transa, char transb, int64_t m, int64_t n, int64_t k, double alpha,
                    const double* a, int64_t lda, const double* b, int64_t ldb, double beta,
                    double* c, int64_t ldc) noexcept {
  if (!gemm_arguments_valid(transa, transb, m, n, k, lda, ldb, ldc)) return;
  cblas_dgemm(CblasColMajor, to_cblas_trans(transa), to_cblas_trans(transb), static_cast<int>(m),
              static_cast<int>(n), static_cast<int>(k), alpha, a, static_cast<int>(lda), b,
              static_cast<int>(ldb), beta, c, static_cast<int>(ldc));
}

void orx_blas_sgemm(char transa, char transb, int64_t m, int64_t n, int64_t k, float alpha,
                    const float* a, int64_t lda, const float* b, int64_t ldb, float beta, float* c,
                    int64_t ldc) noexcept {
  if (!gemm_arguments_valid(transa, transb, m, n, k, lda, ldb, ldc)) return;
  cblas_sgemm(CblasColMajor, to_cblas_trans(transa), to_cblas_trans(transb), static_cast<int>(m),
              static_cast<int>(n), static_cast<int>(k), alpha, a, static_cast<int>(lda), b,
              static_cast<int>(ldb), beta, c, static_cast<int>(ldc));
}

void orx_blas_dsyrk(char uplo, char trans, int64_t n, int64_t k, double alpha, const double* a,
                    int64_t lda, double beta, double* c, int64_t ldc) noexcept {
  if (!syrk_arguments_valid(uplo, trans, n, k, lda, ldc)) return;
  cblas_dsyrk(CblasColMajor, to_cblas_uplo(uplo), to_cblas_trans(trans), static_cast<int>(n),
              static_cast<int>(k), alpha, a, static_cast<int>(lda), beta, c,
              static_cast<int>(ldc));
}

void orx_blas_ssyrk(char uplo, char trans, int64_t n, int64_t k, float alpha, const float* a,
                    int64_t lda, float beta, float* c, int64_t ldc) noexcept {
  if (!syrk_arguments_valid(uplo, trans, n, k, lda, ldc)) return;
  cblas_ssyrk(CblasColMajor, to_cblas_uplo(uplo), to_cblas_trans(trans), static_cast<int>(n),
              static_cast<int>(k), alpha, a, static_cast<int>(lda), beta, c,
              static_cast<int>(ldc));
}
