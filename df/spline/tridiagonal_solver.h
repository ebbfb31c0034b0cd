// The host's tridiagonal routines by value type.
#ifndef ORX_DF_SPLINE_TRIDIAGONAL_SOLVER_H
#define ORX_DF_SPLINE_TRIDIAGONAL_SOLVER_H

#include <cstdint>

#include "orx_serv.h"

namespace orx::df {

template <class T>
struct Tridiagonal;

template <>
struct Tridiagonal<double> {
  static int64_t factor(int64_t n, double* dl, double* d, double* du) {
    int64_t info = 0;
    ddttrfb_4dfl(n, dl, d, du, &info);
    return info;
  }
  static int64_t solve(int64_t n, int64_t nrhs, const double* dl, const double* d, const double* du,
                       double* b, int64_t ldb) {
    int64_t info = 0;
    ddttrsb_4dfl(n, nrhs, dl, d, du, b, ldb, &info);
    return info;
  }
  static int64_t factor_and_solve(int64_t n, int64_t nrhs, double* dl, double* d, double* du,
                                  double* b, int64_t ldb) {
    int64_t info = 0;
    ddtsvb_4dfl(n, nrhs, dl, d, du, b, ldb, &info);
    return info;
  }
};

template <>
struct Tridiagonal<float> {
  static int64_t factor(int64_t n, float* dl, float* d, float* du) {
    int64_t info = 0;
    sdttrfb_4dfl(n, dl, d, du, &info);
    return info;
  }
  static int64_t solve(int64_t n, int64_t nrhs, const float* dl, const float* d, const float* du,
                       float* b, int64_t ldb) {
    int64_t info = 0;
    sdttrsb_4dfl(n, nrhs, dl, d, du, b, ldb, &info);
    return info;
  }
  static int64_t factor_and_solve(int64_t n, int64_t nrhs, float* dl, float* d, float* du, float* b,
                                  int64_t ldb) {
    int64_t info = 0;
    sdtsvb_4dfl(n, nrhs, dl, d, du, b, ldb, &info);
    return info;
  }
};

}  // namespace orx::df

#endif
