// The host's tridiagonal routines by value type, each returning its info.
#ifndef ORX_DF_SPLINE_TRIDIAGONAL_SOLVER_H
#define ORX_DF_SPLINE_TRIDIAGONAL_SOLVER_H

#include <cstdint>

#include "orx_serv.h"

namespace orx::df {

template <class T>
struct TridiagonalRoutines;
template <>
struct TridiagonalRoutines<double> {
  static constexpr auto factor = &ddttrfb_4dfl;
  static constexpr auto solve = &ddttrsb_4dfl;
  static constexpr auto factor_and_solve = &ddtsvb_4dfl;
};
template <>
struct TridiagonalRoutines<float> {
  static constexpr auto factor = &sdttrfb_4dfl;
  static constexpr auto solve = &sdttrsb_4dfl;
  static constexpr auto factor_and_solve = &sdtsvb_4dfl;
};

template <class T>
struct Tridiagonal {
  using R = TridiagonalRoutines<T>;
  static int64_t factor(int64_t n, T* dl, T* d, T* du) {
    int64_t info = 0;
    R::factor(n, dl, d, du, &info);
    return info;
  }
  static int64_t solve(int64_t n, int64_t nrhs, const T* dl, const T* d, const T* du, T* b,
                       int64_t ldb) {
    int64_t info = 0;
    R::solve(n, nrhs, dl, d, du, b, ldb, &info);
    return info;
  }
  static int64_t factor_and_solve(int64_t n, int64_t nrhs, T* dl, T* d, T* du, T* b, int64_t ldb) {
    int64_t info = 0;
    R::factor_and_solve(n, nrhs, dl, d, du, b, ldb, &info);
    return info;
  }
};

}  // namespace orx::df

#endif
