// LU factorization and solve of tridiagonal systems without pivoting, for float and double.
#ifndef ORX_HOST_TRIDIAGONAL_H
#define ORX_HOST_TRIDIAGONAL_H

#include <cstdint>

namespace orx::host {

// Factors in place: dl[i] becomes the multiplier l(i+1,i), d the pivots.
// Returns 0, or the 1-based position of the first pivot that is zero or not
// finite (a matrix holding 1/0 from repeated knots); the columns before it
// are factored by then.
template <class T>
bool usable_pivot(T p) {
  return p != T(0) && p - p == T(0);  // false for 0, infinities and NaN
}

template <class T>
int64_t factor_tridiagonal(int64_t n, T* dl, T* d, const T* du) {
  for (int64_t i = 0; i + 1 < n; ++i) {
    if (!usable_pivot(d[i])) return i + 1;
    dl[i] /= d[i];
    d[i + 1] -= dl[i] * du[i];
  }
  if (n > 0 && !usable_pivot(d[n - 1])) return n;
  return 0;
}

// Overwrites each of the nrhs columns of b with the solution of L U x = b.
template <class T>
void solve_factored_tridiagonal(int64_t n, int64_t nrhs, const T* dl, const T* d, const T* du, T* b,
                                int64_t ldb) {
  if (n == 0) return;
  for (int64_t j = 0; j < nrhs; ++j) {
    T* x = b + j * ldb;
    for (int64_t i = 1; i < n; ++i) x[i] -= dl[i - 1] * x[i - 1];
    x[n - 1] /= d[n - 1];
    for (int64_t i = n - 2; i >= 0; --i) x[i] = (x[i] - du[i] * x[i + 1]) / d[i];
  }
}

}  // namespace orx::host

#endif
