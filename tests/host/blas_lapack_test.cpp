// BLAS/LAPACK wrappers against plain loops, for double and float.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "orx_serv.h"

namespace {

constexpr int64_t kBeyondInt = int64_t{1} << 32;  // truncates to a small, valid-looking int

template <class T>
struct Routines;

template <>
struct Routines<double> {
  static constexpr auto syr = orx_blas_dsyr;
  static constexpr auto gemm = orx_blas_dgemm;
  static constexpr auto potrf = orx_lapack_dpotrf;
  static constexpr auto potri = orx_lapack_dpotri;
  static constexpr double tolerance = 1e-13;
};

template <>
struct Routines<float> {
  static constexpr auto syr = orx_blas_ssyr;
  static constexpr auto gemm = orx_blas_sgemm;
  static constexpr auto potrf = orx_lapack_spotrf;
  static constexpr auto potri = orx_lapack_spotri;
  static constexpr double tolerance = 2e-5;
};

template <class T>
std::vector<T> random_values(size_t count, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<T> values(count);
  for (T& v : values) v = static_cast<T>(uniform(engine));
  return values;
}

bool transposes(char c) { return c != 'N' && c != 'n'; }

template <class T>
class HostBlasLapack : public testing::Test {};
using RealTypes = testing::Types<double, float>;
TYPED_TEST_SUITE(HostBlasLapack, RealTypes);

TYPED_TEST(HostBlasLapack, SyrUpdatesOnlyTheChosenTriangle) {
  using T = TypeParam;
  const T alpha = T(0.75);
  for (char uplo : {'U', 'L', 'u', 'l'}) {
    for (int64_t incx : {1, 2, -1, -3}) {
      for (int64_t n : {1, 4, 7}) {
        SCOPED_TRACE(testing::Message() << "uplo=" << uplo << " incx=" << incx << " n=" << n);
        const int64_t lda = n + 2;
        const int64_t stride = incx > 0 ? incx : -incx;
        std::vector<T> a = random_values<T>(lda * n, 1);
        const std::vector<T> x = random_values<T>(1 + (n - 1) * stride, 2);
        auto element = [&](int64_t i) { return x[incx > 0 ? i * stride : (n - 1 - i) * stride]; };
        const std::vector<T> before = a;
        Routines<T>::syr(uplo, n, alpha, x.data(), incx, a.data(), lda);
        const bool upper = uplo == 'U' || uplo == 'u';
        for (int64_t j = 0; j < n; ++j) {
          for (int64_t i = 0; i < lda; ++i) {
            const int64_t at = i + j * lda;
            if (i < n && (upper ? i <= j : i >= j)) {
              const long double want =
                  (long double)before[at] + (long double)alpha * element(i) * element(j);
              EXPECT_NEAR(a[at], want, Routines<T>::tolerance) << "i=" << i << " j=" << j;
            } else {
              EXPECT_EQ(a[at], before[at]) << "i=" << i << " j=" << j;
            }
          }
        }
      }
    }
  }
}

TYPED_TEST(HostBlasLapack, GemmMatchesLoopsForEveryTransposeCombination) {
  using T = TypeParam;
  const int64_t m = 4, n = 3, k = 5;
  const T alpha = T(1.5), beta = T(-0.5);
  const char kinds[] = {'N', 'T', 'C', 'n', 't'};
  for (char ta : kinds) {
    for (char tb : kinds) {
      SCOPED_TRACE(testing::Message() << "transa=" << ta << " transb=" << tb);
      const int64_t rows_a = transposes(ta) ? k : m, cols_a = transposes(ta) ? m : k;
      const int64_t rows_b = transposes(tb) ? n : k, cols_b = transposes(tb) ? k : n;
      const int64_t lda = rows_a + 1, ldb = rows_b + 2, ldc = m + 3;
      const std::vector<T> a = random_values<T>(lda * cols_a, 3);
      const std::vector<T> b = random_values<T>(ldb * cols_b, 4);
      std::vector<T> c = random_values<T>(ldc * n, 5);
      const std::vector<T> before = c;
      auto op_a = [&](int64_t i, int64_t l) {
        return transposes(ta) ? a[l + i * lda] : a[i + l * lda];
      };
      auto op_b = [&](int64_t l, int64_t j) {
        return transposes(tb) ? b[j + l * ldb] : b[l + j * ldb];
      };
      Routines<T>::gemm(ta, tb, m, n, k, alpha, a.data(), lda, b.data(), ldb, beta, c.data(), ldc);
      for (int64_t j = 0; j < n; ++j) {
        for (int64_t i = 0; i < ldc; ++i) {
          if (i >= m) {
            EXPECT_EQ(c[i + j * ldc], before[i + j * ldc]);
            continue;
          }
          long double sum = 0;
          for (int64_t l = 0; l < k; ++l) sum += (long double)op_a(i, l) * op_b(l, j);
          const long double want = alpha * sum + (long double)beta * before[i + j * ldc];
          EXPECT_NEAR(c[i + j * ldc], want, 4 * Routines<T>::tolerance) << "i=" << i << " j=" << j;
        }
      }
    }
  }
}

TYPED_TEST(HostBlasLapack, SizesBeyond32BitsComputeNothing) {
  using T = TypeParam;
  std::vector<T> a = random_values<T>(64, 6);
  std::vector<T> b = random_values<T>(64, 7);
  std::vector<T> c = random_values<T>(64, 8);
  const std::vector<T> a0 = a, c0 = c;
  Routines<T>::syr('U', kBeyondInt + 3, T(1), b.data(), 1, a.data(), kBeyondInt + 5);
  Routines<T>::syr('U', 3, T(1), b.data(), kBeyondInt + 1, a.data(), 5);
  EXPECT_EQ(a, a0);
  Routines<T>::gemm('N', 'N', kBeyondInt + 2, 2, 2, T(1), a.data(), kBeyondInt + 6, b.data(), 4,
                    T(0), c.data(), kBeyondInt + 6);
  Routines<T>::gemm('N', 'N', 2, 2, kBeyondInt + 2, T(1), a.data(), 4, b.data(), kBeyondInt + 4,
                    T(0), c.data(), 4);
  EXPECT_EQ(c, c0);
}

// A symmetric positive definite matrix: M M^T + n I, column-major with padding.
template <class T>
std::vector<T> spd_matrix(int64_t n, int64_t lda) {
  const std::vector<T> m = random_values<T>(n * n, 9);
  std::vector<T> a(lda * n, T(-99));
  for (int64_t j = 0; j < n; ++j) {
    for (int64_t i = 0; i < n; ++i) {
      long double sum = i == j ? n : 0;
      for (int64_t l = 0; l < n; ++l) sum += (long double)m[i + l * n] * m[j + l * n];
      a[i + j * lda] = static_cast<T>(sum);
    }
  }
  return a;
}

TYPED_TEST(HostBlasLapack, PotrfThenPotriInvertsAnSpdMatrix) {
  using T = TypeParam;
  const int64_t n = 6, lda = 8;
  const std::vector<T> a = spd_matrix<T>(n, lda);
  for (char uplo : {'U', 'L', 'l'}) {
    SCOPED_TRACE(testing::Message() << "uplo=" << uplo);
    std::vector<T> work = a;
    int64_t info = -100;
    Routines<T>::potrf(uplo, n, work.data(), lda, &info);
    ASSERT_EQ(info, 0);
    info = -100;
    Routines<T>::potri(uplo, n, work.data(), lda, &info);
    ASSERT_EQ(info, 0);
    const bool upper = uplo == 'U' || uplo == 'u';
    auto inverse = [&](int64_t i, int64_t j) {
      const bool stored = upper ? i <= j : i >= j;
      return stored ? work[i + j * lda] : work[j + i * lda];
    };
    for (int64_t i = 0; i < n; ++i) {
      for (int64_t j = 0; j < n; ++j) {
        long double sum = 0;
        for (int64_t l = 0; l < n; ++l) sum += (long double)a[i + l * lda] * inverse(l, j);
        EXPECT_NEAR(sum, i == j ? 1.0 : 0.0, 100 * Routines<T>::tolerance) << i << "," << j;
      }
    }
  }
}

TYPED_TEST(HostBlasLapack, PotrfReportsTheFirstNonPositiveMinor) {
  using T = TypeParam;
  std::vector<T> a = {1, 0, 0, 0, 0, 2, 0, 0, 0, 0, -1, 0, 0, 0, 0, 3};
  int64_t info = 0;
  Routines<T>::potrf('L', 4, a.data(), 4, &info);
  EXPECT_EQ(info, 3);
}

TYPED_TEST(HostBlasLapack, BadArgumentsGiveNegativeInfoAndLeaveTheMatrix) {
  using T = TypeParam;
  struct Case {
    char uplo;
    int64_t n;
    int64_t lda;
    int64_t info;
  };
  const Case cases[] = {
      {'X', 3, 3, -1},
      {'U', -1, 1, -2},
      {'L', 3, 2, -4},
      {'U', kBeyondInt + 2, kBeyondInt + 2, -2},
      {'L', 2, kBeyondInt + 2, -2},
  };
  for (const Case& c : cases) {
    for (auto routine : {Routines<T>::potrf, Routines<T>::potri}) {
      std::vector<T> a = spd_matrix<T>(3, 3);
      const std::vector<T> before = a;
      int64_t info = 0;
      routine(c.uplo, c.n, a.data(), c.lda, &info);
      EXPECT_EQ(info, c.info) << "uplo=" << c.uplo << " n=" << c.n << " lda=" << c.lda;
      EXPECT_EQ(a, before);
    }
  }
}

}  // namespace
