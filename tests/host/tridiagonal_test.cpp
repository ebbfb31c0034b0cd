// Tridiagonal LU routines against a dense solve with partial pivoting in long double.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "orx_serv.h"

namespace {

template <class T>
struct Tridiagonal;

template <>
struct Tridiagonal<double> {
  static constexpr auto factor = ddttrfb_4dfl;
  static constexpr auto solve = ddttrsb_4dfl;
  static constexpr auto factor_and_solve = ddtsvb_4dfl;
};

template <>
struct Tridiagonal<float> {
  static constexpr auto factor = sdttrfb_4dfl;
  static constexpr auto solve = sdttrsb_4dfl;
  static constexpr auto factor_and_solve = sdtsvb_4dfl;
};

template <class T>
struct System {
  std::vector<T> dl, d, du;
};

// Diagonally dominant, so elimination without pivoting is stable.
template <class T>
System<T> dominant_system(int64_t n, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  System<T> s;
  for (int64_t i = 0; i < n; ++i) s.d.push_back(static_cast<T>(3.0 + uniform(engine)));
  for (int64_t i = 0; i + 1 < n; ++i) {
    s.dl.push_back(static_cast<T>(uniform(engine)));
    s.du.push_back(static_cast<T>(uniform(engine)));
  }
  return s;
}

// Solves the dense form of the system by Gaussian elimination with partial pivoting.
template <class T>
std::vector<long double> dense_solve(const System<T>& s, const T* rhs) {
  const size_t n = s.d.size();
  std::vector<std::vector<long double>> m(n, std::vector<long double>(n + 1, 0.0L));
  for (size_t i = 0; i < n; ++i) {
    m[i][i] = s.d[i];
    if (i + 1 < n) {
      m[i + 1][i] = s.dl[i];
      m[i][i + 1] = s.du[i];
    }
    m[i][n] = rhs[i];
  }
  for (size_t col = 0; col < n; ++col) {
    size_t pivot = col;
    for (size_t r = col + 1; r < n; ++r) {
      if (std::fabs(m[r][col]) > std::fabs(m[pivot][col])) pivot = r;
    }
    std::swap(m[col], m[pivot]);
    for (size_t r = col + 1; r < n; ++r) {
      const long double factor = m[r][col] / m[col][col];
      for (size_t c = col; c <= n; ++c) m[r][c] -= factor * m[col][c];
    }
  }
  std::vector<long double> x(n);
  for (size_t i = n; i-- > 0;) {
    long double sum = m[i][n];
    for (size_t c = i + 1; c < n; ++c) sum -= m[i][c] * x[c];
    x[i] = sum / m[i][i];
  }
  return x;
}

template <class T>
class HostTridiagonal : public testing::Test {};
using RealTypes = testing::Types<double, float>;
TYPED_TEST_SUITE(HostTridiagonal, RealTypes);

constexpr float kPadding = 777.0f;

TYPED_TEST(HostTridiagonal, SolvesLikeADenseSolveForManyShapes) {
  using T = TypeParam;
  const double tolerance = 64 * std::numeric_limits<T>::epsilon();
  for (int64_t n : {1, 2, 3, 5, 17, 100}) {
    for (int64_t nrhs : {1, 3}) {
      SCOPED_TRACE(testing::Message() << "n=" << n << " nrhs=" << nrhs);
      const int64_t ldb = n + 3;
      const System<T> system = dominant_system<T>(n, static_cast<unsigned>(n * 10 + nrhs));
      std::mt19937 engine(static_cast<unsigned>(n));
      std::uniform_real_distribution<double> uniform(-2.0, 2.0);
      std::vector<T> b(ldb * nrhs, T(kPadding));
      for (int64_t j = 0; j < nrhs; ++j) {
        for (int64_t i = 0; i < n; ++i) b[i + j * ldb] = static_cast<T>(uniform(engine));
      }

      // One call, and the two-step factor-then-solve path.
      System<T> one = system, two = system;
      std::vector<T> x_one = b, x_two = b;
      int64_t info = -100;
      Tridiagonal<T>::factor_and_solve(n, nrhs, one.dl.data(), one.d.data(), one.du.data(),
                                       x_one.data(), ldb, &info);
      ASSERT_EQ(info, 0);
      info = -100;
      Tridiagonal<T>::factor(n, two.dl.data(), two.d.data(), two.du.data(), &info);
      ASSERT_EQ(info, 0);
      info = -100;
      Tridiagonal<T>::solve(n, nrhs, two.dl.data(), two.d.data(), two.du.data(), x_two.data(), ldb,
                            &info);
      ASSERT_EQ(info, 0);

      for (int64_t j = 0; j < nrhs; ++j) {
        const std::vector<long double> want = dense_solve(system, b.data() + j * ldb);
        for (int64_t i = 0; i < ldb; ++i) {
          const int64_t at = i + j * ldb;
          if (i >= n) {
            EXPECT_EQ(x_one[at], T(kPadding));
            EXPECT_EQ(x_two[at], T(kPadding));
            continue;
          }
          const double bound = tolerance * (1.0 + std::fabs(static_cast<double>(want[i])));
          EXPECT_NEAR(x_one[at], want[i], bound) << "i=" << i << " j=" << j;
          EXPECT_NEAR(x_two[at], want[i], bound) << "i=" << i << " j=" << j;
        }
      }
    }
  }
}

TYPED_TEST(HostTridiagonal, ZeroPivotGivesItsPosition) {
  using T = TypeParam;
  struct Case {
    System<T> system;
    int64_t info;
  };
  // Small integers, so the eliminated pivots are exact.
  const Case cases[] = {
      {{{}, {0}, {}}, 1},
      {{{1, 1}, {0, 2, 3}, {1, 1}}, 1},
      {{{1}, {2, 0.5}, {1}}, 2},                  // 0.5 - (1/2) * 1
      {{{1, 1, 1}, {1, 2, 1, 5}, {1, 1, 1}}, 3},  // pivots 1, 1, 0
      {{{1, 1}, {1, 2, 1}, {1, 1}}, 3},           // the last pivot
  };
  for (const Case& c : cases) {
    const int64_t n = static_cast<int64_t>(c.system.d.size());
    System<T> factored = c.system;
    int64_t info = 0;
    Tridiagonal<T>::factor(n, factored.dl.data(), factored.d.data(), factored.du.data(), &info);
    EXPECT_EQ(info, c.info) << "n=" << n;

    System<T> solved = c.system;
    std::vector<T> b(n, T(1));
    info = 0;
    Tridiagonal<T>::factor_and_solve(n, 1, solved.dl.data(), solved.d.data(), solved.du.data(),
                                     b.data(), n, &info);
    EXPECT_EQ(info, c.info) << "n=" << n;
  }
}

TYPED_TEST(HostTridiagonal, BadArgumentsGiveNegativeInfoAndTouchNothing) {
  using T = TypeParam;
  struct Case {
    int64_t n, nrhs, ldb, info;
  };
  const Case cases[] = {
      {-1, 1, 1, -1}, {-1, -1, 0, -1}, {2, -1, 2, -2}, {3, 1, 2, -7},
      {0, 1, 0, -7},  {0, 1, 1, 0},    {3, 0, 3, 0},
  };
  const System<T> system = dominant_system<T>(3, 5);
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "n=" << c.n << " nrhs=" << c.nrhs << " ldb=" << c.ldb);
    System<T> s = system;
    std::vector<T> b(9, T(2));
    int64_t info = 100;
    Tridiagonal<T>::solve(c.n, c.nrhs, s.dl.data(), s.d.data(), s.du.data(), b.data(), c.ldb,
                          &info);
    EXPECT_EQ(info, c.info);
    EXPECT_EQ(b, std::vector<T>(9, T(2)));

    info = 100;
    Tridiagonal<T>::factor_and_solve(c.n, c.nrhs, s.dl.data(), s.d.data(), s.du.data(), b.data(),
                                     c.ldb, &info);
    EXPECT_EQ(info, c.info);
    EXPECT_EQ(b, std::vector<T>(9, T(2)));
    if (c.info < 0) {
      EXPECT_EQ(s.d, system.d);
      EXPECT_EQ(s.dl, system.dl);
    }
  }
  System<T> s = system;
  int64_t info = 100;
  Tridiagonal<T>::factor(-1, s.dl.data(), s.d.data(), s.du.data(), &info);
  EXPECT_EQ(info, -1);
  EXPECT_EQ(s.d, system.d);
  info = 100;
  Tridiagonal<T>::factor(0, s.dl.data(), s.d.data(), s.du.data(), &info);
  EXPECT_EQ(info, 0);
}

}  // namespace
