// The exported d/s tridiagonal routines, instantiated from tridiagonal.h.
#include "tridiagonal.h"

#include "orx_serv.h"

namespace orx::host {

namespace {

// -i for the first bad argument i of *dttrsb / *dtsvb (n is 1st, nrhs 2nd, ldb 7th), else 0.
int64_t check_solve_arguments(int64_t n, int64_t nrhs, int64_t ldb) {
  if (n < 0) return -1;
  if (nrhs < 0) return -2;
  if (ldb < (n > 1 ? n : 1)) return -7;
  return 0;
}

void report(int64_t* info, int64_t value) {
  if (info != nullptr) *info = value;
}

template <class T>
void factor(int64_t n, T* dl, T* d, T* du, int64_t* info) {
  if (n < 0) return report(info, -1);
  report(info, factor_tridiagonal(n, dl, d, du));
}

template <class T>
void solve(int64_t n, int64_t nrhs, const T* dl, const T* d, const T* du, T* b, int64_t ldb,
           int64_t* info) {
  const int64_t bad = check_solve_arguments(n, nrhs, ldb);
  if (bad == 0) solve_factored_tridiagonal(n, nrhs, dl, d, du, b, ldb);
  report(info, bad);
}

template <class T>
void factor_and_solve(int64_t n, int64_t nrhs, T* dl, T* d, T* du, T* b, int64_t ldb,
                      int64_t* info) {
  int64_t result = check_solve_arguments(n, nrhs, ldb);
  if (result == 0) result = factor_tridiagonal(n, dl, d, du);
  if (result == 0) solve_factored_tridiagonal(n, nrhs, dl, d, du, b, ldb);
  report(info, result);
}

}  // namespace

}  // namespace orx::host

using namespace orx::host;

void ddttrfb_4dfl(int64_t n, double* dl, double* d, double* du, int64_t* info) noexcept {
  factor(n, dl, d, du, info);
}

void sdttrfb_4dfl(int64_t n, float* dl, float* d, float* du, int64_t* info) noexcept {
  factor(n, dl, d, du, info);
}

void ddttrsb_4dfl(int64_t n, int64_t nrhs, const double* dl, const double* d, const double* du,
                  double* b, int64_t ldb, int64_t* info) noexcept {
  solve(n, nrhs, dl, d, du, b, ldb, info);
}

void sdttrsb_4dfl(int64_t n, int64_t nrhs, const float* dl, const float* d, const float* du,
                  float* b, int64_t ldb, int64_t* info) noexcept {
  solve(n, nrhs, dl, d, du, b, ldb, info);
}

void ddtsvb_4dfl(int64_t n, int64_t nrhs, double* dl, double* d, double* du, double* b, int64_t ldb,
                 int64_t* info) noexcept {
  factor_and_solve(n, nrhs, dl, d, du, b, ldb, info);
}

void sdtsvb_4dfl(int64_t n, int64_t nrhs, float* dl, float* d, float* du, float* b, int64_t ldb,
                 int64_t* info) noexcept {
  factor_and_solve(n, nrhs, dl, d, du, b, ldb, info);
}
