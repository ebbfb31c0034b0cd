// orx_lapack_potrf/potri over OpenBLAS's Fortran LAPACK. Arguments LAPACK
// would reject are answered here with the same info, without its printed error.
#include "blas_arguments.h"
#include "lapack_prototypes.h"
#include "orx_serv.h"

namespace orx::host {

namespace {

// LAPACK's info for a bad (uplo, n, lda); sizes beyond 32 bits give -2.
int64_t check_potr_arguments(char uplo, int64_t n, int64_t lda) {
  if (!fits_int(n) || !fits_int(lda)) return -2;
  if (!is_uplo(uplo)) return -1;
  if (n < 0) return -2;
  if (lda < max1(n)) return -4;
  return 0;
}

template <class T, class Routine>
void call_potr(Routine routine, char uplo, int64_t n, T* a, int64_t lda, int64_t* info) {
  int64_t result = check_potr_arguments(uplo, n, lda);
  if (result == 0) {
    const int n32 = static_cast<int>(n);
    const int lda32 = static_cast<int>(lda);
    int info32 = 0;
    routine(&uplo, &n32, a, &lda32, &info32, size_t{1});
    result = info32;
  }
  if (info != nullptr) *info = result;
}

}  // namespace

}  // namespace orx::host

void orx_lapack_dpotrf(char uplo, int64_t n, double* a, int64_t lda, int64_t* info) noexcept {
  orx::host::call_potr(dpotrf_, uplo, n, a, lda, info);
}

void orx_lapack_spotrf(char uplo, int64_t n, float* a, int64_t lda, int64_t* info) noexcept {
  orx::host::call_potr(spotrf_, uplo, n, a, lda, info);
}

void orx_lapack_dpotri(char uplo, int64_t n, double* a, int64_t lda, int64_t* info) noexcept {
  orx::host::call_potr(dpotri_, uplo, n, a, lda, info);
}

void orx_lapack_spotri(char uplo, int64_t n, float* a, int64_t lda, int64_t* info) noexcept {
  orx::host::call_potr(spotri_, uplo, n, a, lda, info);
}
