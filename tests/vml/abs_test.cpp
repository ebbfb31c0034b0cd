// Absolute value kernels: exact results and lengths for the real types,
// accuracy against MPFR and Annex F special values for the complex moduli.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "orx/vml.h"
#include "tests/vml/vml_test_support.h"

namespace {

// ---- real: every length, guards, aliasing, alignment -----------------------

template <class T> using Kernel = void (*)(int, const T*, T*);

template <class T>
T reference_abs(T x) {
  using U = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
  return std::bit_cast<T>(std::bit_cast<U>(x) & ~(U{1} << (8 * sizeof(T) - 1)));
}

template <class T>
void check_real_lengths(Kernel<T> kernel) {
  constexpr int kGuard = 9;
  const T sentinel = static_cast<T>(-12345.5);
  std::mt19937 rng(7);
  std::uniform_real_distribution<T> value(-1e6, 1e6);
  for (int n = 0; n <= 40; ++n) {
    for (int offset = 0; offset < 3; ++offset) {  // unaligned starts
      std::vector<T> in(n + offset + kGuard), out(n + offset + kGuard, sentinel);
      for (auto& x : in) x = value(rng);
      kernel(n, in.data() + offset, out.data() + offset);
      for (int i = 0; i < offset; ++i) EXPECT_EQ(out[i], sentinel);
      for (int i = 0; i < n; ++i)
        EXPECT_EQ(out[offset + i], reference_abs(in[offset + i])) << "n=" << n << " i=" << i;
      for (int i = offset + n; i < offset + n + kGuard; ++i)
        EXPECT_EQ(out[i], sentinel) << "n=" << n << " wrote past the end";
    }
  }
  // In place.
  std::vector<T> data = {-1, 2, -3, 4, -5, 6, -7, 8, -9, 10, -11};
  kernel(static_cast<int>(data.size()), data.data(), data.data());
  for (size_t i = 0; i < data.size(); ++i) EXPECT_EQ(data[i], static_cast<T>(i + 1));
  // A negative count writes nothing.
  T one = -1, untouched = sentinel;
  kernel(-5, &one, &untouched);
  EXPECT_EQ(untouched, sentinel);
}

TEST(RealAbs, EveryLengthWritesExactlyN) {
  check_real_lengths<float>(orx_vml_kernel_sAbs_E7HAynn);
  check_real_lengths<double>(orx_vml_kernel_dAbs_E7HAynn);
}

template <class T>
void check_real_specials(Kernel<T> kernel, T (*scalar)(T)) {
  using L = std::numeric_limits<T>;
  const std::vector<T> in = {T(-0.0), T(0.0), -L::infinity(), L::infinity(), L::quiet_NaN(),
                             -L::quiet_NaN(), -L::denorm_min(), L::denorm_min(), -L::max(),
                             L::lowest(), -L::min(), T(-1.5)};
  std::vector<T> out(in.size());
  // Denormal field "on" must not matter: Abs leaves the environment alone and
  // its product by +-1 is exact for subnormals too when DAZ is off.
  kernel(static_cast<int>(in.size()), in.data(), out.data());
  for (size_t i = 0; i < in.size(); ++i) {
    if (std::isnan(in[i])) {
      EXPECT_TRUE(std::isnan(out[i]));
    } else {
      using U = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
      EXPECT_EQ(std::bit_cast<U>(out[i]), std::bit_cast<U>(reference_abs(in[i]))) << "input " << in[i];
      EXPECT_FALSE(std::signbit(out[i]));
    }
    if (!std::isnan(in[i])) {
      EXPECT_EQ(scalar(in[i]), reference_abs(in[i]));
    }
  }
}

TEST(RealAbs, SpecialValues) {
  check_real_specials<float>(orx_vml_kernel_sAbs_E7HAynn, orx_vml_kernel__sabs_scalar);
  check_real_specials<double>(orx_vml_kernel_dAbs_E7HAynn, orx_vml_kernel__dabs_scalar);
}

TEST(RealAbs, AllEntryPointsReachTheKernel) {
  for (auto entry : {_vmlsAbs, _vmlsAbs_HA, _vmlsAbs_21, _vmlsAbs_11}) {
    float a[3] = {-0.0f, -2.5f, 3.0f}, r[3] = {9, 9, 9};
    entry(3, a, r);
    EXPECT_EQ(std::bit_cast<uint32_t>(r[0]), 0u);
    EXPECT_EQ(r[1], 2.5f);
    EXPECT_EQ(r[2], 3.0f);
  }
  for (auto entry : {_vmldAbs, _vmldAbs_HA, _vmldAbs_50, _vmldAbs_26}) {
    double a[2] = {-0.0, -2.5}, r[2] = {9, 9};
    entry(2, a, r);
    EXPECT_EQ(std::bit_cast<uint64_t>(r[0]), 0u);
    EXPECT_EQ(r[1], 2.5);
  }
}

// ---- complex: accuracy against MPFR ----------------------------------------

// Error of `got` in ulps of the correctly rounded result, measured in MPFR.
template <class T>
double ulp_error(T re, T im, T got) {
  constexpr int precision = std::numeric_limits<T>::digits;
  mpfr_t x, y, h;
  mpfr_inits2(256, x, y, h, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(x, re, MPFR_RNDN);
  mpfr_set_d(y, im, MPFR_RNDN);
  mpfr_hypot(h, x, y, MPFR_RNDN);
  // ulp of the exact value at the target precision (subnormals: fixed quantum)
  const long e = mpfr_get_exp(h);  // h in [2^(e-1), 2^e)
  const long min_exp = std::numeric_limits<T>::min_exponent;  // 2^(min_exp-1) = smallest normal
  const long quantum = std::max(e, min_exp) - precision;
  mpfr_t diff;
  mpfr_init2(diff, 256);
  mpfr_set_d(diff, got, MPFR_RNDN);
  mpfr_sub(diff, diff, h, MPFR_RNDN);
  mpfr_mul_2si(diff, diff, -quantum, MPFR_RNDN);
  const double ulps = std::fabs(mpfr_get_d(diff, MPFR_RNDN));
  mpfr_clears(x, y, h, diff, static_cast<mpfr_ptr>(nullptr));
  return ulps;
}

template <class C, class T>
double max_error_over(int exponent_lo, int exponent_hi, int count, uint64_t seed,
                      void (*kernel)(int, const C*, T*)) {
  std::mt19937_64 rng(seed);
  std::uniform_int_distribution<int> exponent(exponent_lo, exponent_hi);
  std::uniform_real_distribution<double> mantissa(1.0, 2.0);
  std::bernoulli_distribution negative(0.5);
  std::vector<C> in(count);
  for (auto& z : in) {
    z.re = static_cast<T>(std::ldexp(mantissa(rng), exponent(rng)) * (negative(rng) ? -1 : 1));
    z.im = static_cast<T>(std::ldexp(mantissa(rng), exponent(rng)) * (negative(rng) ? -1 : 1));
  }
  std::vector<T> out(count);
  kernel(count, in.data(), out.data());
  double worst = 0;
  for (int i = 0; i < count; ++i) worst = std::max(worst, ulp_error<T>(in[i].re, in[i].im, out[i]));
  return worst;
}

TEST(ComplexAbs, DoubleWithinHalfUlpPlusTinyOnNormalResults) {
  struct Range {
    int lo, hi;
    double bound;
  };
  // Close and far parts, tiny (scaled up), huge (scaled down), near overflow.
  // A subnormal modulus is rounded twice (in the scaled domain, then when
  // scaled back): measured 0.737 ulp there.
  for (Range r : {Range{-3, 3, 0.51}, Range{-40, 40, 0.51}, Range{-600, -480, 0.51},
                  Range{480, 600, 0.51}, Range{-1021, -1000, 0.51}, Range{1000, 1022, 0.51},
                  Range{-1074, -1023, 0.75}, Range{-1074, 1023, 0.75}}) {
    const double err = max_error_over<orx_complex16, double>(r.lo, r.hi, 20000, 1000 + r.lo,
                                                             orx_vml_kernel_zAbs_E7HAynn);
    EXPECT_LT(err, r.bound) << "exponents " << r.lo << ".." << r.hi;
  }
}

TEST(ComplexAbs, SingleWithinHalfUlpPlusTiny) {
  struct Range {
    int lo, hi;
  };
  for (Range r : {Range{-3, 3}, Range{-30, 30}, Range{-149, -120}, Range{100, 126},
                  Range{-149, 127}}) {
    const double err = max_error_over<orx_complex8, float>(r.lo, r.hi, 20000, 77 + r.lo,
                                                           orx_vml_kernel_cAbs_E7HAynn);
    EXPECT_LT(err, 0.5001) << "exponents " << r.lo << ".." << r.hi;
  }
}

// ---- complex: special values and overflow reports ---------------------------

template <class C, class T>
struct SpecialCase {
  T re, im, expected;  // NaN expected: any NaN
  bool overflow;       // reported with status 3
};

int g_overflow_reports;
int g_last_index;
int count_reports(VmlErrorContext* ctx) {
  ++g_overflow_reports;
  g_last_index = ctx->index;
  EXPECT_EQ(ctx->code, ORX_VML_STATUS_OVERFLOW);
  return 0;
}

template <class C, class T>
void check_specials(void (*kernel)(int, const C*, T*), const char* name,
                    const std::vector<SpecialCase<C, T>>& cases) {
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_CALLBACK, [&] {
    orx_vml_kernel_SetErrorCallBack(count_reports);
    // Each special value sits in a block of ordinary values, at every lane.
    for (const auto& c : cases) {
      for (int lane = 0; lane < 6; ++lane) {
        std::vector<C> in(6, C{3, 4});
        in[lane] = C{c.re, c.im};
        std::vector<T> out(6, T(-1));
        g_overflow_reports = 0;
        kernel(6, in.data(), out.data());
        if (std::isnan(c.expected)) {
          EXPECT_TRUE(std::isnan(out[lane])) << name << " " << c.re << "," << c.im;
        } else {
          EXPECT_EQ(out[lane], c.expected) << name << " " << c.re << "," << c.im;
        }
        for (int i = 0; i < 6; ++i) {
          if (i != lane) {
            EXPECT_EQ(out[i], T(5)) << name;
          }
        }
        EXPECT_EQ(g_overflow_reports, c.overflow ? 1 : 0) << name << " " << c.re << "," << c.im;
        if (c.overflow) {
          EXPECT_EQ(g_last_index, lane);
        }
      }
    }
    orx_vml_kernel_ClearErrorCallBack();
  });
}

TEST(ComplexAbs, SpecialValuesAndOverflow) {
  using L = std::numeric_limits<double>;
  const double inf = L::infinity(), nan = L::quiet_NaN();
  check_specials<orx_complex16, double>(
      orx_vml_kernel_zAbs_E7HAynn, "vzAbs",
      {{inf, nan, inf, false}, {nan, -inf, inf, false}, {-inf, 0, inf, false},
       {nan, 0, nan, false}, {1, nan, nan, false}, {0, 0, 0, false}, {-0.0, -0.0, 0, false},
       {L::max(), L::max(), inf, true}, {L::max(), 0, L::max(), false},
       {-3000 * L::denorm_min(), 4000 * L::denorm_min(), 5000 * L::denorm_min(), false}, {L::denorm_min(), 0, L::denorm_min(), false},
       {0x1p1023, 0x1p1023, 0x1.6a09e667f3bcdp+1023, false}});
  using F = std::numeric_limits<float>;
  const float finf = F::infinity(), fnan = F::quiet_NaN();
  check_specials<orx_complex8, float>(
      orx_vml_kernel_cAbs_E7HAynn, "vcAbs",
      {{finf, fnan, finf, false}, {fnan, finf, finf, false}, {fnan, 1, fnan, false},
       {3e38f, 3e38f, finf, true}, {F::max(), 0, F::max(), false}, {-0.0f, 0, 0, false},
       {F::denorm_min(), 0, F::denorm_min(), false}});
}

// The element path gives the bits of the block path.
TEST(ComplexAbs, ElementPathMatchesBlockPath) {
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> v(-1e10, 1e10);
  for (int trial = 0; trial < 200; ++trial) {
    orx_complex16 block[4], mixed[4];
    for (int i = 0; i < 4; ++i) block[i] = mixed[i] = {v(rng), v(rng)};
    mixed[3] = {std::numeric_limits<double>::quiet_NaN(), 0};  // forces the element path
    double r_block[4], r_mixed[4];
    orx_vml_kernel_zAbs_E7HAynn(4, block, r_block);
    orx_vml_kernel_zAbs_E7HAynn(4, mixed, r_mixed);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(std::bit_cast<uint64_t>(r_block[i]), std::bit_cast<uint64_t>(r_mixed[i]));
  }
}

}  // namespace
