// Checks that the 64-bit arguments of the serv wrappers suit a 32-bit BLAS/LAPACK.
#ifndef ORX_HOST_BLAS_ARGUMENTS_H
#define ORX_HOST_BLAS_ARGUMENTS_H

#include <cblas.h>

#include <climits>
#include <cstdint>

namespace orx::host {

inline bool fits_int(int64_t v) { return v >= INT_MIN && v <= INT_MAX; }

inline bool is_uplo(char c) { return c == 'U' || c == 'u' || c == 'L' || c == 'l'; }

inline CBLAS_UPLO to_cblas_uplo(char c) { return c == 'U' || c == 'u' ? CblasUpper : CblasLower; }

inline bool is_trans(char c) {
  return c == 'N' || c == 'n' || c == 'T' || c == 't' || c == 'C' || c == 'c';
}

// For real matrices a conjugate transpose is a transpose.
inline bool transposes(char c) { return c != 'N' && c != 'n'; }

inline int64_t max1(int64_t v) { return v > 1 ? v : 1; }

}  // namespace orx::host

#endif
