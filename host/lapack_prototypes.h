// Fortran LAPACK entry points exported by libopenblas (32-bit integers).
#ifndef ORX_HOST_LAPACK_PROTOTYPES_H
#define ORX_HOST_LAPACK_PROTOTYPES_H

#include <cstddef>

// The trailing size_t is the hidden length of the character argument that
// gfortran-compiled routines expect; routines written in C ignore it.
extern "C" {
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info, size_t uplo_len);
void spotrf_(const char* uplo, const int* n, float* a, const int* lda, int* info, size_t uplo_len);
void dpotri_(const char* uplo, const int* n, double* a, const int* lda, int* info, size_t uplo_len);
void spotri_(const char* uplo, const int* n, float* a, const int* lda, int* info, size_t uplo_len);
}

#endif
