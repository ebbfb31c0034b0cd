// Double-precision r[i] = e^a[i] - 1, element by element in x87 extended
// precision: orx_vml_kernel_dExpm1_EXHAynn (slot 1).
//
// The kernel sets the x87 control word to extended precision, round to
// nearest (0x0300), and computes each element with 64-bit significands:
//   N = round(x 64 / ln 2), r = (x - N c1) - N c2 with c1 + c2 = ln 2 / 64
//   (c1 has 33 significant bits, so N c1 is exact; the pair is good to
//   2^-93, 2^-77 after multiplying by |N| <= 2^16),
//   hi + lo = 2^(j/64) from the generated table (hi has 45 significant bits),
//   p = e^r - 1 by its Taylor series to degree 7 (|r| <= 0.0055: truncation
//   below 2^-67 relative to p),
//   e^x - 1 = (S hi - 1) + (S lo + S (hi + lo) p) with S = 2^m.
// S hi - 1 is exact for m in [-19, 19] (45 + 19 bits), so where the result
// is much smaller than 2^(j/64) (the cancellation for N = +-1, results near
// +-0.005) the table enters with its full 97 bits instead of rounded to 64,
// and the result carries a relative error of a few 2^-64. The long double
// result is then rounded once to double: error at most 0.5 ulp plus about
// 2^-9 ulp. Measured against MPFR (orx_vml_accuracy, 10^6 samples per
// range): 0.5004 ulp max, at x = -0x1.7a3fd1d84d5bp+4 (goal: below 1 ulp).
// Special cases, shared with the vector kernel (dexpm1_kernels.cpp):
//   NaN -> the input made quiet; |x| < 2^-54 -> x (zeros keep their sign, a
//   subnormal input reads as a signed zero under denormals-are-zero);
//   -inf and x < -40 -> -1 (e^-40 < 2^-57); +inf -> +inf;
//   x >= 0x40862E42FEFA39F0 (709.782712893384) -> +inf with status 3.
// No other element reports a status: results are never subnormal except
// for subnormal inputs, which are returned as they are.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "orx/vml.h"
#include "vml/error_report.h"
#include "vml/fp_env.h"
#include "vml/kernels/exp/dexpm1_core.h"
#include "vml/mode_access.h"

namespace orx::vml::dexpm1 {
namespace {

// 1 / k!, computed by the compiler in long double and rounded once.
constexpr long double inv_factorial(int k) {
  long double f = 1;
  for (int i = 2; i <= k; ++i) f *= i;
  return 1.0L / f;
}

// 1.5 * 2^63: x + kShifterL rounds x to an integer in extended precision.
constexpr long double kShifterL = 13835058055282163712.0L;

// 2^m for m in [-1022, 1024].
long double pow2l(int m) {
  if (m > 1023) return 2.0L * static_cast<long double>(from_bits(uint64_t{2046} << 52));
  return static_cast<long double>(from_bits(static_cast<uint64_t>(m + 1023) << 52));
}

// e^x - 1 for -40 <= x < 709.7827 and |x| >= 2^-54, in extended precision.
long double expm1_extended(double x) {
  const long double xl = x;
  const long double k = (xl * static_cast<long double>(from_bits(kInvLn64)) + kShifterL) - kShifterL;
  const int n = static_cast<int>(k);
  const long double r = (xl - k * static_cast<long double>(from_bits(kLnHi))) -
                        k * static_cast<long double>(from_bits(kLnLo));
  const int j = n & 63;
  const int m = (n - j) / 64;
  const long double s = pow2l(m);
  const long double s_hi = static_cast<long double>(from_bits(kExp2HiLo[j][0])) * s;
  const long double s_lo = static_cast<long double>(from_bits(kExp2HiLo[j][1])) * s;
  long double q = inv_factorial(7);
  for (int d = 6; d >= 2; --d) q = q * r + inv_factorial(d);
  const long double p = r + (r * r) * q;
  return (s_hi - 1.0L) + (s_lo + (s_hi + s_lo) * p);
}

void element(int i, const double* a, double* r) {
  const double x = a[i];
  constexpr double kInf = std::numeric_limits<double>::infinity();
  if (std::isnan(x)) {
    r[i] = x + x;
    return;
  }
  if (high_word_of_abs(x) < kFastLow) {
    r[i] = tiny(x);
    return;
  }
  if (x < kMinusOneBelow) {  // -inf included
    r[i] = -1.0;
    return;
  }
  if (x == kInf) {
    r[i] = kInf;
    return;
  }
  const double y = to_bits(x) >= kOverflowFrom && x > 0 ? kInf : static_cast<double>(expm1_extended(x));
  r[i] = y;
  if (y == kInf) report_error<double, double>(ORX_VML_STATUS_OVERFLOW, i, a, a, r, r, kName);
}

}  // namespace
}  // namespace orx::vml::dexpm1

void orx_vml_kernel_dExpm1_EXHAynn(int n, const double* a, double* r) noexcept {
  const orx::vml::FpEnvGuard env(_vml_static_wrapper32e_GetMode(), orx::vml::kMxcsrRoundNearest,
                                 orx::vml::kX87Extended);
  for (int i = 0; i < n; ++i) orx::vml::dexpm1::element(i, a, r);
}
